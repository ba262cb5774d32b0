"""TLS as clients meet it."""

import contextlib
import hashlib
import os
import re
import signal
import socket
import ssl
import subprocess

import pytest

from netlab import wait_for
from server import SecureServer, fetch


def raw(server, *pieces):
    """What the server sends back to these bytes before it closes, without TLS."""

    def exchange():
        with socket.create_connection((server.host.ipv4, server.PORT), 30) as connection:
            answer = b""
            with contextlib.suppress(ConnectionError):
                for piece in pieces:
                    connection.sendall(piece)
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_WR)
            with contextlib.suppress(ConnectionError):
                while piece := connection.recv(65536):
                    answer += piece
            return answer

    return server.host.call(exchange)


def handshake(server, context):
    def exchange():
        with socket.create_connection((server.host.ipv4, server.PORT), 30) as connection:
            with context.wrap_socket(connection) as secure:
                return secure.version(), secure.getpeercert(binary_form=True)

    return server.host.call(exchange)


def anyone(version):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    context.set_ciphers("ALL:@SECLEVEL=0")
    context.minimum_version = context.maximum_version = version
    return context


@pytest.mark.parametrize("version, name", [(ssl.TLSVersion.TLSv1_2, "TLSv1.2"), (ssl.TLSVersion.TLSv1_3, "TLSv1.3")])
def test_it_speaks_what_is_safe(serving, version, name):
    assert handshake(serving, anyone(version))[0] == name


@pytest.mark.parametrize("version", [ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1])
@pytest.mark.filterwarnings("ignore::DeprecationWarning")
def test_it_speaks_nothing_older(serving, version):
    with pytest.raises((ssl.SSLError, ConnectionError)):
        handshake(serving, anyone(version))


def test_it_can_be_told_to_speak_the_newest_only(api):
    server = api.start(config='[tls]\nminimum_version = "1.3"\n')
    assert handshake(server, anyone(ssl.TLSVersion.TLSv1_3))[0] == "TLSv1.3"
    with pytest.raises((ssl.SSLError, ConnectionError)):
        handshake(server, anyone(ssl.TLSVersion.TLSv1_2))


def test_plain_http_is_told_where_to_go_or_sent_away(serving):
    answer = raw(serving, b"GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n")
    assert b" 200 " not in answer
    assert answer == b"" or (b" 400 " in answer.splitlines()[0] and b"https" in answer.lower())


@pytest.mark.parametrize("pieces", [
    [b""], [b"\x16"], [b"\x16\x03\x01\x02\x00"], [b"\x16\x03\x01\xff\xff" + b"\x01" * 70_000],
    [b"\x16\x03\x01\x00\x05\x01\x00\x00\x01\x00"], [b"\x80\x2e\x01\x00\x02" + b"\x00" * 41], [bytes(range(256)) * 300],
    [b"\x15\x03\x01\x00\x02\x02\x28"], [b"\x17\x03\x03\x40\x00" + b"x" * 0x4000],
])  # fmt: skip
def test_malformed_tls_is_dropped(serving, pieces):
    answer = raw(serving, *pieces)
    assert len(answer) < 2000 and b"HTTP/1.1 200" not in answer
    assert serving.get("/healthz").status == 200


def certificate_text(pem):
    done = subprocess.run(["openssl", "x509", "-noout", "-text"], input=pem, capture_output=True, text=True, timeout=30, check=True)
    return done.stdout


def test_its_own_certificate_is_made_once_and_kept(api):
    server = api.start()
    pem = (server.state / "tls.pem").read_text()
    text = certificate_text(pem)
    assert "prime256v1" in text and "CA:FALSE" in text
    assert "IP Address:127.0.0.1" in text and "DNS:localhost" in text
    keys = [file for file in server.state.iterdir() if "PRIVATE KEY" in file.read_text(errors="ignore")]
    assert keys and all(file.stat().st_mode & 0o777 == 0o600 for file in keys)
    first = handshake(server, server.tls)[1]
    assert server.stop(20) == 0
    server.start()
    assert handshake(server, server.tls)[1] == first


