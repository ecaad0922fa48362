# The test support drives the platform simulator's control interface with cpp-httplib.
if(TARGET pavo_test_support)
  include(${PROJECT_SOURCE_DIR}/tools/cmake/pavo_httplib.cmake)
  find_package(nlohmann_json 3 REQUIRED)
  target_link_libraries(pavo_test_support PUBLIC httplib::httplib nlohmann_json::nlohmann_json)
endif()
