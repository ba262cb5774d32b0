#!/usr/bin/env python3
"""The page in a browser that runs on a host of a network of real servers, which this program starts and stops as the
tests in hosts.test.mjs ask for."""

import json
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import threading

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[1] / "lab"))

from responders import Responder  # noqa: E402
from segment import Segment, join_by_router  # noqa: E402
from server import Build, Server  # noqa: E402

# Everything happens soon, so that nobody has to wait for it.
SETTINGS = {
    "slp_find_service_interval": "1s",
    "ip_change_polling_interval": "500ms",
    "access.anonymous": "none",
    "tls.enabled": "true",
}


class Network:
    """What the tests may ask for, each by the name of a method; what it returns goes back as JSON."""

    def __init__(self, segment, far, folder):
        self._segment = segment
        self._far = far
        self._folder = folder
        self._build = Build(pathlib.Path(os.environ["KVT_TEST_SERVER"]), pathlib.Path(os.environ["KVT_TEST_CONTROL"]))
        self._servers = {}
        self._responders = []
        self.watching = segment.host("one")
        far.host("quiet")  # behind a router, where nobody finds it
        join_by_router(segment, far)

    def start(self, name):
        """A server on a host of its own, which is made when there is none. Returns its addresses."""
        if name not in self._servers:
            made = {each.name: each for each in [*self._segment.hosts, *self._far.hosts]}
            host = made.get(name) or self._segment.host(name)
            self._servers[name] = self._make(host)
        self._servers[name].start()
        return self.addresses(name)

    def addresses(self, name):
        host = self._servers[name].host
        return {"ipv4": host.ipv4, "ipv6": host.ipv6}

    def _make(self, host):
        state = pathlib.Path(self._folder) / f"{host.name}-state"
        settings = {**SETTINGS, "server.state_dir": state}
        return Server(host, self._build, self._folder, settings=settings, plugin_dir=os.environ["KVT_TEST_PLUGINS"])

    def pretend(self, identifier):
        """Something that registers itself as a server of that name, which no real one would take."""
        host = self._segment.host("pretender")
        host.name = identifier
        self._responders.append(Responder(self._build, host))
        self._responders[-1].wait_until_registered()

    def stop(self, name):
        """Ends it as an administrator would: it says that it leaves."""
        return self._servers[name].stop(20)

    def renew(self, name):
        """It comes back with another key and certificate, as after a loss of its state."""
        self.stop(name)
        (self._servers[name].state / "tls.pem").unlink()
        self._servers[name].start()

    def add_user(self, name, user, password, role):
        server = self._servers[name]
        words = ["user", "add", user, "--role", role, "--state-dir", server.state]
        server.host.run(self._build.control, *words, input=f"{password}\n")

    def log(self, name):
        return self._servers[name].log()

    def finish(self):
        for server in self._servers.values():
            server.kill()
        for responder in self._responders:
            responder.close()


def answer(connection, network):
    with connection, connection.makefile("r", encoding="utf-8") as lines:
        for line in lines:
            request = json.loads(line)
            try:
                reply = {"value": getattr(network, request["do"])(*request["with"])}
            except Exception as problem:  # whatever it is, the test that asked shall fail with it
                reply = {"problem": f"{type(problem).__name__}: {problem}"}
            connection.sendall((json.dumps(reply) + "\n").encode())


def serve(path, network):
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(path)
    listener.listen()

    def accept():
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            threading.Thread(target=answer, args=(connection, network), daemon=True).start()

    threading.Thread(target=accept, daemon=True).start()
    return listener


def main():
    # A pass keeps what a person has added when its address is before those that the pass has found.
    with tempfile.TemporaryDirectory(prefix="kvt-page-") as folder, Segment(1) as segment, Segment(0) as far:
        network = Network(segment, far, folder)
        control = os.path.join(folder, "control")
        try:
            with serve(control, network):
                command = network.watching.command(
                    shutil.which("node"), "--test", "--test-reporter=spec", HERE / "hosts" / "hosts.test.mjs"
                )
                return subprocess.run(command, env=dict(os.environ, KVT_CONTROL=control), check=False).returncode
        finally:
            network.finish()


if __name__ == "__main__":
    sys.exit(main())
