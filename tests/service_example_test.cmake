# The example session test runs the built example application as a child process
# (through the emulator when the example is built for another processor).
if(TARGET pavo-terminal)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " runner)
  string(STRIP "${runner} $<TARGET_FILE:pavo-terminal>" command)
  target_compile_definitions(service_example_test PRIVATE PAVO_TERMINAL_PATH="${command}")
  add_dependencies(service_example_test pavo-terminal)
endif()
