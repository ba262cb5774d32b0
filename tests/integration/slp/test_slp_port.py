"""One port and several who want it: processes of the library share it, strangers are waited for."""

import socket

import messages
import pytest
from netlab import wait_for
from process import without_port_privilege

TYPE = "service:x-lab.example:web"


def url(host, port):
    return f"{TYPE}://{host.ipv4}:{port}"


def find_until(shell, expected, seconds=30):
    wait_for(lambda: shell.urls(TYPE) == sorted(expected), seconds, f"{expected} are found")


def bound(host):
    """A UDP socket that holds the port on a host, as some other program would."""

    def bind():
        stranger = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        stranger.bind(("", messages.PORT))
        return stranger

    return host.call(bind)


@pytest.fixture
def sharing(shells, one):
    """Two processes on one host, each with a service; the first holds the port."""
    first, second = shells(one), shells(one)
    first.register(url(one, 1), "(name=first)")
    # Once it answers, it has the port.
    wait_for(lambda: messages.urls_of(one.call(ask_loopback)) == [url(one, 1)], 20, "the first serves")
    second.register(url(one, 2), "(name=second)")
    return first, second


def ask_loopback():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.settimeout(10)
        sender.sendto(messages.service_request(TYPE), ("127.0.0.1", messages.PORT))
        return sender.recv(65536)


def test_both_of_one_machine_are_found_from_outside(shells, one, two, sharing, judged):
    asking = shells(two)
    find_until(asking, [url(one, 1), url(one, 2)])
    assert asking.attributes(url(one, 1)).text == "(name=first)"
    assert asking.attributes(url(one, 2)).text == "(name=second)"


def test_both_of_one_machine_find_each_other(one, sharing, judged):
    for shell in sharing:
        find_until(shell, [url(one, 1), url(one, 2)])
        assert shell.attributes(url(one, 1)).text == "(name=first)"
        assert shell.attributes(url(one, 2)).text == "(name=second)"


def test_the_second_takes_over_when_the_first_is_killed(shells, one, two, sharing, judged):
    first, second = sharing
    asking = shells(two)
    find_until(asking, [url(one, 1), url(one, 2)])
    first.kill()
    find_until(asking, [url(one, 2)])
    assert asking.attributes(url(one, 2)).text == "(name=second)"
    second.register(url(one, 3))
    find_until(asking, [url(one, 2), url(one, 3)])


def test_the_second_takes_over_when_the_first_ends(shells, one, two, sharing, judged):
    first, _ = sharing
    asking = shells(two)
    find_until(asking, [url(one, 1), url(one, 2)])
    first.end()
    find_until(asking, [url(one, 2)])


def test_what_the_second_had_registered_goes_with_it(shells, one, two, sharing, judged):
    _, second = sharing
    asking = shells(two)
    find_until(asking, [url(one, 1), url(one, 2)])
    second.kill()
    find_until(asking, [url(one, 1)])


def test_what_the_second_deregisters_is_gone(shells, one, two, sharing, judged):
    _, second = sharing
    asking = shells(two)
    find_until(asking, [url(one, 1), url(one, 2)])
    second.deregister(url(one, 2))
    find_until(asking, [url(one, 1)])


def test_of_three_the_last_one_left_is_found(shells, one, two, sharing, judged):
    first, second = sharing
    third, asking = shells(one), shells(two)
    third.register(url(one, 3), "(text=" + "x" * 20000 + ")")
    find_until(asking, [url(one, number) for number in (1, 2, 3)])
    first.kill()
    find_until(asking, [url(one, 2), url(one, 3)])
    second.kill()
    find_until(asking, [url(one, 3)])
    assert len(asking.attributes(url(one, 3)).text) == 20007


def test_a_stranger_on_the_port_is_waited_for(shells, one, two, judged):
    stranger = bound(one)
    shell, asking = shells(one), shells(two)
    shell.register(url(one, 1), "(a=1)")
    assert shell.urls(TYPE) == [url(one, 1)]
    assert asking.urls(TYPE) == []
    wait_for(lambda: any(level == 4 and "427" in text for level, text in shell.log), 20, "a warning")
    stranger.close()
    find_until(asking, [url(one, 1)], 60)


def test_without_the_privilege_the_code_and_a_message_say_so(shells, one):
    shell = shells(one, before=without_port_privilege())
    answer = shell.do("register", url(one, 1), 65535, "")
    assert answer.result == -20
    assert "CAP_NET_BIND_SERVICE" in shell.messages().upper(), shell.log
    assert "net.slp.port" in shell.messages(), shell.log


def test_without_the_privilege_the_agent_that_is_there_serves(shells, one, two):
    first, second, asking = shells(one), shells(one, before=without_port_privilege()), shells(two)
    first.register(url(one, 1), "(name=first)")
    wait_for(lambda: messages.urls_of(one.call(ask_loopback)) == [url(one, 1)], 20, "the first serves")
    second.register(url(one, 2), "(name=second)")
    find_until(asking, [url(one, 1), url(one, 2)])
    assert asking.attributes(url(one, 2)).text == "(name=second)"


def test_without_the_privilege_searching_works(shells, one, two, judged):
    first, second = shells(one), shells(two, before=without_port_privilege())
    first.register(url(one, 1), "(a=1)")
    find_until(second, [url(one, 1)])
    assert second.attributes(url(one, 1)).text == "(a=1)"


def test_without_the_privilege_another_port_serves_for_a_trial(shells, one, two):
    trial = {"net.slp.port": "10427"}
    first = shells(one, properties=trial, before=without_port_privilege())
    first.register(url(one, 1), "(a=1)")
    asking = shells(two, properties=trial, before=without_port_privilege())
    find_until(asking, [url(one, 1)])
    assert asking.attributes(url(one, 1)).text == "(a=1)"
    assert shells(two).urls(TYPE) == []
