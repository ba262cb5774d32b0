"""What the tests share: a lab of their own each, and servers in it whose end is watched as closely as their answers."""

import os
import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "lab"))

from netlab import Lab  # noqa: E402
from server import Build  # noqa: E402
from watched import ADDED_STAYS, Servers  # noqa: E402


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


@pytest.fixture
def servers(lab, build, plugins, tmp_path):
    servers = Servers(build, plugins, tmp_path)
    yield servers
    servers.finish()


@pytest.fixture
def one(lab, servers):
    return servers.start(lab.add_host("one"), settings=ADDED_STAYS)


@pytest.fixture
def two(lab, servers):
    return servers.start(lab.add_host("two"), settings=ADDED_STAYS)
