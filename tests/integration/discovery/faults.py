"""What the tests of faults share: time told in passes, which is what a list needs to be right again."""


def wait_for_passes(peers, of, count=2):
    """Until each of the servers has made that many passes that began after this call, and published them."""
    begun = {peer: peer.passes() for peer in of}
    for peer in of:
        # The one that begins next says that the last of them has been published.
        peers.wait_for(lambda peer=peer: peer.passes() > begun[peer] + count, f"{count} passes of {peer.name}", 60)


def assert_right_within_two_passes(peers, of):
    """The servers list one another, and nobody else, as soon as that."""
    wait_for_passes(peers, of)
    names = sorted(peer.name for peer in of)
    assert [(peer.name, peer.names()) for peer in of] == [(peer.name, names) for peer in of]
