"""kvtctl and the certificates of servers: what it trusts, and what it does not even send a request to."""

import http.server
import os
import pathlib
import ssl
import subprocess
import threading

import pytest

from watched import assert_no_reports

LIST = b'{"status": {"code": 0, "desc": "Success"}, "count": 1, "values": [{"properties": {"displayId": "ten"}}]}'


class Certificate:
    """A certificate and its key, in files."""

    def __init__(self, folder, name, signer=None):
        self.file = folder / f"{name}.pem"
        self.key = folder / f"{name}.key"
        words = ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2"]
        words += ["-subj", f"/CN={name}", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", self.key, "-out", self.file]
        if signer:
            words += ["-CA", signer.file, "-CAkey", signer.key]
        subprocess.run(words, check=True, capture_output=True)

    @property
    def fingerprint(self):
        words = ["openssl", "x509", "-in", self.file, "-noout", "-fingerprint", "-sha256"]
        text = subprocess.run(words, check=True, capture_output=True, text=True).stdout
        return "SHA256:" + text.split("=")[1].strip().replace(":", "").lower()


class SecureList(http.server.ThreadingHTTPServer):
    """Serves a list over TLS, and counts the requests that reach it."""

    def __init__(self, address, certificate):
        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.server.requests.append((self.path, self.headers.get("Authorization")))
                self.send_response(200)
                self.send_header("Content-Length", str(len(LIST)))
                self.end_headers()
                self.wfile.write(LIST)

            def log_message(self, *_):
                pass

        super().__init__(address, Handler)
        self.requests = []
        self.show(certificate)

    def show(self, certificate):
        """From now on."""
        self._context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._context.load_cert_chain(certificate.file, certificate.key)

    def get_request(self):
        connection, address = super().get_request()
        connection.settimeout(10)
        try:
            return self._context.wrap_socket(connection, server_side=True), address
        except OSError:
            connection.close()
            raise


@pytest.fixture
def certificate(tmp_path):
    return Certificate(tmp_path, "ten")


@pytest.fixture
def host(lab):
    return lab.add_host("ten")


@pytest.fixture
def start(host, certificate):
    """Starts the server at an address of the host."""
    started = []

    def run(address):
        server = host.call(SecureList, (address, 8443), certificate)
        started.append(server)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        return server

    yield run
    for server in started:
        server.shutdown()
        server.server_close()


@pytest.fixture
def control(host, build, tmp_path):
    """Runs kvtctl where nobody can be asked; what it keeps is in `config`."""

    def run(*arguments, token="", **options):
        environment = dict(os.environ, XDG_CONFIG_HOME=os.fspath(tmp_path / "config"), KVT_TOKEN=token)
        done = host.run(build.control, *arguments, check=False, env=environment, **options)
        assert_no_reports(done.stderr)
        return done

    run.known = pathlib.Path(tmp_path / "config" / "kvtctl" / "known_servers")
    return run


def test_the_server_of_this_machine_is_known_from_the_first_contact_on(control, start, certificate):
    server = start("127.0.0.1")
    done = control("servers", "list")
    assert (done.returncode, done.stderr) == (0, "")
    assert certificate.fingerprint in control.known.read_text()
    assert control.known.stat().st_mode & 0o777 == 0o600
    assert server.requests == [("/1.0/servers", None)]


def test_a_changed_certificate_is_refused_before_anything_is_sent(control, start, certificate, tmp_path):
    server = start("127.0.0.1")
    control("servers", "list")
    other = Certificate(tmp_path, "other")
    server.show(other)
    done = control("servers", "list", token="kvt_secret")
    assert (done.returncode, done.stdout) == (4, "")
    assert done.stderr == (
        f"kvtctl: the certificate of 127.0.0.1:8443 has changed: it was {certificate.fingerprint} and is "
        f"{other.fingerprint}. Somebody may stand in between. When the server has a new one that you know of: "
        "kvtctl trust\n"
    )
    assert len(server.requests) == 1

    done = control("trust")
    assert (done.returncode, done.stderr) == (4, f"kvtctl: say which certificate: kvtctl trust {other.fingerprint}\n")
    done = control("trust", other.fingerprint)
    assert (done.returncode, done.stdout) == (0, f"127.0.0.1:8443: trusted, {other.fingerprint}\n")
    assert control("servers", "list", token="kvt_secret").returncode == 0
    assert server.requests[-1] == ("/1.0/servers", "Bearer kvt_secret")


def test_an_unknown_server_is_refused_where_nobody_can_be_asked(control, start, host, certificate):
    server = start(host.ipv4)
    url = f"https://{host.ipv4}:8443"
    done = control("servers", "list", "--server", url)
    assert (done.returncode, done.stdout) == (4, "")
    assert done.stderr == (
        f"kvtctl: the server at {host.ipv4}:8443 is not known yet. Its certificate is {certificate.fingerprint}; when "
        f"that is the one that its administrator tells: kvtctl trust {certificate.fingerprint}\n"
    )
    assert server.requests == []
    wrong = "SHA256:" + 64 * "0"
    done = control("servers", "list", "--server", url, "--fingerprint", wrong)
    assert done.returncode == 4
    assert done.stderr.endswith(f"shows the certificate {certificate.fingerprint}, and not {wrong}\n")
    assert server.requests == []
    assert control("servers", "list", "--server", url, "--fingerprint", certificate.fingerprint).returncode == 0
    assert control("servers", "list", "--server", url).returncode == 0


def test_authorities_decide_in_place_of_what_is_known(control, start, certificate, tmp_path):
    authority = Certificate(tmp_path, "authority")
    server = start("127.0.0.1")
    server.show(Certificate(tmp_path, "signed", signer=authority))
    done = control("servers", "list", "--ca", authority.file)
    assert (done.returncode, done.stderr) == (0, "")
    assert not control.known.exists()
    done = control("servers", "list", "--ca", certificate.file)
    assert done.returncode == 4
    assert len(server.requests) == 1
    done = control("servers", "list", "--ca", "/dev/null")
    assert (done.returncode, done.stderr) == (2, "kvtctl: no certificate can be read from /dev/null\n")
