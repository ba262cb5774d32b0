"""A server whose addresses change is listed with the new ones."""

import time

import pytest


def addresses(properties, family="ipV4"):
    return {nic[family] for nic in properties["os"]["network"]["nics"] if nic[family]}


def show(peers, watching, changing, condition, what):
    """Waits until what the peer lists of the server that changes meets the condition; the properties. The first pass
    that has begun after it registered anew must show it."""
    was_missing_at = 0.0

    def met():
        nonlocal was_missing_at
        asked_at = time.time()
        found = [each for each in watching.properties() if each["displayId"] == changing.name]
        if len(found) == 1 and condition(found[0]):
            return found[0]
        was_missing_at = asked_at
        return None

    properties = peers.wait_for(met, what, 30)
    assert watching.passes_between(changing.last_registration(), was_missing_at) <= 1
    return properties


def counter(properties):
    return properties["lastUpdatedCounter"]


@pytest.fixture(params=[1, 0], ids=["announcing", "quiet"])
def pair(peers, request):
    """The server that watches, and the one that changes."""
    one, two = peers.start_together("one", "two", settings={"enable_multicast": request.param})
    peers.wait_until_they_list_one_another(one, two)
    return one, two


def test_an_address_that_is_added_is_listed_and_counted_once(peers, pair):
    one, two = pair
    two.host.add_address("10.88.0.200")
    seen = show(peers, one, two, lambda listed: "10.88.0.200" in addresses(listed), "the new address")
    assert counter(seen) == 1
    assert addresses(seen) == {two.host.ipv4, "10.88.0.200"}
    assert two.registrations() == 2
    assert one.registrations() == 1
    assert two.names() == ["one", "two"]

    passes = one.passes()
    peers.wait_for(lambda: one.names() == ["one", "two"] and one.passes() > passes + 2, "two further passes")
    assert two.registrations() == 2


def test_an_address_that_is_removed_is_no_longer_listed(peers, pair):
    one, two = pair
    two.host.add_address("10.88.0.200")
    show(peers, one, two, lambda listed: "10.88.0.200" in addresses(listed), "the new address")
    two.host.remove_address("10.88.0.200")
    seen = show(peers, one, two, lambda listed: "10.88.0.200" not in addresses(listed), "one address less")
    assert counter(seen) == 2
    assert addresses(seen) == {two.host.ipv4}
    assert two.registrations() == 3


def test_a_server_whose_address_is_replaced_is_listed_under_the_new_one_alone(peers, pair):
    one, two = pair
    before = two.host.ipv4
    two.host.remove_address(before)
    two.host.add_address("10.88.0.200")
    two.host.ipv4 = "10.88.0.200"
    seen = show(peers, one, two, lambda listed: addresses(listed) == {"10.88.0.200"}, "the new address")
    assert seen["os"]["network"]["lastCommunicatedIp"] == {"ipV4": "10.88.0.200"}
    peers.wait_until_they_list_one_another(one, two)


def test_an_address_that_went_and_returns_is_listed_again(peers, pair):
    one, two = pair
    two.host.remove_address(two.host.ipv4)
    seen = show(peers, one, two, lambda listed: addresses(listed) == set(), "no IPv4 address")
    assert addresses(seen, "ipV6") == {two.host.ipv6}
    two.host.add_address(two.host.ipv4)
    seen = show(peers, one, two, lambda listed: addresses(listed) == {two.host.ipv4}, "the address again")
    assert counter(seen) == 2
    peers.wait_until_they_list_one_another(one, two)


def test_a_server_without_an_address_at_its_start_is_found_when_it_has_one(segment, peers):
    one = peers.start("one")
    host = segment.host("two", ipv4=False, ipv6=False)
    two = peers.start(host)
    peers.wait_for(lambda: two.names() == ["two"], "it lists itself")
    assert two.registrations() == 0
    passes = one.passes()
    peers.wait_for(lambda: one.passes() > passes + 1, "a pass")
    assert one.names() == ["one"]

    host.add_address("10.88.0.200")
    host.ipv4 = "10.88.0.200"
    peers.wait_until_they_list_one_another(one, two)
    assert two.registrations() == 1
    assert addresses(one.listed()["two"]) == {"10.88.0.200"}


def test_a_server_that_loses_all_its_addresses_and_gets_one_back_is_found_again(peers, segment):
    one = peers.start("one")
    host = segment.host("two", ipv6=False)
    two = peers.start(host)
    peers.wait_until_they_list_one_another(one, two)
    address, host.ipv4 = host.ipv4, None
    host.remove_address(address)
    peers.wait_for(lambda: one.names() == ["one"], "it is gone", 60)
    assert two.names() == ["two"]
    host.add_address("10.88.0.200")
    host.ipv4 = "10.88.0.200"
    peers.wait_until_they_list_one_another(one, two)


def test_an_interface_that_comes_later_is_told_of(segment, peers, pair):
    one, two = pair
    new, _ = segment.attach(two.host, "eth1")
    seen = show(peers, one, two, lambda listed: new in addresses(listed), "the address of the new interface")
    assert {nic["name"] for nic in seen["os"]["network"]["nics"]} == {"eth0", "eth1"}
