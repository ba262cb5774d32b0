"""The demonstration, from its first line to its last."""

import os
import pathlib
import re
import signal
import subprocess
import sys
import urllib.request

from netlab import wait_for

DEMO = pathlib.Path(__file__).resolve().parents[2] / "lab" / "demo.py"


def start(build, *arguments):
    return subprocess.Popen(
        [sys.executable, DEMO, build.server.parents[1], *arguments],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        stdin=subprocess.DEVNULL,
        text=True,
    )


def test_it_shows_what_each_server_lists_and_ends(build):
    text, _ = (demo := start(build, "--once")).communicate(timeout=100)
    assert demo.returncode == 0, text
    lists = re.split(r"^\w+\$ kvtctl servers list\n", text, flags=re.MULTILINE)[1:]
    assert len(lists) == 3, text
    listed = [sorted(line.split()[0] for line in part.splitlines()[1:] if line and "$" not in line) for part in lists]
    assert listed == [["one", "three", "two"], ["two"], ["three"]]


def test_it_keeps_the_servers_within_reach_until_it_is_ended(build):
    demo = start(build)
    try:
        addresses = []
        for line in demo.stdout:
            addresses += re.findall(r"http://127\.0\.0\.1:\d+/1\.0/servers", line)
            if "Ctrl-C" in line:
                break
        assert len(addresses) == 3
        for address in addresses:
            with urllib.request.urlopen(address, timeout=10) as answer:
                assert answer.status == 200
        demo.send_signal(signal.SIGINT)
        assert demo.wait(30) == 0
    finally:
        demo.kill()
        demo.wait()


def test_nothing_outlives_it_even_when_it_is_killed(build):
    demo = start(build)
    for line in demo.stdout:
        if "Ctrl-C" in line:
            break
    children = pathlib.Path(f"/proc/{demo.pid}/task/{demo.pid}/children").read_text().split()
    assert len(children) == 3
    demo.kill()
    demo.wait()
    for child in children:
        wait_until_gone(int(child))


def wait_until_gone(pid):
    def gone():
        try:
            os.kill(pid, 0)
        except ProcessLookupError:
            return True
        status = pathlib.Path(f"/proc/{pid}/status").read_text() if os.path.exists(f"/proc/{pid}") else "State:\tZ"
        return "State:\tZ" in status

    wait_for(gone, 10, f"process {pid} is gone")
