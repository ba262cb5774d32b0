"""The library inside an object that is closed again, while its agent waits for something that does not come."""

import os
import pathlib
import socket
import subprocess

from process import PROGRAMS, REPORTS

PROBE = os.environ.get("SLP_TEST_UNLOAD_PROBE", "build/dev/lib/libslp_unload_probe.so")
WITH_NAME_SERVER = 'mount --bind "$0" /etc/resolv.conf && exec "$@"'


def name_server():
    """One that hears every question and answers none."""
    server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    server.bind(("127.0.0.1", 53))
    server.settimeout(20)
    return server


def test_an_object_is_closed_while_a_name_is_looked_up(one, tmp_path):
    configuration: pathlib.Path = tmp_path / "slp.conf"
    configuration.write_text("net.slp.DAAddresses = directory.example\n")
    resolver = tmp_path / "resolv.conf"
    resolver.write_text("nameserver 127.0.0.1\noptions timeout:30 attempts:5\n")
    server = one.call(name_server)
    command = ["unshare", "--mount", "--", "sh", "-c", WITH_NAME_SERVER, resolver, PROGRAMS / "slp_unload", PROBE]
    with server, subprocess.Popen(
        one.command(*command),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        env=dict(os.environ, SLP_CONF=os.fspath(configuration)),
    ) as process:
        try:
            assert process.stdout.readline() == "registered\n"
            assert b"directory" in server.recv(512)
            out, err = process.communicate("\n", timeout=20)
        finally:
            process.kill()
    assert (out, process.returncode) == ("closed\n", 0), err
    assert not any(report in err for report in REPORTS), err
