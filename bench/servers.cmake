sd_bench(NAME servers_bench SOURCES servers_bench.cpp LIBS plugins_core slp_provider)
