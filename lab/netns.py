"""Network namespaces without names: each lives as long as this process holds it open, so that none can be left behind."""

import concurrent.futures
import ctypes
import os
import subprocess

_CLONE_NEWNET = 0x40000000
_libc = ctypes.CDLL(None, use_errno=True)


def _check(result):
    if result != 0:
        error = ctypes.get_errno()
        raise OSError(error, os.strerror(error))


def _make():
    """Runs in a thread of its own: a thread that left its namespace is of no use to anybody else."""
    _check(_libc.unshare(_CLONE_NEWNET))
    return os.open("/proc/thread-self/ns/net", os.O_RDONLY | os.O_CLOEXEC)


def _in_new_thread(function):
    with concurrent.futures.ThreadPoolExecutor(1) as threads:
        return threads.submit(function).result()


class Namespace:
    """One network namespace, its loopback up. Any thread may use it; close() ends what runs in its threads."""

    def __init__(self, name, threads=64):
        self.name = name
        self._handle = _in_new_thread(_make)
        self._threads = concurrent.futures.ThreadPoolExecutor(
            threads, thread_name_prefix=name, initializer=lambda: _check(_libc.setns(self._handle, _CLONE_NEWNET))
        )
        self.run("ip", "link", "set", "lo", "up")

    def close(self):
        self._threads.shutdown(cancel_futures=True)
        if self._handle >= 0:
            os.close(self._handle)
            self._handle = -1

    @property
    def path(self):
        """Names the namespace to other processes (ip, nsenter) while this one runs."""
        return f"/proc/{os.getpid()}/fd/{self._handle}"

    def submit(self, function, *args, **kwargs):
        """A future of the call, made by a thread inside: the sockets that it opens belong to the namespace."""
        return self._threads.submit(function, *args, **kwargs)

    def call(self, function, *args, **kwargs):
        return self.submit(function, *args, **kwargs).result()

    def command(self, *command, hosts_file=None):
        """The command line that runs `command` inside; it dies with this process. `hosts_file` stands in for /etc/hosts."""
        inside = ["setpriv", "--pdeathsig", "KILL", "--", "nsenter", f"--net={self.path}", "--"]
        if hosts_file:
            mount = 'mount --bind "$0" /etc/hosts && exec "$@"'
            inside += ["unshare", "--mount", "--", "sh", "-c", mount, os.fspath(hosts_file)]
        return inside + [os.fspath(word) for word in command]

    def run(self, *command, timeout=30, check=True, **options):
        """Runs a command inside to its end; its output is text. With `check`, a failure raises with what it printed."""
        done = subprocess.run(self.command(*command), capture_output=True, text=True, timeout=timeout, **options)
        if check and done.returncode != 0:
            raise RuntimeError(f"{self.name}: {' '.join(map(str, command))}: {done.stderr.strip() or done.returncode}")
        return done

    def sysctl(self, name, value):
        def write():
            with open("/proc/sys/net/" + name, "w", encoding="ascii") as setting:
                setting.write(str(value))

        self.call(write)
