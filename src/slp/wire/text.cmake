target_sources(
  slp_objects
  PRIVATE ${CMAKE_CURRENT_LIST_DIR}/Escape.cpp ${CMAKE_CURRENT_LIST_DIR}/ServiceType.cpp
          ${CMAKE_CURRENT_LIST_DIR}/ServiceUrl.cpp ${CMAKE_CURRENT_LIST_DIR}/StringList.cpp
          ${CMAKE_CURRENT_LIST_DIR}/Text.cpp)
