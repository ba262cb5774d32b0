"""What strangers try: floods, forged sources, broken messages, registrations that are not theirs to make."""

import socket
import time

import messages
import pytest
from netlab import wait_for
from segment import Segment, join_by_router

TYPE = "service:x-lab.example:web"

LARGE = "(text=" + "x" * 4000 + ")"


def url(host, port=8443):
    return f"{TYPE}://{host.ipv4}:{port}"


def exchange(host, request, to, seconds=10):
    """Sends a datagram from a host; the answer, or nothing when there is none in that time."""

    def ask():
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.settimeout(seconds)
            sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(host.ipv4))
            sender.sendto(request, (to, messages.PORT))
            try:
                return sender.recv(65536)
            except TimeoutError:
                return None

    return host.call(ask)


def exchange_by_stream(host, request, to):
    def ask():
        with socket.create_connection((to, messages.PORT), 10) as stream:
            stream.sendall(request)
            return stream.recv(65536)

    return host.call(ask)


@pytest.fixture
def served(shells, one, two):
    """A process with a service of large attributes, which has its port and its groups."""
    shell = shells(one)
    shell.register(url(one), LARGE)
    request = messages.service_request(TYPE, flags=messages.MULTICAST)
    wait_for(lambda: exchange(two, request, messages.GROUP_V4, 1), 20, "it serves")
    return shell


def allowed(seconds):
    """The datagrams of one source that may be answered in that time: so many each second, and its first burst."""
    return 4000 * (seconds + 1) + 8000


def flood(to):
    """Asks without pause, for seconds and until it is far more than what is allowed; what was sent and what came back,
    and the time that it took."""
    request = messages.service_request(TYPE)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.setblocking(False)
        sender.connect((to, messages.PORT))
        sent = answered = 0
        start = time.monotonic()
        passed = 0
        while passed < 3 or (sent < 2 * allowed(passed) and passed < 60):
            for _ in range(50):
                try:
                    sent += sender.send(request) > 0
                except BlockingIOError:
                    break
            try:
                while sender.recv(65536):
                    answered += 1
            except (BlockingIOError, ConnectionRefusedError):
                pass
            passed = time.monotonic() - start
        return sent, answered, passed


def test_a_flood_from_one_source_leaves_the_others_served(shells, segment, one, two, served):
    asking = shells(two)
    assert asking.urls(TYPE) == [url(one)]
    noise = segment.host("noisy").submit(flood, one.ipv4)
    rounds = 0
    while not noise.done():
        assert asking.attributes(url(one)).text == LARGE
        rounds += 1
    assert asking.urls(TYPE) == [url(one)]
    sent, answered, seconds = noise.result()
    assert rounds > 0
    assert sent >= 2 * allowed(seconds), "no flood"
    assert 0 < answered <= allowed(seconds), (sent, answered, seconds)


COSTLY_TYPE = "service:costly.example:web"

# So many that what filters need of them is not kept: each search reads them anew.
COSTLY_COUNT, COSTLY = 600, "(text=" + "x" * 60000 + ")"


@pytest.fixture
def costly(served, one):
    for number in range(COSTLY_COUNT):
        served.register(f"{COSTLY_TYPE}://{one.ipv4}:{number}", COSTLY)
    return served


def flood_by_stream(to):
    """A connection on which far more costly searches wait than can be answered during the test."""
    stream = socket.create_connection((to, messages.PORT), 10)
    stream.sendall(messages.service_request(COSTLY_TYPE, filter="(text=nothing)") * 5000)
    return stream


def flood_costly(to):
    request = messages.service_request(COSTLY_TYPE, filter="(text=nothing)")
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        for _ in range(1000):
            sender.sendto(request, (to, messages.PORT))


def test_costly_searches_from_one_source_leave_the_others_served(shells, segment, one, two, costly):
    asking = shells(segment.host("three"))
    noisy = segment.host("noisy")
    with two.call(flood_by_stream, one.ipv4):
        noisy.call(flood_costly, one.ipv4)
        # What the first of them cost has to be seen before they can be held back.
        wait_for(lambda: asking.attributes(url(one)).found, 20, "the other is served")
        for _ in range(20):
            assert asking.attributes(url(one)).text == LARGE
        assert asking.urls(TYPE) == [url(one)]


def test_the_process_ends_while_costly_searches_wait(one, costly):
    """Those of this machine are not limited, but they do not keep the process from ending either."""
    itself = "127.0.0.1"
    with one.call(flood_by_stream, itself), one.call(flood_by_stream, itself):
        wait_for(lambda: exchange(one, messages.service_request(TYPE), itself, 10), 60, "it serves others")
        costly.process.stdin.close()
        costly.process.wait(10)


@pytest.fixture
def far(segment, served):
    """A host behind a router, whose address may as well be forged."""
    with Segment(1) as elsewhere:
        far = elsewhere.host("far")
        join_by_router(segment, elsewhere)
        yield far


def test_a_source_beyond_the_link_gets_no_more_than_three_times_what_it_sent(far, one, two, served, judged):
    for request in (
        messages.attribute_request(url(one)),
        messages.attribute_request(TYPE),
        messages.service_request(TYPE),
        messages.service_request("service:service-agent"),
    ):
        answer = exchange(far, request, one.ipv4)
        assert answer is None or len(answer) <= 3 * len(request)
    cut = messages.Reader(exchange(far, messages.attribute_request(url(one)), one.ipv4))
    assert cut.flags & messages.OVERFLOW

    # The same from the link is cut to what a datagram takes, and all of it comes by a connection.
    near = exchange(two, messages.attribute_request(url(one)), one.ipv4)
    assert len(near) <= 1400
    request = messages.attribute_request(url(one))
    whole = far.call(whole_answer, request, one.ipv4)
    assert LARGE.encode() in whole


