"""What a process prints, read with a deadline."""

import os
import select
import time


def read_until(pipe, text, seconds):
    """What comes out of the pipe, to the end of the first line that holds `text`. Whoever reads the pipe afterwards
    misses nothing: no more than that is taken out of it. Raises TimeoutError, or RuntimeError at the pipe's end, with
    what has come so far. Nobody may have read the pipe as a file before."""
    deadline = time.monotonic() + seconds
    read, line = b"", b""
    while not (line.endswith(b"\n") and text.encode() in line):
        if line.endswith(b"\n"):
            line = b""
        left = deadline - time.monotonic()
        if left <= 0 or not select.select([pipe], [], [], left)[0]:
            raise TimeoutError(f"not within {seconds} s: {text!r} in\n{_decoded(read)}")
        byte = os.read(pipe.fileno(), 1)
        if not byte:
            raise RuntimeError(f"ended without {text!r}:\n{_decoded(read)}")
        read, line = read + byte, line + byte
    return _decoded(read)


def read_line(pipe, seconds):
    """The next line, in the same manner."""
    return read_until(pipe, "", seconds)


def _decoded(data):
    return data.decode("utf-8", errors="replace")
