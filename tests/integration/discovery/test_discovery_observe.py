"""What a server says of its work: metrics, status, and why each of the others is listed."""

import re
import struct

from announcements import announce

SETTINGS = {"slp_find_service_interval": 1000}

SAMPLE = re.compile(r'^([a-z_:][a-z0-9_:]*)(?:\{((?:[a-z_]+="(?:[^"\\\n]|\\.)*",?)*)\})? (-?[0-9.e+-]+|\+Inf|NaN)$', re.I)
LABEL = re.compile(r'([a-z_]+)="((?:[^"\\]|\\.)*)"')


def metrics(server):
    """The samples by name and labels, of a page that is as the format wants it."""
    answer = server.get("/metrics")
    assert answer.status == 200
    samples, typed = {}, set()
    for line in answer.body.decode().splitlines():
        if line.startswith("# TYPE "):
            name, kind = line.split()[2:]
            assert kind in ("counter", "gauge", "histogram")
            assert name not in typed, f"{name} is there twice"
            typed.add(name)
        elif line and not line.startswith("#"):
            sample = SAMPLE.match(line)
            assert sample, line
            name = sample[1]
            assert name in typed or re.sub("_(bucket|sum|count)$", "", name) in typed, f"{name} has no type"
            key = (name, tuple(sorted(LABEL.findall(sample[2] or ""))))
            assert key not in samples, line
            samples[key] = float(sample[3])
    return samples


def value(server, name, **labels):
    return metrics(server).get((name, tuple(sorted(labels.items()))), 0)


def sighting(server, address):
    answer = server.get("/1.0/sightings").json
    assert answer["count"] == len(answer["values"])
    return next((each for each in answer["values"] if each["address"] == address), None)


def test_a_peer_that_comes_and_goes_is_in_sightings_metrics_and_status(segment, peers):
    one = peers.start(segment.host("one"), settings=SETTINGS)
    two = peers.start(segment.host("two"), settings=SETTINGS)
    address = two.host.ipv4

    def is_known():
        seen = sighting(one.server, address)
        return seen and seen["state"] == "verified" and {"announcement", "slp"} <= set(seen["sources"])

    peers.wait_for(is_known, "an announcement and a verification")
    seen = sighting(one.server, address)
    assert seen["displayId"] == "two"
    assert seen["sources"]["announcement"]["first"] <= seen["sources"]["announcement"]["last"]
    assert seen["verified"]
    assert value(one.server, "kvt_announce_records_total", kind="register") >= 1
    assert value(one.server, "kvt_slp_messages_sent_total", kind="SrvRqst") >= 1
    assert value(one.server, "kvt_slp_messages_received_total", kind="SrvRply") >= 1
    assert value(one.server, "kvt_discovery_passes_total") >= 1
    status = one.server.get("/1.0/status").json["value"]
    assert status["discovery"]["lastPass"]["found"] >= 1
    assert status["servers"]["verified"] >= 1
    assert [each["isJoined"] for each in status["interfaces"]] == [True]

    assert two.server.stop(20) == 0
    peers.wait_for(lambda: sighting(one.server, address)["state"] == "left", "its going")
    assert sighting(one.server, address)["reason"]


def test_records_that_are_none_are_counted_by_reason(segment, peers):
    one = peers.start(segment.host("one"), settings=SETTINGS)
    stranger = segment.host("stranger", route=True)

    def record(kind, attributes=b""):
        return (struct.pack("<i", kind) + bytes(96) + attributes).ljust(1640, b"\0")

    bad = {
        "unknown kind": record(77),
        "no details": record(0, b"(ip=192.0.2.77)"),
        "unreadable details": record(0, b"(ip=192.0.2.77),(server={!a!:)"),
        "address too long": record(0, b"(ip=" + b"1" * 300 + b"),(server={!a!:1})"),
    }

    def dropped(reason):
        return value(one.server, "kvt_announce_records_dropped_total", reason=reason)

    for reason, data in bad.items():
        def hears():
            stranger.call(announce, data)
            return dropped(reason) >= 1
        peers.wait_for(hears, reason)
        assert one.server.get("/1.0/status").json["value"]["announcements"]["dropped"][reason] >= 1
    assert sighting(one.server, "192.0.2.77") is None


def test_requests_are_counted_by_the_template_of_their_resource_and_by_nothing_of_theirs(segment, peers):
    one = peers.start(segment.host("one"), settings=SETTINGS)
    for path in ("/1.0/servers/self", "/1.0/servers/nobody", "/secret", "/%00", "/1.0/servers?token=secret"):
        one.server.get(path)
    assert value(one.server, "kvt_http_requests_total", resource="/1.0/servers/{server_id}", method="GET",
                 status="4xx") >= 1
    assert value(one.server, "kvt_http_requests_total", resource="other", method="GET", status="4xx") >= 2
    assert b"secret" not in one.server.get("/metrics").body
    assert one.server.get("/readyz").status == 200
