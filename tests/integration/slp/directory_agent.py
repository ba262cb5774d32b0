"""A directory agent as the tests need it: it remembers what it is told, answers what it is asked, and falls silent on
command."""

import select
import socket
import threading

import messages
from messages import Reader


class DirectoryAgent:
    """Runs in a thread of its host from construction to close(). UDP and TCP, IPv4."""

    def __init__(self, host, boot_time=1000, discoverable=True):
        self.host = host
        self.url = f"service:directory-agent://{host.ipv4}"
        self.boot_time = boot_time
        self.silent = False
        self.registered = {}  # URL: (attributes, lifetime, "udp" or "tcp", boot time when it was told)
        self.deregistered = []
        self.requests = []  # the service types and URLs that it was asked for
        self.registrations = 0
        self._discoverable = discoverable
        self._streams = {}
        self._stop = socket.socketpair()
        self._udp, self._tcp = host.call(self._open)
        self._thread = host.submit(self._run)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _open(self):
        udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        udp.bind(("", messages.PORT))
        if self._discoverable:
            member = socket.inet_aton(messages.GROUP_V4) + socket.inet_aton(self.host.ipv4)
            udp.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, member)
        udp.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(self.host.ipv4))
        tcp = socket.create_server(("", messages.PORT))
        return udp, tcp

    def close(self):
        self._stop[0].send(b"x")
        self._thread.result(10)
        for end in (*self._stop, self._udp, self._tcp, *self._streams):
            end.close()

    def advertise(self, boot_time=None):
        """Tells everybody by multicast; a boot time of 0 is its farewell."""
        advert = messages.da_advert(self.url, self.boot_time if boot_time is None else boot_time, xid=0)
        self._udp.sendto(advert, (messages.GROUP_V4, messages.PORT))

    def restart(self, boot_time):
        """As if it had lost everything and come back."""
        self.registered.clear()
        self.boot_time = boot_time
        self.advertise()

    def _run(self):
        while True:
            ready, _, _ = select.select([self._stop[1], self._udp, self._tcp, *self._streams], [], [])
            if self._stop[1] in ready:
                return
            for end in ready:
                self._serve(end)

    def _serve(self, end):
        if end is self._udp:
            data, source = end.recvfrom(65536)
            answer = self._answer(data, "udp")
            if answer:
                end.sendto(answer, source)
        elif end is self._tcp:
            self._streams[end.accept()[0]] = b""
        else:
            self._serve_stream(end)

    def _serve_stream(self, stream):
        data = stream.recv(65536)
        if not data:
            del self._streams[stream]
            stream.close()
            return
        received = self._streams[stream] + data
        while len(received) >= 5 and len(received) >= (length := int.from_bytes(received[2:5], "big")):
            answer = self._answer(received[:length], "tcp")
            if answer:
                stream.sendall(answer)
            received = received[length:]
        self._streams[stream] = received

    def _answer(self, data, by):
        request = Reader(data)
        if self.silent:
            return None
        answers = {
            messages.SERVICE_REQUEST: self._find,
            messages.ATTRIBUTE_REQUEST: self._attributes,
            messages.REGISTRATION: self._register,
            messages.DEREGISTRATION: self._deregister,
        }
        answer = answers.get(request.function)
        return answer(request, by) if answer else None

    def _find(self, request, _):
        previous, service_type = request.text(), request.text()
        if service_type == "service:directory-agent":
            if not self._discoverable and request.flags & messages.MULTICAST:
                return None
            if self.host.ipv4 in previous.split(","):
                return None
            return messages.da_advert(self.url, self.boot_time, xid=request.xid)
        if request.flags & messages.MULTICAST:
            return None
        self.requests.append(service_type)
        found = [(url, told[1]) for url, told in self.registered.items() if url.startswith(service_type + ":")]
        return messages.service_reply(found, xid=request.xid)

    def _attributes(self, request, _):
        request.text()
        url = request.text()
        if request.flags & messages.MULTICAST:
            return None
        self.requests.append(url)
        return messages.attribute_reply(self.registered.get(url, ("",))[0], xid=request.xid)

    def _register(self, request, by):
        url, lifetime = request.url_entry()
        request.text(), request.text()
        self.registrations += 1
        self.registered[url] = (request.text(), lifetime, by, self.boot_time)
        return messages.acknowledge(xid=request.xid)

    def _deregister(self, request, _):
        request.text()
        url, _ = request.url_entry()
        self.registered.pop(url, None)
        self.deregistered.append(url)
        return messages.acknowledge(xid=request.xid)
