"""What the log of a server that was only installed tells of those who came in, and of those who did not."""

import re

import pytest

from test_api_login import log_in
from netlab import wait_for

REMOVE = {"action": "REMOVE", "parameters": {"server": "/1.0/servers/nobody"}}


@pytest.fixture
def server(api):
    return api.start(access="login_attempts = 3")


def lines(server, text):
    return [line for line in server.log().splitlines() if re.search(text, line)]


def test_it_tells_who_came_in_and_what_they_changed(server):
    session = server.log_in(server.USER, server.PASSWORD)
    server.post("/1.0/tokens", {"name": "mine", "role": "viewer"}, headers=session)
    server.post("/1.0/servers/self/operations/discovery", REMOVE, headers=session)
    server.post("/1.0/peers/forget", {"address": "192.0.2.7:8443"}, headers=session)
    server.ask("DELETE", "/1.0/session", headers=session)
    who = f"{server.USER} .*{re.escape(server.host.ipv4)}|{server.USER} from {re.escape(server.host.ipv4)}"
    for what in ("has logged in", "has made the token mine", "REMOVE.*/1.0/servers/nobody", "/1.0/peers/forget.*192.0.2.7:8443.*404", "has logged out"):
        found = lines(server, what)
        assert found and re.search(who, found[-1]), (what, server.log())


def test_no_kind_of_refusal_hides_another(server):
    for _ in range(30):
        assert server.post("/1.0/nothing", {}, headers={}).status == 401
    for _ in range(3):
        assert log_in(server, "nobody", "a wrong password").status == 401
    for _ in range(3):
        assert log_in(server, server.USER, "a wrong password").status == 401
    for _ in range(30):
        assert log_in(server, server.USER, "a wrong password").status == 429
    wait_for(lambda: lines(server, "put off"), 10, "it is told that logins are put off")
    assert 1 <= len(lines(server, "was refused")) <= 6
    assert lines(server, f"a login as {server.USER} from .* failed")
    assert lines(server, f"logins as {server.USER} from .* are locked out")
