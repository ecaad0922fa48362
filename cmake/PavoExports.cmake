# Makes the linker version script of libpavo.so.1 from cmake/pavo.exports: every entry of the
# list under one version node, everything else local, so an internal helper never becomes
# part of the interface by accident.
set(PAVO_EXPORTS_FILE ${PROJECT_SOURCE_DIR}/cmake/pavo.exports)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${PAVO_EXPORTS_FILE})
file(STRINGS ${PAVO_EXPORTS_FILE} pavo_export_lines REGEX "^[^#]")
set(pavo_c_names "")
set(pavo_cxx_names "")
foreach(entry IN LISTS pavo_export_lines)
  if(entry MATCHES "[:(\\[]")
    # A glob stays bare; an exact C++ name is quoted, or "[abi:cxx11]" would read as a glob.
    if(entry MATCHES "\\*")
      string(APPEND pavo_cxx_names "      ${entry};\n")
    else()
      string(APPEND pavo_cxx_names "      \"${entry}\";\n")
    endif()
  else()
    string(APPEND pavo_c_names "    ${entry};\n")
  endif()
endforeach()
set(PAVO_VERSION_SCRIPT ${PROJECT_BINARY_DIR}/pavo.map)
file(CONFIGURE OUTPUT ${PAVO_VERSION_SCRIPT} CONTENT
"PAVO_${PROJECT_VERSION_MAJOR} {
  global:
${pavo_c_names}    extern \"C++\" {
${pavo_cxx_names}    };
  local: *;
};
")
