"""Clients that send too much, too slowly or nothing at all; others are served meanwhile."""

import contextlib
import pathlib
import re
import socket
import ssl
import time

import pytest

from conftest import status_text
from netlab import wait_for


def open_tls(server, timeout=30):
    """A connection to the server over TLS, made by a thread that is inside its host's network."""
    return server.tls.wrap_socket(socket.create_connection((server.host.ipv4, server.PORT), timeout))


def until_closed(connection):
    answer = b""
    with contextlib.suppress(ConnectionError, ssl.SSLError):
        while piece := connection.recv(65536):
            answer += piece
    return answer


def send(server, *pieces, pause=0.0):
    """Everything that the server answers to these pieces, until it closes."""

    def exchange():
        with open_tls(server) as connection:
            with contextlib.suppress(ConnectionError, ssl.SSLError):
                for piece in pieces:
                    connection.sendall(piece)
                    time.sleep(pause)  # the client's own slowness
            return until_closed(connection)

    return server.host.call(exchange)


def test_a_header_that_is_too_large_is_refused(serving):
    answer = serving.get("/healthz", headers={"X-Filler": "x" * 20_000})
    assert answer.status == 431 and status_text(answer)


def test_a_body_that_is_too_large_is_refused(serving):
    answer = serving.post("/1.0/session", "x" * (64 * 1024 + 1), headers={})
    assert answer.status == 413 and status_text(answer)


def test_a_body_that_is_said_to_be_too_large_is_refused_unread(serving):
    answer = send(serving, b"POST /1.0/session HTTP/1.1\r\nHost: x\r\nContent-Length: 99999999999\r\n\r\n")
    assert b" 413 " in answer.splitlines()[0]


def test_chunks_without_end_are_refused(serving):
    chunk = b"10000\r\n" + b"x" * 0x10000 + b"\r\n"
    head = b"POST /1.0/session HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
    assert b" 413 " in send(serving, head, *[chunk] * 32).splitlines()[0]


@pytest.mark.parametrize("request_text", [
    b"nonsense\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n", b"GET /healthz HTTP/1.1\r\n\r\n", b"\x00\x01\x02\r\n\r\n",
    b"GET /healthz HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n",
    b"POST /1.0/session HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
    b"POST /1.0/session HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nxx",
    b"GET /healthz HTTP/1.1\r\nHost: x\r\nX : y\r\n\r\n",
    b"POST /1.0/session HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n",
    b"GET /1.0/servers HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer a\r\nAuthorization: Bearer b\r\n\r\n",
])  # fmt: skip
def test_what_is_ambiguous_or_no_http_is_refused(serving, request_text):
    assert send(serving, request_text).splitlines()[0].split()[1:2] == [b"400"]


def test_what_follows_a_body_lets_nobody_in(serving):
    head = b"POST /1.0/servers/self/operations/discovery HTTP/1.1\r\nHost: x\r\nConnection: close\r\nTransfer-Encoding: chunked\r\n\r\n"
    trailer = b"2\r\n{}\r\n0\r\nAuthorization: Bearer " + serving.token.encode() + b"\r\n\r\n"
    assert send(serving, head + trailer).splitlines()[0].split()[1] == b"401"


def resident(server):
    """MiB of the server's process, which is the one among those of its start that has the most."""
    pids, found = [server.process.pid], []
    while pids:
        pid = pids.pop()
        with contextlib.suppress(OSError):
            pids += map(int, pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split())
            found += re.findall(r"VmRSS:\s+(\d+)", pathlib.Path(f"/proc/{pid}/status").read_text())
    return max(map(int, found)) // 1024


def test_bodies_that_never_end_take_no_more_memory_than_there_is_for_them(api, patience):
    server = api.start(config="[limits]\nbody_bytes = 1048576\n")
    before = resident(server)
    unfinished = b"POST /1.0/session HTTP/1.1\r\nHost: x\r\nContent-Length: 1048576\r\n\r\n" + b"x" * 1048575

    def crowd():
        connections = []
        for _ in range(200):
            connection = open_tls(server)
            connections.append(connection)
            with contextlib.suppress(OSError):
                connection.sendall(unfinished)
        return connections

    connections = server.host.call(crowd)
    try:
        # A sanitizer's own memory grows with that of the process.
        assert resident(server) - before < 150 * patience, "200 MiB were sent, of which 64 may be kept"
        assert server.log_in(server.USER, server.PASSWORD)
    finally:
        for connection in connections:
            connection.close()


SHORT = '[limits]\nheader_timeout = "{0}ms"\nrequest_timeout = "{0}ms"\nidle_timeout = "{0}ms"\n'


@pytest.mark.parametrize("pieces", [
    [b"GET /healthz HTTP/1.1\r\n"] + [b"X-Slow: 1\r\n"] * 100,
    [b"POST /1.0/session HTTP/1.1\r\nHost: x\r\nContent-Length: 1000\r\n\r\n"] + [b"x"] * 100,
], ids=["header", "body"])  # fmt: skip
def test_who_sends_slowly_is_cut_off_while_others_are_served(api, patience, pieces):
    server = api.start(config=SHORT.format(int(1000 * patience)))
    slow = server.host.submit(send, server, *pieces, pause=0.1 * patience)
    served = 0
    while not slow.done():
        assert server.get("/healthz").status == 200
        served += 1
    answer = slow.result()
    assert b" 408 " in answer.splitlines()[0]
    assert served > 0


@pytest.mark.parametrize("is_tls", [True, False], ids=["after the handshake", "before it"])
def test_two_thousand_idle_connections_lock_nobody_out(api, is_tls):
    server = api.start(config='[limits]\nconnections = 500\nidle_timeout = "5m"\nheader_timeout = "5m"\n')

    def crowd():
        connections = []
        context = server.tls
        for _ in range(2000):
            connection = socket.create_connection((server.host.ipv4, server.PORT), 30)
            with contextlib.suppress(OSError):
                connections.append(context.wrap_socket(connection) if is_tls else connection)
        return connections

    connections = server.host.call(crowd)
    try:
        for _ in range(20):
            assert server.get("/healthz").status == 200
            assert server.get("/1.0/servers").status == 200
    finally:
        for connection in connections:
            connection.close()
    wait_for(lambda: server.get("/healthz").status == 200, 10, "it serves")


def test_a_client_that_reads_nothing_costs_only_itself(api, patience):
    server = api.start(config=f'[limits]\nwrite_timeout = "{int(1000 * patience)}ms"\n')

    def ask_without_reading():
        connection = open_tls(server)
        request = f"GET /openapi.json HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer {server.token}\r\n\r\n".encode()
        connection.settimeout(20 * patience)
        with contextlib.suppress(OSError):
            while True:
                connection.sendall(request)
        return connection

    server.host.call(ask_without_reading).close()
    assert server.get("/healthz").status == 200
