#!/usr/bin/env python3
"""Three servers on a network of their own: the first one finds, adds and lists the two others. Nothing is left behind."""

import argparse
import os
import signal
import sys
import tempfile

from forward import Forwarder
from netlab import Lab
from server import Build, Server


def say(text=""):
    print(text, flush=True)


def control(server, build, *arguments):
    """Shows a kvtctl command as one would type it on that host, runs it there and shows what it prints."""
    say(f"{server.host.name}$ kvtctl {' '.join(arguments)}")
    say(server.host.run(build.control, *arguments).stdout)


def show(servers, build):
    first, *others = servers
    for other in others:
        control(first, build, "servers", "search", other.host.ipv4)
        control(first, build, "servers", "add", other.host.ipv4)
    for server in servers:
        control(server, build, "servers", "list")


def keep_running(servers, build):
    with Forwarder() as forwarder:
        urls = []
        say("Until Ctrl-C, open in a browser of this machine:")
        for number, server in enumerate(servers, start=1):
            port = forwarder.open(server.host, server.host.ipv4, server.PORT, 8440 + number)
            urls.append(f"http://127.0.0.1:{port}")
            say(f"  {server.host.name:8}{urls[-1]}/1.0/servers")
        say(f"or ask: {os.path.relpath(build.control)} --server {urls[0]} servers list")
        signal.pause()


def run(build, once):
    with tempfile.TemporaryDirectory(prefix="kvt-demo-") as logs, Lab() as lab:
        servers = [Server(lab.add_host(name), build, logs) for name in ("one", "two", "three")]
        try:
            for server in servers:
                server.start()
                say(f"{server.host.name} serves at http://{server.host.ipv4}:{server.PORT}")
            say()
            show(servers, build)
            if not once:
                keep_running(servers, build)
        finally:
            for server in servers:
                server.kill()


def main():
    parser = argparse.ArgumentParser(prog="./run demo", description=__doc__)
    parser.add_argument("build", help="the folder of a build")
    parser.add_argument("--once", action="store_true", help="end after showing the lists")
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
    except (OSError, RuntimeError, TimeoutError) as problem:
        print(f"demo: {problem}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
