sd_bench(NAME slp_agent_bench SOURCES slp_agent_bench.cpp LIBS slp)
