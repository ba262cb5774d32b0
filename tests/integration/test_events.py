"""What changes, as it changes: the stream of events of a running server."""

import http.client
import json
import time

LONGEST = 20


class Stream:
    """A client that listens."""

    def __init__(self, server):
        self._connection = http.client.HTTPConnection(server.address, server.PORT, timeout=LONGEST)
        server.host.call(self._connection.connect)
        self._connection.request("GET", "/1.0/events")
        self.response = self._connection.getresponse()

    def event(self):
        """The next one: its name and its data. None at the end."""
        name = None
        while line := self.response.readline():
            text = line.decode().rstrip("\n")
            if text.startswith("event: "):
                name = text.removeprefix("event: ")
            if text.startswith("data: "):
                return name, json.loads(text.removeprefix("data: "))
        return None

    def until(self, name, holds):
        """The data of the next event of that name for which this holds."""
        deadline = time.monotonic() + LONGEST
        while time.monotonic() < deadline:
            event = self.event()
            assert event is not None, "the stream has ended"
            if event[0] == name and holds(event[1]):
                return event[1]
        raise TimeoutError(name)

    def close(self):
        self._connection.close()


def test_a_listener_is_told_of_a_server_that_comes_and_goes(one, two):
    stream = Stream(one)
    assert stream.response.status == 200
    assert stream.response.getheader("Content-Type") == "text/event-stream"
    assert stream.event()[0] == "hello"
    assert stream.until("status", lambda data: True)["servers"]["listed"] >= 1

    assert one.search(two.address).status == 200
    assert one.add("two").status == 200
    data = stream.until("servers", lambda data: data["changed"])
    assert [row["key"] for row in data["changed"]] == [two.address]
    assert data["changed"][0]["record"]["properties"]["displayId"] == "two"
    assert data["count"] == one.list()["count"] == 2

    assert one.remove("two").status == 200
    assert stream.until("servers", lambda data: data["removed"])["removed"] == [two.address]
    stream.close()


def test_a_listener_is_told_of_sightings(one, two):
    stream = Stream(one)
    stream.until("hello", lambda data: True)
    assert one.search(two.address).status == 200
    data = stream.until("sightings", lambda data: data["changed"])
    assert two.address in [sighting["address"] for sighting in data["changed"]]
    stream.close()


def test_streams_do_not_hold_up_the_end(one, patience):
    streams = [Stream(one) for _ in range(5)]
    for stream in streams:
        stream.until("status", lambda data: True)
    assert one.stop(2 * patience) == 0
    for stream in streams:
        while stream.event() is not None:
            pass
