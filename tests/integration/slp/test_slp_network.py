"""Networks as they are: lossy, of many interfaces, with some that come later, and without IPv4."""

import pytest
from messages import GROUP_V4
from netlab import wait_for
from segment import Host, Segment

TYPE = "service:x-lab.example:web"


def url(host, port=8443):
    address = host.ipv4 or (f"[{host.ipv6}]" if host.ipv6 else "[::1]")
    return f"{TYPE}://{address}:{port}"


def find_until(shell, expected, seconds=30):
    wait_for(lambda: shell.urls(TYPE) == sorted(expected), seconds, f"{expected} are found")


def test_a_list_does_not_flap_when_three_packets_of_ten_are_lost_each_way(shells, segment):
    hosts = [segment.host(f"responder{number}") for number in range(3)]
    for host in hosts:
        shells(host).register(url(host))
    asking = shells(segment.host("asking"))
    segment.lose(30)
    everything = sorted(url(host) for host in hosts)
    find_until(asking, everything, 60)
    assert [asking.urls(TYPE) for _ in range(12)] == [everything] * 12
    assert segment.lost() > 12


def test_attributes_arrive_when_three_packets_of_ten_are_lost_each_way(shells, segment, one, two):
    first, second = shells(one), shells(two)
    first.register(url(one), "(text=" + "x" * 1000 + ")")
    segment.lose(30)
    find_until(second, [url(one)], 60)
    for _ in range(12):
        assert second.attributes(url(one)).text == "(text=" + "x" * 1000 + ")"
    assert segment.lost() > 0


def test_an_interface_that_is_added_later_is_served_and_searched(shells, segment, one, judged):
    here = shells(one)
    here.register(url(one))
    with Segment(1) as later:
        other = later.host("other")
        there = shells(other)
        there.register(url(other))
        assert there.urls(TYPE) == [url(other)]
        later.attach(one, "eth1")
        find_until(there, [url(one), url(other)])
        find_until(here, [url(one), url(other)])
        there.end()


def test_a_process_that_began_without_a_network_is_found_when_it_has_one(shells, segment, one, judged):
    host = Host("unplugged")
    segment.hosts.append(host)
    early = shells(host)
    early.register(f"{TYPE}://10.88.0.9:80")
    asking = shells(one)
    assert asking.urls(TYPE) == []
    segment.attach(host)
    find_until(asking, [f"{TYPE}://10.88.0.9:80"])


def test_an_interface_that_went_and_came_back_is_served_again(shells, one, two, judged):
    first, second = shells(one), shells(two)
    first.register(url(one))
    find_until(second, [url(one)])
    one.run("ip", "link", "set", "eth0", "down")
    find_until(second, [])
    one.run("ip", "link", "set", "eth0", "up")
    find_until(second, [url(one)])


def test_hosts_without_ipv4_find_each_other(shells, segment, judged):
    hosts = [segment.host(name, ipv4=False) for name in ("one", "two")]
    first, second = (shells(host) for host in hosts)
    big = "(text=" + "x" * 20000 + ")"
    first.register(url(hosts[0]), big)
    second.register(url(hosts[1]), "(name=second)")
    for shell in (first, second):
        find_until(shell, [url(host) for host in hosts])
        assert shell.attributes(url(hosts[0])).text == big
        assert shell.attributes(url(hosts[1])).text == "(name=second)"
        assert shell.types() == [TYPE]


def test_hosts_with_nothing_but_link_local_addresses_find_each_other(shells, segment, judged):
    hosts = [segment.host(name, ipv4=False) for name in ("one", "two")]
    for host in hosts:
        host.run("ip", "-6", "address", "flush", "dev", "eth0", "scope", "global")
    first, second = (shells(host) for host in hosts)
    big = "(text=" + "x" * 20000 + ")"
    first.register(f"{TYPE}://one.example:80", big)
    find_until(second, [f"{TYPE}://one.example:80"])
    assert second.attributes(f"{TYPE}://one.example:80").text == big


@pytest.mark.parametrize("family", ["ipv4", "ipv6"])
def test_a_host_with_one_family_finds_one_that_has_both(shells, segment, judged, family):
    both = segment.host("both")
    alone = segment.host("alone", ipv4=family == "ipv4", ipv6=family == "ipv6")
    first, second = shells(both), shells(alone)
    first.register(url(both), "(a=1)")
    second.register(url(alone), "(a=2)")
    for shell in (first, second):
        find_until(shell, [url(both), url(alone)])
        assert shell.attributes(url(alone)).text == "(a=2)"
        # The host of the URL may be out of reach, but not the agent that sent it.
        assert shell.attributes(url(both)).text == "(a=1)"


INTERFACES = 25


@pytest.fixture
def much_connected(segment):
    """Two hosts with a cable for each of their interfaces, a network of its own on each."""
    left, right = Host("left"), Host("right")
    segment.hosts += [left, right]
    for number in range(INTERFACES):
        name = f"eth{number}"
        left.run("ip", "link", "add", name, "type", "veth", "peer", "name", name, "netns", right.path)
        for host, last in ((left, 1), (right, 2)):
            host.run("ip", "address", "add", f"10.99.{number}.{last}/24", "dev", name)
            host.run("ip", "link", "set", name, "up")
    left.ipv4, right.ipv4 = "10.99.0.1", "10.99.0.2"
    return left, right


def test_every_one_of_many_interfaces_is_served_and_searched(shells, much_connected, record):
    left, right = much_connected
    here, there = shells(left), shells(right)
    here.register(url(left))
    find_until(there, [url(left)])

    recorder = record(right, "any")
    assert there.urls(TYPE) == [url(left)]
    recorder.stop()
    request = f'ip.dst == {GROUP_V4} && srvloc.srvreq.srvtypelist == "{TYPE}"'
    everywhere = {f"10.99.{number}.2" for number in range(INTERFACES)}
    assert {source for source, in recorder.fields(request, "ip.src")} == everywhere

    # What a group asks reaches the agent by whichever interface; one socket of this kernel holds 20 memberships.
    for interface in ("10.99.0.2", "10.99.19.2", "10.99.20.2", "10.99.24.2", "eth24"):
        assert there.do("interfaces", interface).result == 0
        assert there.urls(TYPE) == [url(left)], interface


def test_a_search_tied_to_one_interface_leaves_the_others_alone(shells, segment, one, two, record):
    with Segment(1) as second_segment:
        second_segment.attach(two, "eth1")
        shell, asked = shells(two), shells(one)
        asked.register(url(one))
        recorder = record(two, "eth1")
        assert shell.do("interfaces", two.ipv4).result == 0
        find_until(shell, [url(one)])
        recorder.stop()
        assert recorder.count("srvloc") == 0
        shell.end()


def test_a_host_on_two_networks_carries_nothing_from_one_to_the_other(shells, segment, one, record):
    """It answers on each for itself; it is no relay."""
    with Segment(1) as other:
        middle = segment.host("middle")
        other.attach(middle, "eth1")
        between, far = shells(middle), shells(other.host("far"))
        between.register(url(middle))
        far.register(url(far.host))
        asking = shells(one)
        find_until(asking, [url(middle)])
        recorder = record(middle, "eth1")
        assert asking.urls(TYPE) == [url(middle)]
        assert asking.types() == [TYPE]
        recorder.stop()
        assert recorder.count(f"ip.addr == {one.ipv4} || ipv6.addr == {one.ipv6}") == 0
        # Other requests are the agents' own, who look for directory agents.
        assert recorder.count(f'srvloc.function == 9 || srvloc.srvreq.srvtypelist == "{TYPE}"') == 0
        far.end()
