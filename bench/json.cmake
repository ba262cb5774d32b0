sd_bench(NAME json_bench SOURCES json_bench.cpp LIBS json Boost::json)
