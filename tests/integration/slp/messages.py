"""SLPv2 messages as bytes (RFC 2608), for those whom the tests play themselves. It shares nothing with the library."""

import struct

PORT = 427
GROUP_V4 = "239.255.255.253"

SERVICE_REQUEST, SERVICE_REPLY, REGISTRATION, DEREGISTRATION, ACKNOWLEDGE = 1, 2, 3, 4, 5
ATTRIBUTE_REQUEST, ATTRIBUTE_REPLY, DA_ADVERT, TYPE_REQUEST, TYPE_REPLY, SA_ADVERT = 6, 7, 8, 9, 10, 11

OVERFLOW, FRESH, MULTICAST = 0x8000, 0x4000, 0x2000

PARSE_ERROR, INVALID_REGISTRATION = 2, 3


def text(value):
    data = value.encode() if isinstance(value, str) else value
    return struct.pack("!H", len(data)) + data


def url_entry(url, lifetime):
    return struct.pack("!BH", 0, lifetime) + text(url) + b"\0"


def message(function, body, flags=0, xid=1, language="en"):
    head = text(language)
    length = 12 + len(head) + len(body)
    start = struct.pack("!BB", 2, function) + length.to_bytes(3, "big")
    # The offset of the first extension, three bytes, stays 0.
    return start + struct.pack("!HHBH", flags, 0, 0, xid) + head + body


def service_request(service_type, scopes="DEFAULT", filter="", previous="", **header):
    body = text(previous) + text(service_type) + text(scopes) + text(filter) + text("")
    return message(SERVICE_REQUEST, body, **header)


def attribute_request(url, scopes="DEFAULT", tags="", **header):
    return message(ATTRIBUTE_REQUEST, text("") + text(url) + text(scopes) + text(tags) + text(""), **header)


def registration(url, service_type, attributes="", lifetime=300, scopes="DEFAULT", **header):
    body = url_entry(url, lifetime) + text(service_type) + text(scopes) + text(attributes) + b"\0"
    return message(REGISTRATION, body, **{"flags": FRESH, **header})


def tied(registration):
    """The registration, to end with its connection: the last field of its header is where its extensions begin."""
    length = len(registration)
    start = registration[:2] + (length + 5).to_bytes(3, "big") + registration[5:7] + length.to_bytes(3, "big")
    return start + registration[10:] + struct.pack("!H", 0x8427) + b"\0\0\0"


def deregistration(url, scopes="DEFAULT", **header):
    return message(DEREGISTRATION, text(scopes) + url_entry(url, 0) + text(""), **header)


def service_reply(urls, error=0, **header):
    """`urls`: pairs of a URL and a lifetime."""
    entries = b"".join(url_entry(url, lifetime) for url, lifetime in urls)
    return message(SERVICE_REPLY, struct.pack("!HH", error, len(urls)) + entries, **header)


def attribute_reply(attributes, error=0, **header):
    return message(ATTRIBUTE_REPLY, struct.pack("!H", error) + text(attributes) + b"\0", **header)


def acknowledge(error=0, **header):
    return message(ACKNOWLEDGE, struct.pack("!H", error), **header)


def da_advert(url, boot_time, scopes="DEFAULT", **header):
    body = struct.pack("!HI", 0, boot_time) + text(url) + text(scopes) + text("") + text("") + b"\0"
    return message(DA_ADVERT, body, **header)


class Reader:
    """Takes a message apart, from the front; raises when it ends too soon."""

    def __init__(self, data):
        self._data = data
        self._at = 0
        self.version, self.function = self.number("!BB")
        self.length = int.from_bytes(self.bytes(3), "big")
        self.flags, _, _, self.xid = self.number("!HHBH")
        self.language = self.text()

    def bytes(self, count):
        assert self._at + count <= len(self._data)
        self._at += count
        return self._data[self._at - count : self._at]

    def number(self, layout):
        return struct.unpack(layout, self.bytes(struct.calcsize(layout)))

    def text(self):
        return self.bytes(self.number("!H")[0]).decode()

    def url_entry(self):
        """URL and lifetime."""
        _, lifetime = self.number("!BH")
        url = self.text()
        assert self.bytes(1) == b"\0"
        return url, lifetime


def error_of(data):
    """The error code of a reply; none of a request."""
    reader = Reader(data)
    with_error = (SERVICE_REPLY, ACKNOWLEDGE, ATTRIBUTE_REPLY, DA_ADVERT, TYPE_REPLY)
    return reader.number("!H")[0] if reader.function in with_error else None


def urls_of(data):
    reader = Reader(data)
    assert reader.function == SERVICE_REPLY
    _, count = reader.number("!HH")
    return [reader.url_entry()[0] for _ in range(count)]
