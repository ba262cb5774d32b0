# kvt_add_plugin(<name> <sources>...): a library that kvt-server loads. It exports the functions that the server looks
# up and nothing else, so that plug-ins cannot get at each other's symbols, and it can be unloaded.
set(KVT_PLUGIN_EXPORTS "${CMAKE_CURRENT_LIST_DIR}/exports.map")
function(kvt_add_plugin name)
  add_library(${name} MODULE ${ARGN})
  target_compile_features(${name} PRIVATE cxx_std_20)
  target_link_libraries(${name} PRIVATE ServerDiscovery::kvtframework)
  target_link_options(${name} PRIVATE "LINKER:--version-script=${KVT_PLUGIN_EXPORTS}" "LINKER:--no-undefined")
  set_target_properties(${name} PROPERTIES LINK_DEPENDS "${KVT_PLUGIN_EXPORTS}")
endfunction()
