# The API reference (option PAVO_BUILD_DOCS): Doxygen makes HTML and XML from
# pavo.h and the guide, failing on any undocumented public declaration;
# docs/pavo_man.py makes one section-3 man page per function from the XML.
find_package(Doxygen REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(PAVO_DOCS_OUT ${PROJECT_BINARY_DIR}/docs)
configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${PAVO_DOCS_OUT}/Doxyfile @ONLY)
file(GLOB PAVO_DOCS_INPUTS CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/docs/*.md ${PROJECT_SOURCE_DIR}/examples/*.c)
set(PAVO_DOCS_STAMP ${PAVO_DOCS_OUT}/docs.stamp)
add_custom_command(OUTPUT ${PAVO_DOCS_STAMP}
  COMMAND ${CMAKE_COMMAND} -E remove_directory ${PAVO_DOCS_OUT}/man3
  COMMAND Doxygen::doxygen ${PAVO_DOCS_OUT}/Doxyfile
  COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/docs/pavo_man.py
          ${PAVO_DOCS_OUT}/xml ${PAVO_DOCS_OUT}/man3 ${PROJECT_VERSION}
  COMMAND ${CMAKE_COMMAND} -E touch ${PAVO_DOCS_STAMP}
  DEPENDS ${PROJECT_SOURCE_DIR}/include/pavo.h ${PROJECT_SOURCE_DIR}/docs/Doxyfile.in
          ${PROJECT_SOURCE_DIR}/docs/pavo_man.py ${PAVO_DOCS_INPUTS}
  COMMENT "API reference: HTML and man pages"
  VERBATIM)
add_custom_target(pavo-docs ALL DEPENDS ${PAVO_DOCS_STAMP})

install(DIRECTORY ${PAVO_DOCS_OUT}/html/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/html)
install(DIRECTORY ${PAVO_DOCS_OUT}/man3 DESTINATION ${CMAKE_INSTALL_MANDIR})
