"""Who may call what: the table of SECURITY.md, walked against a server."""

import pathlib
import re

import pytest

from conftest import status_text

PAGE = pathlib.Path(__file__).resolve().parents[3] / "SECURITY.md"
LOG_IN_FIRST = "Log in first"
RANK = {"everybody": 0, "login": 1, "viewer": 1, "operator": 2}


def rows():
    """(verb, path, who) of each row of the table."""
    found = []
    for line in PAGE.read_text(encoding="utf-8").splitlines():
        row = re.fullmatch(r"\|\s*`(/[^`]*)`\s*\|\s*([A-Z, ]+?)\s*\|\s*(.+?)\s*\|", line)
        if row:
            found += [(verb.strip(), row[1], row[3]) for verb in row[2].split(",")]
    return found


def concrete(path):
    """A path that no server or token has, but for the own details."""
    filled = {"{server_id}": "self", "{address}": "192.0.2.1", "{name}": "nobody-s", "{tentative_id}": "nobody-s"}
    for name, value in filled.items():
        path = path.replace(name, value)
    assert "{" not in path
    return path


def is_let_in(server, verb, path, headers):
    """Whether the request got past the question of who asks. What it is then answered is another matter."""
    if path == "/1.0/events":
        verb = "HEAD"  # what GET answers goes on for ever
    answer = server.ask(verb, path, {} if verb == "POST" else None, headers=headers)
    if answer.status == 401 and path == "/1.0/session":
        return status_text(answer) != LOG_IN_FIRST
    assert answer.status < 500, answer
    return answer.status not in (401, 403)


def with_rules_of_their_own():
    """Rows that ask for more than a role; test_api_login.py has them."""
    return {("POST", "/1.0/setup"), ("DELETE", "/1.0/session")}


def test_the_table_names_every_kind_of_caller_and_enough_resources():
    assert len(rows()) >= 20
    assert {who.split(",")[0].split()[0] for _, _, who in rows()} >= set(RANK)


@pytest.mark.parametrize("verb, path, who", [row for row in rows() if row[:2] not in with_rules_of_their_own()])
def test_it_is_as_the_table_says(serving, viewer, verb, path, who):
    operator = {"Authorization": f"Bearer {serving.token}"}
    least = RANK.get(who.split(",")[0].split()[0], 0)
    for rank, headers in enumerate(({}, viewer, operator)):
        assert is_let_in(serving, verb, concrete(path), headers) == (rank >= least), (rank, headers)


def test_what_nobody_knows_is_told_only_to_those_who_may_read(serving, viewer):
    nobody = serving.get("/1.0/no-such-thing", headers={})
    assert (nobody.status, status_text(nobody)) == (401, LOG_IN_FIRST)
    assert nobody.headers["WWW-Authenticate"].startswith("Bearer")
    assert serving.get("/1.0/no-such-thing", headers=viewer).status == 404


def test_a_viewer_is_told_what_role_it_takes(serving, viewer):
    body = {"action": "REMOVE", "parameters": {"server": "/1.0/servers/x"}}
    answer = serving.post("/1.0/servers/self/operations/discovery", body, headers=viewer)
    assert answer.status == 403
    assert "operator" in status_text(answer)


@pytest.mark.parametrize("header", ["Bearer", "Bearer ", "Bearer kvt_", "Bearer kvt_" + "A" * 43, "Basic b3A6b3A=", "x" * 4000])
def test_a_wrong_token_lets_nobody_in(serving, header):
    assert serving.get("/1.0/servers", headers={"Authorization": header}).status == 401


def test_a_wrong_token_is_not_made_good_by_a_session(serving):
    headers = {**serving.log_in(), "Authorization": "Bearer kvt_" + "A" * 43}
    assert serving.get("/1.0/servers", headers=headers).status == 401


@pytest.mark.parametrize("path", ["/1.0/remoteservercall", "/1.0/searchserver_"])
def test_what_exists_for_the_process_alone_is_not_there_for_an_operator(serving, path):
    assert serving.get(path).status == 404
    assert serving.post(path, {}).status == 404
