"""kvtctl beside servers that discover one another."""

import json
import signal
import subprocess

import pytest
from announcements import PORT
from output import read_line
from peers import TYPE
from watched import assert_no_reports


@pytest.fixture
def one(peers):
    return peers.start("one")


@pytest.fixture
def asking(segment):
    """A host without a server."""
    return segment.host("asking")


@pytest.fixture
def ask(asking, build):
    def run(*arguments):
        done = asking.run(build.control, *arguments, check=False, timeout=60)
        assert_no_reports(done.stderr)
        return done

    return run


def test_slp_shows_what_servers_register(peers, one, ask):
    two = peers.start("two")
    urls = sorted(f"{TYPE}://{peer.host.ipv4}:8443" for peer in (one, two))

    def found():
        return sorted(record["url"] for record in json.loads(ask("slp", "find", TYPE, "-o", "json").stdout or "[]"))

    peers.wait_for(lambda: found() == urls, "both are found")
    for url in urls:
        assert f" {url}\n" in ask("slp", "find", TYPE).stdout
    assert TYPE in ask("slp", "types").stdout.split()
    for peer in (one, two):
        attributes = ask("slp", "attrs", f"{TYPE}://{peer.host.ipv4}:8443").stdout
        begin, end = f"(ip={peer.host.ipv4}))(server=", ")\n"
        assert attributes.startswith(begin) and attributes.endswith(end), attributes
        assert json.loads(attributes[len(begin) : -len(end)])["properties"]["displayId"] == peer.name


class Listening:
    """kvtctl announce listen, its lines as they come."""

    def __init__(self, host, control, *options):
        command = host.command(control, "announce", "listen", *options)
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        self.process.stderr.close()


@pytest.fixture
def listening(asking, build):
    def start(*options):
        return Listening(asking, build.control, *options)

    return start


def listeners(host):
    """How many sockets of the host have the port of announcements."""

    def count():
        with open("/proc/thread-self/net/udp", encoding="ascii") as sockets:
            return sum(line.split()[1].endswith(f":{PORT:04X}") for line in list(sockets)[1:])

    return host.call(count)


def test_announcements_are_shown_as_they_pass(peers, asking, listening):
    with listening() as listener:
        peers.wait_for(lambda: listeners(asking) == 1, "it listens")
        one = peers.start("one")
        assert read_line(listener.process.stdout, 30).split()[:3] == ["TIME", "FROM", "KIND"]
        lines = [read_line(listener.process.stdout, 30) for _ in range(2)]
        one.server.stop(20)
        lines.append(read_line(listener.process.stdout, 30))
        for kind, line in zip(("join", "register", "deregister"), lines):
            assert one.host.ipv4 in line and f"{TYPE}://{one.host.ipv4}:8443" in line, line
            assert kind in line.split(), line
        listener.process.send_signal(signal.SIGINT)
        assert listener.process.wait(10) == 0


def test_announcements_are_shown_beside_a_server_too(peers, build):
    one = peers.start("one")
    with Listening(one.host, build.control, "--count", "2") as listener:
        peers.wait_for(lambda: listeners(one.host) > 1, "both listen")
        two = peers.start("two")
        out, errors = listener.process.communicate(timeout=60)
        assert listener.process.returncode == 0, errors
        assert out.count(two.host.ipv4) >= 2
    peers.wait_until_they_list_one_another(one, two)
