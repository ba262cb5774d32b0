"""A network as multicast needs it: hosts on one bridge, and routers between such networks."""

import ipaddress
import json

from netlab import wait_for
from netns import Namespace


class Host(Namespace):
    """A namespace whose addresses can be used at once: detecting duplicates would take a second or two."""

    def __init__(self, name):
        super().__init__(name)
        self.ipv4 = None
        self.ipv6 = None
        self.sysctl("ipv6/conf/default/accept_dad", 0)
        self.sysctl("ipv6/conf/all/accept_dad", 0)

    def add_address(self, address, interface="eth0"):
        """One of either family, in a network of the size that the segment's have."""
        self.run("ip", "address", "add", *self._address(address), "dev", interface)

    def remove_address(self, address, interface="eth0"):
        self.run("ip", "address", "del", *self._address(address)[:1], "dev", interface)

    @staticmethod
    def _address(address):
        return [f"{address}/64", "nodad"] if ":" in address else [f"{address}/24"]


class Segment:
    """A bridge and its hosts: 10.88.N.x and fd88:N::x, N being the segment's number. A context manager."""

    def __init__(self, number=0):
        self.number = number
        self.hosts = []
        self.switch = Host(f"switch{number}")
        self.switch.run("ip", "link", "add", "bridge", "type", "bridge", "mcast_snooping", "0", "forward_delay", "0")
        self.switch.run("ip", "link", "set", "bridge", "up")
        self._ports = {}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for namespace in [*self.hosts, self.switch]:
            namespace.close()

    def host(self, name, ipv4=True, ipv6=True, route=False):
        """A new host, its interface eth0 on this segment. With `route` everything that it sends leaves by there, also
        to groups; without, it has no route but to its own networks."""
        host = Host(name)
        self.hosts.append(host)
        self.attach(host, ipv4=ipv4, ipv6=ipv6)
        if route and ipv4:
            host.run("ip", "route", "add", "default", "dev", "eth0")
        if route and ipv6:
            host.run("ip", "-6", "route", "add", "default", "dev", "eth0")
        return host

    def attach(self, host, interface="eth0", ipv4=True, ipv6=True):
        """Gives the host one more interface, on this segment, and returns its addresses, IPv4 and IPv6. Those of its
        first interface are the ones by which it is known."""
        number = len(self._ports) + 1
        port = self._ports[host, interface] = f"port{number}"
        peer = ["peer", "name", interface, "netns", host.path]
        self.switch.run("ip", "link", "add", port, "type", "veth", *peer)
        self.switch.run("ip", "link", "set", port, "master", "bridge", "up")
        if not ipv6:
            host.sysctl(f"ipv6/conf/{interface}/disable_ipv6", 1)
        address4 = f"10.88.{self.number}.{number}" if ipv4 else None
        address6 = str(ipaddress.IPv6Address(f"fd88:{self.number}::{number}")) if ipv6 else None
        if ipv4:
            host.add_address(address4, interface)
        if ipv6:
            host.add_address(address6, interface)
        host.run("ip", "link", "set", interface, "up")
        self._wait_for_cable(host, interface)
        host.ipv4 = host.ipv4 or address4
        host.ipv6 = host.ipv6 or address6
        return address4, address6

    def _wait_for_cable(self, host, interface):
        """Until the kernel has seen to it that the cable is plugged in, it throws away what is sent."""
        for end, name in ((host, interface), (self.switch, self._ports[host, interface])):
            wait_for(lambda: self._has_cable(end, name), 30, f"{end.name} has a cable in {name}")
            # It says so before it is done, and waits with the next change until it is.
            end.run("ip", "link", "set", name, "up")

    @staticmethod
    def _has_cable(end, name):
        link = json.loads(end.run("ip", "-j", "-details", "link", "show", "dev", name).stdout)[0]
        port = link.get("linkinfo", {}).get("info_slave_data", {})
        return link["operstate"] == "UP" and port.get("state", "forwarding") == "forwarding"

    def cut(self, host, interface="eth0"):
        """Pulls the plug, which the host sees: its interface has no carrier any more, and keeps its addresses."""
        self.switch.run("ip", "link", "set", self._ports[host, interface], "down")

    def restore(self, host, interface="eth0"):
        self.switch.run("ip", "link", "set", self._ports[host, interface], "up")
        self._wait_for_cable(host, interface)

    def lose(self, percent, *hosts):
        """From now on that share of the datagrams and segments is lost: on the way into the bridge from every host, or
        on the way from and to those that are named. What resolves addresses is spared: its delays are the kernel's, not
        SLP's. One loss at a time: see lose_nothing()."""
        ports = [port for (host, _), port in self._ports.items() if not hosts or host in hosts]
        by_chance = f"numgen random mod 100 < {percent} " if percent < 100 else ""
        rules = ["add table netdev loss"]
        for hook in ("ingress", "egress") if hosts else ("ingress",):
            rules += [
                f"add chain netdev loss {hook} {{ type filter hook {hook} devices = {{ {', '.join(ports)} }} priority 0; }}",
                f"add rule netdev loss {hook} meta protocol {{ ip, ip6 }} meta l4proto {{ tcp, udp }} "
                f"{by_chance}counter drop",
            ]
        self.switch.run("nft", "; ".join(rules))

    def lose_nothing(self):
        """Takes back lose()."""
        self.switch.run("nft", "delete table netdev loss")

    def lost(self):
        """How many packets have been lost by lose()."""
        listed = json.loads(self.switch.run("nft", "-j", "list", "table", "netdev", "loss").stdout)["nftables"]
        parts = [part for entry in listed for part in entry.get("rule", {}).get("expr", [])]
        return sum(part["counter"]["packets"] for part in parts if "counter" in part)


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
