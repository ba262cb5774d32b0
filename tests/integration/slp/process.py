"""Processes that use the library: the shell that does what a test tells it, and what it says."""

import dataclasses
import json
import os
import pathlib
import queue
import signal
import subprocess
import threading

PROGRAMS = pathlib.Path(os.environ.get("SLP_TEST_PROGRAMS", "build/dev/bin"))

# What a sanitizer's report looks like, in whichever words it begins.
REPORTS = ("AddressSanitizer", "ThreadSanitizer", "LeakSanitizer", "runtime error:", "DEADLYSIGNAL")

FOREVER = 65535


@dataclasses.dataclass(frozen=True)
class Answer:
    """What one call of the library gave: its code, what its callbacks were handed, and how long it took."""

    result: int
    milliseconds: float
    last_calls: int
    errors: list
    reports: list
    found: list

    @property
    def texts(self):
        return [text for text, _, _ in self.found]

    @property
    def text(self):
        assert len(self.found) == 1, self
        return self.found[0][0]


def without_port_privilege():
    """Words before a command line that take the right to ports below 1024 away from it."""
    right = "-net_bind_service"
    return ["setpriv", f"--bounding-set={right}", f"--inh-caps={right}", "--"]


class Shell:
    """One process on a host, one handle in it. Its log is kept; its end is watched as closely as its answers."""

    def __init__(self, host, properties=None, configuration=None, before=()):
        environment = dict(os.environ, SLP_CONF=os.fspath(configuration or "/dev/null"))
        self.host = host
        self.log = []
        self._answers = queue.Queue()
        self.process = subprocess.Popen(
            host.command(*before, PROGRAMS / "slp_shell"),
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=environment,
        )
        self._errors = []
        self._readers = [threading.Thread(target=self._read), threading.Thread(target=self._read_errors)]
        for reader in self._readers:
            reader.start()
        assert self._next(30) == {"opened": 0}
        for name, value in (properties or {}).items():
            self.set(name, value)

    def _read(self):
        for line in self.process.stdout:
            record = json.loads(line.decode("utf-8", "surrogateescape"))
            if "log" in record:
                self.log.append((record["log"], record["text"]))
            else:
                self._answers.put(record)
        self._answers.put(None)

    def _read_errors(self):
        for line in self.process.stderr:
            self._errors.append(line.decode("utf-8", "replace"))

    def _next(self, timeout):
        answer = self._answers.get(timeout=timeout)
        assert answer is not None, f"{self.host.name} has ended: {self.errors()}"
        return answer

    def errors(self):
        return "".join(self._errors)

    def messages(self):
        return "\n".join(text for _, text in self.log)

    def begin(self, *fields):
        """Sends a command; take() has its answer. A None at the end is a null pointer."""
        fields = list(fields)
        while fields and fields[-1] is None:
            fields.pop()
        line = "\t".join("" if field is None else str(field) for field in fields) + "\n"
        self.process.stdin.write(line.encode("utf-8", "surrogateescape"))
        self.process.stdin.flush()

    def take(self, timeout=60):
        answer = self._next(timeout)
        names = ("result", "ms", "lastCalls", "errors", "reports", "found")
        return Answer(*(answer[name] for name in names))

    def do(self, *fields, timeout=60):
        self.begin(*fields)
        return self.take(timeout)

    def set(self, name, value):
        self.do("set", name, value)

    def register(self, url, attributes="", lifetime=FOREVER):
        answer = self.do("register", url, lifetime, attributes)
        assert answer.result == 0 and answer.reports == [0], (url, answer, self.log)

    def deregister(self, url):
        answer = self.do("deregister", url)
        assert answer.result == 0 and answer.reports == [0], (url, answer)

    def find(self, service_type, scopes=None, filter=None):
        answer = self.do("find", service_type, scopes, filter)
        assert answer.result == 0 and answer.last_calls == 1 and answer.errors == [], answer
        return answer

    def urls(self, service_type, **options):
        return sorted(self.find(service_type, **options).texts)

    def attributes(self, url_or_type, scopes=None, tags=None):
        answer = self.do("attributes", url_or_type, scopes, tags)
        assert answer.result == 0 and answer.last_calls == 1, answer
        return answer

    def types(self, authority="*", scopes=None):
        answer = self.do("types", authority, scopes)
        assert answer.result == 0 and answer.last_calls == 1, answer
        return sorted(set(",".join(answer.texts).split(",")) - {""})

    def end(self):
        """Lets it end by itself, and checks that it ended well."""
        if self.process.poll() is None:
            self.process.stdin.close()
            self.process.wait(30)
        for reader in self._readers:
            reader.join()
        assert self.process.returncode in (0, -signal.SIGKILL), (self.process.returncode, self.errors())
        assert not [report for report in REPORTS if report in self.errors()], self.errors()

    def kill(self):
        self.process.kill()
        self.process.wait()


class Shells:
    """Starts processes, and at the end lets those that still run end: each must end well."""

    def __init__(self):
        self._started = []

    def __call__(self, host, **options):
        shell = Shell(host, **options)
        self._started.append(shell)
        return shell

    def finish(self):
        try:
            for shell in self._started:
                shell.end()
        finally:
            for shell in self._started:
                shell.kill()
