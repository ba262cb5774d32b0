"""With a directory agent on the network: registered with, asked, and done without when it is gone."""

import pytest
from directory_agent import DirectoryAgent
from netlab import wait_for

TYPE = "service:x-lab.example:web"

# A registration for as long as the process lives is told for this long, so that a killed one does not stay listed.
WIRE_LIFETIME = 900


def url(host, port=8443):
    return f"{TYPE}://{host.ipv4}:{port}"


def multicast_searches(recorder):
    return recorder.count(f'srvloc.flags_v2.reqmulti == 1 && srvloc.srvreq.srvtypelist == "{TYPE}"')


def wait_until_registered(agent, service, boot_time=None):
    def told():
        record = agent.registered.get(service)
        return record if record and boot_time in (None, record[3]) else None

    return wait_for(told, 30, f"{service} is registered")


@pytest.fixture
def agent(segment):
    with DirectoryAgent(segment.host("directory")) as agent:
        yield agent


def test_services_are_registered_with_an_agent_that_is_found(shells, one, agent, judged):
    shell = shells(one)
    shell.register(url(one), "(a=1)")
    told = wait_until_registered(agent, url(one))
    assert told == ("(a=1)", WIRE_LIFETIME, "udp", agent.boot_time)
    shell.register(url(one, 2), "(a=2)", lifetime=120)
    assert wait_until_registered(agent, url(one, 2))[1] in range(110, 121)
    shell.deregister(url(one, 2))
    wait_for(lambda: url(one, 2) in agent.deregistered, 20, "the agent hears of it")


def test_agents_are_sought_from_the_address_that_was_named(shells, one, agent, judged, record):
    named = "10.88.0.201"
    one.run("ip", "address", "add", f"{named}/24", "dev", "eth0")
    recorder = record(one)
    shell = shells(one, properties={"net.slp.interfaces": named})
    shell.register(url(one))
    wait_until_registered(agent, url(one))
    recorder.stop()
    sought = recorder.fields(
        'ip.dst == 239.255.255.253 && srvloc.srvreq.srvtypelist == "service:directory-agent"', "ip.src"
    )
    assert {source for (source,) in sought} == {named}


def test_a_registration_too_large_for_a_datagram_goes_over_tcp(shells, one, agent, judged):
    shell = shells(one)
    large = "(text=" + "x" * 20000 + ")"
    shell.register(url(one), large)
    assert wait_until_registered(agent, url(one)) == (large, WIRE_LIFETIME, "tcp", agent.boot_time)


def test_a_process_that_ends_deregisters(shells, one, agent, judged):
    shell = shells(one)
    shell.register(url(one))
    shell.register(url(one, 2))
    wait_until_registered(agent, url(one))
    wait_until_registered(agent, url(one, 2))
    shell.end()
    wait_for(lambda: sorted(agent.deregistered) == sorted([url(one), url(one, 2)]), 10, "both are withdrawn")


def test_an_agent_that_only_advertises_is_learnt(shells, segment, one, judged):
    with DirectoryAgent(segment.host("directory"), discoverable=False) as agent:
        shell = shells(one)
        shell.register(url(one))
        assert shell.urls(TYPE) == [url(one)]
        assert agent.registered == {}

        def heard():
            agent.advertise()
            return url(one) in agent.registered

        wait_for(heard, 20, "it is registered")


def test_an_agent_that_has_restarted_is_told_everything_again(shells, one, agent, judged):
    shell = shells(one)
    shell.register(url(one), "(a=1)")
    shell.register(url(one, 2), "(a=2)")
    wait_until_registered(agent, url(one))
    wait_until_registered(agent, url(one, 2))
    agent.restart(agent.boot_time + 1)
    assert wait_until_registered(agent, url(one), agent.boot_time)[0] == "(a=1)"
    assert wait_until_registered(agent, url(one, 2), agent.boot_time)[0] == "(a=2)"


def test_searches_ask_the_agent_and_nobody_else(shells, one, two, agent, judged, record):
    first, second = shells(one), shells(two)
    first.register(url(one), "(a=1)")
    wait_until_registered(agent, url(one))
    assert second.urls(TYPE) == [url(one)]

    # From its second search on, it knows the agent.
    recorder = record(two)
    asked = len(agent.requests)
    assert second.urls(TYPE) == [url(one)]
    recorder.stop()
    assert agent.requests[asked:] == [TYPE]
    assert multicast_searches(recorder) == 0


def test_a_search_goes_to_everybody_after_the_farewell_of_the_agent(shells, one, two, agent, judged):
    first, second = shells(one), shells(two)
    first.register(url(one), "(a=1)")
    second.register(url(two), "(a=2)")
    both = sorted([url(one), url(two)])
    wait_until_registered(agent, url(one))
    wait_until_registered(agent, url(two))
    wait_for(lambda: second.urls(TYPE) == both and TYPE in agent.requests, 20, "the agent is asked")
    agent.advertise(boot_time=0)
    agent.silent = True

    def without_agent():
        asked = len(agent.requests)
        return second.urls(TYPE) == both and len(agent.requests) == asked

    wait_for(without_agent, 20, "the agent is not asked any more")
    assert second.attributes(url(one)).text == "(a=1)"


def test_a_search_falls_back_to_everybody_when_the_agent_is_silent(shells, one, two, agent, judged):
    first, second = shells(one), shells(two)
    first.register(url(one), "(a=1)")
    wait_until_registered(agent, url(one))
    assert second.urls(TYPE) == [url(one)]
    assert second.urls(TYPE) == [url(one)]
    assert TYPE in agent.requests
    agent.silent = True
    assert second.urls(TYPE) == [url(one)]
    assert second.attributes(url(one)).text == "(a=1)"


@pytest.fixture
def configuration(segment, tmp_path):
    """An agent that nobody finds, and the file that names it."""
    with DirectoryAgent(segment.host("directory"), discoverable=False) as agent:
        file = tmp_path / "slp.conf"
        file.write_text(f"# Where the directory is\nnet.slp.DAAddresses = {agent.host.ipv4}\n")
        yield agent, file


def test_an_agent_that_the_configuration_names_is_registered_with_and_asked(shells, one, two, configuration, judged):
    agent, file = configuration
    first, second = shells(one, configuration=file), shells(two, configuration=file)
    first.register(url(one), "(a=1)")
    wait_until_registered(agent, url(one))
    assert second.urls(TYPE) == [url(one)]
    assert agent.requests == [TYPE]
    assert second.attributes(url(one)).text == "(a=1)"


def test_a_configured_agent_that_is_silent_hides_nobody(shells, one, two, configuration, judged):
    agent, file = configuration
    agent.silent = True
    first, second = shells(one, configuration=file), shells(two, configuration=file)
    first.register(url(one), "(a=1)")
    assert second.urls(TYPE) == [url(one)]


def test_an_address_without_anybody_as_the_agent_hides_nobody(shells, one, two, tmp_path, judged):
    file = tmp_path / "slp.conf"
    file.write_text("net.slp.DAAddresses = 10.88.0.77\n")
    first, second = shells(one, configuration=file), shells(two, configuration=file)
    first.register(url(one), "(a=1)")
    assert second.urls(TYPE) == [url(one)]


def test_a_request_for_agents_finds_them(shells, one, agent, judged):
    assert shells(one).urls("service:directory-agent") == [agent.url]
