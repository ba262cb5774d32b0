"""kvtctl and a server that serves those only who log in."""

import json
import os

import pytest

from watched import assert_no_reports

PASSWORD = "a horse and a battery"
LOG_IN_FIRST = "kvtctl: log in first: kvtctl login\n"


@pytest.fixture(params=["http", "https"])
def url(request):
    return f"{request.param}://127.0.0.1:8443"


@pytest.fixture
def server(lab, servers, url):
    tls = "true" if url.startswith("https") else "false"
    settings = ("--set", "access.anonymous=none", "--set", f"tls.enabled={tls}")
    return servers.start(lab.add_host("guarded"), arguments=settings)


@pytest.fixture
def control(server, build, tmp_path, url):
    """Runs kvtctl on the server's host."""

    def run(*arguments, token="", user="me", **options):
        environment = dict(
            os.environ, KVT_SERVER=url, KVT_TOKEN=token, XDG_CONFIG_HOME=os.fspath(tmp_path / f"config-{user}")
        )
        done = server.host.run(build.control, *arguments, check=False, env=environment, **options)
        assert_no_reports(done.stderr)
        return done

    return run


@pytest.fixture
def ann(server, control):
    """An operator."""
    words = ["user", "add", "ann", "--role", "operator", "--state-dir", server.state]
    assert control(*words, input=PASSWORD + "\n").returncode == 0
    return "ann"


def log_in(control, user, password=PASSWORD, **options):
    return control("login", "--user", user, input=password + "\n", **options)


def test_nobody_gets_anything_without_a_login(control):
    for command in (["servers", "list"], ["servers", "remove", "two"], ["token", "list"], ["peers", "list"], ["watch"]):
        done = control(*command)
        assert (done.returncode, done.stdout, done.stderr) == (5, "", LOG_IN_FIRST), command


def test_a_login_lasts_until_the_logout(control, ann, url):
    done = log_in(control, ann)
    assert (done.returncode, done.stdout, done.stderr) == (0, f"ann: logged in to {url} as operator\n", "")
    assert control("servers", "list").returncode == 0
    names = [row["name"] for row in json.loads(control("token", "list", "-o", "json").stdout)]
    assert len(names) == 1 and names[0].startswith("kvtctl-ann-")

    assert log_in(control, ann).returncode == 0
    again = [row["name"] for row in json.loads(control("token", "list", "-o", "json").stdout)]
    assert len(again) == 1 and again != names

    done = control("logout")
    assert (done.returncode, done.stdout) == (0, f"ann: logged out of {url}\n")
    assert (control("servers", "list").returncode, control("logout").returncode) == (5, 1)


def test_a_wrong_password_is_told(control, ann):
    done = log_in(control, ann, "a horse and a batter")
    assert (done.returncode, done.stdout) == (5, "")
    assert done.stderr == "kvtctl: The user name or the password is wrong\n"


def test_scripts_have_tokens_of_their_own(control, ann):
    log_in(control, ann)
    token = control("token", "add", "ci", "--role", "viewer").stdout.strip()
    assert token.startswith("kvt_")
    assert control("servers", "list", token=token, user="script").returncode == 0
    done = control("servers", "remove", "two", token=token, user="script")
    assert done.returncode == 5
    assert done.stderr != LOG_IN_FIRST
    assert control("token", "revoke", "ci").stdout == "ci: revoked\n"
    done = control("servers", "list", token=token, user="script")
    assert (done.returncode, done.stderr) == (5, LOG_IN_FIRST)


def test_a_removed_account_is_out_at_once(control, server, ann):
    log_in(control, ann)
    assert control("user", "remove", ann, "--state-dir", server.state).returncode == 0
    assert control("servers", "list").returncode == 5
    assert control("logout").returncode == 0


def test_the_doctor_says_that_nobody_is_logged_in(control):
    done = control("doctor", "--timeout", "1")
    assert done.returncode == 1
    assert "problem  login          Nobody is logged in: what only the server knows is left out.\n" in done.stdout
