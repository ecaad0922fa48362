# The pavo command's test runs the built bin/pavo and reads its JSON back; a cross
# build's programs run through the emulator, which leads each command.
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " runner)
if(runner)
  string(APPEND runner " ")
endif()
if(TARGET pavo-cli AND TARGET pavo_cli_test)
  find_package(pugixml REQUIRED)
  find_package(nlohmann_json 3 REQUIRED)
  target_link_libraries(pavo_cli_test PRIVATE pugixml::pugixml nlohmann_json::nlohmann_json)
  target_compile_definitions(pavo_cli_test PRIVATE
    PAVO_CLI_PATH="${runner}$<TARGET_FILE:pavo-cli>")
  add_dependencies(pavo_cli_test pavo-cli)
endif()
# The guide's two programs run against the simulator in the same test file.
if(TARGET pavo-sync AND TARGET pavo_cli_test)
  target_compile_definitions(pavo_cli_test PRIVATE
    PAVO_EXAMPLE_DIR="${runner}$<TARGET_FILE_DIR:pavo-sync>")
  add_dependencies(pavo_cli_test pavo-sync pavo-async)
endif()
