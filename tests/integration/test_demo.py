"""The demonstration, from its first line to its last."""

import os
import pathlib
import re
import signal
import subprocess
import sys
import urllib.request

import pytest

from netlab import wait_for

DEMO = pathlib.Path(__file__).resolve().parents[2] / "lab" / "demo.py"


@pytest.fixture
def demo(build, tmp_path):
    """Starts the demonstration, which must leave nothing that the test would have to end."""
    started = []

    def start(*arguments):
        started.append(launch(build, tmp_path, *arguments))
        return started[-1]

    yield start
    for process in started:
        process.kill()
        process.wait()
        process.stdout.close()


def launch(build, folder, *arguments):
    return subprocess.Popen(
        [sys.executable, DEMO, build.server.parents[1], *arguments],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        stdin=subprocess.DEVNULL,
        text=True,
        env={**os.environ, "TMPDIR": str(folder)},
    )


def wait_for_prompt(demo):
    """What it prints until it waits for its end."""
    lines = []
    for line in demo.stdout:
        lines.append(line)
        if line.startswith("or ask:"):
            return lines
    raise AssertionError("".join(lines))


def test_it_shows_what_each_server_lists_and_ends(demo):
    process = demo("--once")
    text, _ = process.communicate(timeout=100)
    assert process.returncode == 0, text
    lists = re.split(r"^\w+\$ kvtctl servers list\n", text, flags=re.MULTILINE)[1:]
    rows = [part.split("\n\n")[0].splitlines()[1:] for part in lists]
    listed = [sorted(line.split()[0] for line in part) for part in rows]
    assert listed == [["one", "three", "two"], ["two"], ["three"]], text


def test_it_keeps_the_servers_within_reach_until_it_is_ended(demo, tmp_path):
    process = demo()
    text = "".join(wait_for_prompt(process))
    addresses = re.findall(r"http://127\.0\.0\.1:\d+/1\.0/servers", text)
    assert len(addresses) == 3, text
    held = [urllib.request.urlopen(address, timeout=10) for address in addresses]
    assert [answer.status for answer in held] == [200, 200, 200]
    process.send_signal(signal.SIGINT)
    rest, _ = process.communicate(timeout=30)
    assert (process.returncode, rest.strip()) == (0, "")
    assert list(tmp_path.iterdir()) == []


def test_nothing_outlives_it_even_when_it_is_killed(demo):
    process = demo()
    wait_for_prompt(process)
    children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().split()
    assert len(children) == 3
    process.kill()
    for child in children:
        wait_for(lambda pid=child: has_ended(pid), 10, f"process {child} is gone")


def has_ended(pid):
    try:
        status = pathlib.Path(f"/proc/{pid}/status").read_text()
    except (FileNotFoundError, ProcessLookupError):
        return True
    return "State:\tZ" in status
