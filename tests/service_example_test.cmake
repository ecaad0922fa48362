# The example session test runs the built example application as a child process.
if(TARGET pavo-terminal)
  target_compile_definitions(service_example_test PRIVATE
    PAVO_TERMINAL_PATH="$<TARGET_FILE:pavo-terminal>")
  add_dependencies(service_example_test pavo-terminal)
endif()
