# The example terminal application runs its session and reports failure by
# its exit status.
if(TARGET pavo-terminal)
  add_test(NAME ExampleTerminalStartsShowsAndStops COMMAND pavo-terminal --ipversion 6)
  add_test(NAME ExampleTerminalFailsWithoutAWorkDirectory
           COMMAND pavo-terminal --workdir ${CMAKE_CURRENT_BINARY_DIR}/no/such/directory)
  set_tests_properties(ExampleTerminalFailsWithoutAWorkDirectory PROPERTIES WILL_FAIL TRUE)
  set_tests_properties(ExampleTerminalStartsShowsAndStops
                       ExampleTerminalFailsWithoutAWorkDirectory
                       PROPERTIES LABELS example TIMEOUT 60)
endif()
