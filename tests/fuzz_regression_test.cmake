# The regression cases call pavo_parse from C, as the fuzz target does.
target_sources(fuzz_regression_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/parse_fuzz_c_caller.c)
