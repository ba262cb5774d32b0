"""What the tests of discovery share: a segment each, where multicast passes, and servers in it with short intervals."""

import pathlib
import sys

import pytest

HERE = pathlib.Path(__file__).resolve().parent
for folder in (HERE, HERE.parent / "slp", HERE.parents[2] / "lab"):
    sys.path.insert(0, str(folder))

from announcements import Announcements  # noqa: E402
from peers import Peers  # noqa: E402
from segment import Segment  # noqa: E402


@pytest.fixture
def segment():
    with Segment() as segment:
        yield segment


@pytest.fixture
def peers(segment, build, plugins, tmp_path, patience):
    """Servers; those that still run at the end must end well."""
    peers = Peers(segment, build, plugins, tmp_path, patience)
    yield peers
    peers.finish()


@pytest.fixture
def overheard(segment):
    """What is announced on the segment, as a host hears it that does nothing else."""
    with Announcements(segment.host("ear", ipv6=False, route=True)) as announcements:
        yield announcements
