"""What the tests share: a lab of their own each, and servers in it whose end is watched as closely as their answers."""

import os
import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "lab"))

from netlab import Lab  # noqa: E402
from server import Build, Server  # noqa: E402

# What a sanitizer's report looks like, in whichever words it begins.
REPORTS = ("AddressSanitizer", "ThreadSanitizer", "LeakSanitizer", "runtime error:", "DEADLYSIGNAL")


def assert_no_reports(text):
    assert not [report for report in REPORTS if report in text], text


@pytest.fixture(scope="session")
def build():
    return Build(pathlib.Path(os.environ["KVT_TEST_SERVER"]), pathlib.Path(os.environ["KVT_TEST_CONTROL"]))


@pytest.fixture(scope="session")
def plugins():
    """The folder of the plug-in libraries."""
    return pathlib.Path(os.environ["KVT_TEST_PLUGINS"])


@pytest.fixture(scope="session")
def fixture_plugins():
    """The folder of the broken plug-in libraries."""
    return pathlib.Path(os.environ["KVT_TEST_FIXTURES"])


@pytest.fixture(scope="session")
def patience():
    """What to multiply the product's own deadlines with: sanitizers slow it down."""
    return float(os.environ["KVT_TEST_PATIENCE"])


@pytest.fixture
def lab():
    with Lab() as lab:
        yield lab


class Servers:
    """Starts servers, and at the end stops those that still run: each must end well and without a sanitizer's report."""

    def __init__(self, build, plugins, folder):
        self._build = build
        self._plugins = plugins
        self._folder = folder
        self._started = []

    def make(self, host, **options):
        server = Server(host, self._build, self._folder, **{"plugin_dir": self._plugins, **options})
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


@pytest.fixture
def servers(lab, build, plugins, tmp_path):
    servers = Servers(build, plugins, tmp_path)
    yield servers
    servers.finish()


@pytest.fixture
def one(lab, servers):
    return servers.start(lab.add_host("one"))


@pytest.fixture
def two(lab, servers):
    return servers.start(lab.add_host("two"))
