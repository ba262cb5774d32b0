sd_bench(NAME announce_bench SOURCES announce_bench.cpp LIBS heartbeat slp_provider)
