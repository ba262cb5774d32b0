"""A network to try servers in: hosts of a subnet each, joined by a router that forwards no multicast."""

import time

from netns import Namespace


def wait_for(condition, seconds, what, pause=0.02):
    """Polls until the condition holds and returns its value; raises TimeoutError, which names `what`."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise TimeoutError(f"not within {seconds} s: {what}")
        time.sleep(pause)


class Host(Namespace):
    """A namespace with one interface, eth0, on a subnet of its own whose other end is the router."""

    def __init__(self, name, number):
        super().__init__(name)
        self.ipv4 = f"10.77.{number}.2"
        self.ipv6 = f"fd77:{number}::2"
        # Detecting duplicates would leave its addresses tentative, and thus useless, for a second or two.
        self.sysctl("ipv6/conf/default/accept_dad", 0)


class Lab:
    """Owns the router and the hosts. A context manager: leaving it takes everything down."""

    def __init__(self):
        self.hosts = {}
        self.router = Namespace("router")
        try:
            self.router.sysctl("ipv4/ip_forward", 1)
            self.router.sysctl("ipv6/conf/all/forwarding", 1)
            self.router.sysctl("ipv6/conf/default/accept_dad", 0)
        except BaseException:
            self.router.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        for namespace in [*self.hosts.values(), self.router]:
            namespace.close()

    def add_host(self, name):
        number = len(self.hosts) + 1
        host = self.hosts[name] = Host(name, number)
        router_end = f"to-{name}"
        peer = ["peer", "name", "eth0", "netns", host.path]
        self.router.run("ip", "link", "add", router_end, "type", "veth", *peer)
        self._address(self.router, router_end, f"10.77.{number}.1/24", f"fd77:{number}::1/64")
        self._address(host, "eth0", f"{host.ipv4}/24", f"{host.ipv6}/64")
        host.run("ip", "route", "add", "default", "via", f"10.77.{number}.1")
        host.run("ip", "-6", "route", "add", "default", "via", f"fd77:{number}::1")
        return host

    def swallow(self, subnet):
        """The router drops without a word what is sent there: whoever calls hears nothing, as from a host that is down."""
        self.router.run("ip", "route", "add", "blackhole", subnet)

    @staticmethod
    def _address(namespace, interface, ipv4, ipv6):
        namespace.run("ip", "address", "add", ipv4, "dev", interface)
        namespace.run("ip", "address", "add", ipv6, "dev", interface, "nodad")
        namespace.run("ip", "link", "set", interface, "up")
