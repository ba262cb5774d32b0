# Whole processes rather than functions: bench/slp.py runs this one in network namespaces and prints their figures.
if(TARGET slp)
  add_executable(slp_load slp_load.cpp)
  target_link_libraries(slp_load PRIVATE slp)
endif()
