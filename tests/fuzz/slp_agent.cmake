sd_fuzz_target(NAME slp_agent_fuzz SOURCES slp_agent_fuzz.cpp LIBS slp CORPUS slp_agent_corpus)
