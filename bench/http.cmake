sd_bench(NAME http_bench SOURCES http_bench.cpp "${PROJECT_SOURCE_DIR}/tests/unit/host/RawClient.cpp" LIBS host_core
         plugins_core slp_provider)
target_include_directories(http_bench PRIVATE "${PROJECT_SOURCE_DIR}/tests")
