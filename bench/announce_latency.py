#!/usr/bin/env python3
"""bench/announce_latency.py BUILD: the time from a server's registration to its entry in the list of another one, as a
table. BUILD is the folder of a release build. With announcements no pass helps; without them only passes do. `lab/enter`
may have to stand before it."""

import argparse
import datetime
import pathlib
import random
import statistics
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "lab"))

from netlab import wait_for  # noqa: E402
from segment import Segment  # noqa: E402
from server import Build, Server  # noqa: E402

REGISTERED = "RemoteServerDiscovery:registerSLPService:SLPRegistration is successful"
SEARCHED = "RemoteServerDiscovery:startRemoteServerThread: Time taken for discoverSLPServers:"
DETAIL = "0x32"  # the log tells of registrations and passes, and nothing of what each server costs
PATIENCE = 60
SELDOM = 3600  # seconds between two passes when none shall help


def times(log, text):
    """When the lines of the log that hold the text were written, to the millisecond, as time.time() tells it."""
    lines = (line for line in log.splitlines() if text in line)
    return [datetime.datetime.fromisoformat(line.split()[0]).timestamp() for line in lines]


def server(host, build, folder, announcing, period):
    settings = {"slp_find_service_interval": int(period * 1000), "enable_multicast": int(announcing)}
    return Server(host, build, folder, settings=settings, arguments=("--log-level", DETAIL))


def lists(watching, name):
    return any(record["properties"]["displayId"] == name for record in watching.list()["values"])


def seconds_to_be_listed(watching, coming):
    """Of one start."""
    before = len(times(coming.log(), REGISTERED))
    coming.spawn()
    seen = wait_for(lambda: lists(watching, coming.host.name) and time.time(), PATIENCE, "it is listed", pause=0.001)
    registered = wait_for(lambda: times(coming.log(), REGISTERED)[before:], PATIENCE, "it is registered")[0]
    wait_for(coming.is_ready, PATIENCE, "it is ready")
    coming.stop(PATIENCE)
    wait_for(lambda: not lists(watching, coming.host.name), PATIENCE, "it is gone")
    return seen - registered


def measure(build, announcing, period, count):
    """Seconds, sorted."""
    with tempfile.TemporaryDirectory() as folder, Segment() as segment:
        watching, coming = (
            server(segment.host(name), build, folder, announcing, period) for name in ("watching", "coming")
        )
        with watching, coming:  # once, so that nothing happens for the first time
            wait_for(lambda: times(watching.log(), SEARCHED), PATIENCE, "a pass")
            coming.stop(PATIENCE)
            wait_for(lambda: not lists(watching, "coming"), PATIENCE, "it is gone")
            result = []
            for _ in range(count):
                if not announcing:
                    time.sleep(random.uniform(0, period))  # so that it comes at any moment between two passes
                result.append(seconds_to_be_listed(watching, coming))
            return sorted(result)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--starts", type=int, default=20, help="of each row")
    parser.add_argument("--period", type=float, default=2, help="seconds between two passes when nothing is announced")
    options = parser.parse_args()
    build = Build.at(options.build)
    print(f"{'from registration to entry':<40} {'min/ms':>8} {'median':>8} {'max':>8}")
    for title, announcing, period in (
        ("announced", True, SELDOM),
        (f"found by a pass, one every {options.period:g} s", False, options.period),
    ):
        found = measure(build, announcing, period, options.starts)
        figures = (1000 * figure for figure in (found[0], statistics.median(found), found[-1]))
        print(f"{title:<40} " + " ".join(f"{figure:>8.1f}" for figure in figures), flush=True)


if __name__ == "__main__":
    main()
