"""Processes on one network find each other's services: every message of theirs is judged by a dissector."""

import socket

import messages
import pytest
from netlab import wait_for
from process import PROGRAMS, REPORTS

TYPE = "service:x-lab.example:web"


def url(host, port=8443, service_type=TYPE):
    return f"{service_type}://{host.ipv4}:{port}"


def text_of(length):
    """Attributes of just that length, as management servers register them: terms joined by two parentheses, JSON with
    commas and quotes in it."""
    head = '(ip=10.0.0.5))(server={"properties":{"a":"b c","n":[1,2],"text":"'
    tail = '"},"gid":"x"})'
    body = "".join(f"{number}, " for number in range(length))
    return head + body[: length - len((head + tail).encode())] + tail


def test_the_judge_knows_a_broken_message(one, two, record):
    def send(message):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.sendto(message, (two.ipv4, messages.PORT))

    for message, is_broken in (
        (messages.service_request(TYPE), False),
        (messages.service_reply([], error=3), False),
        (messages.service_request(TYPE)[:-3], True),
        (messages.attribute_reply("(a=1)")[:-4], True),
    ):
        recorder = record(one)
        one.call(send, message)
        recorder.stop()
        if is_broken:
            with pytest.raises(AssertionError, match="Malformed"):
                recorder.assert_well_formed()
        else:
            recorder.assert_well_formed()


def test_two_processes_find_each_other(shells, one, two, judged):
    first, second = shells(one), shells(two)
    first.register(url(one), "(name=first)")
    second.register(url(two), "(name=second)")
    for shell in (first, second):
        wait_for(lambda shell=shell: shell.urls(TYPE) == [url(one), url(two)], 20, "both services are found")
        assert shell.attributes(url(one)).text == "(name=first)"
        assert shell.attributes(url(two)).text == "(name=second)"


def test_what_a_search_hands_out_is_what_was_registered(shells, one, two, judged):
    first, second = shells(one), shells(two)
    first.register(url(one), "(name=first),(room=7)")
    first.register(url(one, 80), "(name=other),(room=8)")
    first.register(url(one, service_type="service:printer:lpr"))

    answer = second.find(TYPE, filter="(&(room=7)(name=f*))")
    assert answer.found[0][:2] == [url(one), 65535]
    assert answer.texts == [url(one)]
    assert second.urls(TYPE, filter="(room=9)") == []
    assert second.urls(TYPE) == [url(one, 80), url(one)]
    assert second.urls(TYPE, scopes="elsewhere") == []
    assert second.urls("service:printer") == [url(one, service_type="service:printer:lpr")]
    assert second.attributes(url(one), tags="room").text == "(room=7)"


@pytest.mark.parametrize("kilobytes", [1, 4, 20, 60])
def test_attributes_come_back_byte_for_byte(shells, one, two, judged, kilobytes):
    attributes = text_of(kilobytes * 1024)
    assert len(attributes.encode()) == kilobytes * 1024
    first, second = shells(one), shells(two)
    first.register(url(one), attributes)

    assert second.urls(TYPE) == [url(one)]
    assert second.attributes(url(one)).text == attributes
    # One that has not searched before has nobody to ask but the network.
    assert shells(two).attributes(url(one)).text == attributes

    judged.stop()
    by_stream = judged.count("tcp && srvloc.function == 7")
    assert by_stream == (0 if kilobytes == 1 else 2)


@pytest.mark.parametrize(
    "attributes",
    [
        "(name=Zürich, 東京)",
        '(a={"b":"c, (d)"}))((e=\\2c)',
        "no list at all )))",
        "(a=1),(a=2),keyword",
        " (blank = 1 ) ",
    ],
)
def test_attributes_are_nobody_elses_to_correct(shells, one, two, attributes):
    """A dissector takes such texts apart, and stumbles; they are texts all the same."""
    first, second = shells(one), shells(two)
    first.register(url(one), attributes)
    assert second.urls(TYPE) == [url(one)]
    assert second.attributes(url(one)).text == attributes


def test_attributes_of_a_type_come_once_for_each_distinct_answer(shells, one, two, segment, judged):
    for host, name in ((one, "same"), (two, "same"), (segment.host("three"), "other")):
        shells(host).register(url(host), f"(name={name})")
    asking = shells(segment.host("four"))
    wait_for(lambda: len(asking.urls(TYPE)) == 3, 20, "all are found")
    assert sorted(asking.attributes(TYPE).texts) == ["(name=other)", "(name=same)"]


