"""Servers that die, links that break, a port that somebody else has: whoever is left serves, and the lists recover."""

import contextlib
import socket

import messages
import pytest
from faults import assert_right_within_two_passes, wait_for_passes
from peers import TYPE


@pytest.fixture
def three(peers):
    three = peers.start_together("one", "two", "three")
    peers.wait_until_they_list_one_another(*three)
    return three


def test_a_killed_server_drops_out_within_two_passes_and_is_back_within_two(peers, three):
    *left, killed = three
    killed.server.kill()
    assert_right_within_two_passes(peers, left)
    killed.server.start()
    assert_right_within_two_passes(peers, three)


def test_a_killed_server_that_is_back_before_anybody_missed_it_stays_listed(peers, three):
    *_, killed = three
    killed.server.kill()
    killed.server.start()
    assert_right_within_two_passes(peers, three)


def test_all_that_are_killed_at_once_find_one_another_again(peers, three):
    for peer in three:
        peer.server.kill()
    for peer in three:
        peer.server.spawn()
    for peer in three:
        peers.wait_for(peer.server.is_ready, f"{peer.name} is ready")
    assert_right_within_two_passes(peers, three)


def test_a_server_that_is_cut_off_is_alone_and_within_two_passes_of_its_return_it_is_not(peers, segment, three):
    *left, lonely = three
    segment.cut(lonely.host)
    wait_for_passes(peers, three)
    assert lonely.names() == [lonely.name]
    assert [peer.names() for peer in left] == [["one", "two"]] * 2
    segment.restore(lonely.host)
    assert_right_within_two_passes(peers, three)


def test_a_link_that_breaks_again_and_again_leaves_the_lists_right(peers, segment, three):
    *_, lonely = three
    for _ in range(3):
        segment.cut(lonely.host)
        passes = lonely.passes()
        peers.wait_for(lambda: lonely.passes() > passes, "a pass that begins without a link")
        segment.restore(lonely.host)
    assert_right_within_two_passes(peers, three)


def test_a_server_that_was_killed_behind_a_broken_link_is_forgotten_and_found_again(peers, segment, three):
    *left, lonely = three
    segment.cut(lonely.host)
    lonely.server.kill()
    assert_right_within_two_passes(peers, left)
    lonely.server.start()
    segment.restore(lonely.host)
    assert_right_within_two_passes(peers, three)


def hold_slp_port():
    """Every socket of the port, as another program would have them that does not know how to share."""
    with contextlib.ExitStack() as held:
        for kind in (socket.SOCK_DGRAM, socket.SOCK_STREAM):
            stranger = held.enter_context(socket.socket(socket.AF_INET6, kind))
            stranger.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0)
            stranger.bind(("::", messages.PORT))
        return held.pop_all()


def test_a_server_whose_port_is_taken_serves_and_finds_and_is_found_when_the_port_is_free(peers, segment):
    left = peers.start_together("one", "two")
    host = segment.host("three")

    def answers_searches():
        asked = left[0].kvtctl("slp", "--unicast", host.ipv4, "find", TYPE, check=False)
        return asked.returncode == 0

    with host.call(hold_slp_port):
        hindered = peers.start(host)
        # Its announcement may have put it on their lists; a pass puts that right.
        wait_for_passes(peers, [*left, hindered])
        assert hindered.names() == ["one", "three", "two"]
        assert [peer.names() for peer in left] == [["one", "two"]] * 2
        assert not answers_searches()
    # Its agent looks at the port every five seconds, which is often beside passes half a minute apart.
    peers.wait_for(answers_searches, "it has the port", 6)
    assert_right_within_two_passes(peers, [*left, hindered])
