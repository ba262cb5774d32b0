"""A network as multicast needs it: hosts on one bridge, and routers between such networks."""

import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "lab"))

from netns import Namespace  # noqa: E402


class Host(Namespace):
    """A namespace whose addresses can be used at once: detecting duplicates would take a second or two."""

    def __init__(self, name):
        super().__init__(name)
        self.ipv4 = None
        self.ipv6 = None
        self.sysctl("ipv6/conf/default/accept_dad", 0)
        self.sysctl("ipv6/conf/all/accept_dad", 0)


class Segment:
    """A bridge and its hosts: 10.88.N.x and fd88:N::x, N being the segment's number. A context manager."""

    def __init__(self, number=0):
        self.number = number
        self.hosts = []
        self.switch = Host(f"switch{number}")
        self.switch.run("ip", "link", "add", "bridge", "type", "bridge", "mcast_snooping", "0", "forward_delay", "0")
        self.switch.run("ip", "link", "set", "bridge", "up")
        self._ports = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for namespace in [*self.hosts, self.switch]:
            namespace.close()

    def host(self, name, ipv4=True, ipv6=True):
        """A new host, its interface eth0 on this segment."""
        host = Host(name)
        self.hosts.append(host)
        self.attach(host, ipv4=ipv4, ipv6=ipv6)
        return host

    def attach(self, host, interface="eth0", ipv4=True, ipv6=True):
        """Gives the host one more interface, on this segment, and returns its addresses, IPv4 and IPv6. Those of its
        first interface are the ones by which it is known."""
        self._ports += 1
        port = f"port{self._ports}"
        peer = ["peer", "name", interface, "netns", host.path]
        self.switch.run("ip", "link", "add", port, "type", "veth", *peer)
        self.switch.run("ip", "link", "set", port, "master", "bridge", "up")
        if not ipv6:
            host.sysctl(f"ipv6/conf/{interface}/disable_ipv6", 1)
        address4 = f"10.88.{self.number}.{self._ports}" if ipv4 else None
        address6 = f"fd88:{self.number}::{self._ports}" if ipv6 else None
        if ipv4:
            host.run("ip", "address", "add", f"{address4}/24", "dev", interface)
        if ipv6:
            host.run("ip", "address", "add", f"{address6}/64", "dev", interface, "nodad")
        host.run("ip", "link", "set", interface, "up")
        host.ipv4 = host.ipv4 or address4
        host.ipv6 = host.ipv6 or address6
        return address4, address6

    def lose(self, percent):
        """From now on that share of the datagrams and segments is lost on the way into the bridge, and again of those
        that go back. What resolves addresses is spared: its delays are the kernel's, not SLP's."""
        ports = ", ".join(f"port{number}" for number in range(1, self._ports + 1))
        self.switch.run(
            "nft",
            "add table netdev loss; add chain netdev loss way { type filter hook ingress devices = "
            f"{{ {ports} }} priority 0; }}; add rule netdev loss way meta protocol {{ ip, ip6 }} meta l4proto "
            f"{{ tcp, udp }} numgen random mod 100 < {percent} counter drop",
        )

    def lost(self):
        """How many packets have been lost by lose()."""
        rules = json.loads(self.switch.run("nft", "-j", "list", "chain", "netdev", "loss", "way").stdout)["nftables"]
        parts = [part for entry in rules for part in entry.get("rule", {}).get("expr", [])]
        return next(part["counter"]["packets"] for part in parts if "counter" in part)


def join_by_router(left, right):
    """A router between two segments, which forwards no multicast, and routes to it on every host so far."""
    router = Host("router")
    router.sysctl("ipv4/ip_forward", 1)
    router.sysctl("ipv6/conf/all/forwarding", 1)
    for segment, interface in ((left, "left"), (right, "right")):
        hosts = list(segment.hosts)
        ipv4, ipv6 = segment.attach(router, interface)
        for host in hosts:
            host.run("ip", "route", "add", "default", "via", ipv4)
            host.run("ip", "-6", "route", "add", "default", "via", ipv6)
    left.hosts.append(router)
    return router
