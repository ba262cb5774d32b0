#!/usr/bin/env python3
"""bench/slp.py BUILD: the SLP library's figures as a table, measured between processes in network namespaces. BUILD is
the folder of a release build. `lab/enter` may have to stand before it."""

import argparse
import json
import pathlib
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
for folder in ("lab", "tests/integration/slp"):
    sys.path.insert(0, str(ROOT / folder))

from netlab import wait_for  # noqa: E402
from netns import Namespace  # noqa: E402
from segment import Segment  # noqa: E402

SIZES = (1, 1000, 10000)
WINDOWS = (1, 16)


class Program:
    """slp_load on a host, at home to further questions until close()."""

    def __init__(self, program, host, *words):
        self.process = subprocess.Popen(
            host.command(program, *map(str, words)), stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        )
        self.first = self.read()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait(20)

    def read(self):
        return json.loads(self.process.stdout.readline())

    def cpu_seconds(self):
        """What its threads have computed so far, whatever else the machine had to do."""
        tasks = pathlib.Path(f"/proc/{self.process.pid}/task").iterdir()
        return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks) / 1e9

    def memory(self):
        self.process.stdin.write("\n")
        self.process.stdin.flush()
        figures = self.read()
        return f"{figures['resident']} ({figures['own']})"


class Bench:
    def __init__(self, program, seconds):
        self.program = program
        self.seconds = seconds

    def run(self, host, *words):
        return json.loads(host.run(self.program, *map(str, words), timeout=120).stdout)

    def serve(self, host, count, kind="types"):
        return Program(self.program, host, "serve", count, kind)

    def load(self, agent, host, kind, services, window):
        before = agent.cpu_seconds()
        figures = self.run(host, "ask", kind, services, window, self.seconds)
        each = (agent.cpu_seconds() - before) / max(figures["answered"], 1)
        fault = "".join(f"; {figures[name]} {name}" for name in ("wrong", "stalls") if figures[name])
        return f"{figures['perSecond']:,} ({each * 1e6:.1f}){fault}"


def answers(bench):
    """Rows of what the agent answers over loopback, in brackets the microseconds that it computes for each answer."""
    for size in SIZES:
        host = Namespace("loopback")
        with bench.serve(host, size) as agent:
            wait_until_served(bench, host)
            for kind in ("services", "attributes"):
                for window in WINDOWS:
                    yield f"{kind} of {size:,}, {window} in flight", bench.load(agent, host, kind, size, window), "/s"
            if size > 1:
                yield f"registrations when {size:,} are reached", f"{agent.first['registrationsPerSecond']:,}", "/s"
            else:
                yield "the first registration, which starts the agent", f"{agent.first['firstMilliseconds']}", "ms"
            yield f"resident memory (without libraries) with {size:,}", agent.memory(), "MB"
        host.close()
    host = Namespace("loopback")
    with bench.serve(host, 1000, "one-type") as agent:
        wait_until_served(bench, host, "filter")
        for window in WINDOWS:
            figures = bench.load(agent, host, "filter", 1000, window)
            yield f"a filter that one of 1,000 matches, {window} in flight", figures, "/s"
    with bench.serve(host, 0) as process:
        yield "resident memory (without libraries) with none", process.memory(), "MB"
    host.close()


def wait_until_served(bench, host, kind="services"):
    def served():
        return bench.run(host, "ask", kind, 1, 1, 0.05)["perSecond"] > 0

    wait_for(served, 20, "the agent answers")


def searches(bench):
    """Rows of what a search takes, from the process's first one on."""
    for responders in (0, 1, 2):
        with Segment() as segment:
            agents = [bench.serve(segment.host(f"agent{number}"), 1) for number in range(responders)]
            for agent, host in zip(agents, segment.hosts):
                wait_until_served(bench, host)
            figures = bench.run(segment.host("asking"), "search", "service:load0", 5)
            yield f"SLPFindSrvs, {responders} responders: first of a process", round(figures["searches"][0]), "ms"
            yield "  later ones", round(statistics.median(figures["searches"][1:])), "ms"
            if responders:
                yield "  its first result", round(figures["firstMilliseconds"], 2), "ms"
                yield "  SLPFindAttrs of a URL found", round(statistics.median(figures["attributes"]), 3), "ms"
            for agent in agents:
                agent.__exit__()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--seconds", type=float, default=2, help="that each load lasts")
    options = parser.parse_args()
    bench = Bench(options.build.absolute() / "bin" / "slp_load", options.seconds)
    for rows in (answers, searches):
        for name, value, unit in rows(bench):
            print(f"{name:<58} {value:>14} {unit}", flush=True)


if __name__ == "__main__":
    main()
