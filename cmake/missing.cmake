# zeto_missing(TARGET WHAT MISSING...): says at configuring, and again to whoever builds the target, why it is not there.
function(zeto_missing target what)
  list(JOIN ARGN ", " missing)
  set(text "${what}: not built, not found: ${missing}")
  message(STATUS "${text}")
  add_custom_target(${target} COMMAND ${CMAKE_COMMAND} -E echo "${text}" COMMAND ${CMAKE_COMMAND} -E false VERBATIM)
endfunction()
