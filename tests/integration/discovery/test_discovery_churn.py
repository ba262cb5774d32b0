"""A server whose addresses change all the time, and what that costs it and the one beside it."""

import dataclasses
import os
import pathlib

from peers import REGISTERED

CHANGES = 1000
CHANGES_UNDER_SANITIZERS = 200
WARM_UP = 200


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


def change(peer, number):
    """Takes the second address away, or gives it again."""
    verb = "add" if number % 2 == 0 else "del"
    peer.host.run("ip", "address", verb, "10.88.0.200/24", "dev", "eth0")


def test_a_thousand_registrations_leave_threads_descriptors_and_memory_where_they_were(peers, patience):
    restless = peers.start("restless", settings={"ip_change_polling_interval": 10})
    beside = peers.start("beside")
    both = [restless, beside]
    changes = CHANGES if patience == 1 else CHANGES_UNDER_SANITIZERS
    peers.wait_until_they_list_one_another(*both)

    def churn(numbers):
        for number in numbers:
            before = registrations.look()
            change(restless, number)
            peers.wait_for(lambda: registrations.look() > before, f"registration after change {number}")

    with Registrations(restless) as registrations:
        churn(range(WARM_UP))
        peers.wait_until_they_list_one_another(*both)
        usage = {peer: Usage.of(peer) for peer in both}
        churn(range(WARM_UP, WARM_UP + changes))
        assert registrations.count >= WARM_UP + changes
    peers.wait_until_they_list_one_another(*both)

    for peer, before in usage.items():
        # Connections that were under way come to their end by and by.
        peers.wait_for(
            lambda: Usage.of(peer).threads <= before.threads and Usage.of(peer).descriptors <= before.descriptors,
            f"{peer.name} has no more threads and descriptors than {before}",
        )
        if patience == 1:  # sanitizers keep memory that was given back
            assert Usage.of(peer).kilobytes < before.kilobytes + 2048, (before, Usage.of(peer))
    peers.wait_for(
        lambda: beside.listed()["restless"]["lastUpdatedCounter"] > changes, "the last registration is known"
    )
