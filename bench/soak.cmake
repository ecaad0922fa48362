# pavo_soak: not a benchmark but a long run (bench/soak.cpp) that watches memory and
# descriptors over thousands of requests against the platform simulator.
add_executable(pavo_soak ${CMAKE_CURRENT_SOURCE_DIR}/soak.cpp)
target_compile_options(pavo_soak PRIVATE ${PAVO_WARNINGS})
target_link_libraries(pavo_soak PRIVATE pavo Threads::Threads)
