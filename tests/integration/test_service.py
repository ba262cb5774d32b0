"""kvt-server as a service: what it tells the service manager, its watchdog, its journal, and settings read anew."""

import os
import pathlib
import signal
import socket
import ssl
import subprocess

import pytest

from netlab import wait_for
from server import fetch


class Manager:
    """Stands for the service manager: the datagram socket that a service is told of."""

    def __init__(self, path):
        self.path = path
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind(os.fspath(path))
        self._socket.setblocking(False)
        self.messages = []

    def take(self):
        while True:
            try:
                self.messages.append(self._socket.recv(4096).decode())
            except BlockingIOError:
                return self.messages

    def count(self, line):
        return sum(line in message.splitlines() for message in self.take())

    def close(self):
        self._socket.close()


@pytest.fixture
def manager(tmp_path):
    manager = Manager(tmp_path / "notify")
    yield manager
    manager.close()


@pytest.fixture
def service(lab, servers, manager, monkeypatch):
    """Starts a server that was told of a manager; `watchdog` is how long that waits."""

    def start(watchdog=None, **options):
        monkeypatch.setenv("NOTIFY_SOCKET", os.fspath(manager.path))
        if watchdog is not None:
            monkeypatch.setenv("WATCHDOG_USEC", str(watchdog * 1_000_000))
        return servers.start(lab.add_host("one"), **options)

    return start


def test_it_tells_when_it_is_ready_and_when_it_ends(service, manager, patience):
    one = service()
    wait_for(lambda: manager.count("READY=1"), 10, "it is ready")
    assert "STATUS=listens on [::]:8443; plug-ins: 1" in manager.messages[0]
    assert one.get("/1.0/servers").status == 200, "ready means that its plug-ins answer"
    assert one.stop(2 * patience) == 0
    assert manager.count("STOPPING=1") == 1


def test_it_tells_of_a_reload_and_of_its_end(service, manager):
    one = service()
    wait_for(lambda: manager.count("READY=1"), 10, "it is ready")
    one.send_signal(signal.SIGHUP)
    wait_for(lambda: manager.count("READY=1") == 2, 10, "it is ready again")
    reloading = [message for message in manager.messages if "RELOADING=1" in message]
    assert len(reloading) == 1
    assert "MONOTONIC_USEC=" in reloading[0]


def test_without_a_watchdog_it_gives_no_signs_of_life(service, manager):
    one = service()
    wait_for(lambda: manager.count("READY=1"), 10, "it is ready")
    one.stop(20)
    assert manager.count("WATCHDOG=1") == 0


def test_it_gives_signs_of_life_that_end_when_it_hangs(service, manager):
    one = service(watchdog=30)
    wait_for(lambda: manager.count("WATCHDOG=1") >= 3, 20, "it lives")
    os.kill(one.process.pid, signal.SIGSTOP)
    wait_for(lambda: process_state(one.process.pid) == "T", 10, "it hangs")
    before = manager.count("WATCHDOG=1")
    with pytest.raises(TimeoutError):
        wait_for(lambda: manager.count("WATCHDOG=1") > before, 3, "a sign of life")
    os.kill(one.process.pid, signal.SIGCONT)
    wait_for(lambda: manager.count("WATCHDOG=1") > before, 20, "it lives again")


def process_state(pid):
    return pathlib.Path(f"/proc/{pid}/stat").read_text(encoding="ascii").rsplit(")", 1)[1].split()[0]


JOURNAL = """
import socket, subprocess, sys
listener = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
listener.bind("/run/systemd/journal/socket")
server = subprocess.Popen(sys.argv[1:], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
listener.settimeout(20)
try:
    while True:
        sys.stdout.write(listener.recv(65536).decode() + "\\n")
        sys.stdout.flush()
        if server.poll() is not None: break
        server.terminate()
        listener.settimeout(3)
except TimeoutError:
    pass
server.terminate()
out, err = server.communicate(timeout=20)
sys.stderr.write(err)
"""


def test_its_log_goes_to_the_journal_with_priorities_and_not_to_the_console(lab, build, plugins, tmp_path):
    """In a mount namespace whose /run is its own, with a listener in the place of the journal."""
    script = tmp_path / "journal.py"
    script.write_text(JOURNAL)
    host = lab.add_host("one")
    server = [build.server, "--plugin-dir", plugins, "--set", "log.journal=true", "--log-level", "detail"]
    server += ["--set", f"server.state_dir={tmp_path / 'state'}"]
    command = " ".join(f"'{word}'" for word in ["/usr/bin/python3", script, *server])
    prepare = f"mount -t tmpfs tmpfs /run && mkdir -p /run/systemd/journal && exec {command}"
    done = subprocess.run(
        host.command("unshare", "--mount", "sh", "-c", prepare), capture_output=True, text=True, timeout=60, check=False
    )
    records = done.stdout.split("MESSAGE=")[1:]
    assert records, done.stderr
    assert all("SYSLOG_IDENTIFIER=kvt-server\n" in record for record in records)
    priorities = {line for record in records for line in record.splitlines() if line.startswith("PRIORITY=")}
    assert "PRIORITY=6" in priorities, "information"
    assert priorities <= {"PRIORITY=3", "PRIORITY=4", "PRIORITY=6", "PRIORITY=7"}
    assert "no journal" not in done.stderr