def test_types_are_found(shells, one, two, judged):
    first, second = shells(one), shells(two)
    first.register(url(one))
    first.register(url(one, 80, "service:printer:lpr"))
    second.register(url(two, 81, "service:x-two.elsewhere"))
    asking = shells(two)
    everything = ["service:printer:lpr", TYPE, "service:x-two.elsewhere"]
    wait_for(lambda: asking.types() == everything, 20, "all types are found")
    assert asking.types("elsewhere") == ["service:x-two.elsewhere"]
    assert asking.types(None) == ["service:printer:lpr"]


def test_what_is_deregistered_is_gone(shells, one, two, judged):
    first, second = shells(one), shells(two)
    first.register(url(one), "(a=1)")
    first.register(url(one, 80), "(a=2)")
    assert second.urls(TYPE) == [url(one, 80), url(one)]
    first.deregister(url(one))
    assert second.urls(TYPE) == [url(one, 80)]
    assert "".join(second.attributes(url(one)).texts) == ""
    assert first.do("deregister", url(one)).result == -3


def test_a_registration_goes_at_the_end_of_its_lifetime(shells, one, two, judged):
    first, second = shells(one), shells(two)
    first.register(url(one), lifetime=5)
    first.register(url(one, 80), lifetime=300)
    answer = second.find(TYPE)
    lifetimes = {text: lifetime for text, lifetime, _ in answer.found}
    assert set(lifetimes) == {url(one), url(one, 80)}
    assert 0 < lifetimes[url(one)] <= 5 < lifetimes[url(one, 80)] <= 300
    wait_for(lambda: second.urls(TYPE) == [url(one, 80)], 30, "the short-lived one is gone")


def test_registering_anew_replaces_what_was(shells, one, two, judged):
    first, second = shells(one), shells(two)
    first.register(url(one), "(a=1)")
    first.register(url(one), "(b=2)")
    assert second.urls(TYPE) == [url(one)]
    assert second.attributes(url(one)).text == "(b=2)"


@pytest.mark.parametrize("responders", [2, 3])
def test_all_responders_are_found(shells, segment, judged, responders):
    hosts = [segment.host(f"responder{number}") for number in range(responders)]
    for host in hosts:
        shells(host).register(url(host))
    asking = shells(segment.host("asking"))
    assert asking.urls(TYPE) == sorted(url(host) for host in hosts)


def test_nothing_is_sent_for_what_the_process_itself_has_registered(shells, one, record):
    shell = shells(one)
    shell.register(url(one), "(a=1)")
    recorders = [record(one, "eth0"), record(one, "lo")]
    assert shell.attributes(url(one)).text == "(a=1)"
    for recorder in recorders:
        recorder.stop()
        assert recorder.count("srvloc.function == 6") == 0


def test_own_services_are_found_with_no_interface_up(shells, segment):
    host = segment.host("alone")
    host.run("ip", "link", "set", "eth0", "down")
    shell = shells(host)
    shell.register("service:x-lab.example:web://127.0.0.1:80", "(a=1)")
    assert shell.urls(TYPE) == ["service:x-lab.example:web://127.0.0.1:80"]
    assert shell.attributes("service:x-lab.example:web://127.0.0.1:80").text == "(a=1)"
    assert shell.types() == [TYPE]


def test_another_process_of_the_machine_is_found_with_no_interface_up(shells, segment):
    host = segment.host("alone")
    host.run("ip", "link", "set", "eth0", "down")
    shells(host).register("service:x-lab.example:web://127.0.0.1:80", "(a=1)")
    asking = shells(host)
    wait_for(lambda: asking.urls(TYPE) == ["service:x-lab.example:web://127.0.0.1:80"], 20, "it is found")
    assert asking.attributes("service:x-lab.example:web://127.0.0.1:80").text == "(a=1)"


def test_two_thousand_services_are_registered_one_by_one_and_read_back(shells, one, two, judged):
    first, second = shells(one), shells(two)
    attributes = {url(one, port): f"(port={port}),(text={'x' * (port % 100)})" for port in range(1, 2001)}
    for service, text in attributes.items():
        first.register(service, text)
    assert second.urls(TYPE) == sorted(attributes)
    for service, text in attributes.items():
        second.begin("attributes", service)
    assert [second.take().text for _ in attributes] == list(attributes.values())


def test_threads_with_handles_of_their_own_do_not_disturb_one_another(one):
    done = one.run(PROGRAMS / "slp_threads", "32", "4", timeout=120, check=False)
    assert done.returncode == 0, done.stdout + done.stderr
    assert not [report for report in REPORTS if report in done.stderr], done.stderr
