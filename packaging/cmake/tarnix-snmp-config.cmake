# find_package(tarnix-snmp VERSION) provides tarnix::agent, the headers for plug-ins. There is no library to link with:
# the agent that loads a plug-in provides all symbols. It must have the same version.
include(${CMAKE_CURRENT_LIST_DIR}/tarnix-snmp-targets.cmake)

# tarnix_add_plugin(NAME SOURCES...): the plug-in NAME.so
function(tarnix_add_plugin name)
  add_library(${name} MODULE ${ARGN})
  target_link_libraries(${name} PRIVATE tarnix::agent)
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".so")
endfunction()
