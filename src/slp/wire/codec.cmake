target_sources(slp_objects PRIVATE ${CMAKE_CURRENT_LIST_DIR}/Decode.cpp ${CMAKE_CURRENT_LIST_DIR}/Encode.cpp)
