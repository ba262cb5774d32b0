"""What servers announce by multicast, byte by byte, and how soon the others know by it."""

import json
import signal
import struct
import time

import pytest
from announcements import DEREGISTER, JOIN, REGISTER, announce
from peers import TYPE

SIZE = 1640

# Passes that are far apart: what is known at once is known by an announcement.
SELDOM = {"slp_find_service_interval": 600000}

QUIET = {"enable_multicast": 0}

JOINED = "HeartBeatWin:HandleIncomingData:Joined multicast group IP:"


def after_first_pass(peers, peer):
    searched = "RemoteServerDiscovery:startRemoteServerThread: Time taken for discoverSLPServers:"
    peers.wait_for(lambda: searched in peer.server.log(), "a pass")
    return peer


@pytest.mark.parametrize("route", [True, False], ids=["with a route", "without a route"])
def test_the_record_of_each_kind_holds_what_it_should_at_each_offset(segment, peers, overheard, route):
    one = peers.start(segment.host("one", route=route))
    url = f"{TYPE}://{one.host.ipv4}:8443"
    overheard.wait_for(one.host, REGISTER)
    assert one.server.stop(20) == 0
    # The end of the plug-in says so, and so does that of its inventory.
    overheard.wait_for(one.host, DEREGISTER, count=2)

    assert [heard.kind for heard in overheard.all()] == [JOIN, REGISTER, DEREGISTER, DEREGISTER]
    for heard in overheard.all():
        assert len(heard.data) == SIZE
        assert heard.source == one.host.ipv4
        assert heard.hops == 255
        address = one.host.ipv4.encode()
        assert heard.data[4:36] == address + bytes(32 - len(address))
        assert heard.data[36:100] == url.encode() + bytes(64 - len(url))
        assert heard.data[1635] == 0
        assert heard.data[1638:1640] == bytes(2)
        lifetime = 0 if heard.kind == DEREGISTER else 65535
        assert heard.data[1636:1638] == struct.pack("<H", lifetime)
    join, register, deregister, again = overheard.all()
    assert again.data == deregister.data
    assert join.data[0:4] == b"\xff\xff\xff\xff"
    assert register.data[0:4] == b"\x00\x00\x00\x00"
    assert deregister.data[0:4] == b"\x01\x00\x00\x00"

    assert join.data[100:1635] == register.data[100:1635]
    assert deregister.data[100:1635] == bytes(1535)
    begin, end = f"(ip={one.host.ipv4}))(server=", ")"
    text = register.attributes
    assert register.data[100 : 100 + len(text)] == text.encode()
    assert register.data[100 + len(text) : 1635] == bytes(1535 - len(text))
    assert text.startswith(begin) and text.endswith(end)
    assert '"' not in text and " " not in text
    details = json.loads(text[len(begin) : -len(end)].replace("!", '"'))
    assert details["properties"]["displayId"] == "one"
    assert details["properties"]["lastUpdatedCounter"] == 0
    assert len(details["gid"]) == 64


def test_a_server_that_starts_is_listed_within_a_second_of_its_registration(peers, patience):
    listening = [after_first_pass(peers, peers.start(name, settings=SELDOM)) for name in ("one", "two")]
    listing = {peer.name: peer for peer in listening}
    passes = [peer.passes() for peer in listening]
    late = peers.make("late", settings=SELDOM)
    late.server.spawn()
    seen = {}

    def all_list_it():
        for name, peer in listing.items():
            if name not in seen and "late" in peer.listed():
                seen[name] = time.time()
        return len(seen) == len(listing)

    peers.wait_for(all_list_it, "all list it")
    assert late.registrations() == 1
    assert max(seen.values()) - late.last_registration() < 1 * patience
    assert [peer.passes() for peer in listening] == passes, "no pass has helped"


def test_a_server_that_is_terminated_is_gone_within_a_second(peers, patience):
    one, two, leaving = (peers.start(name) for name in ("one", "two", "leaving"))
    peers.wait_until_they_list_one_another(one, two, leaving)
    asked = time.monotonic()
    leaving.server.send_signal(signal.SIGTERM)
    gone = {}

    def all_have_dropped_it():
        for peer in (one, two):
            if peer.name not in gone and "leaving" not in peer.listed():
                gone[peer.name] = time.monotonic()
        return len(gone) == 2

    peers.wait_for(all_have_dropped_it, "it is gone")
    assert max(gone.values()) - asked < 1 * patience
    assert leaving.server.process.wait(20) == 0

    passes = one.passes()

    def it_stays_away():
        assert one.names() == two.names() == ["one", "two"]
        return one.passes() > passes + 3

    peers.wait_for(it_stays_away, "three further passes", 60)


def assert_next_whole_pass_shows(peers, watching, names, since):
    """It lists these before a second pass begins that might have shown them: `since` tells when things became so."""
    was_wrong_at = since

    def is_right():
        nonlocal was_wrong_at
        asked_at = time.time()
        if watching.names() == names:
            return True
        was_wrong_at = asked_at
        return False

    peers.wait_for(is_right, f"{watching.name} lists {names}", 60)
    assert watching.passes_between(since, was_wrong_at) <= 1


def test_without_announcements_a_server_that_starts_is_listed_with_the_next_whole_pass(peers):
    one = after_first_pass(peers, peers.start("one", settings=QUIET))
    late = peers.make("late", settings=QUIET)
    late.server.spawn()
    peers.wait_for(late.registrations, "it has registered")
    assert_next_whole_pass_shows(peers, one, ["late", "one"], late.last_registration())


def test_without_announcements_a_server_that_ends_is_gone_with_the_next_whole_pass(peers):
    one, leaving = (peers.start(name, settings=QUIET) for name in ("one", "leaving"))
    peers.wait_until_they_list_one_another(one, leaving)
    assert leaving.server.stop(20) == 0
    assert_next_whole_pass_shows(peers, one, ["one"], time.time())


def test_a_server_whose_attributes_do_not_fit_the_record_is_found_by_searching(segment, peers, overheard):
    one = peers.start("one")
    many = segment.host("many")
    for number in range(100, 120):
        many.add_address(f"10.88.0.{number}")
    peers.start(many)
    heard = overheard.wait_for(many, REGISTER)
    assert len(heard.data) == SIZE
    assert 0 not in heard.data[100:1635]
    assert heard.data[1635] == 0
    peers.wait_for(lambda: one.names() == ["many", "one"], "it is listed", 60)
    listed = [nic["ipV4"] for nic in one.listed()["many"]["os"]["network"]["nics"]]
    assert set(listed) >= {f"10.88.0.{number}" for number in range(100, 120)}


def test_records_of_strangers_change_nothing(segment, peers, overheard):
    one, two = peers.start("one"), peers.start("two")
    peers.wait_until_they_list_one_another(one, two)
    stranger = segment.host("stranger", ipv6=False, route=True)
    join = b"\xff" * SIZE
    for data in (b"", b"x", bytes(SIZE - 1), b"\x02" + bytes(SIZE - 1), b"\x41" * 4096, bytes(SIZE), join):
        stranger.call(announce, data)
    for peer in (one, two):
        # A join is told of, whatever else it holds; who has heard the last one has heard those before it.
        peers.wait_for(lambda peer=peer: peer.count(JOINED + "\ufffd"), f"{peer.name} has heard the stranger")
    passes = one.passes()

    def nothing_has_changed():
        assert one.names() == two.names() == ["one", "two"]
        return one.passes() > passes + 2

    peers.wait_for(nothing_has_changed, "two passes", 60)
    assert one.server.get("/healthz").status == 200
