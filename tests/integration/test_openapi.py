"""The description of the resources, held against a running server."""

import gzip
import http.client
import json

import jsonschema
import pytest
from netlab import Lab
from watched import Servers

METHODS = ("GET", "POST", "PUT", "DELETE")
STREAMS = "/1.0/events"
EXAMPLES = {"server_id": "self", "address": "192.0.2.1", "name": "nobody"}


@pytest.fixture(scope="module")
def serving(build, plugins, tmp_path_factory):
    with Lab() as lab:
        servers = Servers(build, plugins, tmp_path_factory.mktemp("openapi"))
        yield servers.start(lab.add_host("one"))
        servers.finish()


@pytest.fixture(scope="module")
def document(serving):
    answer = serving.get("/openapi.json")
    assert answer.status == 200
    return answer.json


def operations(document, method=None):
    """Path and method of each, with its description."""
    for path, item in document["paths"].items():
        for name, operation in item.items():
            if name.upper() in METHODS and method in (None, name.upper()):
                yield path, name.upper(), operation


def target(path):
    for name, example in EXAMPLES.items():
        path = path.replace("{" + name + "}", example)
    return path


def resolved(document, node):
    if "$ref" not in node:
        return node
    found = document
    for name in node["$ref"].removeprefix("#/").split("/"):
        found = found[name]
    return found


def check(document, operation, answer, what):
    """The answer is one of those that the operation has."""
    assert str(answer.status) in operation["responses"], f"{what}: {answer.status} {answer.body[:300]}"
    content = resolved(document, operation["responses"][str(answer.status)]).get("content")
    if content is None:
        return
    kind = answer.headers["Content-Type"].split(";")[0]
    assert kind in content, f"{what}: {kind}"
    if kind == "application/json":
        schema = {**content[kind]["schema"], "components": document["components"]}
        jsonschema.Draft202012Validator(schema).validate(answer.json)


def status_of_a_stream(server, path):
    """The status and the type of an answer that does not end."""

    def exchange():
        connection = http.client.HTTPConnection(server.address, server.PORT, timeout=15)
        try:
            connection.request("GET", path)
            response = connection.getresponse()
            return response.status, response.getheader("Content-Type"), response.fp.readline()
        finally:
            connection.close()

    return server.host.call(exchange)


def test_every_schema_is_one(document):
    for schema in document["components"]["schemas"].values():
        jsonschema.Draft202012Validator.check_schema(schema)


def test_every_get_answers_what_is_written(serving, document):
    paths = [(path, operation) for path, _, operation in operations(document, "GET") if path != STREAMS]
    assert len(paths) >= 10
    for path, operation in paths:
        check(document, operation, serving.get(target(path)), path)


def test_every_get_that_needs_neither_a_login_nor_a_search_succeeds(serving, document):
    for path, _, _ in operations(document, "GET"):
        if path not in (STREAMS, "/1.0/searchedserver/{address}", "/1.0/tokens"):
            assert serving.get(target(path)).status == 200, path


def test_the_events_are_a_stream(serving, document):
    status, kind, _ = status_of_a_stream(serving, STREAMS)
    assert status == 200
    assert kind in document["paths"][STREAMS]["get"]["responses"]["200"]["content"]


def test_every_resource_has_the_verbs_that_are_written_and_no_others(serving, document):
    for path, item in document["paths"].items():
        written = {name.upper() for name in item} & set(METHODS)
        other = next(method for method in METHODS if method not in written)
        answer = serving.host.call(_ask, serving, other, target(path))
        assert answer[0] == 405, f"{other} {path}: {answer}"
        assert set(answer[1].replace(" ", "").split(",")) - {"HEAD"} == written, path


def _ask(server, method, path):
    connection = http.client.HTTPConnection(server.address, server.PORT, timeout=15)
    try:
        connection.request(method, path)
        response = connection.getresponse()
        return response.status, response.getheader("Allow")
    finally:
        connection.close()


def test_what_is_refused_is_refused_as_written(serving, document):
    for path, method, operation in operations(document):
        if method == "POST":
            for body in ("{", "{}"):
                check(document, operation, serving.post(target(path), body), f"POST {path} {body}")


def test_an_answer_that_is_known_is_not_sent_again(serving, document):
    for path, _, operation in operations(document, "GET"):
        if "304" not in operation["responses"]:
            continue
        tag = serving.get(path).headers["ETag"]
        answer = serving.get(path, headers={"If-None-Match": tag})
        assert (answer.status, answer.body, answer.headers["ETag"]) == (304, b"", tag), path


def test_a_long_answer_comes_in_gzip_to_whoever_takes_it(serving):
    answer = serving.get("/openapi.json", headers={"Accept-Encoding": "gzip"})
    assert answer.headers["Content-Encoding"] == "gzip"
    assert json.loads(gzip.decompress(answer.body)) == serving.get("/openapi.json").json
