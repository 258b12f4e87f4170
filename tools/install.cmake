# The tool, where it was built, and the Python module, which finds library and tool from where it lies itself: the
# installed tree may move.
set(ZETO_PYTHON_DIR ${CMAKE_INSTALL_DATADIR}/zeto/python CACHE STRING "Folder of the Python module, below the prefix")
mark_as_advanced(ZETO_PYTHON_DIR)
file(RELATIVE_PATH library_from_tool /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
set_target_properties(zeto_tool PROPERTIES
  INSTALL_RPATH "$ORIGIN/${library_from_tool}" INSTALL_RPATH_USE_LINK_PATH ON) # for liblog, as in libzeto.so
install(TARGETS zeto_tool RUNTIME COMPONENT tool OPTIONAL)

if(NOT ZETO_SHARED)  # the module loads the shared library
  return()
endif()
set(module /prefix/${ZETO_PYTHON_DIR}/zeto)
file(RELATIVE_PATH library ${module} /prefix/${CMAKE_INSTALL_LIBDIR}/libzeto.so.1)
file(RELATIVE_PATH tool ${module} /prefix/${CMAKE_INSTALL_BINDIR}/zeto)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/_paths.py
  "\"\"\"Where the library and the command-line tool lie, relative to this folder.\"\"\"\n"
  "LIBRARY = \"${library}\"\n" "TOOL = \"${tool}\"\n")
file(RELATIVE_PATH library_from_module ${module} /prefix/${CMAKE_INSTALL_LIBDIR})
set_target_properties(zeto_kit PROPERTIES INSTALL_RPATH "$ORIGIN/${library_from_module}")
install(TARGETS zeto_kit LIBRARY DESTINATION ${ZETO_PYTHON_DIR}/zeto COMPONENT python OPTIONAL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/zeto DESTINATION ${ZETO_PYTHON_DIR} COMPONENT python
  PATTERN __pycache__ EXCLUDE PATTERN _paths.py EXCLUDE)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/_paths.py DESTINATION ${ZETO_PYTHON_DIR}/zeto COMPONENT python)
