"""Servers that were told nothing list one another, and go on doing so."""

import pytest
from peers import compact

NAMES = ["one", "two", "three"]


@pytest.fixture
def three(peers):
    started = peers.start_together(*NAMES)
    peers.wait_until_they_list_one_another(*started)
    return started


def test_three_servers_list_one_another(three):
    for peer in three:
        answer = peer.server.list()
        assert answer["count"] == 3
        assert len(answer["values"]) == 3


def test_the_server_that_answers_is_the_pivot(three):
    for peer in three:
        assert [name for name, each in peer.listed().items() if each.get("isPivot")] == [peer.name]


def test_what_is_listed_are_the_details_of_each(three):
    details = {peer.name: compact(peer.own()) for peer in three}
    for peer in three:
        for name, properties in peer.listed().items():
            listed, own = compact(properties), details[name]
            for subject in ("displayId", "build", "health"):
                assert listed[subject] == own[subject], (peer.name, name)
            for subject in ("name", "version"):
                assert listed["os"][subject] == own["os"][subject], (peer.name, name)
            assert listed["os"]["network"]["nics"] == own["os"]["network"]["nics"]
            # What others register of themselves tells where they listen, and no more of their agents.
            assert listed["agents"] == (own["agents"] if name == peer.name else own["agents"][0]["listen"])
    for peer in three:
        assert peer.host.ipv4 in [nic["ipV4"] for nic in details[peer.name]["os"]["network"]["nics"]]


def test_a_list_tells_by_which_address_each_server_was_reached(three, peers):
    """Of one that is only known by its announcement nobody can tell, until a pass has asked it."""
    expected = {peer.name: {"ipV4": peer.host.ipv4} for peer in three}
    for peer in three:

        def reached(peer=peer):
            listed = peer.listed()
            return {name: each["os"]["network"].get("lastCommunicatedIp") for name, each in listed.items()}

        peers.wait_for(lambda: reached() == expected, f"{peer.name} tells {expected}")


def test_nothing_changes_while_nothing_happens(three, peers):
    before = [peer.passes() for peer in three]

    def all_have_made_five_passes():
        assert [peer.names() for peer in three] == [sorted(NAMES)] * 3
        return all(peer.passes() >= passes + 6 for peer, passes in zip(three, before))

    peers.wait_for(all_have_made_five_passes, "five passes each", 60)
    assert [peer.registrations() for peer in three] == [1, 1, 1]
    assert [peer.listed()[peer.name].get("lastUpdatedCounter", 0) for peer in three] == [0, 0, 0]


def test_they_find_one_another_without_announcements(peers):
    peers.wait_until_they_list_one_another(*(peers.start(name, settings={"enable_multicast": 0}) for name in NAMES))


def test_they_find_one_another_whether_or_not_they_have_a_route_for_multicast(segment, peers):
    with_route = peers.start(segment.host("with-route", route=True))
    without = peers.start(segment.host("without-route"))
    peers.wait_until_they_list_one_another(with_route, without)


def test_a_server_alone_lists_itself(peers):
    alone = peers.start("alone")
    peers.wait_for(lambda: alone.passes() > 2, "two passes")
    assert alone.names() == ["alone"]
    assert alone.listed()["alone"]["isPivot"] is True
