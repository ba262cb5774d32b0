"""A server's whole life: what it says on the wire, which errors it logs, and its end at awkward moments."""

import re
import subprocess
import threading

import pytest
from announcements import DEREGISTER, JOIN, REGISTER, announce
from peers import TYPE

LINE = re.compile(r"^\S+ (\w+) \[\d+\] (.*)$")
PUBLISHED = "RemoteServerDiscovery:clearAutoDiscoveredServers:mPartialDiscoveredHosts.size():"
SEARCHES = "RemoteServerDiscovery:discoverSLPServers:Going to start the discovery of x-mgmt.quorvel:kvt servers"
CHANGED = "ServerDiscoveryPl::startIPChangeMonitorThread:Both the IP set has values are not matching"
JOINS = "HeartBeatWin:performMulticast:Join multicast group:"
SHUTS_DOWN = "ServerDiscoveryPlugin shutdown"

# What an undisturbed life complains of, each once or more. The second line and the third are the inventory's: it withdraws once more.
COMPLAINTS = [
    "RemoteServerDiscoveryJob::slpAttributeCallback failed with error code: 1, for IP=",
    r"RemoteServerDiscovery:slpRegistrationReport:SLP (de)registration failed : error code -3\n",
    "RemoteServerDiscovery:deRegisterSLPService:SLPDereg failed with error code: -3",
    "HeartBeatWin:startSLPNotificationThread:CreateWorkers:exiting",
]


def complaints(log):
    """The lines that stand out: of every level but those that only tell what goes on."""
    lines = [LINE.match(line) for line in log.splitlines()]
    return [line[2] for line in lines if line and line[1] not in ("debug", "info")]


def said(segment, peers, overheard):
    """All records up to now: whatever was sent before is heard before a last word of the test's own."""
    speaker = segment.host("speaker", ipv6=False, route=True)
    speaker.call(announce, b"the end")
    peers.wait_for(lambda: overheard.all()[-1:] and overheard.all()[-1].data == b"the end", "the end is heard")
    return overheard.all()[:-1]


def test_an_undisturbed_life_is_four_records_and_no_error_that_is_not_expected(segment, peers, overheard, patience):
    rest = {"slp_find_service_interval": int(3000 * patience), "ip_change_polling_interval": 100}
    one = peers.start(segment.host("one", route=True), settings=rest)
    peers.wait_for(lambda: one.count(PUBLISHED) == 2, "two passes", 30)
    assert one.names() == ["one"]
    assert one.server.stop(2 * patience) == 0, one.server.log()

    url = f"{TYPE}://{one.host.ipv4}:8443"
    records = said(segment, peers, overheard)
    assert [(record.kind, record.lifetime) for record in records] == [
        (JOIN, 65535),
        (REGISTER, 65535),
        (DEREGISTER, 0),  # by the plug-in
        (DEREGISTER, 0),  # by the inventory, when it is unloaded
    ]
    assert {record.url for record in records} == {url}
    assert {record.address for record in records} == {record.source for record in records} == {one.host.ipv4}
    assert [record.attributes for record in records[2:]] == ["", ""]
    assert one.passes() == 2
    assert list(dict.fromkeys(complaints(one.server.log()))) == COMPLAINTS


def test_a_hidden_server_ends_in_time_in_the_middle_of_a_pass_and_says_one_empty_farewell(
    segment, peers, overheard, patience
):
    hidden = peers.make(segment.host("hidden", route=True), settings={"installation_oem_type": 3})
    hidden.server.spawn()
    peers.wait_for(lambda: hidden.count(SEARCHES) > 1, "a second search", 30)
    assert hidden.server.stop(2 * patience) == 0, hidden.server.log()
    records = said(segment, peers, overheard)
    assert [(record.kind, record.url, record.address, record.attributes) for record in records] == [
        (DEREGISTER, "", "", "")
    ]
    assert records[0].source == hidden.host.ipv4


class RestlessAddress:
    """An address that comes and goes on a host, more than a hundred times a second, for the time of the context."""

    def __init__(self, host, address):
        self._changes = [f"address {change} {address}/24 dev eth0\n".encode() for change in ("add", "del")]
        self._process = subprocess.Popen(host.command("ip", "-batch", "-"), stdin=subprocess.PIPE)
        self._has_ended = threading.Event()
        self._thread = threading.Thread(target=self._keep_changing, daemon=True)

    def _keep_changing(self):
        while not self._has_ended.is_set():
            for change in self._changes:
                self._process.stdin.write(change)
                self._process.stdin.flush()
                self._has_ended.wait(0.003)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._has_ended.set()
        self._thread.join(10)
        self._process.stdin.close()
        assert self._process.wait(10) == 0


def test_it_ends_in_time_while_it_registers_anew(segment, peers, overheard, patience):
    one = peers.make(segment.host("one", route=True), settings={"ip_change_polling_interval": 10})
    ends_within = 0
    with RestlessAddress(one.host, "10.88.0.200"):
        for _ in range(30):
            before = len(one.server.log())
            one.server.spawn()
            peers.wait_for(lambda since=before: CHANGED in one.server.log(since), "a change", 30, pause=0)
            assert one.server.stop(2 * patience) == 0, one.server.log(before)
            ends_within += JOINS in one.server.log(before).split(SHUTS_DOWN)[1]
            if ends_within == 3:
                break
    assert ends_within == 3, "that often the end has come between a change and the end of its registration"
    last = said(segment, peers, overheard)[-1]
    assert (last.kind, last.url) == (DEREGISTER, f"{TYPE}://{one.host.ipv4}:8443")
