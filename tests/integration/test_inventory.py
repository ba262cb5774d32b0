"""Searching, adding, listing and removing servers over HTTP, between hosts that no multicast connects."""

import concurrent.futures

from netlab import wait_for
from watched import ADDED_STAYS

SILENT = "10.99.0.1"
LITTLE_ROOM = "[limits]\naction_threads = 2\naction_backlog = 2\n"
NOT_FOUND = "Element does not contain the expected parameters, so the requested operation cannot be performed"


def listed(server):
    """The properties of the listed servers by identifier, of an answer whose count is right."""
    answer = server.list()
    assert answer["status"] == {"code": 0, "desc": "Success"}
    properties = [record["properties"] for record in answer["values"]]
    assert answer["count"] == len(properties)
    return {each["displayId"]: each for each in properties}


def failure(answer):
    assert answer.status == 400
    status = answer.json["status"]
    return (status[0] if isinstance(status, list) else status)["desc"]


def own_details(server):
    return server.get("/1.0/servers/self").json["value"]["properties"]


def search_and_add(server, address, server_id):
    assert server.search(address).status == 200
    answer = server.add(server_id)
    assert answer.status == 200, answer.body


def test_a_server_lists_itself_when_it_knows_nobody(one):
    inventory = listed(one)
    assert list(inventory) == ["one"]
    assert inventory["one"]["isPivot"] is True
    assert one.list()["count"] == 1


def test_a_searched_server_can_be_read_back_added_listed_and_removed(one, two):
    answer = one.search(two.host.ipv4)
    assert answer.status == 200
    assert answer.json["status"] == [{"code": 0, "desc": "Success"}]
    assert answer.json["value"]["properties"]["isReachable"] is True
    found_at = answer.json["value"]["uris"]["server"]
    assert found_at == f"/1.0/searchedserver/{two.host.ipv4}"

    found = one.get(found_at).json["value"]["properties"]
    assert found["displayId"] == "two"
    assert found["isManual"] is True
    assert list(listed(one)) == ["one"], "searching alone adds nothing"

    answer = one.add(found["displayId"])
    assert answer.status == 200
    assert answer.json["status"] == [{"code": 0, "desc": "Success"}]

    inventory = listed(one)
    assert sorted(inventory) == ["one", "two"]
    assert inventory["one"]["isPivot"] is True
    assert not inventory["two"].get("isPivot", False)
    details = own_details(two)
    assert inventory["two"]["build"] == details["build"]
    assert inventory["two"]["agents"] == details["agents"]
    assert inventory["two"]["os"]["network"]["nics"] == details["os"]["network"]["nics"]
    assert two.host.ipv4 in [nic["ipV4"] for nic in inventory["two"]["os"]["network"]["nics"]]
    assert list(listed(two)) == ["two"], "being found changes nothing on the other side"

    assert one.remove("two").status == 200
    assert list(listed(one)) == ["one"]


def test_a_search_of_a_dead_address_fails_in_time_and_leaves_nothing_behind(lab, one, patience):
    lab.swallow("10.99.0.0/16")
    answer = one.search(SILENT, timeout=8 * patience)
    assert failure(answer) == "Failure"
    assert answer.json["value"]["properties"]["isReachable"] is False
    assert failure(one.get(f"/1.0/searchedserver/{SILENT}")) == NOT_FOUND
    assert failure(one.add(SILENT)) == "Server not found"
    assert list(listed(one)) == ["one"]


def test_a_search_of_an_address_where_nothing_listens_fails(lab, one):
    idle = lab.add_host("idle")
    assert failure(one.search(idle.ipv4)) == "Failure"
    assert failure(one.get(f"/1.0/searchedserver/{idle.ipv4}")) == NOT_FOUND


def test_a_search_of_a_name_that_does_not_exist_fails(one, patience):
    assert failure(one.search("nobody.invalid", timeout=15 * patience)) == "Failure"


def test_a_search_without_an_address_fails(one):
    assert failure(one.act("SEARCH", {})) == "Failure"
    assert failure(one.search("")) == "Failure"


def test_a_server_is_added_once(one, two):
    search_and_add(one, two.host.ipv4, "two")
    assert failure(one.add("two")) == "Server already discovered"
    assert sorted(listed(one)) == ["one", "two"]


