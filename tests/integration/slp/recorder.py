"""A dissector's eyes on an interface, and its judgement of what was sent."""

import os
import pathlib
import signal
import socket
import subprocess
import time

from netlab import wait_for

# From notes upwards; the dissector makes a note of every error code, which is none of a fault.
_FAULTY = '_ws.malformed || (_ws.expert.severity >= "Note" && !srvloc.errv2.expert)'

# Frames that the recorder sends itself, to see that it records.
_PROBE_PORT = 9


class Recorder:
    """Records what passes one interface of a namespace, or "any", from construction to stop(). Beyond port 427 it
    records only its own probe: the file is small, and nothing in it is a stranger's."""

    def __init__(self, namespace, folder, interface="eth0"):
        self._namespace = namespace
        self._interface = interface
        self.file = pathlib.Path(folder) / f"{namespace.name}-{interface}-{time.monotonic_ns()}.pcap"
        ports = f"port 427 or udp port {_PROBE_PORT}"
        # Writing to its standard output it leaves no packet in a buffer of its own.
        command = namespace.command("dumpcap", "-q", "-P", "-i", interface, "-f", ports, "-w", "-")
        with open(self.file, "wb") as output:
            self._process = subprocess.Popen(command, stdout=output, stderr=subprocess.PIPE)
        self._wait_for_probe("it records")

    def _probe(self, token):
        """False when the interface is so new that it has no route yet."""
        by_loopback = self._interface in ("lo", "any")
        with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as sender:
            index = socket.if_nametoindex("lo" if by_loopback else self._interface)
            sender.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_IF, index)
            try:
                sender.sendto(token, ("::1" if by_loopback else "ff02::1", _PROBE_PORT, 0, index))
            except OSError:
                return False
            return True

    def _wait_for_probe(self, what):
        """A probe that is in the file says that whatever was sent before it is there, too."""
        token = os.urandom(16)

        def seen():
            assert self._process.poll() is None, self._process.stderr.read()
            return self._namespace.call(self._probe, token) and token in self.file.read_bytes()

        wait_for(seen, 20, what)

    def stop(self):
        """Ends the recording, with everything in it that has been sent so far. Only the first call does anything."""
        if self._process.poll() is None:
            self._wait_for_probe("everything is recorded")
            self._process.send_signal(signal.SIGTERM)
            self._process.communicate(timeout=20)

    def _tshark(self, filter_text, *options):
        done = subprocess.run(
            ["tshark", "-n", "-r", self.file, "-Y", filter_text, *options],
            capture_output=True,
            text=True,
            timeout=120,
            errors="replace",
        )
        assert done.returncode == 0, done.stderr
        return done.stdout

    def fields(self, filter_text, *names):
        """A list of fields for each packet that the filter admits."""
        options = [word for name in names for word in ("-e", name)]
        text = self._tshark(filter_text, "-T", "fields", "-E", "separator=/t", *options)
        return [line.split("\t") for line in text.splitlines()]

    def count(self, filter_text):
        return len(self.fields(filter_text, "frame.number"))

    def assert_well_formed(self):
        """What every recording must hold: messages, and no fault in any of them."""
        assert self.count("srvloc") > 0
        faults = self._tshark(f"srvloc && ({_FAULTY})", "-O", "srvloc")
        assert faults == "", faults
