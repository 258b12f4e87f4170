# Man page and completion for bash and zsh, made by running the tool.
if(CMAKE_CROSSCOMPILING)
  return()
endif()
find_program(ZETO_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(NOT ZETO_PYTHON)
  zeto_missing(zeto_help "Man page and completions" "python3")
  return()
endif()
set(help ${CMAKE_CURRENT_BINARY_DIR}/help)
add_custom_command(OUTPUT ${help}/zeto.1 ${help}/zeto.bash ${help}/_zeto
  COMMAND ${ZETO_PYTHON} ${PROJECT_SOURCE_DIR}/scripts/make-help $<TARGET_FILE:zeto_tool> ${help}
  DEPENDS zeto_tool ${PROJECT_SOURCE_DIR}/scripts/make-help VERBATIM)
add_custom_target(zeto_help ALL DEPENDS ${help}/zeto.1)

if(ZETO_INSTALL)
  set(ZETO_ZSH_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING
    "Folder of the completion for zsh, below the prefix")
  mark_as_advanced(ZETO_ZSH_DIR)
  install(FILES ${help}/zeto.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool OPTIONAL)
  install(FILES ${help}/zeto.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME zeto
    COMPONENT tool OPTIONAL)
  install(FILES ${help}/_zeto DESTINATION ${ZETO_ZSH_DIR} COMPONENT tool OPTIONAL)
endif()
