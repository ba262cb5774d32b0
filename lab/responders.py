"""Stand-ins for servers: each is registered by SLP and answers for its details, with a fraction of what a server costs."""

import hashlib
import http.server
import json
import socketserver
import subprocess
import threading

from output import read_until

PORT = 8443
_SERVICE = "service:x-mgmt.quorvel:kvt"


def _text(document, **options):
    return json.dumps(document, separators=(",", ":"), ensure_ascii=False, **options)


def details(host):
    """The record that a server of the host's name would give of itself. No text in it holds a blank or a bracket."""
    listen = [{"address": host.ipv4, "port": PORT, "scheme": "http"}]
    nics = [{"name": "eth0", "mac": "02:00:00:00:00:01", "ipV4": host.ipv4, "ipV6": host.ipv6 or ""}]
    properties = {
        "displayId": host.name,
        "build": "008.0.1",
        "agents": [{"id": 31, "name": "Stand-in", "build": "008.0.1", "listen": listen}],
        "os": {"name": "Stand-in", "version": "1", "network": {"nics": nics}},
        "health": {"state": "ok"},
    }
    return {"properties": properties}


def attributes(host, counter=0, tells_os=True):
    """The attribute list that such a server registers, its digest included. Without `tells_os` as newer servers do."""
    properties = details(host)["properties"]
    properties["nics"] = properties["os"]["network"]["nics"]
    properties["agents"] = properties["agents"][0]["listen"]
    properties["lastUpdatedCounter"] = counter
    if not tells_os:
        del properties["os"]
    record = {"properties": properties}
    record["gid"] = hashlib.sha256(_text(record, sort_keys=True).encode()).hexdigest()
    return f"(ip={host.ipv4}))(server={_text(record)})"


class _Answering(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        found = self.path == "/1.0/servers/self"
        self.server.asked += found
        body = self.server.body if found else b'{"status":{"code":404,"desc":"Not Found"}}'
        self.send_response(200 if found else 404)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.send_header("Connection", "close")
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


class _Details(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True
    request_queue_size = 64

    def __init__(self, host):
        super().__init__((host.ipv4, PORT), _Answering)
        self.asked = 0
        self.body = _text({"status": {"code": 0, "desc": "Success"}, "value": details(host)}).encode()


class Responder:
    """One of them, on a host of its own."""

    def __init__(self, build, host, tells_os=True):
        self.host = host
        self._http = host.call(_Details, host)
        self._thread = threading.Thread(target=self._http.serve_forever, args=[0.1], daemon=True)
        self._thread.start()
        url = f"{_SERVICE}://{host.ipv4}:{PORT}"
        self._process = subprocess.Popen(
            host.command(build.control, "slp", "register", url, attributes(host, tells_os=tells_os)),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )

    @property
    def asked(self):
        """How often it was asked for its details."""
        return self._http.asked

    def wait_until_registered(self):
        read_until(self._process.stdout, "registered", 60)

    def stop(self):
        """It dies without a word."""
        self._process.kill()
        self._process.wait()

    def close(self):
        self.stop()
        self._process.stdout.close()
        self._http.shutdown()
        self._http.server_close()
        self._thread.join()


class Responders:
    """Owns them. A context manager."""

    def __init__(self, build):
        self._build = build
        self.all = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for responder in self.all:
            responder.close()

    def start(self, hosts):
        """Returns when every one of them is registered. Of every two, one tells its system as servers of today do."""
        started = []
        for number, host in enumerate(hosts):
            started.append(Responder(self._build, host, tells_os=number % 2 == 0))
            self.all.append(started[-1])
        for responder in started:
            responder.wait_until_registered()
