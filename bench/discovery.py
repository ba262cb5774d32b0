#!/usr/bin/env python3
"""bench/discovery.py BUILD: what one pass costs a kvt-server that finds many servers, as a table. BUILD is the
folder of a release build. The servers are simulated by one process on a host of its own, with a real record, real SLP
and real HTTP each. `lab/enter` may have to stand before it."""

import argparse
import contextlib
import copy
import dataclasses
import json
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "lab"))

from netlab import wait_for  # noqa: E402
from output import read_line  # noqa: E402
from segment import Segment  # noqa: E402
from server import Build, Server  # noqa: E402

BEGINNING = "Going to start the discoverSLPServers"
PAUSE = 2.0  # seconds between two passes; what the server then does is not counted
DETAIL = "0x22"  # the log says when a pass begins, and nothing of what each server costs
NETWORK = "10.89.0.0/16"
PATIENCE = 120


def templates(details, address, name):
    """What a server registers and what it answers, in the form of the server that has these details."""
    attributes = copy.deepcopy(details)
    properties = attributes["properties"]
    properties["nics"] = properties.get("os", {}).get("network", {}).get("nics", [])
    properties["agents"] = properties.get("agents", [{}])[0].get("listen", [])
    properties["lastUpdatedCounter"] = 1
    attributes["gid"] = "0" * 64

    def text(document):
        compact = json.dumps(document, separators=(",", ":"))
        return compact.replace(address, "@ADDRESS@").replace(name, "@NAME@")

    server = text(attributes).replace(" ", "")
    return f"(ip=@ADDRESS@))(server={server})", text({"value": details})


class Passes:
    """Sees the beginnings of a server's passes, and what the process has used by then."""

    def __init__(self, server):
        self.server = server
        self.seen = 0

    def next(self):
        wait_for(self._has_begun, PATIENCE, "the next pass begins")
        self.seen += 1
        return time.monotonic(), self._cpu_seconds()

    def _has_begun(self):
        return self.server.log().count(BEGINNING) > self.seen

    def _cpu_seconds(self):
        tasks = pathlib.Path(f"/proc/{self.server.process.pid}/task").iterdir()
        return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks) / 1e9

    def resident(self):
        """Megabytes."""
        status = pathlib.Path(f"/proc/{self.server.process.pid}/status").read_text()
        return int(status.split("VmRSS:")[1].split()[0]) / 1024


@contextlib.contextmanager
def many_servers(program, host, count, folder, texts):
    files = []
    for name, text in zip(("attributes", "details"), texts):
        files.append(folder / name)
        files[-1].write_text(text)
    process = subprocess.Popen(
        host.command(program, str(count), *map(str, files)), stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
    )
    try:
        if read_line(process.stdout, PATIENCE) != "ready\n":
            raise RuntimeError("the servers have not started")
        yield process
    finally:
        process.stdin.close()
        process.wait(20)


def sample(build, folder):
    """The details of a real server, its address and its name."""
    with Segment() as segment:
        with Server(segment.host("sample", ipv6=False), build, folder) as server:
            details = server.get("/1.0/servers/self").json["value"]
            return details, server.address, "sample"


@contextlib.contextmanager
def network_of(program, count, folder, texts):
    """A host in a network of its own with that many simulated servers."""
    with Segment() as segment:
        peers = segment.host("peers", ipv6=False, route=True)
        peers.run("ip", "route", "add", "local", NETWORK, "dev", "lo")
        asking = segment.host("asking", ipv6=False, route=True)
        asking.run("ip", "route", "add", NETWORK, "via", peers.ipv4)
        with many_servers(program, peers, count, folder, texts):
            yield asking


def settings(pause):
    """For a server that finds them by SLP alone, with so many seconds between two passes."""
    return {"slp_find_service_interval": int(pause * 1000), "slp_find_service_strictness": 0, "enable_multicast": 0}


def measure(build, program, count, folder, texts):
    with network_of(program, count, folder, texts) as asking:
        with Server(asking, build, folder, settings=settings(PAUSE), arguments=("--log-level", DETAIL)) as server:
            passes = Passes(server)
            times = [passes.next() for _ in range(3)]
            first, later = (
                (after[0] - before[0] - PAUSE, after[1] - before[1]) for before, after in zip(times, times[1:])
            )
            memory = passes.resident()
            listed = server.get("/1.0/servers", timeout=60).json["count"] - 1  # itself
            return Figures(count, listed, first, later, memory)


@dataclasses.dataclass(frozen=True)
class Figures:
    servers: int
    listed: int
    first: tuple  # seconds and processor seconds of the pass that meets all servers
    later: tuple  # and of one that finds no change
    memory: float  # megabytes

    HEAD = ("servers", "listed", "first/s", "cpu/s", "ms each", "later/s", "cpu/s", "ms each", "MB", "kB each")

    def row(self, baseline):
        """`baseline` are those of the smallest number of servers."""

        def of_pass(wall, cpu):
            return f"{wall:.2f}", f"{cpu:.2f}", f"{cpu * 1000 / self.servers:.2f}"

        more = self.servers - baseline.servers
        each = f"{(self.memory - baseline.memory) * 1024 / more:.1f}" if more > 0 else "-"
        counts = f"{self.servers:,}", f"{self.listed:,}"
        return *counts, *of_pass(*self.first), *of_pass(*self.later), f"{self.memory:.1f}", each


def show(cells):
    print(" ".join(f"{cell:>8}" for cell in cells), flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--sizes", type=int, nargs="+", default=[10, 100, 1000, 10000])
    options = parser.parse_args()
    build = Build.at(options.build)
    program = options.build.absolute() / "bin" / "discovery_load"
    with tempfile.TemporaryDirectory() as folder:
        texts = templates(*sample(build, folder))
        show(Figures.HEAD)
        baseline = None
        for count in sorted(options.sizes):
            files = pathlib.Path(folder) / str(count)
            files.mkdir()
            figures = measure(build, program, count, files, texts)
            baseline = baseline or figures
            show(figures.row(baseline))


if __name__ == "__main__":
    main()
