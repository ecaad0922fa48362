# The shared library exports exactly cmake/pavo.exports, and the list covers the header.
add_test(NAME ExportedSymbolsEqualTheExportList
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/exports/check_exports.sh ${CMAKE_NM} ${CMAKE_C_COMPILER}
                 $<TARGET_FILE:pavo> ${PAVO_EXPORTS_FILE} ${PROJECT_SOURCE_DIR}/include/pavo.h
                 PAVO_${PROJECT_VERSION_MAJOR} ${PROJECT_BINARY_DIR}/include)
set_tests_properties(ExportedSymbolsEqualTheExportList PROPERTIES LABELS abi TIMEOUT 120)
