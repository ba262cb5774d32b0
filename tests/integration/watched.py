"""Servers whose end is watched as closely as their answers."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "lab"))

from server import Server  # noqa: E402

# The settings of a server that does not look for others: a pass may drop what a person has added just then.
ADDED_STAYS = {"installation_type": 1}

# What a sanitizer's report looks like, in whichever words it begins.
REPORTS = ("AddressSanitizer", "ThreadSanitizer", "LeakSanitizer", "runtime error:", "DEADLYSIGNAL")


def assert_no_reports(text):
    assert not [report for report in REPORTS if report in text], text


class Servers:
    """Starts servers, and at the end stops those that still run: each must end well and without a sanitizer's report."""

    def __init__(self, build, plugins, folder):
        self._build = build
        self._plugins = plugins
        self._folder = folder
        self._started = []

    def make(self, host, kind=Server, **options):
        server = kind(host, self._build, self._folder, **{"plugin_dir": self._plugins, **options})
        self._started.append(server)
        return server

    def start(self, host, **options):
        return self.make(host, **options).start()

    def finish(self):
        try:
            for server in self._started:
                if server.process is not None and server.process.poll() is None:
                    assert server.stop(20) == 0, server.log()
                assert_no_reports(server.log())
        finally:
            for server in self._started:
                server.kill()
