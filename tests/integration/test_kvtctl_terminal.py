"""kvtctl with a person in front of it: what it asks, hides and shows on a terminal."""

import os
import pty
import subprocess
import termios

import pytest

from netlab import wait_for

PASSWORD = "a horse and a battery"


class Terminal:
    """A kvtctl whose input, output and errors are a terminal, and what can be seen there."""

    def __init__(self, command, environment):
        self._own, terminal = pty.openpty()
        os.set_blocking(self._own, False)
        self._process = subprocess.Popen(
            command, stdin=terminal, stdout=terminal, stderr=terminal, env=environment, start_new_session=True
        )
        self._terminal = terminal
        self._seen = b""

    def seen(self):
        try:
            while more := os.read(self._own, 65536):
                self._seen += more
        except OSError:  # nothing now
            pass
        return self._seen.decode()

    def await_text(self, text):
        wait_for(lambda: text in self.seen(), 30, f"{text!r} is shown")

    def type(self, text):
        os.write(self._own, text.encode())

    def echoes(self):
        return bool(termios.tcgetattr(self._terminal)[3] & termios.ECHO)

    def end(self):
        return self._process.wait(30)

    def terminate(self):
        self._process.terminate()
        return self._process.wait(30)

    def close(self):
        if self._process.poll() is None:
            self._process.kill()
            self._process.wait()
        os.close(self._terminal)
        os.close(self._own)


@pytest.fixture
def terminal(build, tmp_path):
    environment = dict(os.environ, XDG_CONFIG_HOME=os.fspath(tmp_path / "config"), TERM="xterm")
    opened = []

    def run(*arguments, host=None):
        words = [os.fspath(word) for word in (build.control, *arguments)]
        opened.append(Terminal(host.command(*words) if host else words, environment))
        return opened[-1]

    yield run
    for each in opened:
        each.close()


def test_a_password_is_asked_for_twice_and_never_shown(terminal, tmp_path):
    shell = terminal("user", "add", "ann", "--state-dir", tmp_path / "state")
    shell.await_text("Password for ann: ")
    wait_for(lambda: not shell.echoes(), 30, "the terminal hides")
    shell.type(PASSWORD + "\n")
    shell.await_text("The same once more: ")
    wait_for(lambda: not shell.echoes(), 30, "the terminal hides")
    shell.type(PASSWORD + "\n")
    assert shell.end() == 0
    assert shell.seen().replace("\r", "") == "Password for ann: \nThe same once more: \nann: added, viewer\n"
    assert shell.echoes()


def test_a_terminal_shows_again_what_is_typed_when_the_question_is_cut_off(terminal, tmp_path):
    shell = terminal("user", "add", "ann", "--state-dir", tmp_path / "state")
    shell.await_text("Password for ann: ")
    wait_for(lambda: not shell.echoes(), 30, "the terminal hides")
    assert shell.terminate() == -15
    assert shell.echoes()
    assert not (tmp_path / "state" / "accounts.json").exists()


def test_a_search_shows_that_it_goes_on(lab, one, terminal):
    lab.swallow("10.99.0.0/16")
    shell = terminal("servers", "search", "10.99.0.1", "--server", "http://127.0.0.1:8443", host=one.host)
    shell.await_text("looking for a server at 10.99.0.1, 1 s")
    assert shell.end() == 1
    # The line is wiped before the answer is there.
    assert "\r\x1b[Kkvtctl: no server answers at 10.99.0.1: " in shell.seen()
