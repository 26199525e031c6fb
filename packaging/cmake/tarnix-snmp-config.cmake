# find_package(tarnix-snmp VERSION): tarnix::agent, the headers that plug-ins are built with. There is no library to link
# with: a plug-in finds everything in the agent that loads it, which has to be of the same version.
include(${CMAKE_CURRENT_LIST_DIR}/tarnix-snmp-targets.cmake)

# tarnix_add_plugin(NAME SOURCES...): the plug-in NAME.so
function(tarnix_add_plugin name)
  add_library(${name} MODULE ${ARGN})
  target_link_libraries(${name} PRIVATE tarnix::agent)
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".so")
endfunction()
