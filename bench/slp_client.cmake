# Whole processes rather than functions: bench/slp.py runs this one in network namespaces and prints their figures.
add_executable(slp_load slp_load.cpp)
target_link_libraries(slp_load PRIVATE slp)
# Its memory is to be that of an agent, and not of the shared C++ runtime, whose pages it has in common with others.
target_link_options(slp_load PRIVATE -static-libstdc++ -static-libgcc)
