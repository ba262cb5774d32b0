"""kvt-server as a process: how it starts, obeys signals and ends."""

import http.client
import pathlib
import signal
import socket
import subprocess
import threading

import pytest

from netlab import wait_for
from server import fetch
from watched import assert_no_reports

SILENT = "10.99.0.1"


def run_server(build, *arguments, timeout=30):
    done = subprocess.run([build.server, *arguments], capture_output=True, text=True, timeout=timeout)
    assert_no_reports(done.stderr)
    return done


def is_calling(host, address):
    """Whether somebody on the host is trying to connect to the address."""
    wanted = socket.inet_aton(address)[::-1].hex().upper()
    syn_sent = "02"

    def look():
        with open("/proc/thread-self/net/tcp", encoding="ascii") as connections:
            rows = [line.split() for line in connections][1:]
        return any(row[2].startswith(wanted + ":") and row[3] == syn_sent for row in rows)

    return host.call(look)


class Load:
    """Clients that ask without pause until the server is gone."""

    def __init__(self, server, clients=8):
        self._server = server
        self.answered = 0
        self._lock = threading.Lock()
        self._clients = [server.host.submit(self._ask, path) for path in ["/1.0/servers", "/1.0/servers/self"] * clients]

    def _ask(self, path):
        while True:
            connection = http.client.HTTPConnection(self._server.host.ipv4, self._server.PORT, timeout=10)
            try:
                while True:
                    connection.request("GET", path)
                    connection.getresponse().read()
                    with self._lock:
                        self.answered += 1
            except (OSError, http.client.HTTPException):
                if self._server.process.poll() is not None:
                    return
            finally:
                connection.close()

    def wait_for_end(self):
        for client in self._clients:
            client.result(30)


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_a_signal_ends_it_in_time_under_load_and_while_it_searches_a_dead_address(lab, one, patience, number):
    lab.swallow("10.99.0.0/16")
    load = Load(one)
    search = one.host.submit(one.search, SILENT)
    wait_for(lambda: is_calling(one.host, SILENT), 10, "the search has begun")
    wait_for(lambda: load.answered > 100, 30, "the load has begun")

    one.send_signal(number)

    assert one.process.wait(2 * patience) == 0, one.log()
    load.wait_for_end()
    assert search.exception(10) or search.result().status in (400, 503)


def test_it_ends_in_time_with_idle_and_half_open_connections(one, patience):
    def connect():
        idle = [socket.create_connection((one.host.ipv4, one.PORT), 5) for _ in range(20)]
        for connection in idle[10:]:
            connection.sendall(b"GET /1.0/serv")
        return idle

    idle = one.host.call(connect)
    assert one.stop(2 * patience) == 0
    for connection in idle:
        connection.close()


def test_sighup_reads_the_log_level_anew(lab, servers):
    quiet = '[log]\nlevel = "error"\n'
    one = servers.start(lab.add_host("one"), config=quiet)
    trace = "ServerDiscoveryPl:getDiscoveredServers:RemoteServersArray.Size() is:"
    one.list()
    assert trace not in one.log()

    one.config_file.write_text(one.config_file.read_text().replace('"error"', '"trace"'))
    one.send_signal(signal.SIGHUP)
    wait_for(lambda: one.list() and trace in one.log(), 10, "the log speaks")


def test_sighup_leaves_the_level_that_the_command_line_set(lab, servers):
    one = servers.start(lab.add_host("one"), arguments=["--log-level", "warning"], config='[log]\nlevel = "trace"\n')
    one.send_signal(signal.SIGHUP)
    wait_for(lambda: "stays as the command line has set it" in one.log(), 10, "it says so")


def test_sighup_with_a_broken_file_keeps_it_serving(lab, servers):
    one = servers.start(lab.add_host("one"), config='[log]\nlevel = "error"\n')
    one.config_file.write_text("[log\n")
    one.send_signal(signal.SIGHUP)
    wait_for(lambda: "one.toml" in one.log(), 10, "it complains")
    assert one.get("/healthz").status == 200


