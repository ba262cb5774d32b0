"""Tricks with paths and bodies; and that no answer tells what is none of a client's business."""

import re

import pytest

LEAKS = re.compile(rb"/root|/home|/usr|/tmp|/var|\.cpp|\.h:|0x[0-9a-f]{6,}|std::|boost|terminate|what\(\)", re.IGNORECASE)


@pytest.mark.parametrize("path", [
    "/..", "/../../etc/passwd", "/1.0/../../etc/passwd", "/web/../../etc/passwd", "/web/%2e%2e/%2e%2e/etc/passwd",
    "/web/..%2f..%2fetc%2fpasswd", "/web/..\\..\\etc\\passwd", "//etc/passwd", "/web//etc/passwd", "/web/%00", "/web/app.js%00.html",
    "/1.0/servers/%00", "/1.0/servers/%c0%ae%c0%ae", "/1.0/servers/%ff", "/1.0/servers/%", "/1.0/servers/%2", "/1.0/servers/%zz",
    "/1.0/servers/" + "a" * 8000, "/1.0/tokens/..%2fx", "/1.0/searchedserver/%3Cscript%3E", "/1.0/servers;x=1", "/1.0//servers", "/1.0/servers/",
    "/.git/config", "/web/", "/web",
])  # fmt: skip
@pytest.mark.parametrize("verb", ["GET", "POST", "DELETE"])
def test_no_path_leads_out_or_tells_anything(serving, verb, path):
    answer = serving.ask(verb, path, {} if verb == "POST" else None)
    assert answer.status in (400, 403, 404, 405, 414, 431), answer
    assert not LEAKS.search(answer.body), answer.body


@pytest.mark.parametrize("body", ["{", "[]", "null", '{"action": null}', '{"action": "SEARCH"}', '{"action": "SEARCH", "parameters": {"address": "../../x"}}',
                                  '{"action": "ADD", "parameters": {"server": 3}}', "{" * 50_000, '{"a":' * 300, '"\\ud800"', b"\xff\xfe\x00"])  # fmt: skip
def test_no_body_brings_it_down_or_has_it_tell_anything(serving, body):
    answer = serving.post("/1.0/servers/self/operations/discovery", body)
    assert answer.status == 400, answer
    assert not LEAKS.search(answer.body), answer.body
    assert serving.get("/healthz").status == 200


@pytest.mark.parametrize("path", ["/", "/1.0/servers", "/healthz", "/nothing", "/1.0/session"])
@pytest.mark.parametrize("headers", [{}, None])
def test_every_answer_has_the_headers_that_protect_browsers(serving, path, headers):
    answer = serving.get(path, headers=headers)
    assert answer.headers["X-Content-Type-Options"] == "nosniff"
    assert answer.headers["Referrer-Policy"] in ("no-referrer", "same-origin")
    assert "default-src 'none'" in answer.headers["Content-Security-Policy"]
    assert "frame-ancestors 'none'" in answer.headers["Content-Security-Policy"]
    assert "unsafe" not in answer.headers["Content-Security-Policy"]
    assert int(re.search(r"max-age=(\d+)", answer.headers["Strict-Transport-Security"])[1]) >= 31_536_000
    assert "no-store" in answer.headers["Cache-Control"] or "no-cache" in answer.headers["Cache-Control"]
