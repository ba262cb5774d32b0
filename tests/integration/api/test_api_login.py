"""Logins, sessions, tokens and the first account."""

import http.client
import json
import time

import pytest

from conftest import status_text
from netlab import wait_for
from server import SecureServer, fetch

SERVERS = "/1.0/servers"
ACT = "/1.0/servers/self/operations/discovery"
REMOVE = {"action": "REMOVE", "parameters": {"server": "/1.0/servers/nobody"}}


def log_in(server, user, password, **options):
    return server.post("/1.0/session", {"user": user, "password": password}, headers={}, **options)


def who(server, headers):
    return server.get("/1.0/session", headers=headers).json["value"]


def is_in(server, headers):
    return server.get(SERVERS, headers=headers).status == 200


def test_a_login_gives_a_cookie_that_scripts_and_other_sites_do_not_get(serving):
    answer = log_in(serving, serving.USER, serving.PASSWORD)
    assert answer.status == 200
    name, _, attributes = answer.headers["Set-Cookie"].partition(";")
    assert name.startswith("kvtSession=") and len(name) >= len("kvtSession=") + 43
    assert {"Secure", "HttpOnly", "SameSite=Strict", "Path=/"} <= {word.strip() for word in attributes.split(";")}
    value = answer.json["value"]
    assert (value["user"], value["role"], value["setup"]) == (serving.USER, "operator", "done")
    assert value["csrfToken"]


def test_two_logins_share_nothing(serving):
    first, second = serving.log_in(), serving.log_in()
    assert first["Cookie"] != second["Cookie"] and first["X-CSRF-Token"] != second["X-CSRF-Token"]


def test_somebody_who_has_not_logged_in_is_told_so(serving):
    value = who(serving, {})
    assert (value["user"], value["role"], value["setup"], value["csrfToken"]) == ("", "none", "done", "")


@pytest.mark.parametrize("user, password", [(SecureServer.USER, "not it at all"), ("nobody", SecureServer.PASSWORD)])
def test_a_wrong_name_and_a_wrong_password_are_told_alike(api, user, password):
    answer = log_in(api.start(), user, password)
    assert (answer.status, status_text(answer)) == (401, "The user name or the password is wrong")
    assert "Set-Cookie" not in answer.headers


@pytest.mark.parametrize("body", ["", "[]", "{}", '{"user": "x"}', '{"user": 3, "password": 4}', "nonsense"])
def test_a_login_that_is_none_is_refused(serving, body):
    answer = serving.post("/1.0/session", body, headers={})
    assert answer.status == 400 and status_text(answer)


def test_a_write_takes_the_token_of_its_session(serving):
    mine, other = serving.log_in(), serving.log_in()
    assert serving.post(ACT, REMOVE, headers=mine).status == 400  # let in: there is no such server
    for token in (None, "", "x", other["X-CSRF-Token"], mine["X-CSRF-Token"] + "x"):
        headers = {"Cookie": mine["Cookie"], **({} if token is None else {"X-CSRF-Token": token})}
        assert serving.post(ACT, REMOVE, headers=headers).status == 403, token


@pytest.mark.parametrize("header", [{"Origin": "https://elsewhere.example"}, {"Origin": "null"}, {"Sec-Fetch-Site": "cross-site"}])
def test_a_write_from_another_site_is_refused(serving, header):
    assert serving.post(ACT, REMOVE, headers={**serving.log_in(), **header}).status == 403
    assert log_in_from(serving, header).status == 403


def log_in_from(server, header):
    return server.post("/1.0/session", {"user": server.USER, "password": server.PASSWORD}, headers=header)


def test_a_write_from_the_own_site_is_not(serving):
    own = {"Origin": f"https://{serving.host.ipv4}:{serving.PORT}", "Sec-Fetch-Site": "same-origin"}
    assert serving.post(ACT, REMOVE, headers={**serving.log_in(), **own}).status == 400


def test_a_logout_ends_the_session_and_no_other(serving):
    mine, other = serving.log_in(), serving.log_in()
    answer = serving.ask("DELETE", "/1.0/session", headers=mine)
    assert answer.status == 200 and "Max-Age=0" in answer.headers["Set-Cookie"]
    assert not is_in(serving, mine) and is_in(serving, other)


def test_a_session_ends_when_nobody_uses_it(api, patience):
    server = api.start(access=f"session_idle = {int(2000 * patience)}")
    used, unused = server.log_in(), server.log_in()
    end = time.monotonic() + 4 * patience
    while time.monotonic() < end:
        assert is_in(server, used)
        time.sleep(0.2)
    assert not is_in(server, unused)


def test_a_session_ends_in_any_case(api, patience):
    server = api.start(access=f"session_lifetime = {int(2000 * patience)}")
    session = server.log_in()
    assert is_in(server, session)
    wait_for(lambda: not is_in(server, session), 30 * patience, "the session has ended")


def test_an_ended_session_ends_its_events(api, patience):
    server = api.start(access=f"session_lifetime = {int(2000 * patience)}")
    session = server.log_in()

    def listen():
        connection = http.client.HTTPSConnection(server.address, server.PORT, timeout=60, context=server.tls)
        connection.request("GET", "/1.0/events", headers=session)
        response = connection.getresponse()
        assert response.status == 200
        return response.read()  # returns with its end

    assert b"event: hello" in server.host.call(listen)


