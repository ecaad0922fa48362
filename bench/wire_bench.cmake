# The wire bench starts the platform simulator and the example terminal it was built with.
target_link_libraries(wire_bench PRIVATE CURL::libcurl)
target_compile_definitions(wire_bench PRIVATE
  PAVO_SIM_PATH="$<TARGET_FILE:pavo-platform-sim>"
  PAVO_SIM_DATA="${PROJECT_SOURCE_DIR}/tools/simdata"
  PAVO_TERMINAL_PATH="$<TARGET_FILE:pavo-terminal>")
add_dependencies(wire_bench pavo-platform-sim pavo-terminal)
# Its raw POST can read the answer with the pugixml-based reader, like parse_bench's peer.
find_package(pugixml REQUIRED)
target_link_libraries(wire_bench PRIVATE pugixml::pugixml)
