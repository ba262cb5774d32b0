# Which SLP library the plug-in stands on: the tree's own, linked into it, or one that the system has.
set(SLP_PROVIDER "own" CACHE STRING "The SLP library of the plug-in: own, or system for an installed libslp")
set_property(CACHE SLP_PROVIDER PROPERTY STRINGS own system)

add_library(slp_api INTERFACE)  # the header
add_library(slp_provider INTERFACE)  # the header and the library
target_link_libraries(slp_provider INTERFACE slp_api)
if(SLP_PROVIDER STREQUAL "own")
  target_include_directories(slp_api INTERFACE "${PROJECT_SOURCE_DIR}/src/slp/include")
  # Its objects and not the archive, so that the order of the libraries that need it does not matter.
  target_sources(slp_provider INTERFACE $<TARGET_OBJECTS:slp_objects>)
elseif(SLP_PROVIDER STREQUAL "system")
  find_path(SLP_INCLUDE_DIR slp.h REQUIRED)
  find_library(SLP_LIBRARY slp REQUIRED)
  target_include_directories(slp_api SYSTEM INTERFACE "${SLP_INCLUDE_DIR}")
  target_compile_definitions(slp_api INTERFACE SD_SYSTEM_SLP)
  target_link_libraries(slp_provider INTERFACE "${SLP_LIBRARY}")
else()
  message(FATAL_ERROR "SLP_PROVIDER is \"${SLP_PROVIDER}\"; it is own or system")
endif()