def make_certificate(folder, name):
    command = ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "30",
               "-subj", f"/CN={name}", "-keyout", folder / f"{name}.key", "-out", folder / f"{name}.pem"]  # fmt: skip
    subprocess.run(command, capture_output=True, timeout=30, check=True)
    os.chmod(folder / f"{name}.key", 0o600)
    return folder / f"{name}.pem", folder / f"{name}.key"


class Certified(SecureServer):
    """One with a certificate of its administrator's, in certificate.pem and key.pem of the folder `files`."""

    files = None

    @property
    def tls(self):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.load_verify_locations(self.files / "certificate.pem")
        return context


@pytest.fixture
def certified(lab, servers, tmp_path):
    first, key = make_certificate(tmp_path, "first")
    (tmp_path / "certificate.pem").write_bytes(first.read_bytes())
    (tmp_path / "key.pem").write_bytes(key.read_bytes())
    os.chmod(tmp_path / "key.pem", 0o600)
    Certified.files = tmp_path
    config = f'[tls]\ncertificate = "{tmp_path}/certificate.pem"\nkey = "{tmp_path}/key.pem"\n'
    return servers.start(lab.add_host("one"), kind=Certified, config=config)


def der(pem):
    return ssl.PEM_cert_to_DER_cert(pem.read_text())


def test_a_new_certificate_is_taken_at_sighup(certified, tmp_path):
    assert handshake(certified, certified.tls)[1] == der(tmp_path / "first.pem")
    second, key = make_certificate(tmp_path, "second")
    (tmp_path / "certificate.pem").write_bytes(second.read_bytes())
    (tmp_path / "key.pem").write_bytes(key.read_bytes())
    certified.send_signal(signal.SIGHUP)
    context = anyone(ssl.TLSVersion.TLSv1_3)
    wait_for(lambda: handshake(certified, context)[1] == der(second), 20, "the new certificate is shown")


def test_a_bad_certificate_changes_nothing_at_sighup(certified, tmp_path):
    second, _ = make_certificate(tmp_path, "second")
    good = (tmp_path / "certificate.pem").read_bytes()
    (tmp_path / "certificate.pem").write_bytes(second.read_bytes())  # the key is another's
    certified.config_file.write_text(certified.config_file.read_text() + '[log]\nlevel = "detail"\n')
    certified.send_signal(signal.SIGHUP)
    wait_for(lambda: "nothing was changed" in certified.log(), 20, "it says so")
    (tmp_path / "certificate.pem").write_bytes(good)
    assert handshake(certified, certified.tls)[1] == der(tmp_path / "first.pem")
    assert "the log level is" not in certified.log()


@pytest.mark.parametrize("break_it", ["missing", "no pem", "other key"])
def test_it_does_not_start_with_a_certificate_that_is_none(lab, build, tmp_path, break_it):
    certificate, key = make_certificate(tmp_path, "mine")
    if break_it == "missing":
        certificate = tmp_path / "nowhere.pem"
    elif break_it == "no pem":
        certificate.write_text("nonsense")
    else:
        _, key = make_certificate(tmp_path, "other")
    file = tmp_path / "one.toml"
    file.write_text(f'[server]\nstate_dir = "{tmp_path}/state"\n[tls]\ncertificate = "{certificate}"\nkey = "{key}"\n')
    done = lab.add_host("one").run(build.server, "--config", file, check=False)
    assert done.returncode == 78, done
    assert str(certificate) in done.stderr or str(key) in done.stderr


def test_tls_can_be_left_to_a_proxy(lab, servers):
    host = lab.add_host("one")
    servers.start(host, arguments=["--set", "access.anonymous=none"])
    answer = fetch(host, host.ipv4, "GET", "/1.0/servers")
    assert answer.status == 401
    assert "Strict-Transport-Security" not in answer.headers


def test_the_status_shows_the_certificate_that_clients_see(serving):
    certificate = serving.get("/1.0/status").json["value"]["certificate"]
    shown = handshake(serving, anyone(ssl.TLSVersion.TLSv1_3))[1]
    assert certificate["fingerprint"].removeprefix("SHA256:") == hashlib.sha256(shown).hexdigest()
    assert certificate["isSelfSigned"] is True
    assert certificate["notBefore"] < certificate["notAfter"]


def test_the_metrics_count_connections(serving):
    assert re.search(r"^kvt_http_connections [1-9]", serving.get("/metrics").body.decode(), re.MULTILINE)
