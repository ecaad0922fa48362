# The Python binding's pytest suite (label python) and a short fleet run, master and one
# worker (label fleet), both with Debian's interpreter, where its pytest and Locust live.
# Only in a plain native build: an interpreter cannot load a sanitized library.
set(PAVO_PYTHON /usr/bin/python3 CACHE FILEPATH "Interpreter of the Python binding's tests")
if(NOT PAVO_SANITIZE AND NOT CMAKE_CROSSCOMPILING AND TARGET pavo-platform-sim
   AND EXISTS ${PAVO_PYTHON})
  set(pavo_python_env
      "PAVO_LIB=$<TARGET_FILE:pavo>" "PAVO_PLATFORM_SIM=$<TARGET_FILE:pavo-platform-sim>"
      "PAVO_PLATFORM_DATA=${PROJECT_SOURCE_DIR}/tools/simdata"
      "PYTHONPATH=${PROJECT_SOURCE_DIR}/python")
  foreach(module pytest locust)
    execute_process(COMMAND ${PAVO_PYTHON} -c "import ${module}"
                    RESULT_VARIABLE pavo_no_${module} OUTPUT_QUIET ERROR_QUIET)
  endforeach()
  if(NOT pavo_no_pytest)
    add_test(NAME python_binding
             COMMAND ${PAVO_PYTHON} -m pytest -q -p no:cacheprovider
                     ${PROJECT_SOURCE_DIR}/python/tests)
    set_tests_properties(python_binding PROPERTIES LABELS python TIMEOUT 300
                         ENVIRONMENT "${pavo_python_env}")
  endif()
  if(NOT pavo_no_locust)
    add_test(NAME fleet_smoke
             COMMAND ${PAVO_PYTHON} ${PROJECT_SOURCE_DIR}/tools/fleet/run --boxes 3
                     --workers 1 --seconds 8 --scenario steady --check
                     --out ${CMAKE_CURRENT_BINARY_DIR}/fleet-smoke)
    set_tests_properties(fleet_smoke PROPERTIES LABELS fleet TIMEOUT 300
                         ENVIRONMENT "${pavo_python_env}")
  endif()
endif()
