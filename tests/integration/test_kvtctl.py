"""kvtctl against real servers: what it prints, and the exit codes that scripts rely on."""

import http.server
import json
import threading

import pytest

from watched import assert_no_reports


@pytest.fixture
def control(one, build):
    """Runs kvtctl on host one."""

    def run(*arguments, timeout=60):
        done = one.host.run(build.control, *arguments, check=False, timeout=timeout)
        assert_no_reports(done.stderr)
        return done

    return run


def rows(text):
    return [line.split() for line in text.splitlines()]


def test_a_person_searches_adds_lists_and_removes(control, two):
    done = control("servers", "search", two.host.ipv4)
    assert done.returncode == 0, done.stderr
    assert rows(done.stdout)[1][0] == "two"

    done = control("servers", "add", two.host.ipv4)
    assert (done.returncode, done.stdout) == (0, f"{two.host.ipv4}: added\n")

    done = control("servers", "list")
    assert done.returncode == 0
    headings, *servers = rows(done.stdout)
    assert headings == ["ID", "ADDRESSES", "BUILD", "HEALTH", "HOW"]
    assert sorted(row[0] for row in servers) == ["one", "two"]
    assert [row[0] for row in servers if row[-2:] == ["this", "server"]] == ["one"]
    assert [row[0] for row in servers if row[-1] == "manual"] == ["two"]
    assert two.host.ipv4 in done.stdout

    done = control("servers", "remove", two.host.ipv4)
    assert (done.returncode, done.stdout) == (0, f"{two.host.ipv4}: removed\n")
    assert len(rows(control("servers", "list").stdout)) == 2


def test_adding_and_removing_take_identifiers_too(control, two):
    assert control("servers", "search", two.host.ipv4).returncode == 0
    assert control("servers", "add", "TWO").returncode == 0
    assert control("servers", "remove", "two").returncode == 0


def test_removing_takes_any_address_of_the_server(control, two):
    control("servers", "search", two.host.ipv4)
    control("servers", "add", two.host.ipv4)
    assert control("servers", "remove", two.host.ipv6).returncode == 0
    assert len(rows(control("servers", "list").stdout)) == 2


def test_json_is_for_scripts(control, two):
    done = control("servers", "search", two.host.ipv4, "-o", "json")
    assert json.loads(done.stdout)["properties"]["displayId"] == "two"
    done = control("servers", "add", "two", "-o", "json")
    assert json.loads(done.stdout)["status"] == [{"code": 0, "desc": "Success"}]
    done = control("servers", "list", "-o", "json")
    assert sorted(record["properties"]["displayId"] for record in json.loads(done.stdout)) == ["one", "two"]
    done = control("details", "-o", "json")
    assert json.loads(done.stdout)["properties"]["displayId"] == "one"


def test_details_show_one_server(control, one, two):
    own = control("details")
    assert own.returncode == 0
    assert rows(own.stdout)[0] == ["ID", "one"]
    assert one.host.ipv4 in own.stdout
    assert control("details", "one").stdout == own.stdout

    assert control("details", "two").returncode == 1
    control("servers", "search", two.host.ipv4)
    control("servers", "add", "two")
    assert rows(control("details", "two").stdout)[0] == ["ID", "two"]


def test_refusals_end_with_1(lab, control, two):
    lab.swallow("10.99.0.0/16")
    done = control("servers", "search", "10.99.0.1")
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == "kvtctl: no server answers at 10.99.0.1\n"

    done = control("servers", "add", two.host.ipv4)
    assert (done.returncode, done.stderr) == (1, "kvtctl: Server not found\n")

    control("servers", "search", two.host.ipv4)
    control("servers", "add", "two")
    done = control("servers", "add", "two")
    assert (done.returncode, done.stderr) == (1, "kvtctl: Server already discovered\n")

    done = control("servers", "remove", "nobody")
    assert (done.returncode, done.stderr) == (1, "kvtctl: the inventory has no such server: nobody\n")


def test_a_wrong_command_line_ends_with_2(control):
    for line in (["servers"], ["servers", "add"], ["servers", "list", "--server", "nowhere"]):
        done = control(*line)
        assert (done.returncode, done.stdout) == (2, "")
        assert done.stderr.startswith("kvtctl: ")


def test_a_server_that_is_not_there_ends_with_3(lab, control):
    lab.swallow("10.99.0.0/16")
    for url in ("http://127.0.0.1:1", "http://10.99.0.1:8443", "http://nobody.invalid"):
        done = control("servers", "list", "--server", url, "--timeout", "0.5")
        assert (done.returncode, done.stdout) == (3, "")
        assert done.stderr.startswith(f"kvtctl: cannot reach {url}: ")


def test_an_answer_without_sense_ends_with_4(control, one):
    class Strange(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            self.send_response(200)
            self.end_headers()
            self.wfile.write(b"<html>\x1b[2J</html>")

        def log_message(self, *_):
            pass

    with one.host.call(http.server.ThreadingHTTPServer, ("127.0.0.1", 9000), Strange) as web:
        threading.Thread(target=web.serve_forever, daemon=True).start()
        done = control("servers", "list", "--server", "http://127.0.0.1:9000")
        web.shutdown()
    assert (done.returncode, done.stdout) == (4, "")
    assert "\x1b" not in done.stderr
