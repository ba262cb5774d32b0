"""kvtctl against real servers: what it prints, and the exit codes that scripts rely on."""

import http.server
import json
import os
import signal
import subprocess
import threading

import pytest

from netlab import wait_for
from watched import assert_no_reports

URL = "http://127.0.0.1:8443"


@pytest.fixture
def environment(tmp_path):
    """Of a person who has never used kvtctl."""
    return dict(os.environ, KVT_SERVER=URL, XDG_CONFIG_HOME=os.fspath(tmp_path / "config"))


@pytest.fixture
def control(one, build, environment):
    """Runs kvtctl on host one."""

    def run(*arguments, timeout=60):
        done = one.host.run(build.control, *arguments, check=False, timeout=timeout, env=environment)
        assert_no_reports(done.stderr)
        return done

    run.program = build.control
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
    assert done.stderr.startswith("kvtctl: no server answers at 10.99.0.1: "), done.stderr

    done = control("servers", "add", two.host.ipv4)
    assert (done.returncode, done.stderr) == (1, "kvtctl: Server not found\n")

    control("servers", "search", two.host.ipv4)
    control("servers", "add", "two")
    done = control("servers", "add", "two")
    assert (done.returncode, done.stderr) == (1, "kvtctl: Server already discovered\n")

    done = control("servers", "remove", "nobody")
    assert (done.returncode, done.stderr) == (1, "kvtctl: the inventory has no such server: nobody\n")


def test_a_wrong_command_line_ends_with_2(control):
    for line in (["servers"], ["servers", "add"], ["servers", "list", "--server", "ftp://nowhere"]):
        done = control(*line)
        assert (done.returncode, done.stdout) == (2, "")
        assert done.stderr.startswith("kvtctl: ")


def test_a_server_that_is_not_there_ends_with_3(lab, control):
    lab.swallow("10.99.0.0/16")
    for url in ("http://127.0.0.1:1", "https://127.0.0.1:1", "http://10.99.0.1:8443", "http://nobody.invalid"):
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


class Watching:
    """A kvtctl watch on a host, and what it has printed."""

    def __init__(self, server, build, environment, folder, *options):
        self._output = folder / "watch.out"
        self._words = folder / "watch.err"
        command = server.host.command(build.control, "watch", *options)
        with open(self._output, "w") as output, open(self._words, "w") as words:
            self._process = subprocess.Popen(command, stdout=output, stderr=words, env=environment)

    def lines(self):
        return self._output.read_text().splitlines()

    def await_words(self, words):
        wait_for(lambda: words in self._words.read_text(), 30, f"it says {words!r}")

    def await_line(self, line):
        wait_for(lambda: line in self.lines(), 30, f"{line!r} comes")

    def interrupt(self):
        self._process.send_signal(signal.SIGINT)
        code = self._process.wait(20)
        said = self._words.read_text()
        assert_no_reports(said)
        return code, said

    def kill(self):
        if self._process.poll() is None:
            self._process.kill()
            self._process.wait()


@pytest.fixture
def watching(one, build, environment, tmp_path):
    started = []

    def start(*options):
        started.append(Watching(one, build, environment, tmp_path, *options))
        return started[-1]

    yield start
    for one_of_them in started:
        one_of_them.kill()


def test_a_watcher_sees_servers_come_and_go(control, watching, two):
    watch = watching()
    wait_for(lambda: watch.lines(), 30, "the list comes")
    assert watch.lines()[0].startswith("  one ") and watch.lines()[0].endswith(" this server")
    control("servers", "search", two.host.ipv4)
    control("servers", "add", "two")
    watch.await_line(f"+ two {two.host.ipv4} manual")
    control("servers", "remove", "two")
    watch.await_line(f"- two {two.host.ipv4} It was removed by hand")
    assert watch.interrupt() == (0, "")


def test_a_watcher_waits_for_a_server_that_restarts(one, watching):
    watch = watching("--json")
    wait_for(lambda: watch.lines(), 30, "the list comes")
    first = json.loads(watch.lines()[0])
    assert (first["change"], first["id"]) == ("listed", "one")
    assert one.stop(20) == 0
    watch.await_words("trying again")
    one.start()
    watch.await_words("the server is there again")
    assert watch.interrupt()[0] == 0
    assert len(watch.lines()) == 1


def test_a_watcher_of_nobody_ends_with_3(control):
    done = control("watch", "--server", "http://127.0.0.1:1")
    assert (done.returncode, done.stdout) == (3, "")


def test_the_doctor_looks_at_server_and_machine(lab, servers, build, environment):
    one = servers.start(lab.add_host("seen"))

    def findings():
        done = one.host.run(build.control, "doctor", "-o", "json", "--timeout", "1", check=False, env=environment)
        assert_no_reports(done.stderr)
        told = json.loads(done.stdout)
        problems = [finding for finding in told["findings"] if finding["level"] == "problem"]
        assert (done.returncode, told["problems"]) == (1 if problems else 0, len(problems))
        return {(finding["level"], finding["text"]) for finding in told["findings"]}

    expected = {
        ("ok", f"{URL} answers."),
        ("ok", f"What is sent to the group on eth0 ({one.host.ipv4}) is heard on this machine."),
        ("ok", "UDP port 427 is the server's."),
        ("ok", "TCP port 427 is the server's."),
        ("ok", "UDP port 1847 is the server's."),
    }
    wait_for(lambda: findings() >= expected, 60, "the doctor finds the server well")


def test_the_doctor_finds_a_server_without_its_ports(control):
    done = control("doctor", "--timeout", "1")
    assert done.returncode == 1
    assert "problem  ports          Nobody listens on UDP port 1847: announcements of others are missed.\n" in done.stdout


def test_the_doctor_works_without_a_server(lab, build, environment):
    host = lab.add_host("alone")
    done = host.run(build.control, "doctor", "--timeout", "1", check=False, env=environment)
    assert done.returncode == 1
    assert done.stdout.startswith(f"problem  server         cannot reach {URL}: ")
    assert "UDP port 427 is free." in done.stdout
    assert "problems to look at." in done.stdout


def test_the_doctor_finds_a_firewall_in_the_way(lab, build, environment):
    host = lab.add_host("walled")
    rules = "add table ip wall; add chain ip wall in { type filter hook input priority 0; }; "
    rules += "add rule ip wall in ip daddr 239.255.255.253 drop"
    host.run("nft", rules)
    done = host.run(build.control, "doctor", "--timeout", "1", check=False, env=environment)
    assert f"({host.ipv4}) is not heard again." in done.stdout


def test_accounts_are_kept_where_the_server_looks(one, control):
    done = one.host.run(
        control.program, "user", "add", "ann", "--state-dir", one.state, input="a horse and a battery\n", check=False
    )
    assert (done.returncode, done.stdout, done.stderr) == (0, "ann: added, viewer\n", "")
    done = control("user", "list", "--state-dir", one.state, "-o", "json")
    assert [(user["name"], user["role"]) for user in json.loads(done.stdout)] == [("ann", "viewer")]
    done = control("user", "remove", "nobody", "--state-dir", one.state)
    assert done.returncode == 1