def test_a_server_that_nobody_searched_for_is_not_added(one, two):
    assert failure(one.add("two")) == "Server not found"
    assert list(listed(one)) == ["one"]


def test_a_removed_server_can_be_added_again(one, two):
    search_and_add(one, two.host.ipv4, "two")
    assert one.remove("two").status == 200
    search_and_add(one, two.host.ipv4, "two")
    assert sorted(listed(one)) == ["one", "two"]


def test_a_server_can_be_removed_by_its_address(one, two):
    search_and_add(one, two.host.ipv4, "two")
    assert one.remove(two.host.ipv4).status == 200
    assert list(listed(one)) == ["one"]


def test_removing_takes_a_uri_in_upper_case(one, two):
    search_and_add(one, two.host.ipv4, "two")
    assert one.act("REMOVE", {"server": "/1.0/SERVERS/TWO"}).status == 200
    assert list(listed(one)) == ["one"]


def test_removing_what_is_not_listed_fails(one):
    assert failure(one.remove("nobody")) == "Failure"
    assert failure(one.act("REMOVE", {"server": "/1.0/elsewhere/one"})) == "Failure"


def test_an_action_of_another_name_changes_nothing(one, two):
    for action in ("search", "ADD ", "DROP", ""):
        assert failure(one.act(action, {"address": two.host.ipv4})) == "Schema validation error"
    assert failure(one.get(f"/1.0/searchedserver/{two.host.ipv4}")) == NOT_FOUND


def test_a_server_searched_by_name_is_listed_under_its_address_and_not_twice(lab, servers, two, tmp_path):
    names = tmp_path / "hosts"
    names.write_text(f"127.0.0.1 localhost\n{two.host.ipv4} the-other.example\n")
    one = servers.start(lab.add_host("one"), settings=ADDED_STAYS, hosts_file=names)

    search_and_add(one, "the-other.example", "two")
    found = one.get("/1.0/searchedserver/the-other.example").json["value"]["properties"]
    assert found["os"]["network"]["lastCommunicatedIp"]["ipV4"] == two.host.ipv4
    assert sorted(listed(one)) == ["one", "two"]

    assert one.search(two.host.ipv4).status == 200
    assert failure(one.add("two")) == "Server already discovered"
    assert one.list()["count"] == 2
    assert one.remove(two.host.ipv4).status == 200
    assert list(listed(one)) == ["one"]


def test_a_server_can_be_searched_added_and_removed_by_its_ipv6_address(one, two):
    search_and_add(one, two.host.ipv6, "two")
    found = one.get(f"/1.0/searchedserver/{two.host.ipv6}").json["value"]["properties"]
    assert found["os"]["network"]["lastCommunicatedIp"]["ipV6"] == two.host.ipv6
    assert sorted(listed(one)) == ["one", "two"]
    assert one.remove(two.host.ipv6).status == 200
    assert list(listed(one)) == ["one"]


def test_three_servers_keep_inventories_of_their_own(lab, servers, one, two):
    three = servers.start(lab.add_host("three"))
    search_and_add(one, two.host.ipv4, "two")
    search_and_add(one, three.host.ipv4, "three")
    search_and_add(two, three.host.ipv4, "three")
    assert sorted(listed(one)) == ["one", "three", "two"]
    assert sorted(listed(two)) == ["three", "two"]
    assert sorted(listed(three)) == ["three"]
    assert [each["displayId"] for each in listed(two).values() if each.get("isPivot")] == ["two"]


def test_a_host_full_of_searches_still_answers_its_peers(lab, servers, two, patience):
    lab.swallow("10.99.0.0/16")
    one = servers.start(lab.add_host("one"), settings=ADDED_STAYS, config=LITTLE_ROOM)
    with concurrent.futures.ThreadPoolExecutor(20) as clients:
        searches = [clients.submit(one.search, f"10.99.1.{n}", timeout=60) for n in range(1, 20)]
        wait_for(lambda: any(search.done() for search in searches), 10, "the backlog is full")
        assert {search.result().status for search in searches if search.done()} == {503}

        assert two.search(one.host.ipv4, timeout=8 * patience).status == 200
        assert one.list()["count"] == 1
        assert one.get("/healthz").status == 200

        assert sorted({search.result().status for search in searches}) == [400, 503]
