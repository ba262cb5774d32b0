sd_bench(NAME inventory_bench SOURCES inventory_bench.cpp LIBS discovery slp_provider)
