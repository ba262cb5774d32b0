"""What a client is answered, whatever it asks."""

import json
import socket

import pytest

from netlab import Lab
from server import fetch
from watched import Servers

OPERATIONS = "/1.0/servers/self/operations/discovery"


def status_text(answer):
    status = answer.json["status"]
    return (status[0] if isinstance(status, list) else status)["desc"]


def raw(server, request):
    """What the server sends back to these bytes, until it closes."""

    def exchange():
        with socket.create_connection((server.host.ipv4, server.PORT), 10) as connection:
            connection.sendall(request)
            answer = b""
            while piece := connection.recv(65536):
                answer += piece
            return answer

    return server.host.call(exchange)


@pytest.fixture(scope="module")
def serving(build, plugins, tmp_path_factory):
    """One server for the tests of this file that leave no trace."""
    with Lab() as lab:
        servers = Servers(build, plugins, tmp_path_factory.mktemp("serving"))
        yield servers.start(lab.add_host("one"))
        servers.finish()


def test_details_are_the_same_under_self_and_under_the_identifier(serving):
    own = serving.get("/1.0/servers/self")
    assert own.status == 200
    assert own.headers["Content-Type"].startswith("application/json")
    assert serving.get("/1.0/servers/one").json == own.json
    properties = own.json["value"]["properties"]
    assert list(own.json["value"]) == ["properties"]
    assert properties["displayId"] == "one"
    assert properties["build"].startswith("008.")
    assert properties["agents"][0]["id"] == 31
    assert properties["agents"][0]["build"] == properties["build"]
    assert properties["agents"][0]["listen"][0]["port"] in (8443, "8443")
    nic = properties["os"]["network"]["nics"][0]
    assert (nic["ipV4"], nic["ipV6"]) == (serving.host.ipv4, serving.host.ipv6)
    assert "lastCommunicatedIp" not in properties["os"]["network"]


def test_details_do_not_change_by_themselves(serving):
    assert serving.get("/1.0/servers/self").body == serving.get("/1.0/servers/self").body


@pytest.mark.parametrize(
    "address, expected",
    [("10.77.9.9", {"ipV4": "10.77.9.9"}), ("fd77:9::9", {"ipV6": "fd77:9::9"}), ("<script>", None), ("", None)],
)
def test_details_repeat_the_address_of_the_cookie(serving, address, expected):
    answer = serving.get("/1.0/servers/self", headers={"Cookie": f"a=b; lastCommunicatedNIC={address}"})
    assert answer.status == 200
    assert answer.json["value"]["properties"]["os"]["network"].get("lastCommunicatedIp") == expected


def test_the_operation_describes_itself(serving):
    answer = serving.get(OPERATIONS)
    assert answer.status == 200
    value = answer.json["value"]
    assert value["self"] == {"uri": OPERATIONS, "type": "operation"}
    assert value["properties"]["action"] == ["ADD", "REMOVE", "SEARCH"]


def test_health_is_told(serving):
    assert serving.get("/healthz").status == 200


@pytest.mark.parametrize(
    "path",
    ["/nowhere", "/1.0", "/1.0/", "/1.0/servers/two", "/1.0/servers/self/x", "/2.0/servers", "/1.0/../etc/passwd"],
)
def test_an_unknown_path_is_404_with_a_status_block(serving, path):
    answer = serving.get(path)
    assert answer.status == 404
    assert status_text(answer)


@pytest.mark.parametrize(
    "method, path",
    [
        ("GET", "/1.0/remoteservercall"),
        ("GET", "/1.0/remoteservercall?a=b"),
        ("GET", "/1.0/%72emoteservercall"),
        ("POST", "/1.0/searchserver_"),
        ("POST", "/1.0//searchserver_"),
        ("POST", "/1.0/searchserver%5F"),
        ("PUT", "/1.0/searchserver_"),
        ("POST", "/1.0/remoteservercall"),
    ],
)
def test_what_only_the_process_itself_may_call_does_not_exist_for_clients(serving, method, path):
    body = {"parameters": {"address": "127.0.0.1"}, "properties": {"serverIp": "127.0.0.1", "displayId": "one"}}
    answer = fetch(serving.host, serving.host.ipv4, method, path, body)
    assert answer.status == 404
    assert status_text(answer)


@pytest.mark.parametrize(
    "method, path, allowed",
    [
        ("DELETE", "/1.0/servers", "GET"),
        ("POST", "/1.0/servers/self", "GET"),
        ("PUT", OPERATIONS, "GET, POST"),
        ("BREW", "/healthz", "GET"),
    ],
)
def test_a_wrong_verb_is_405_and_says_which_are_right(serving, method, path, allowed):
    answer = fetch(serving.host, serving.host.ipv4, method, path)
    assert answer.status == 405
    assert status_text(answer)
    assert set(answer.headers["Allow"].replace(" ", "").split(",")) >= set(allowed.replace(" ", "").split(","))


@pytest.mark.parametrize(
    "body",
    ["{", "[]", "nonsense", '{"action": "SEARCH", "action": "ADD"}', '{"a":' * 1000, b'{"a": "\xff"}', '{"a": 1} x'],
)
def test_malformed_json_is_400_with_a_status_block(serving, body):
    answer = serving.post(OPERATIONS, body)
    assert answer.status == 400
    assert status_text(answer)


@pytest.mark.parametrize(
    "body",
    [
        {},
        {"action": 7},
        {"action": ["SEARCH"]},
        {"action": "SEARCH", "parameters": "x"},
        {"action": "ADD", "parameters": {"server": {}}},
        {"action": "REMOVE", "parameters": []},
    ],
)
def test_a_body_of_the_wrong_shape_is_400_with_a_status_block(serving, body):
    answer = serving.post(OPERATIONS, body)
    assert answer.status == 400
    assert status_text(answer)


@pytest.mark.parametrize("path", ["/1.0/searchedserver/", "/1.0/servers//operations/discovery"])
def test_an_empty_identifier_is_a_schema_error(serving, path):
    answer = serving.get(path)
    assert answer.status == 400
    assert answer.json["status"] == [{"code": 69633, "desc": "Schema validation error"}]


def test_a_body_beyond_the_limit_is_413(serving):
    answer = serving.post(OPERATIONS, json.dumps({"action": "x" * (64 * 1024 + 1)}))
    assert answer.status == 413
    assert status_text(answer)


def test_a_header_beyond_the_limit_is_431(serving):
    answer = raw(serving, b"GET /healthz HTTP/1.1\r\nHost: x\r\nX-Long: " + b"x" * 20000 + b"\r\n\r\n")
    assert answer.split(b"\r\n")[0].split(b" ")[1] == b"431"


def test_what_is_not_http_is_400_or_closed(serving):
    answer = raw(serving, b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n")
    assert answer == b"" or answer.split(b" ")[1] == b"400"
    assert serving.get("/healthz").status == 200


def test_a_connection_serves_many_requests(serving):
    request = b"GET /1.0/servers HTTP/1.1\r\nHost: x\r\n\r\n"
    answer = raw(serving, request * 9 + request.replace(b"\r\n\r\n", b"\r\nConnection: close\r\n\r\n"))
    assert answer.count(b"HTTP/1.1 200") == 10
