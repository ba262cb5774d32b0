"""A minute in which three packets of ten are lost each way."""

import time

from faults import assert_right_within_two_passes

SECONDS = 60


def seconds_to_serve(peer):
    """How long a person beside the server waits for its list, which the server itself is always on."""
    begun = time.monotonic()
    assert peer.name in peer.names()
    return time.monotonic() - begun


def test_servers_go_on_serving_and_the_lists_are_right_within_two_passes_after_it(peers, segment, patience):
    three = peers.start_together("one", "two", "three")
    peers.wait_until_they_list_one_another(*three)
    segment.lose(30)
    end = time.monotonic() + SECONDS
    while time.monotonic() < end:
        for peer in three:
            assert seconds_to_serve(peer) < 5 * patience
        time.sleep(0.2)
    assert segment.lost() > 100
    segment.lose_nothing()
    assert_right_within_two_passes(peers, three)


def test_a_server_that_starts_amid_losses_is_listed_within_two_passes_after_them(peers, segment):
    left = peers.start_together("one", "two")
    peers.wait_until_they_list_one_another(*left)
    segment.host("three")
    segment.lose(30)
    late = peers.start(segment.hosts[-1])
    deadline = late.passes() + 5
    peers.wait_for(lambda: late.passes() >= deadline, "some passes amid losses", 60)
    segment.lose_nothing()
    assert_right_within_two_passes(peers, [*left, late])
