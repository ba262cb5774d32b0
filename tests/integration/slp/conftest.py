"""What the tests of the library share: a network each, processes on it, and a dissector that listens."""

import pathlib
import sys

import pytest

HERE = pathlib.Path(__file__).resolve().parent
for folder in (HERE, HERE.parents[2] / "lab"):
    sys.path.insert(0, str(folder))

from process import Shells  # noqa: E402
from recorder import Recorder  # noqa: E402
from segment import Segment  # noqa: E402


@pytest.fixture
def segment():
    with Segment() as segment:
        yield segment


@pytest.fixture
def shells(segment):
    """Processes; those that still run at the end must end well."""
    shells = Shells()
    yield shells
    shells.finish()


@pytest.fixture
def one(segment):
    return segment.host("one")


@pytest.fixture
def two(segment):
    return segment.host("two")


@pytest.fixture
def judged(segment, tmp_path):
    """Records all of the segment; in the end no message may be at fault."""
    recorder = Recorder(segment.switch, tmp_path, "bridge")
    yield recorder
    recorder.stop()
    recorder.assert_well_formed()


@pytest.fixture
def record(tmp_path):
    """record(host, interface) starts a recorder, which the end of the test stops."""
    started = []

    def start(host, interface="eth0"):
        started.append(Recorder(host, tmp_path, interface))
        return started[-1]

    yield start
    for recorder in started:
        recorder.stop()
