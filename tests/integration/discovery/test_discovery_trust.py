"""A peer that comes back with another certificate: it is shown as failed until somebody trusts the new one."""

import pytest
from server import SecureServer


def sighting(server, address):
    values = server.get("/1.0/sightings").json["values"]
    return next((each for each in values if each["address"] == address), {})


def passes(server):
    return server.get("/1.0/status").json["value"]["discovery"]["passes"]


@pytest.fixture
def one(peers):
    return peers.start("one", kind=SecureServer)


@pytest.fixture
def changed(peers, one):
    """A peer that one knows, and that has come back with another certificate, which one has noticed."""
    two = peers.start("two", kind=SecureServer)
    address = two.host.ipv4
    peers.wait_for(lambda: sighting(one.server, address).get("state") == "verified", "two is verified", 30)
    peers.wait_for(lambda: one.names() == ["one", "two"], "one lists two", 30)
    assert two.server.stop(20) == 0
    (two.server.state / "tls.pem").unlink()
    # As long as the passes remember it, it is listed anew without being called.
    peers.wait_for(lambda: one.names() == ["one"], "one no longer lists two", 30)
    gone = passes(one.server)
    peers.wait_for(lambda: passes(one.server) > gone + 2, "passes without two", 30)
    two.server.start()
    peers.wait_for(lambda: sighting(one.server, address).get("state") == "failed", "the failure", 30)
    return two


def test_a_changed_certificate_stays_in_the_sightings_until_it_is_trusted(peers, one, changed):
    address = changed.host.ipv4
    begun = passes(one.server)
    while passes(one.server) < begun + 3:
        seen = sighting(one.server, address)
        assert seen["state"] == "failed", seen
        assert f"The certificate of {address}:8443 has changed" in seen["reason"]

    offered = one.server.get("/1.0/peers").json["values"][0]["offered"]["fingerprint"]
    assert one.server.post("/1.0/peers/trust", {"address": f"{address}:8443", "fingerprint": offered}).status == 200
    assert one.server.search(address).status == 200
    assert sighting(one.server, address)["state"] == "verified"
    peers.wait_for(lambda: one.names() == ["one", "two"], "two is listed again", 30)


def test_kvtctl_says_what_has_changed_and_has_a_trusted_peer_searched_for_at_once(peers, one, changed):
    address = changed.host.ipv4
    refused = one.server.kvtctl("servers", "search", address, check=False)
    assert refused.returncode == 1
    assert refused.stderr.startswith(f"kvtctl: no server answers at {address}: "), refused.stderr
    assert f"The certificate of {address}:8443 has changed" in refused.stderr

    done = one.server.kvtctl("peers", "trust", f"{address}:8443")
    assert done.stdout == f"{address}:8443: trusted, and it answers\n"
    assert sighting(one.server, address)["state"] == "verified"
    peers.wait_for(lambda: one.names() == ["one", "two"], "two is listed again", 30)
