"""kvtctl slp, as one would type it on two machines."""

import json
import os
import signal
import subprocess

import pytest
from netlab import wait_for
from process import PROGRAMS, REPORTS

TYPE = "service:x-lab.example:web"

CONTROL = os.environ.get("KVT_TEST_CONTROL", PROGRAMS / "kvtctl")


def kvtctl(host, *arguments):
    done = host.run(CONTROL, "slp", *arguments, check=False, timeout=60)
    assert not [report for report in REPORTS if report in done.stderr], done.stderr
    return done


def records(host, *arguments):
    done = kvtctl(host, *arguments, "-o", "json")
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


class Registered:
    """kvtctl slp register, until interrupted."""

    def __init__(self, host, url, attributes):
        command = host.command(CONTROL, "slp", "register", url, attributes)
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        assert "registered" in self.process.stdout.readline()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()

    def interrupt(self):
        self.process.send_signal(signal.SIGINT)
        out, errors = self.process.communicate(timeout=20)
        assert self.process.returncode == 0, errors
        return out


@pytest.fixture
def registered(one):
    with Registered(one, f"{TYPE}://{one.ipv4}:80", "(name=one),(room=7)") as registered:
        yield registered


def test_two_machines_find_each_other(one, two, registered, judged):
    with Registered(two, f"{TYPE}://{two.ipv4}:80", "(name=two)"):
        for host in (one, two):
            wait_for(
                lambda host=host: sorted(record["url"] for record in records(host, "find", TYPE))
                == [f"{TYPE}://{one.ipv4}:80", f"{TYPE}://{two.ipv4}:80"],
                20,
                "both are found",
            )
            assert records(host, "attrs", f"{TYPE}://{one.ipv4}:80") == [{"attributes": "(name=one),(room=7)"}]
            assert records(host, "types") == [{"type": TYPE}]
            assert kvtctl(host, "attrs", f"{TYPE}://{two.ipv4}:80").stdout == "(name=two)\n"


def test_one_host_is_asked_alone(segment, one, two, registered, judged):
    wait_for(lambda: kvtctl(two, "find", TYPE).returncode == 0, 20, "it is found")
    alone = records(two, "--unicast", one.ipv4, "find", TYPE)
    assert [record["url"] for record in alone] == [f"{TYPE}://{one.ipv4}:80"]
    third = segment.host("three")
    nobody = kvtctl(two, "--unicast", third.ipv4, "find", TYPE)
    assert nobody.returncode != 0
    assert nobody.stdout == ""
    assert nobody.stderr.startswith("kvtctl: ")


def test_agents_are_listed(one, two, registered, judged):
    wait_for(lambda: kvtctl(two, "find", TYPE).returncode == 0, 20, "it is found")
    assert f"service:service-agent://{one.ipv4}" in [record["url"] for record in records(two, "agents")]


def test_an_interrupt_takes_the_service_away(one, two, registered, judged):
    wait_for(lambda: kvtctl(two, "find", TYPE).returncode == 0, 20, "it is found")
    assert "deregistered" in registered.interrupt()
    gone = kvtctl(two, "find", TYPE)
    assert gone.returncode != 0
    assert TYPE in gone.stderr
