"""Fifty servers on one segment: three real ones, and stand-ins that take part with real packets."""

import pytest
from faults import wait_for_passes
from responders import Responders

NAMES = ("one", "two", "three")
STAND_INS = 47


@pytest.fixture
def stand_ins(segment, build):
    with Responders(build) as responders:
        responders.start([segment.host(f"stand-in-{number}") for number in range(1, STAND_INS + 1)])
        yield responders.all


def test_three_servers_among_fifty_list_all_fifty(peers, stand_ins, patience):
    # The digest of every one of them must be right.
    three = [peers.start(name, settings={"slp_find_service_strictness": 2}) for name in NAMES]
    expected = [*NAMES, *(responder.host.name for responder in stand_ins)]
    peers.wait_until_all_list(three, expected, 60)

    asked = [responder.asked for responder in stand_ins]
    assert all(number >= len(three) for number in asked)
    wait_for_passes(peers, three, 3)
    assert [peer.names() for peer in three] == [sorted(expected)] * 3
    # Who is known and unchanged is not asked again.
    assert [responder.asked for responder in stand_ins] == asked

    gone, stay = stand_ins[:10], [responder.host.name for responder in stand_ins[10:]]
    for responder in gone:
        responder.stop()
    wait_for_passes(peers, three)
    assert [peer.names() for peer in three] == [sorted([*NAMES, *stay])] * 3
