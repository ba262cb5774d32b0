"""A server ends at once, wherever its discovery is, and whoever is silent around it."""

import pytest
from peers import PASS_BEGINS, TYPE
from process import Shells

SEARCHES = "RemoteServerDiscovery:discoverSLPServers:Going to start the discovery of x-mgmt.quorvel:kvt servers"
HAS_SEARCHED = "RemoteServerDiscovery:discoverSLPServers:the size of the KVT servers discovered is:"
HAS_SEARCHED_ALL = "RemoteServerDiscovery:discoverSLPServers:the size of the Wbem servers discovered is:"
DISPATCHES = "RemoteServerDiscovery:discoverSLPServers:the discovered service url is:"
CALLS = "RemoteServerDiscovery:addDiscoveredHost:IP is not found in mapUnreachableIP Hence going to make"

DETAILS = '{"properties":{"displayId":"dead","nics":[],"lastUpdatedCounter":0}}'


@pytest.fixture
def hostile(segment):
    """A directory agent and peers that are dead: what is sent to them vanishes. The addresses of both."""
    agent, dead = (segment.host(name, ipv6=False) for name in ("agent", "dead"))
    living = segment.host("teller", ipv6=False)
    addresses = [f"10.88.0.{number}" for number in range(200, 240)]
    for address in addresses:
        dead.add_address(address)
    segment.lose(100, agent, dead)
    shells = Shells()
    teller = shells(living)
    for address in addresses:
        teller.register(f"{TYPE}://{address}:8443", f"(ip={address}))(server={DETAILS})")
    yield agent.ipv4, addresses
    shells.finish()


@pytest.mark.parametrize(
    "moment",
    [PASS_BEGINS, SEARCHES, HAS_SEARCHED, HAS_SEARCHED_ALL, DISPATCHES, CALLS],
    ids=["begins", "searches", "has searched", "has searched all", "dispatches", "calls"],
)
def test_it_ends_in_time_in_the_middle_of_a_pass(peers, hostile, patience, moment):
    agent, _ = hostile
    one = peers.make("one", slp=f"net.slp.DAAddresses = {agent}\n")
    for _ in range(2):
        before = one.count(moment)
        one.server.spawn()
        peers.wait_for(lambda before=before: one.count(moment) > before, moment, 40)
        assert one.server.stop(2 * patience) == 0, one.server.log()


def test_it_ends_in_time_between_two_passes(peers, patience):
    one = peers.start("one", settings={"slp_find_service_interval": 600000, "ip_change_polling_interval": 600000})
    peers.wait_for(lambda: "Time taken for discoverSLPServers:" in one.server.log(), "a pass")
    assert one.server.stop(2 * patience) == 0, one.server.log()


def given_up(peer):
    """The addresses that it has found nobody at."""
    return {each["address"] for each in peer.server.get("/1.0/sightings").json["values"] if each["state"] == "failed"}


def test_silent_peers_are_not_listed_and_keep_nobody_from_the_list(peers, hostile):
    _, addresses = hostile
    one, two = peers.start_together("one", "two")
    peers.wait_for(lambda: given_up(one) >= set(addresses), "all silent ones are given up", 25)
    peers.wait_until_they_list_one_another(one, two)
