target_sources(header_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/header_c_unit.c)
set_source_files_properties(${CMAKE_CURRENT_SOURCE_DIR}/header_c_unit.c PROPERTIES
  COMPILE_OPTIONS "-std=c99;-Wall;-Wextra;-pedantic")