def whole_answer(request, to):
    with socket.create_connection((to, messages.PORT), 10) as stream:
        stream.sendall(request)
        data = b""
        while len(data) < 5 or len(data) < int.from_bytes(data[2:5], "big"):
            more = stream.recv(65536)
            assert more
            data += more
        return data


def test_many_urls_are_cut_for_a_source_beyond_the_link(far, one, served, judged):
    for number in range(100):
        served.register(url(one, number + 1))
    request = messages.service_request(TYPE)
    answer = exchange(far, request, one.ipv4)
    assert len(answer) <= 3 * len(request)
    assert messages.Reader(answer).flags & messages.OVERFLOW


REQUEST = messages.service_request(TYPE)

MALFORMED = {
    "cut": REQUEST[:-3],
    "length_beyond_the_end": REQUEST[:2] + (len(REQUEST) + 9).to_bytes(3, "big") + REQUEST[5:],
    "string_beyond_the_end": messages.message(messages.SERVICE_REQUEST, b"\xff\xff" + REQUEST[16:]),
    "filter_unreadable": messages.service_request(TYPE, filter="((("),
    "no_scopes_at_all": messages.message(messages.SERVICE_REQUEST, messages.text("") + messages.text(TYPE)),
    "other_version": b"\x01" + REQUEST[1:],
    "unknown_function": REQUEST[:1] + b"\x37" + REQUEST[2:],
    "nothing_but_a_header": REQUEST[:14],
    "two_bytes": REQUEST[:2],
}


def as_multicast(message):
    return message[:5] + messages.MULTICAST.to_bytes(2, "big") + message[7:] if len(message) > 6 else message


@pytest.mark.parametrize("name", MALFORMED)
def test_a_malformed_message_by_multicast_is_met_with_silence(one, two, served, name):
    """One socket sends the broken message and then a good one: the first answer is to the good one."""

    def ask():
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.settimeout(10)
            sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(two.ipv4))
            good = messages.service_request(TYPE, xid=77, flags=messages.MULTICAST)
            for request in (as_multicast(MALFORMED[name]), good):
                sender.sendto(request, (messages.GROUP_V4, messages.PORT))
            answer = sender.recv(65536)
            sender.settimeout(0.2)
            try:
                return answer, sender.recv(65536)
            except TimeoutError:
                return answer, None

    answer, surplus = two.call(ask)
    assert messages.Reader(answer).xid == 77
    assert messages.urls_of(answer) == [url(one)]
    assert surplus is None


@pytest.mark.parametrize("name", ["string_beyond_the_end", "filter_unreadable", "no_scopes_at_all"])
def test_a_malformed_message_by_unicast_is_answered_with_its_error(one, two, served, name):
    assert messages.error_of(exchange(two, MALFORMED[name], one.ipv4)) == messages.PARSE_ERROR


def test_a_registration_from_another_machine_is_refused(one, two, served, judged):
    forged = f"{TYPE}://{two.ipv4}:666"
    request = messages.registration(forged, TYPE, "(forged=1)")
    assert messages.error_of(exchange(two, request, one.ipv4)) != 0
    assert messages.error_of(exchange_by_stream(two, request, one.ipv4)) != 0
    withdrawal = messages.deregistration(url(one))
    assert messages.error_of(exchange(two, withdrawal, one.ipv4)) != 0
    assert messages.error_of(exchange_by_stream(two, withdrawal, one.ipv4)) != 0
    assert served.urls(TYPE) == [url(one)]
    assert messages.urls_of(exchange(two, messages.service_request(TYPE), one.ipv4)) == [url(one)]


def test_a_property_allows_registrations_from_other_machines(shells, one, two, judged):
    shell = shells(one, properties={"net.slp.allowRemoteRegistrations": "true"})
    shell.register(url(one))
    wait_for(lambda: exchange(one, messages.service_request(TYPE), one.ipv4, 1), 20, "it serves")
    other = f"{TYPE}://{two.ipv4}:80"
    assert messages.error_of(exchange(two, messages.registration(other, TYPE), one.ipv4)) == 0
    found = messages.urls_of(exchange(two, messages.service_request(TYPE), one.ipv4))
    assert sorted(found) == sorted([url(one), other])


def test_a_registration_of_another_machine_ends_with_its_connection_when_it_says_so(shells, one, two, judged):
    shell = shells(one, properties={"net.slp.allowRemoteRegistrations": "true"})
    shell.register(url(one))
    wait_for(lambda: exchange(one, messages.service_request(TYPE), one.ipv4, 1), 20, "it serves")
    other = f"{TYPE}://{two.ipv4}:80"

    def found():
        return sorted(messages.urls_of(exchange(two, messages.service_request(TYPE), one.ipv4)))

    def register():
        stream = socket.create_connection((one.ipv4, messages.PORT), 10)
        stream.sendall(messages.tied(messages.registration(other, TYPE)))
        return stream, stream.recv(65536)

    stream, answer = two.call(register)
    with stream:
        assert messages.error_of(answer) == 0
        assert found() == sorted([url(one), other])
    wait_for(lambda: found() == [url(one)], 20, "it ended")


def test_connections_that_say_nothing_do_not_keep_others_out(shells, segment, one, two, served):
    def connect():
        return [socket.create_connection((one.ipv4, messages.PORT), 10) for _ in range(300)]

    idle = two.call(connect)
    try:
        assert shells(segment.host("three")).attributes(url(one)).text == LARGE
    finally:
        for stream in idle:
            stream.close()
