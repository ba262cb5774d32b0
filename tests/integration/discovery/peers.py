"""Servers that discover one another, and how a person beside them sees what they list."""

import datetime
import json

from netlab import wait_for
from watched import Servers

TYPE = "service:x-mgmt.quorvel:kvt"

REGISTERED = "RemoteServerDiscovery:registerSLPService:SLPRegistration is successful "
PASS_BEGINS = "RemoteServerDiscovery:startRemoteServerThread:Going to start the discoverSLPServers"

# Milliseconds. A pass takes a second or so beside these, since a search waits for answers.
SETTINGS = {"slp_find_service_interval": 300, "ip_change_polling_interval": 200}


def compact(value):
    """As the attributes of a registration hold it: without blanks, also within texts."""
    return json.loads(json.dumps(value).replace(" ", ""))


class Peer:
    """One server, a kvt-server process on a host of the segment."""

    def __init__(self, server, build):
        self.server = server
        self.host = server.host
        self.control = build.control

    @property
    def name(self):
        return self.host.name

    def properties(self):
        """The properties of all that it lists. A server that has just changed its address may be there twice: a search
        that was under way has found both."""
        answer = self.server.list()
        assert answer["status"] == {"code": 0, "desc": "Success"}
        assert answer["count"] == len(answer["values"]), answer
        return [record["properties"] for record in answer["values"]]

    def listed(self):
        """The properties of the servers that it lists, by identifier; each is listed once."""
        properties = self.properties()
        by_name = {each["displayId"]: each for each in properties}
        assert len(properties) == len(by_name), properties
        return by_name

    def names(self):
        return sorted(each["displayId"] for each in self.properties())

    def own(self):
        return self.server.get("/1.0/servers/self").json["value"]["properties"]

    def count(self, text):
        """How many lines of its log hold the text."""
        return self.server.log().count(text)

    def times(self, text):
        """When the lines of its log that hold the text were written, in seconds as time.time() tells them."""
        lines = [line for line in self.server.log().splitlines() if text in line]
        return [datetime.datetime.fromisoformat(line.split()[0]).timestamp() for line in lines]

    def registrations(self):
        return self.count(REGISTERED)

    def last_registration(self):
        """When it was."""
        return self.times(REGISTERED)[-1]

    def passes(self):
        """How many passes have begun."""
        return self.count(PASS_BEGINS)

    def passes_between(self, begin, end):
        """How many passes have begun between these two times."""
        return sum(begin < time <= end for time in self.times(PASS_BEGINS))

    def kvtctl(self, *arguments, **options):
        return self.host.run(self.control, *arguments, **options)


class Peers:
    """Starts servers, and at the end stops those that still run: each must end well and without a sanitizer's report."""

    def __init__(self, segment, build, plugins, folder, patience):
        self._segment = segment
        self._build = build
        self._servers = Servers(build, plugins, folder)
        self._patience = patience

    def make(self, host, *, settings=None, arguments=(), **options):
        """One that has not been started. `host`: one of the segment, or the name of a new one."""
        if isinstance(host, str):
            host = self._segment.host(host)
        server = self._servers.make(
            host, settings={**SETTINGS, **(settings or {})}, arguments=["--log-level", "detail", *arguments], **options
        )
        return Peer(server, self._build)

    def start(self, host, **options):
        peer = self.make(host, **options)
        peer.server.start()
        return peer

    def start_together(self, *hosts, **options):
        """One on each host, as start() does, in the time that one takes."""
        started = [self.make(host, **options) for host in hosts]
        for peer in started:
            peer.server.spawn()
        for peer in started:
            self.wait_for(peer.server.is_ready, f"{peer.name} is ready", 30)
        return started

    def wait_until_all_list(self, peers, names, seconds=20):
        """Until each of the peers lists exactly these."""
        for peer in peers:
            self.wait_for(lambda peer=peer: peer.names() == sorted(names), f"{peer.name} lists {names}", seconds)

    def wait_until_they_list_one_another(self, *peers):
        self.wait_until_all_list(peers, [peer.name for peer in peers])

    def wait_for(self, condition, what, seconds=20, **options):
        return wait_for(condition, seconds * self._patience, what, **options)

    def finish(self):
        self._servers.finish()
