#!/usr/bin/env python3
"""bench/http_server.py BUILD: requests per second and latency of GET /1.0/servers over kept-alive connections, next to
nginx that serves the same bytes as a file in the same run, and the memory of kvt-server, as a table. BUILD is the folder
of a release build. The list is filled by discovery: with that many simulated servers, in real packets. Needs wrk and nginx.
`lab/enter` may have to stand before it."""

import argparse
import contextlib
import pathlib
import re
import shutil
import ssl
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
for folder in ("lab", "bench"):
    sys.path.insert(0, str(ROOT / folder))

from discovery import NETWORK, many_servers, sample, templates  # noqa: E402
from netlab import wait_for  # noqa: E402
from segment import Segment  # noqa: E402
from server import Build, Server, fetch  # noqa: E402

LIST = "/1.0/servers"
NGINX_PORTS = {"http": 18080, "https": 18443}
PATIENCE = 300
UNITS = {"us": 0.001, "ms": 1.0, "s": 1000.0, "m": 60000.0}

NGINX = """
daemon off; master_process on; worker_processes auto; user root; pid {folder}/nginx.pid; error_log {folder}/nginx.log;
events {{ worker_connections 1024; }}
http {{
  access_log off; sendfile on; tcp_nopush on; keepalive_requests 1000000; default_type application/json;
  client_body_temp_path {folder}/t1; proxy_temp_path {folder}/t2; fastcgi_temp_path {folder}/t3;
  uwsgi_temp_path {folder}/t4; scgi_temp_path {folder}/t5;
  server {{
    listen 127.0.0.1:{http}; listen 127.0.0.1:{https} ssl;
    ssl_certificate {folder}/cert.pem; ssl_certificate_key {folder}/key.pem;
    location = /1.0/servers {{ alias {folder}/list.json; }}
  }}
}}
"""


def make_certificate(folder):
    command = ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "1"]
    command += ["-subj", "/CN=bench", "-keyout", folder / "key.pem", "-out", folder / "cert.pem"]
    subprocess.run(command, check=True, stderr=subprocess.DEVNULL)


@contextlib.contextmanager
def nginx(host, folder, body):
    (folder / "list.json").write_bytes(body)
    (folder / "nginx.conf").write_text(NGINX.format(folder=folder, **NGINX_PORTS))
    command = host.command(shutil.which("nginx") or "/usr/sbin/nginx", "-c", folder / "nginx.conf", "-p", folder)
    process = subprocess.Popen(command, stderr=subprocess.DEVNULL)
    try:
        wait_for(lambda: answers(host, NGINX_PORTS["http"]), 20, "nginx answers")
        yield
    finally:
        process.terminate()
        process.wait(20)


def answers(host, port):
    try:
        return fetch(host, "127.0.0.1", "GET", LIST, port=port).status == 200
    except OSError:
        return False


def milliseconds(text):
    number, unit = re.fullmatch(r"([\d.]+)(\D+)", text).groups()
    return float(number) * UNITS[unit]


def load(host, scheme, port, options, headers=()):
    """What wrk says: requests per second, p50 and p99 in milliseconds."""
    command = ["wrk", "--latency", "-t1", f"-c{options.connections}", f"-d{options.seconds}s", "--timeout", "30s"]
    for header in headers:
        command += ["-H", header]
    result = subprocess.run(
        host.command(*command, f"{scheme}://127.0.0.1:{port}{LIST}"), capture_output=True, text=True, check=True
    )
    text = result.stdout
    if "Socket errors" in text or "Non-2xx" in text:
        raise RuntimeError(text)
    rate = float(re.search(r"Requests/sec:\s+([\d.]+)", text)[1])
    half, almost = (milliseconds(re.search(rf"\s{part}%\s+(\S+)", text)[1]) for part in (50, 99))
    return rate, half, almost


def resident(server):
    """Megabytes."""
    status = pathlib.Path(f"/proc/{server.process.pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0]) / 1024


def ways(answer):
    """Name and headers of each way to ask."""
    return (
        ("kvt-server", ()),
        ("  gzip", ("Accept-Encoding: gzip",)),
        ("  304", (f"If-None-Match: {answer.headers['ETag']}",)),
    )


def measure(build, program, count, scheme, folder, texts, options):
    insecure = ssl.create_default_context()
    insecure.check_hostname, insecure.verify_mode = False, ssl.CERT_NONE
    tls = insecure if scheme == "https" else None
    settings = {"slp_find_service_interval": 600_000, "slp_find_service_strictness": 0, "enable_multicast": 0}
    arguments = ("--set", f"tls.enabled={str(tls is not None).lower()}")
    with Segment() as segment:
        peers = segment.host("peers", ipv6=False, route=True)
        peers.run("ip", "route", "add", "local", NETWORK, "dev", "lo")
        asking = segment.host("asking", ipv6=False, route=True)
        asking.run("ip", "route", "add", NETWORK, "via", peers.ipv4)

        def get():
            return fetch(asking, "127.0.0.1", "GET", LIST, port=Server.PORT, timeout=60, tls=tls)

        with many_servers(program, peers, count, folder, texts):
            with Server(asking, build, folder, settings=settings, arguments=arguments) as server:
                wait_for(lambda: get().json["count"] > count, PATIENCE, f"{count} servers are listed", pause=1)
                idle = resident(server)
                answer = get()
                with nginx(asking, folder, answer.body):
                    for name, headers in ways(answer):
                        figures = load(asking, scheme, Server.PORT, options, headers)
                        show(scheme, count, name, len(answer.body), *figures, idle, resident(server))
                    figures = load(asking, scheme, NGINX_PORTS[scheme], options)
                    show(scheme, count, "nginx, a file", len(answer.body), *figures)


HEAD = ("scheme", "servers", "", "kB", "req/s", "p50/ms", "p99/ms", "idle/MB", "load/MB")


def show(scheme, count, name, size, rate, half, almost, idle=None, loaded=None):
    memory = (f"{idle:.1f}", f"{loaded:.1f}") if idle is not None else ("", "")
    cells = (f"{size / 1000:.1f}", f"{rate:,.0f}", f"{half:.2f}", f"{almost:.2f}", *memory)
    print(f"{scheme:>6} {count:>7,} {name:<14} " + " ".join(f"{cell:>9}" for cell in cells), flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--sizes", type=int, nargs="+", default=[10, 1000, 10000])
    parser.add_argument("--schemes", nargs="+", default=["http", "https"], choices=["http", "https"])
    parser.add_argument("--seconds", type=int, default=10)
    parser.add_argument("--connections", type=int, default=8)
    options = parser.parse_args()
    build = Build.at(options.build)
    program = options.build.absolute() / "bin" / "discovery_load"
    print(f"{HEAD[0]:>6} {HEAD[1]:>7} {'':<14} " + " ".join(f"{cell:>9}" for cell in HEAD[3:]), flush=True)
    with tempfile.TemporaryDirectory() as folder:
        texts = templates(*sample(build, folder))
        for scheme in options.schemes:
            for count in options.sizes:
                files = pathlib.Path(folder) / f"{scheme}-{count}"
                files.mkdir()
                make_certificate(files)
                measure(build, program, count, scheme, files, texts, options)


if __name__ == "__main__":
    main()
