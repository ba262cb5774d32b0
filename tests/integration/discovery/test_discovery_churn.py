"""A server whose addresses change all the time, and what that costs it and the one beside it."""

import dataclasses
import os
import pathlib
import subprocess

from peers import REGISTERED

CHANGES = 1000
WARM_UP = 2000  # the heap goes on filling up until then

# What a leak of 200 bytes with each registration would exceed. What is really seen is a few pages.
KILOBYTES = 192

# Sanitizers keep memory that was given back, so that nothing is said of it, and nothing has to warm up for long.
CHANGES_UNDER_SANITIZERS = 200
WARM_UP_UNDER_SANITIZERS = 200


@dataclasses.dataclass(frozen=True)
class Usage:
    threads: int
    descriptors: int
    kilobytes: int

    @classmethod
    def of(cls, peer):
        process = pathlib.Path(f"/proc/{peer.server.process.pid}")
        resident = next(line for line in (process / "status").read_text().splitlines() if line.startswith("VmRSS:"))
        return cls(len(os.listdir(process / "task")), len(os.listdir(process / "fd")), int(resident.split()[1]))


class Registrations:
    """Counts them in a log that grows, reading every byte of it once."""

    def __init__(self, peer):
        self._log = open(peer.server.log_file, "rb")
        self._rest = b""
        self.count = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._log.close()

    def look(self):
        lines = (self._rest + self._log.read()).split(b"\n")
        self._rest = lines.pop()
        self.count += sum(REGISTERED.encode() in line for line in lines)
        return self.count


class SecondAddress:
    """Of a host: given and taken away by one process, since there is much of it. A context manager."""

    def __init__(self, host):
        command = host.command("ip", "-batch", "-")
        self._process = subprocess.Popen(command, stdin=subprocess.PIPE, text=True)
        self._is_given = False

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._process.kill()
        self._process.wait()
        self._process.stdin.close()

    def change(self):
        verb = "del" if self._is_given else "add"
        self._process.stdin.write(f"address {verb} 10.88.0.200/24 dev eth0\n")
        self._process.stdin.flush()
        self._is_given = not self._is_given


def test_a_thousand_registrations_leave_threads_descriptors_and_memory_where_they_were(peers, patience, monkeypatch):
    monkeypatch.setenv("MALLOC_ARENA_MAX", "1")  # else each thread has one that fills up when the machine is busy
    restless = peers.start("restless", settings={"ip_change_polling_interval": 10})
    beside = peers.start("beside")
    both = [restless, beside]
    sanitized = patience != 1
    warm_up = WARM_UP_UNDER_SANITIZERS if sanitized else WARM_UP
    changes = CHANGES_UNDER_SANITIZERS if sanitized else CHANGES
    peers.wait_until_they_list_one_another(*both)

    def churn(count):
        for number in range(count):
            before = registrations.look()
            address.change()
            peers.wait_for(lambda: registrations.look() > before, f"registration after change {number}", pause=0.002)

    with Registrations(restless) as registrations, SecondAddress(restless.host) as address:
        churn(warm_up)
        peers.wait_until_they_list_one_another(*both)
        usage = {peer: Usage.of(peer) for peer in both}
        churn(changes)
        assert registrations.count >= warm_up + changes
    peers.wait_until_they_list_one_another(*both)

    for peer, before in usage.items():
        # Connections that were under way come to their end by and by.
        peers.wait_for(
            lambda: Usage.of(peer).threads <= before.threads and Usage.of(peer).descriptors <= before.descriptors,
            f"{peer.name} has no more threads and descriptors than {before}",
        )
        if not sanitized:
            assert Usage.of(peer).kilobytes < before.kilobytes + KILOBYTES, (before, Usage.of(peer))
    peers.wait_for(
        lambda: beside.listed()["restless"]["lastUpdatedCounter"] > changes, "the last registration is known"
    )
