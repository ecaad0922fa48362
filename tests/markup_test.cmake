# The navigator's differential test checks its trees against pugixml.
find_package(pugixml REQUIRED)
target_link_libraries(markup_test PRIVATE pugixml::pugixml)
# The hostile document shapes are shared with the navigator's benchmark.
target_include_directories(markup_test PRIVATE ${PROJECT_SOURCE_DIR}/bench)
