#!/usr/bin/env python3
"""bench/http_server.py BUILD: requests per second and latency of GET /1.0/servers over kept-alive connections, next to
nginx that serves the same bytes as a file in the same run, and the memory of kvt-server, idle and the most under each load,
as a table. Over HTTPS it is asked with an API token. BUILD is the folder of a release build. The list is filled by
discovery: with that many simulated servers, in real packets. Needs wrk and nginx. `lab/enter` may have to stand before it."""

import argparse
import contextlib
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
for folder in ("lab", "bench"):
    sys.path.insert(0, str(ROOT / folder))

from discovery import network_of, sample, settings, templates  # noqa: E402
from netlab import wait_for  # noqa: E402
from server import Build, SecureServer, Server, fetch  # noqa: E402

LIST = "/1.0/servers"
NGINX_PORTS = {"http": 18080, "https": 18443}
PATIENCE = 300
PAUSE = 600  # seconds between two passes: after the first one nothing but the load goes on
QUIET = 10  # seconds
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
    """What it has resident once nothing has been asked for a while, in megabytes."""
    time.sleep(QUIET)
    return memory(server, "VmRSS")


@contextlib.contextmanager
def peak(server):
    """The most that it has resident meanwhile, in megabytes: a function that tells it afterwards."""
    pathlib.Path(f"/proc/{server.process.pid}/clear_refs").write_text("5")  # proc(5): VmHWM begins anew
    yield lambda: memory(server, "VmHWM")


def memory(server, name):
    status = pathlib.Path(f"/proc/{server.process.pid}/status").read_text()
    return int(status.split(f"{name}:")[1].split()[0]) / 1024


def ways(answer):
    """Name and headers of each way to ask."""
    return (
        ("kvt-server", ()),
        ("  gzip", ("Accept-Encoding: gzip",)),
        ("  304", (f"If-None-Match: {answer.headers['ETag']}",)),
    )


def server_for(scheme, asking, build, folder):
    """Over HTTPS one as it is installed, for those only who log in; over HTTP one that serves everybody."""
    if scheme == "http":
        return Server(asking, build, folder, settings=settings(PAUSE))
    # The simulated servers have no certificates.
    return SecureServer(asking, build, folder, settings=settings(PAUSE), arguments=("--set", "peers.allow_http=true"))


def measure(build, program, count, scheme, folder, texts, options):
    with network_of(program, count, folder, texts) as asking:
        with server_for(scheme, asking, build, folder) as server:
            wait_for(lambda: server.get(LIST, timeout=60).json["count"] > count, PATIENCE, f"{count} are listed", pause=1)
            answer = server.get(LIST, timeout=60)
            login = (f"Authorization: Bearer {server.token}",) if scheme == "https" else ()
            idle = resident(server)
            with nginx(asking, folder, answer.body):
                for name, headers in ways(answer):
                    with peak(server) as loaded:
                        figures = load(asking, scheme, Server.PORT, options, (*login, *headers))
                    show(scheme, count, name, len(answer.body), *figures, idle, loaded())
                figures = load(asking, scheme, NGINX_PORTS[scheme], options)
                show(scheme, count, "nginx, a file", len(answer.body), *figures)


HEAD = ("scheme", "servers", "", "kB", "req/s", "p50/ms", "p99/ms", "idle/MB", "peak/MB")


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
