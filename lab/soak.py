#!/usr/bin/env python3
"""Servers come, go, die and change their addresses on a network of their own; at quiet points their lists must be right.

A job of its own, for builds with sanitizers above all: lab/enter /usr/bin/python3 lab/soak.py build/asan --minutes 10
"""

import argparse
import collections
import dataclasses
import pathlib
import random
import shutil
import signal
import sys
import tempfile
import time

from netlab import wait_for
from segment import Segment
from server import Build, Server

# What a sanitizer's report looks like, in whichever words it begins.
REPORTS = ("AddressSanitizer", "ThreadSanitizer", "LeakSanitizer", "runtime error:", "DEADLYSIGNAL")

SETTINGS = {"slp_find_service_interval": "500ms", "ip_change_polling_interval": "200ms"}

# Seconds. Sanitizers slow down every start, pass and end.
START = 60
END = 30

# Makes a server that the others never list.
HIDDEN = {"installation_oem_type": 3}


class Member:
    """A host of the network, and the server on it while one runs."""

    def __init__(self, host, build, folder, number, settings):
        self.host = host
        # Each of them comes and goes: also the one that it is registered by, and both at a time.
        self.addresses = {host.ipv4: True, f"10.88.0.{200 + number}": False}
        host.sysctl("ipv4/conf/all/promote_secondaries", 1)  # what goes takes nothing else along
        self.is_wanted = False
        self.server = Server(host, build, folder, settings={**SETTINGS, **settings}, arguments=["--log-level", "info"])

    def assert_alive(self):
        if self.is_wanted and self.server.process.poll() is not None:
            raise RuntimeError(f"{self.host.name} ended by itself, with {self.server.process.returncode}")

    def is_ready(self):
        self.assert_alive()
        return self.server.is_ready()

    def start(self):
        """Nobody waits for it: what comes next may meet it half way."""
        self.server.spawn()
        self.is_wanted = True

    def stop(self):
        self.assert_alive()
        self.is_wanted = False
        # Before it has come up nobody minds the signal.
        expected = (0,) if self.server.is_ready() else (0, -signal.SIGTERM)
        code = self.server.stop(END)
        if code not in expected:
            raise RuntimeError(f"{self.host.name} ended with {code}")

    def kill(self):
        self.assert_alive()
        self.is_wanted = False
        self.server.kill()

    def change_address(self, address):
        """Takes it away, or gives it again."""
        change = self.host.remove_address if self.addresses[address] else self.host.add_address
        change(address)
        self.addresses[address] = not self.addresses[address]
        # By which it is asked for its list.
        self.host.ipv4 = next((each for each, is_there in self.addresses.items() if is_there), None)

    def resident_kilobytes(self):
        status = pathlib.Path(f"/proc/{self.server.process.pid}/status").read_text()
        return int(next(line for line in status.splitlines() if line.startswith("VmRSS:")).split()[1])

    def names(self):
        return sorted(record["properties"]["displayId"] for record in self.server.list()["values"])


@dataclasses.dataclass
class Summary:
    actions: collections.Counter = dataclasses.field(default_factory=collections.Counter)
    quiet_points: int = 0
    slowest: float = 0.0
    largest: int = 0
    faults: list = dataclasses.field(default_factory=list)

    def text(self):
        actions = ", ".join(f"{count} {name}" for name, count in sorted(self.actions.items()))
        return (
            f"{actions}; {self.quiet_points} quiet points, the slowest after {self.slowest:.1f} s; "
            f"largest process {self.largest // 1024} MiB; {len(self.faults)} faults"
        )


class Soak:
    def __init__(self, members, summary, chance, patience):
        self._members = members
        self._summary = summary
        self._chance = chance
        self._patience = patience

    def run(self, seconds):
        """Ends at the first fault."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            for _ in range(self._chance.randint(3, 12)):
                self._act()
                time.sleep(self._chance.uniform(0, 2))
            self._look()
        for member in self._members:
            if member.is_wanted:
                member.stop()

    def _act(self):
        member = self._chance.choice(self._members)
        changes = [
            (f"change {name} address", lambda address=address: member.change_address(address))
            for name, address in zip(("first", "second"), member.addresses)
        ]
        possible = [("stop", member.stop), ("kill", member.kill), *changes]
        name, act = self._chance.choice(possible) if member.is_wanted else ("start", member.start)
        self._summary.actions[name] += 1
        act()

    def _look(self):
        """The lists of those that run, when nothing has happened for a while."""
        running = [member for member in self._members if member.is_wanted]
        for member in running:
            wait_for(member.is_ready, START, f"{member.host.name} is ready")
        expected = sorted(member.host.name for member in running)
        begun = time.monotonic()
        for member in running:
            self._wait_until_it_lists(member, expected)
            self._summary.largest = max(self._summary.largest, member.resident_kilobytes())
        took = time.monotonic() - begun
        self._summary.slowest = max(self._summary.slowest, took)
        self._summary.quiet_points += 1
        print(f"{time.strftime('%H:%M:%S')} right after {took:4.1f} s: {' '.join(expected) or '(none runs)'}", flush=True)

    def _wait_until_it_lists(self, member, expected):
        try:
            wait_for(lambda: member.names() == expected, self._patience, f"{member.host.name} lists {expected}")
        except TimeoutError as late:
            raise RuntimeError(f"{late}, but {member.names()}") from late


def reports_in(folder):
    return [
        f"{log.name}: {line}"
        for log in sorted(pathlib.Path(folder).glob("*.log"))
        for line in log.read_text(encoding="utf-8", errors="replace").splitlines()
        if any(report in line for report in REPORTS)
    ]


def soak(options, folder):
    """What it showed."""
    build = Build.at(options.build)
    summary = Summary()
    with Segment() as segment:
        names = [f"server-{number}" for number in range(1, options.servers + 1)]
        members = [
            Member(segment.host(name), build, folder, number, HIDDEN if options.hide and number == 0 else {})
            for number, name in enumerate(names)
        ]
        try:
            Soak(members, summary, random.Random(options.seed), options.patience).run(options.minutes * 60)
        except Exception as fault:  # whatever it is, it ends the soak and is what it showed
            summary.faults.append(f"{type(fault).__name__}: {fault}")
        finally:
            for member in members:
                member.server.kill()
    summary.faults += reports_in(folder)
    return summary


def main():
    parser = argparse.ArgumentParser(prog="lab/soak.py", description=__doc__.splitlines()[0])
    parser.add_argument("build", help="the folder of a build")
    parser.add_argument("--minutes", type=float, default=10)
    parser.add_argument("--servers", type=int, default=5)
    parser.add_argument("--patience", type=float, default=90, help="seconds until lists must be right")
    parser.add_argument("--hide", action="store_true", help="one server from the others, to see that this is reported")
    parser.add_argument("--seed", type=int, default=int(time.time()), help="the same seed makes the same choices")
    options = parser.parse_args()
    print(f"seed {options.seed}", flush=True)
    folder = tempfile.mkdtemp(prefix="kvt-soak-")
    summary = soak(options, folder)
    for fault in summary.faults[:50]:
        print(fault)
    print(summary.text())
    if summary.faults:
        print(f"The logs are in {folder}")
        return 1
    shutil.rmtree(folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
