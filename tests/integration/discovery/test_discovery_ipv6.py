"""Hosts that have no IPv4 address register and are found."""

from peers import TYPE


def without_ipv4(segment, peers, *names):
    return [peers.start(segment.host(name, ipv4=False)) for name in names]


def test_hosts_without_ipv4_list_one_another(segment, peers):
    three = without_ipv4(segment, peers, "one", "two", "three")
    peers.wait_until_they_list_one_another(*three)
    one, two, _ = three
    assert [name for name, each in one.listed().items() if each.get("isPivot")] == ["one"]
    listed = one.listed()["two"]["os"]["network"]
    assert listed["lastCommunicatedIp"] == {"ipV6": two.host.ipv6}
    assert {nic["ipV6"] for nic in listed["nics"]} == {two.host.ipv6}
    assert f"RemoteServerDiscovery:registerSLPService:strRegUrl={TYPE}://{two.host.ipv6}:8443" in two.server.log()


def test_a_host_without_ipv4_that_ends_is_gone(segment, peers):
    one, two = without_ipv4(segment, peers, "one", "two")
    peers.wait_until_they_list_one_another(one, two)
    assert two.server.stop(20) == 0
    peers.wait_until_all_list([one], ["one"], 60)


def test_an_address_that_is_added_is_listed(segment, peers):
    one, two = without_ipv4(segment, peers, "one", "two")
    peers.wait_until_they_list_one_another(one, two)
    two.host.add_address("fd88::200")

    def is_listed():
        properties = one.listed().get("two")
        return properties and "fd88::200" in {nic["ipV6"] for nic in properties["os"]["network"]["nics"]}

    peers.wait_for(is_listed, "the new address", 30)


def test_a_host_of_both_families_and_one_without_ipv4_list_one_another(segment, peers):
    """The one of both is known by its IPv4 address; its details tell the other one how to reach it."""
    both = peers.start("both")
    (alone,) = without_ipv4(segment, peers, "alone")
    peers.wait_until_they_list_one_another(both, alone)
