"""What the settings make of a server: hidden, idle, quiet, trusting or strict."""

import json
import subprocess

import pytest
from announcements import DEREGISTER, JOIN, REGISTER, announce
from output import read_until
from peers import TYPE


def after_passes(peers, peer, number=3):
    passes = peer.passes()
    peers.wait_for(lambda: peer.passes() > passes + number, f"{number} passes", 60)


def test_an_installation_of_oem_type_3_finds_the_others_and_is_not_found(segment, peers, overheard):
    one = peers.start("one")
    hidden = peers.start(segment.host("hidden", route=True), settings={"installation_oem_type": 3})
    peers.wait_until_all_list([hidden], ["hidden", "one"])
    after_passes(peers, one)
    assert one.names() == ["one"]
    assert hidden.names() == ["hidden", "one"]
    assert hidden.registrations() == 0
    found = one.kvtctl("slp", "--unicast", hidden.host.ipv4, "find", TYPE, check=False)
    assert found.returncode != 0
    assert found.stdout == ""
    assert hidden.server.stop(20) == 0
    assert one.server.stop(20) == 0
    overheard.wait_for(one.host, DEREGISTER)  # which comes after whatever the other one had to say
    # At most it withdraws, as it ends, what it has registered, which is nothing: that tells nobody of it.
    for heard in overheard.all():
        if heard.source == hidden.host.ipv4:
            assert (heard.kind, heard.address, heard.url, heard.attributes) == (DEREGISTER, "", "", "")


def test_an_installation_of_type_1_is_found_and_does_not_search(peers, overheard):
    one = peers.start("one")
    idle = peers.start("idle", settings={"installation_type": 1})
    peers.wait_until_all_list([one], ["idle", "one"])
    overheard.wait_for(idle.host, JOIN)
    overheard.wait_for(idle.host, REGISTER)
    after_passes(peers, one)
    assert one.names() == ["idle", "one"]
    assert idle.names() == ["idle"]
    assert idle.passes() == 0
    assert idle.server.stop(20) == 0
    peers.wait_until_all_list([one], ["one"])


def test_a_server_that_does_not_announce_sends_nothing_to_the_group(segment, peers, overheard):
    one, two = peers.start_together("one", "two", settings={"enable_multicast": 0})
    peers.wait_until_they_list_one_another(one, two)
    two.host.add_address("10.88.0.200")
    peers.wait_for(lambda: two.registrations() == 2, "it has registered again")
    peers.wait_for(lambda: one.listed().get("two", {}).get("lastUpdatedCounter") == 1, "its change is listed")
    assert two.server.stop(20) == 0
    # What comes last says that whatever came before it has been heard.
    speaker = segment.host("speaker", ipv6=False, route=True)
    speaker.call(announce, b"the end")
    peers.wait_for(overheard.all, "the end is heard")
    assert [heard.data for heard in overheard.all()] == [b"the end"]


class Forger:
    """A host whose server is not registered by itself, but with attributes of somebody else's making."""

    def __init__(self, peer, attributes):
        url = f"{TYPE}://{peer.host.ipv4}:8443"
        command = peer.host.command(peer.control, "slp", "register", url, attributes)
        self._process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def __enter__(self):
        read_until(self._process.stdout, "registered", 60)
        return self

    def __exit__(self, *_):
        self._process.kill()
        self._process.wait()
        self._process.stdout.close()


def attributes_of(peer):
    """The details that a server has registered."""
    text = peer.kvtctl("slp", "attrs", f"{TYPE}://{peer.host.ipv4}:8443").stdout.rstrip("\n")
    begin, end = f"(ip={peer.host.ipv4}))(server=", ")"
    assert text.startswith(begin) and text.endswith(end), text
    return json.loads(text[len(begin) : -len(end)])


def forged(one, address):
    """What another server has registered, under a name and an address that its digest does not cover."""
    details = attributes_of(one)
    details["properties"]["displayId"] = "forged"
    for nics in (details["properties"]["nics"], details["properties"]["os"]["network"]["nics"]):
        nics[0]["ipV4"], nics[0]["ipV6"] = address, ""
    return f"(ip={address}))(server={json.dumps(details, separators=(',', ':'))})"


@pytest.mark.parametrize("strictness", [0, 1, 2])
def test_a_server_with_a_wrong_digest_is_left_out_only_when_strict(peers, strictness):
    one, two = peers.start_together("one", "two", settings={"slp_find_service_strictness": strictness})
    forger = peers.start("forger", settings={"installation_oem_type": 3})
    peers.wait_until_all_list([one, two], ["one", "two"])
    address = forger.host.ipv4
    with Forger(forger, forged(one, address)):
        entered = f"RemoteServerDiscovery:addDiscoveredHost:entered with strServerIp:{address}"
        for peer in (one, two):
            peers.wait_for(lambda peer=peer: peer.count(entered) > 1, f"{peer.name} has looked at it", 60)
        expected = ["one", "two"] if strictness == 2 else ["forged", "one", "two"]
        peers.wait_until_all_list([one, two], expected)
        after_passes(peers, one, 1)
        assert one.names() == expected
    for peer, other in ((one, two), (two, one)):
        verified = f"RemoteServerDiscovery:addDiscoveredHost: success verification for  strServerIp:{other.host.ipv4}"
        failed = f"RemoteServerDiscovery:addDiscoveredHost: Failed to verify strServerIp:{address}"
        assert (peer.count(verified) > 0) == (strictness != 0)
        assert (peer.count(failed) > 0) == (strictness != 0)
        assert peer.count("Failed to verify") == peer.count(failed), "nobody else has failed"


def test_strict_servers_list_one_another_with_whatever_names_they_have(peers):
    """Blanks of the system's name are lost on the way, and the digest holds all the same."""
    strict = {"slp_find_service_strictness": 2}
    one, two, three = peers.start_together("one", "two", "three", settings=strict)
    assert " " in two.own()["os"]["name"]
    peers.wait_until_they_list_one_another(one, two, three)
    after_passes(peers, one)
    assert one.names() == ["one", "three", "two"]
