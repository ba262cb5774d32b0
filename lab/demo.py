#!/usr/bin/env python3
"""Three servers on a network of their own find one another, follow a change and notice who leaves. Nothing is left behind."""

import argparse
import os
import signal
import subprocess
import sys
import tempfile
import time

from forward import Forwarder
from segment import Segment
from server import Build, SecureServer

SECOND_ADDRESS = "10.88.0.12"

# Everything happens soon, so that nobody has to wait for it; a network at work takes half a minute between two looks.
SETTINGS = {"slp_find_service_interval": "1s", "ip_change_polling_interval": "500ms"}


def say(text=""):
    print(text, flush=True)


class Show:
    """The servers that run, and what has been shown of their lists."""

    def __init__(self):
        self.servers = []
        self._shown = {}

    def event(self, text):
        say(f"== {text}")
        say()

    def watch(self, what, is_right, seconds=60):
        """Shows each list whenever it has changed, until all of them are right at a time."""
        deadline = time.monotonic() + seconds
        while True:
            lists = {server: self._list(server) for server in self.servers}
            for server, text in lists.items():
                if self._shown.get(server) != sorted(text.splitlines()):  # their order is of no interest
                    self._shown[server] = sorted(text.splitlines())
                    say(f"{server.host.name}$ kvtctl servers list\n{text}")
            if all(is_right(text) for text in lists.values()):
                return
            if time.monotonic() > deadline:
                raise TimeoutError(f"not within {seconds} s: {what}")
            time.sleep(0.1)

    def watch_for(self, *names):
        self.watch(f"they list {', '.join(names)}", lambda text: names_in(text) == sorted(names))

    def _list(self, server):
        return server.kvtctl("servers", "list").stdout


def names_in(text):
    return sorted(line.split()[0] for line in text.splitlines()[1:])


def tell(show, hosts, build, folder):
    one, two, three = (SecureServer(host, build, folder, settings=SETTINGS) for host in hosts)
    for server in (one, two, three):
        show.servers.append(server)
        server.start()
        show.event(f"{server.host.name} starts, at {server.host.ipv4} inside its network")
        show.watch_for(*(server.host.name for server in show.servers))

    show.event(f"two gets a second address, {SECOND_ADDRESS}: it registers anew, and for one pass it is missing there")
    two.host.add_address(SECOND_ADDRESS)
    show.watch(f"they list {SECOND_ADDRESS}", lambda text: SECOND_ADDRESS in text and len(names_in(text)) == 3)

    show.event("three is stopped: it says so as it leaves")
    if three.stop(20) != 0:
        raise RuntimeError(f"three did not end well:\n{three.log()}")
    show.servers.remove(three)
    show.watch_for("one", "two")


def keep_running(servers, build):
    with Forwarder() as forwarder:
        urls = []
        say("Open in a browser of this machine, which warns, because each server has signed its certificate itself:")
        for number, server in enumerate(servers, start=1):
            port = forwarder.open(server.host, server.host.ipv4, server.PORT, 8440 + number)
            urls.append(f"https://127.0.0.1:{port}")
            say(f"  {server.host.name:8}{urls[-1]}/")
        say(f'and log in as "{SecureServer.USER}" with the password "{SecureServer.PASSWORD}"; or with it:')
        control = f"{os.path.relpath(build.control)} --server {urls[0]}"
        say(f"  {control} login --user {SecureServer.USER}")
        say(f"  {control} servers list")
        say("Ctrl-C ends it.")
        signal.pause()


def run(build, once):
    with tempfile.TemporaryDirectory(prefix="kvt-demo-") as folder, Segment() as segment:
        hosts = [segment.host(name) for name in ("one", "two", "three")]
        say("Three hosts on one network, with a server on each. Nobody tells any of them an address.")
        say()
        show = Show()
        try:
            tell(show, hosts, build, folder)
            if not once:
                keep_running(show.servers, build)
        finally:
            for server in show.servers:
                server.kill()


def main():
    parser = argparse.ArgumentParser(prog="./run demo", description=__doc__)
    parser.add_argument("build", help="the folder of a build")
    parser.add_argument("--once", action="store_true", help="end after the show")
    options = parser.parse_args()

    def end(*_):
        raise KeyboardInterrupt

    signal.signal(signal.SIGTERM, end)
    signal.signal(signal.SIGHUP, end)
    try:
        run(Build.at(options.build), options.once)
    except KeyboardInterrupt:
        say()
        return 0
    except (OSError, RuntimeError, TimeoutError, subprocess.SubprocessError) as problem:
        print(f"demo: {problem}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