@pytest.mark.parametrize(
    "text, line, key",
    [
        ('[server]\nlisten_on = "*:1"\n', 2, "listen_on"),
        ("[server]\n\n[limits]\nconnections = 0\n", 4, "connections"),
        ("[preferences]\nslp_find_service_interval = 'soon'\n", 2, "slp_find_service_interval"),
        ("[server]\nlocal_server_id = 'No Such Id'\n", 2, "local_server_id"),
    ],
)
def test_a_mistake_in_the_configuration_is_named_with_file_line_and_key(build, tmp_path, text, line, key):
    file = tmp_path / "kvt.toml"
    file.write_text(text)
    done = run_server(build, "--config", file)
    assert done.returncode == 78
    assert f"{file}:{line}:" in done.stderr
    assert key in done.stderr
    assert done.stdout == ""


def test_a_configuration_that_is_not_there_is_an_error(build, tmp_path):
    done = run_server(build, "--config", tmp_path / "none.toml")
    assert done.returncode == 78
    assert "none.toml" in done.stderr


@pytest.mark.parametrize(
    "arguments", [["--listen", "nowhere"], ["--set", "unknown=1"], ["--set", "nonsense"], ["--surplus"]]
)
def test_a_wrong_command_line_is_explained(build, arguments):
    done = run_server(build, *arguments)
    assert done.returncode == 64
    assert arguments[-1].split("=")[0].lstrip("-") in done.stderr


def test_it_tells_its_version(build):
    done = run_server(build, "--version")
    assert done.returncode == 0
    assert done.stdout.startswith("kvt-server ")


def test_what_it_dumps_as_its_configuration_it_can_read(build, tmp_path):
    file = tmp_path / "dumped.toml"
    file.write_text(run_server(build, "--set", "slp_find_service_interval=45s", "--dump-config").stdout)
    again = run_server(build, "--config", file, "--dump-config")
    assert again.returncode == 0, again.stderr
    assert again.stdout == file.read_text()
    assert "45000" in again.stdout


def test_the_documentation_lists_every_key_as_it_is(build):
    page = pathlib.Path(__file__).resolve().parents[2] / "docs" / "configuration.md"
    documented = page.read_text().split("```toml\n")[1].split("```")[0]
    assert documented.splitlines() == run_server(build, "--dump-config").stdout.splitlines()


def test_a_port_in_use_is_an_error_that_names_it(lab, servers, one, build):
    done = one.host.run(build.server, "--listen", f"{one.host.ipv4}:{one.PORT}", check=False)
    assert done.returncode == 69, done.stderr
    assert f"{one.host.ipv4}:{one.PORT}" in done.stderr
    assert one.get("/healthz").status == 200


def test_it_listens_where_it_is_told(lab, servers):
    host = lab.add_host("one")
    servers.start(host, arguments=["--listen", f"{host.ipv4}:8443", "--listen", "[::1]:9000"])
    assert fetch(host, "::1", "GET", "/healthz", port=9000).status == 200
    with pytest.raises(OSError):
        fetch(host, host.ipv6, "GET", "/healthz")


def test_broken_plug_ins_cost_only_themselves(lab, servers, plugins, fixture_plugins, tmp_path):
    folder = tmp_path / "plugins"
    folder.mkdir()
    libraries = [*plugins.glob("libServerDiscovery.so"), *fixture_plugins.glob("*.so")]
    assert len(libraries) > 4
    for library in libraries:
        (folder / library.name).symlink_to(library)

    one = servers.start(lab.add_host("one"), plugin_dir=folder)

    assert one.list()["count"] == 1
    for name in ("WithoutId", "UnresolvedSymbol", "NeedsNewerManager", "ThrowsInStartup", "NotElf"):
        assert f"libFixture{name}.so" in one.log()
    assert one.stop(20) == 0, one.log()


def test_without_plug_ins_it_serves_what_is_its_own(lab, servers, tmp_path):
    (tmp_path / "empty").mkdir()
    one = servers.start(lab.add_host("one"), plugin_dir=tmp_path / "empty")
    assert one.get("/1.0/servers/self").status == 200
    assert one.get("/1.0/servers").status == 404


def test_a_plug_in_folder_that_is_not_there_is_an_error(build, tmp_path):
    done = run_server(build, "--plugin-dir", tmp_path / "none")
    assert done.returncode == 78
    assert str(tmp_path / "none") in done.stderr
