"""The demonstration, from its first line to its last."""

import json
import os
import pathlib
import re
import signal
import ssl
import subprocess
import sys
import time
import urllib.request

import pytest

from netlab import wait_for
from output import read_until

DEMO = pathlib.Path(__file__).resolve().parents[2] / "lab" / "demo.py"
PATIENCE = float(os.environ["KVT_TEST_PATIENCE"])


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
    return read_until(demo.stdout, "Ctrl-C ends it", 100)


def acts(text):
    """Each event of the show, with the lists that it shows after it: pairs of a server's name and its rows by name."""
    result = []
    for part in re.split(r"^== ", text, flags=re.MULTILINE)[1:]:
        event, *lists = re.split(r"^(\w+)\$ kvtctl servers list\n", part, flags=re.MULTILINE)
        rows = [dict(row.split(None, 1) for row in listed.split("\n\n")[0].splitlines()[1:]) for listed in lists[1::2]]
        result.append((event.strip(), list(zip(lists[::2], rows))))
    return result


def last_lists(shown):
    """What each server lists in the end."""
    return {name: sorted(rows) for name, rows in shown}


def test_the_show_tells_what_happens_and_how_each_list_follows_and_then_ends(demo):
    begun = time.monotonic()
    process = demo("--once")
    text, _ = process.communicate(timeout=100)
    assert process.returncode == 0, text
    assert time.monotonic() - begun < 30 * PATIENCE

    starts, (changed, after_change), (left, after_leave) = acts(text)[:3], *acts(text)[3:]
    assert [event.split()[:2] for event, _ in starts] == [["one", "starts,"], ["two", "starts,"], ["three", "starts,"]]
    everybody = ["one", "three", "two"]
    assert last_lists(starts[0][1]) == {"one": ["one"]}
    assert last_lists(starts[1][1]) == {"one": ["one", "two"], "two": ["one", "two"]}
    assert last_lists(starts[2][1]) == {name: everybody for name in everybody}

    assert changed.startswith("two gets a second address, 10.88.0.12")
    assert last_lists(after_change) == {name: everybody for name in everybody}
    for name in everybody:
        rows = [rows for shown, rows in after_change if shown == name][-1]
        assert "10.88.0.12" in rows["two"]

    assert left.startswith("three is stopped")
    assert last_lists(after_leave) == {"one": ["one", "two"], "two": ["one", "two"]}


def log_in(address, user, password):
    """A browser that has seen the page and logged in."""
    anybody = ssl.create_default_context()
    anybody.check_hostname = False
    anybody.verify_mode = ssl.CERT_NONE
    browser = urllib.request.build_opener(
        urllib.request.HTTPSHandler(context=anybody), urllib.request.HTTPCookieProcessor()
    )
    assert b"<title>" in browser.open(address, timeout=10).read()
    body = json.dumps({"user": user, "password": password}).encode()
    assert browser.open(address + "1.0/session", body, timeout=10).status == 200
    return browser


def test_it_keeps_the_servers_within_reach_until_it_is_ended(demo, tmp_path):
    process = demo()
    text = wait_for_prompt(process)
    addresses = re.findall(r"^  \w+ +(https://127\.0\.0\.1:\d+/)$", text, flags=re.MULTILINE)
    assert len(addresses) == 2, text
    user, password = re.search(r'log in as "(.+)" with the password "(.+)";', text).groups()
    held = [log_in(address, user, password) for address in addresses]
    assert [json.load(browser.open(address + "1.0/servers", timeout=10))["count"] for browser, address in zip(held, addresses)] == [2, 2]
    process.send_signal(signal.SIGINT)
    rest, _ = process.communicate(timeout=30)
    assert (process.returncode, rest.strip()) == (0, "")
    assert list(tmp_path.iterdir()) == []


def test_nothing_outlives_it_even_when_it_is_killed(demo):
    process = demo()
    wait_for_prompt(process)
    children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().split()
    assert len(children) == 2
    process.kill()
    for child in children:
        wait_for(lambda pid=child: has_ended(pid), 10, f"process {child} is gone")


def has_ended(pid):
    try:
        status = pathlib.Path(f"/proc/{pid}/status").read_text()
    except (FileNotFoundError, ProcessLookupError):
        return True
    return "State:\tZ" in status
