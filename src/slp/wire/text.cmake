foreach(
  source
  AttributeList
  AttributeReader
  AttributeSelection
  AttributeValue
  Escape
  Filter
  Pattern
  ServiceType
  ServiceUrl
  StringList
  Text)
  target_sources(slp_objects PRIVATE "${CMAKE_CURRENT_LIST_DIR}/${source}.cpp")
endforeach()
