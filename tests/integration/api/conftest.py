"""What the tests of the API over TLS share: servers that are as secure as they are without any configuration."""

import pytest

from netlab import Lab
from server import SecureServer
from watched import Servers


class Api:
    """Starts secure servers, and at the end sees that each ends well."""

    def __init__(self, lab, build, plugins, folder):
        self._lab = lab
        self._servers = Servers(build, plugins, folder)

    def start(self, name="one", access="", **options):
        """A server with these lines in its section [access]."""
        config = f"[access]\n{access}\n" + options.pop("config", "")
        return self._servers.start(self._lab.add_host(name), kind=SecureServer, config=config, **options)

    def finish(self):
        self._servers.finish()


@pytest.fixture
def api(lab, build, plugins, tmp_path):
    api = Api(lab, build, plugins, tmp_path)
    yield api
    api.finish()


@pytest.fixture(scope="module")
def serving(build, plugins, tmp_path_factory):
    """One server for the tests of a file that leave no trace."""
    with Lab() as lab:
        api = Api(lab, build, plugins, tmp_path_factory.mktemp("serving"))
        yield api.start()
        api.finish()


@pytest.fixture(scope="module")
def viewer(serving):
    """The headers of somebody who may read."""
    return {"Authorization": f"Bearer {serving.make_token('viewer', 'viewer')}"}


def status_text(answer):
    status = answer.json["status"]
    return (status[0] if isinstance(status, list) else status)["desc"]
