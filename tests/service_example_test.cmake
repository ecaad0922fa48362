# The example session test runs the built example application as a child process
# (through the emulator when the example is built for another processor).
if(TARGET pavo-terminal)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " runner)
  string(STRIP "${runner} $<TARGET_FILE:pavo-terminal>" command)
  target_compile_definitions(service_example_test PRIVATE PAVO_TERMINAL_PATH="${command}")
  add_dependencies(service_example_test pavo-terminal)
endif()
# The guide's two programs and the README's, each run as a child process.
foreach(program pavo-sync pavo-async pavo-readme)
  if(TARGET ${program})
    string(TOUPPER ${program} name)
    string(REPLACE "-" "_" name ${name})
    string(STRIP "${runner} $<TARGET_FILE:${program}>" command)
    target_compile_definitions(service_example_test PRIVATE ${name}_PATH="${command}")
    add_dependencies(service_example_test ${program})
  endif()
endforeach()
