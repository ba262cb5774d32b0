"""Announce records as they pass on the wire, each with the time at which it came."""

import dataclasses
import socket
import struct
import threading
import time

from netlab import wait_for

GROUP = "239.255.255.253"
PORT = 1847

_IP_RECVTTL = 12  # which this python does not name

JOIN, REGISTER, DEREGISTER = -1, 0, 1


@dataclasses.dataclass(frozen=True)
class Announcement:
    data: bytes
    source: str
    hops: int
    time: float

    @property
    def kind(self):
        return struct.unpack_from("<i", self.data, 0)[0]

    @property
    def address(self):
        return self.text(4, 32)

    @property
    def url(self):
        return self.text(36, 64)

    @property
    def attributes(self):
        return self.text(100, 1536)

    @property
    def lifetime(self):
        return struct.unpack_from("<H", self.data, 1636)[0]

    def text(self, offset, size):
        return self.data[offset : offset + size].split(b"\0")[0].decode()


def announce(data):
    """Sends it to the group, from the host whose thread calls; no record has to be in it."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.sendto(data, (GROUP, PORT))


class Announcements:
    """Listens on a host from construction to the end of its context."""

    def __init__(self, host):
        self._heard = []
        self._has_ended = False
        self._socket = host.call(self._open, host.ipv4)
        self._thread = threading.Thread(target=self._listen, daemon=True)
        self._thread.start()

    @staticmethod
    def _open(address):
        listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.setsockopt(socket.SOL_IP, _IP_RECVTTL, 1)
        membership = socket.inet_aton(GROUP) + socket.inet_aton(address)
        listener.setsockopt(socket.SOL_IP, socket.IP_ADD_MEMBERSHIP, membership)
        listener.bind(("", PORT))
        return listener

    def _listen(self):
        while True:
            try:
                data, ancillary, _, source = self._socket.recvmsg(4096, 64)
            except OSError:
                return
            if self._has_ended:
                return
            hops = struct.unpack("@i", ancillary[0][2])[0]
            self._heard.append(Announcement(data, source[0], hops, time.monotonic()))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._has_ended = True
        try:
            self._socket.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass  # it has no peer to say so to; what is asleep in it awakes all the same
        self._thread.join(10)
        self._socket.close()

    def all(self):
        return list(self._heard)

    def of(self, host, kind):
        """Those of one host and kind, by the address that they tell."""
        return [heard for heard in self.all() if heard.kind == kind and heard.address == host.ipv4]

    def wait_for(self, host, kind, count=1, seconds=20):
        """The one of that host and kind that has this number."""
        wait_for(lambda: len(self.of(host, kind)) >= count, seconds, f"{host.name} announces {kind}: {self.all()}")
        return self.of(host, kind)[count - 1]
