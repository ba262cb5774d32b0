"""kvt-server processes on hosts of the lab, and HTTP as a client next to them speaks it."""

import dataclasses
import http.client
import json
import os
import pathlib
import signal
import ssl
import subprocess

from netlab import wait_for


@dataclasses.dataclass(frozen=True)
class Answer:
    status: int
    headers: dict
    body: bytes

    @property
    def json(self):
        return json.loads(self.body)


def connect(address, port, timeout, tls=None):
    if tls is None:
        return http.client.HTTPConnection(address, port, timeout=timeout)
    return http.client.HTTPSConnection(address, port, timeout=timeout, context=tls)


def fetch(namespace, address, method, path, body=None, port=8443, timeout=15, headers=None, tls=None):
    """One HTTP exchange from inside the namespace, over TLS with a context. `body` is text or bytes as they are, anything
    else as JSON."""
    if body is not None and not isinstance(body, (str, bytes)):
        body = json.dumps(body)

    def exchange():
        connection = connect(address, port, timeout, tls)
        try:
            connection.request(method, path, body, headers or {})
            response = connection.getresponse()
            return Answer(response.status, dict(response.getheaders()), response.read())
        finally:
            connection.close()

    return namespace.call(exchange)


class Server:
    """One kvt-server on a host, whose name is its identifier. Its configuration, its state and what it prints are in
    `folder`. It serves everybody, without TLS. `settings` are preferences by name; `slp` is the text of a configuration
    file of the SLP library, in place of the machine's."""

    PORT = 8443
    OPTIONS = ("--set", "tls.enabled=false", "--set", "access.anonymous=operator", "--set", "peers.allow_http=true")

    def __init__(
        self, host, build, folder, *, config="", settings=None, slp="", arguments=(), plugin_dir=None, hosts_file=None
    ):
        self.host = host
        self.log_file = pathlib.Path(folder) / f"{host.name}.log"
        self.config_file = pathlib.Path(folder) / f"{host.name}.toml"
        self.config_file.write_text(f'[server]\nlocal_server_id = "{host.name}"\n{config}')
        self._slp_file = pathlib.Path(folder) / f"{host.name}-slp.conf"
        self._slp_file.write_text(slp)
        self.state = pathlib.Path(folder) / f"{host.name}-state"
        options = ["--config", self.config_file, "--set", f"server.state_dir={self.state}", *self.OPTIONS, *arguments]
        for name, value in (settings or {}).items():
            options += ["--set", f"{name}={value}"]
        if plugin_dir is not None:
            options += ["--plugin-dir", plugin_dir]
        self._command = host.command(build.server, *options, hosts_file=hosts_file)
        self.process = None
        self._earlier = 0  # bytes of the log that earlier processes wrote

    def __enter__(self):
        return self.start()

    def __exit__(self, *_):
        self.kill()

    def start(self, seconds=30):
        """Returns once it serves everything: its own resources answer before the plug-ins' do."""
        self.spawn()
        wait_for(lambda: self.is_ready() or self._has_ended(), seconds, f"{self.host.name} is ready")
        return self

    def spawn(self):
        environment = dict(os.environ, SLP_CONF=os.fspath(self._slp_file))
        self._earlier = self.log_file.stat().st_size if self.log_file.exists() else 0
        with open(self.log_file, "ab") as log:
            self.process = subprocess.Popen(
                self._command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=environment
            )

    def _has_ended(self):
        if self.process.poll() is not None:
            raise RuntimeError(f"{self.host.name} ended with {self.process.returncode}:\n{self.log()}")
        return False

    def is_ready(self):
        """Whether it has said that it listens, which it does last."""
        return " listens on " in self.log(since=self._earlier)

    def log(self, since=0):
        """What all its processes have printed, from that byte on."""
        if not self.log_file.exists():
            return ""
        with open(self.log_file, "rb") as log:
            log.seek(since)
            return log.read().decode("utf-8", errors="replace")

    def send_signal(self, number):
        self.process.send_signal(number)

    def stop(self, seconds):
        """SIGTERM; the exit code. Raises subprocess.TimeoutExpired when it takes longer."""
        self.send_signal(signal.SIGTERM)
        return self.process.wait(seconds)

    def kill(self):
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    @property
    def address(self):
        return self.host.ipv4 or self.host.ipv6 or "127.0.0.1"

    def ask(self, method, path, body=None, **options):
        return fetch(self.host, self.address, method, path, body, port=self.PORT, **options)

    def get(self, path, **options):
        return self.ask("GET", path, **options)

    def post(self, path, body, **options):
        return self.ask("POST", path, body, **options)

    def act(self, action, parameters, **options):
        body = {"action": action, "parameters": parameters}
        return self.post("/1.0/servers/self/operations/discovery", body, **options)

    def search(self, address, **options):
        return self.act("SEARCH", {"address": address}, **options)

    def add(self, server_id):
        return self.act("ADD", {"server": f"/1.0/servers/{server_id}"})

    def remove(self, server_id):
        return self.act("REMOVE", {"server": f"/1.0/servers/{server_id}"})

    def list(self):
        return self.get("/1.0/servers").json


class SecureServer(Server):
    """One as it is without any configuration: with TLS, and for those only who log in. The operator of its own has the
    name and the password below, and its requests come with a token of that account."""

    OPTIONS = ()
    USER = "operator"
    PASSWORD = "a horse and a battery"

    def __init__(self, host, build, folder, **options):
        super().__init__(host, build, folder, **options)
        self._control = build.control
        self.token = None

    def start(self, seconds=30):
        if self.token is None:
            self.add_user(self.USER, self.PASSWORD, "operator")
        super().start(seconds)
        if self.token is None:
            self.token = self.make_token("lab", "operator")
        return self

    def add_user(self, name, password, role):
        words = ["user", "add", name, "--role", role, "--state-dir", self.state]
        self.host.run(self._control, *words, input=f"{password}\n")

    @property
    def tls(self):
        """What a client needs that trusts this server and no other."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.load_verify_locations(self.state / "tls.pem")
        return context

    def ask(self, method, path, body=None, headers=None, **options):
        """As the operator, unless `headers` say who asks; {} is nobody."""
        if headers is None:
            headers = {"Authorization": f"Bearer {self.token}"}
        return super().ask(method, path, body, headers=headers, tls=self.tls, **options)

    def log_in(self, user=USER, password=PASSWORD):
        """The headers of a browser that has logged in."""
        answer = self.post("/1.0/session", {"user": user, "password": password}, headers={})
        if answer.status != 200:
            raise RuntimeError(f"{self.host.name} lets {user} not log in: {answer.status} {answer.body!r}")
        return {"Cookie": answer.headers["Set-Cookie"].split(";")[0], "X-CSRF-Token": answer.json["value"]["csrfToken"]}

    def kvtctl(self, *words, **options):
        """Runs it on the same host, as the operator."""
        own = {"KVT_TOKEN": self.token, "XDG_CONFIG_HOME": os.fspath(self.state.with_suffix(".kvtctl"))}
        return self.host.run(self._control, *words, env={**os.environ, **own}, **options)

    def make_token(self, name, role):
        answer = self.post("/1.0/tokens", {"name": name, "role": role}, headers=self.log_in())
        return answer.json["value"]["token"]


@dataclasses.dataclass(frozen=True)
class Build:
    """Where a build keeps its programs."""

    server: pathlib.Path
    control: pathlib.Path

    @classmethod
    def at(cls, folder):
        programs = pathlib.Path(folder).absolute() / "bin"
        return cls(programs / "kvt-server", programs / "kvtctl")
