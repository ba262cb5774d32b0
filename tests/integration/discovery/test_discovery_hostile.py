"""Strangers that answer searches as no server would: the passes go on, and whoever is honest is listed."""

import contextlib
import select
import socket
import struct

import messages
import pytest
from faults import assert_right_within_two_passes
from peers import TYPE

FOUND = "RemoteServerDiscovery:slpUrlCallback:URL that is going to be added to discoveredSLPServers is:"
DISPATCHED = "RemoteServerDiscovery:discoverSLPServers:the discovered service url is:"


class Responder:
    """Answers every search on the segment, of whatever type, three times with the same URLs. A context manager."""

    def __init__(self, host, urls):
        self._host = host
        self._urls = urls
        self._ended, self._end = socket.socketpair()
        self._answering = None

    def __enter__(self):
        ready = self._host.call(self._open)
        self._answering = self._host.submit(self._answer, ready)
        return self

    def __exit__(self, *_):
        self._end.close()
        self._answering.result(20)
        self._ended.close()

    def _open(self):
        with contextlib.ExitStack() as opened:
            listener = opened.enter_context(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
            listener.bind(("", messages.PORT))
            index = socket.if_nametoindex("eth0")
            group = struct.pack("=4s4si", socket.inet_aton(messages.GROUP_V4), bytes(4), index)
            listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, group)
            opened.pop_all()
            return listener

    def _answer(self, listener):
        with listener:
            while self._ended not in select.select([listener, self._ended], [], [])[0]:
                request, source = listener.recvfrom(65536)
                asked = messages.Reader(request)
                if asked.function != messages.SERVICE_REQUEST:
                    continue
                reply = messages.service_reply([(url, 300) for url in self._urls], xid=asked.xid)
                for _ in range(3):
                    listener.sendto(reply, source)


@pytest.mark.parametrize("types", [(TYPE,), ("service:wbem",), (TYPE, "service:wbem")], ids=["kvt", "wbem", "both"])
def test_urls_that_are_reported_again_and_again_do_not_hold_up_the_passes(peers, segment, types):
    stranger = segment.host("stranger", route=True)
    urls = [f"{each}://{stranger.ipv4}:8443" for each in types]
    two = peers.start_together("one", "two")
    with Responder(stranger, urls + urls):
        peers.wait_for(lambda: all(peer.count(FOUND + urls[0]) for peer in two), "the stranger is heard")
        assert_right_within_two_passes(peers, two)
        for peer in two:
            for url in urls:
                assert peer.count(FOUND + url) <= peer.passes()
                assert peer.count(DISPATCHED + url) <= peer.count(FOUND + url)


def test_a_server_under_such_answers_ends_in_time(peers, segment, patience):
    stranger = segment.host("stranger", route=True)
    urls = [f"{TYPE}://{stranger.ipv4}:8443"] * 5
    with Responder(stranger, urls):
        peer = peers.start("one")
        peers.wait_for(lambda: peer.count(FOUND + urls[0]), "the stranger is heard")
        assert peer.server.stop(2 * patience) == 0, peer.server.log()