def test_without_a_journal_its_log_stays_on_the_console_and_says_so(lab, build, tmp_path):
    (tmp_path / "none").mkdir()
    server = [build.server, "--plugin-dir", tmp_path / "none", "--set", "log.journal=true"]
    server += ["--set", f"server.state_dir={tmp_path / 'state'}"]
    quoted = " ".join(f"'{word}'" for word in server)
    command = lab.add_host("one").command("unshare", "--mount", "sh", "-c", f"mount -t tmpfs tmpfs /run && exec {quoted}")
    with open(tmp_path / "log", "w+", encoding="utf-8") as log:
        process = subprocess.Popen(command, stdout=log, stderr=log)
        try:
            told = "no journal listens here, so the log goes to the console"
            wait_for(lambda: told in (tmp_path / "log").read_text(), 20, "it says so")
            wait_for(lambda: " listens on " in (tmp_path / "log").read_text(), 20, "it serves")
        finally:
            process.terminate()
            assert process.wait(20) == 0


def rewrite(server, old, new):
    text = server.config_file.read_text()
    assert old in text
    server.config_file.write_text(text.replace(old, new))


def test_a_reload_changes_all_that_it_can_and_names_what_needs_a_restart(lab, servers, tmp_path):
    log = tmp_path / "new.log"
    one = servers.start(lab.add_host("one"), config='[log]\nlevel = "error"\n\n[limits]\nconnections = 256\n')
    rewrite(one, 'level = "error"', f'level = "trace"\nfile = "{log}"')
    rewrite(one, "connections = 256", "connections = 300")
    one.send_signal(signal.SIGHUP)
    wait_for(lambda: "SIGHUP: read anew" in one.log(), 10, "it has read them")
    needs = [line for line in one.log().splitlines() if "next start only" in line]
    assert len(needs) == 1 and needs[0].endswith(": limits.connections"), needs
    one.list()
    wait_for(lambda: "getDiscoveredServers" in log.read_text(), 10, "the new file is written")


@pytest.mark.parametrize(
    "bad", ['level = "loud"', 'level = "trace"\nfile = "/proc/no/such/log"', 'level = "trace"\nunknown = 1']
)
def test_a_reload_with_one_mistake_changes_nothing_at_all(lab, servers, bad):
    one = servers.start(lab.add_host("one"), config='[log]\nlevel = "error"\n')
    rewrite(one, 'level = "error"', bad)
    one.send_signal(signal.SIGHUP)
    wait_for(lambda: "SIGHUP: nothing was changed: " in one.log(), 10, "it says so")
    one.list()
    assert "getDiscoveredServers" not in one.log(), "the level has changed"
    assert one.get("/healthz").status == 200
    assert fetch(one.host, "127.0.0.1", "GET", "/healthz").status == 200


def make_certificate(folder, name):
    key, certificate = folder / f"{name}.key", folder / f"{name}.pem"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2"]
        + ["-subj", f"/CN={name}", "-keyout", key, "-out", certificate],
        check=True, capture_output=True, timeout=60,
    )
    return key, certificate


def shown_certificate(server):
    """What a client is shown now, as PEM."""
    return server.host.call(lambda: ssl.get_server_certificate(("127.0.0.1", server.PORT), timeout=10))


@pytest.fixture
def secure(lab, servers, tmp_path):
    """A server with a certificate of its administrator's."""
    key, certificate = make_certificate(tmp_path, "first")
    config = f'[log]\nlevel = "error"\n\n[tls]\ncertificate = "{certificate}"\nkey = "{key}"\n'
    return servers.start(lab.add_host("one"), config=config, arguments=["--set", "tls.enabled=true"])


def test_a_reload_shows_the_new_certificate(secure, tmp_path):
    first = shown_certificate(secure)
    make_certificate(tmp_path, "second")
    rewrite(secure, "first", "second")
    secure.send_signal(signal.SIGHUP)
    wait_for(lambda: shown_certificate(secure) != first, 10, "the new one is shown")
    assert shown_certificate(secure).split() == (tmp_path / "second.pem").read_text().split()


def test_a_certificate_without_its_key_leaves_everything_as_it_was_even_the_log(secure, tmp_path):
    first = shown_certificate(secure)
    make_certificate(tmp_path, "second")
    rewrite(secure, "first.pem", "second.pem")
    rewrite(secure, 'level = "error"', 'level = "trace"')
    secure.send_signal(signal.SIGHUP)
    wait_for(lambda: "SIGHUP: nothing was changed: " in secure.log(), 10, "it says so")
    assert shown_certificate(secure) == first
    assert " trace " not in secure.log(), "the level has changed"
