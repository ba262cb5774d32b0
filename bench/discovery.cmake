# The servers that bench/discovery.py has one kvt-server find.
add_executable(discovery_load discovery_load.cpp)
target_link_libraries(discovery_load PRIVATE slp)