def test_failed_logins_are_slowed_down_and_lock_out(api):
    server = api.start(access='login_attempts = 3\nlockout = "1h"')
    statuses = [log_in(server, server.USER, "wrong and wrong").status for _ in range(8)]
    assert statuses[0] == 401 and statuses[-1] == 429
    locked = log_in(server, server.USER, server.PASSWORD)
    assert locked.status == 429 and int(locked.headers["Retry-After"]) > 0
    # Who is in stays in, and so do scripts.
    assert is_in(server, {"Authorization": f"Bearer {server.token}"})


def log_in_at(server, address, password):
    body = json.dumps({"user": server.USER, "password": password})
    return fetch(server.host, address, "POST", "/1.0/session", body, tls=server.tls).status


def test_a_lock_out_is_of_one_address(api):
    server = api.start(access='login_attempts = 3\nlockout = "1h"')
    addresses = (server.host.ipv4, server.host.ipv6, "127.0.0.1", "::1")
    for locked, address in enumerate(addresses[:2]):
        assert [log_in_at(server, address, "wrong and wrong") for _ in range(4)] == [401, 401, 401, 429]
        assert [log_in_at(server, each, server.PASSWORD) for each in addresses[locked + 1 :]] == [200] * (3 - locked)


def test_a_lock_out_passes(api, patience):
    server = api.start(access='login_attempts = 2\nlockout = "2s"')
    while log_in(server, server.USER, "wrong and wrong").status != 429:
        pass
    wait_for(lambda: log_in(server, server.USER, server.PASSWORD).status == 200, 30 * patience, "the lock-out is over")


def test_tokens_live_until_they_are_revoked(serving):
    session = serving.log_in()
    made = serving.post("/1.0/tokens", {"name": "script", "role": "viewer"}, headers=session).json["value"]
    assert made["token"].startswith("kvt_")
    bearer = {"Authorization": f"Bearer {made['token']}"}
    assert is_in(serving, bearer)
    assert serving.post(ACT, REMOVE, headers=bearer).status == 403
    listed = serving.get("/1.0/tokens", headers=session)
    assert made["token"] not in listed.body.decode()
    assert "script" in {token["name"] for token in listed.json["value"]}
    assert serving.ask("DELETE", "/1.0/tokens/script", headers=session).status == 200
    assert not is_in(serving, bearer)
    assert serving.ask("DELETE", "/1.0/tokens/script", headers=session).status == 404


def test_a_viewer_makes_no_operators_token(serving):
    serving.add_user("reader", "a password to read", "viewer")
    reader = serving.log_in("reader", "a password to read")
    assert serving.post("/1.0/tokens", {"name": "mine", "role": "operator"}, headers=reader).status == 403
    assert serving.post("/1.0/tokens", {"name": "mine", "role": "viewer"}, headers=reader).status == 200


def test_a_removed_user_is_out_at_once(api, build):
    server = api.start()
    server.add_user("anna", "annas own password", "viewer")
    session = server.log_in("anna", "annas own password")
    token = server.post("/1.0/tokens", {"name": "annas", "role": "viewer"}, headers=session).json["value"]["token"]
    server.host.run(build.control, "user", "remove", "anna", "--state-dir", server.state)
    assert not is_in(server, session)
    assert not is_in(server, {"Authorization": f"Bearer {token}"})
    assert log_in(server, "anna", "annas own password").status == 401


class Unclaimed(SecureServer):
    """One that nobody has given an account yet."""

    def start(self, seconds=30):
        self.token = "none"
        return super().start(seconds)

    def set_up(self, address, headers=None, user="anna", password="annas own password"):
        body = json.dumps({"user": user, "password": password})
        return fetch(self.host, address, "POST", "/1.0/setup", body, headers=headers, tls=self.tls)


def unclaimed(lab, servers):
    return servers.start(lab.add_host("new"), kind=Unclaimed)


def setup_of(server, address):
    return fetch(server.host, address, "GET", "/1.0/session", tls=server.tls).json["value"]["setup"]


def test_the_first_account_is_made_on_the_machine_itself(lab, servers):
    server = unclaimed(lab, servers)
    assert setup_of(server, "127.0.0.1") == setup_of(server, "::1") == "open"
    assert setup_of(server, server.host.ipv4) == "loopback"
    assert server.set_up(server.host.ipv4).status == 403
    for header in ({"X-Forwarded-For": "192.0.2.1"}, {"X-Forwarded-Proto": ""}, {"Via": "1.1 x"}, {"X-Real-IP": ""}, {"Forwarded": ""}, {"Host": "elsewhere.example:8443"}, {"Origin": "https://elsewhere.example"}):
        assert server.set_up("127.0.0.1", header).status == 403, header
    made = server.set_up("127.0.0.1")
    assert made.status == 200 and made.json["value"]["role"] == "operator"
    assert is_in(server, {"Cookie": made.headers["Set-Cookie"].split(";")[0]})
    assert server.set_up("127.0.0.1", user="eve").status == 409
    assert setup_of(server, "127.0.0.1") == "done"


@pytest.mark.parametrize("user, password", [("anna", "short"), ("anna", "x" * 2000), ("", "annas own password"), ("../x", "annas own password")])
def test_the_first_account_needs_a_name_and_a_good_password(lab, servers, user, password):
    answer = unclaimed(lab, servers).set_up("127.0.0.1", user=user, password=password)
    assert answer.status == 400 and len(status_text(answer)) > 10


def test_a_broken_file_of_accounts_opens_nothing(lab, servers):
    server = unclaimed(lab, servers)
    (server.state / "accounts.json").write_text("{")
    assert setup_of(server, "127.0.0.1") != "open"
    assert server.set_up("127.0.0.1").status in (409, 500, 503)
    assert "accounts.json" in server.log()
