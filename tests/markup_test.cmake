# The navigator's differential test checks its trees against pugixml.
find_package(pugixml REQUIRED)
target_link_libraries(markup_test PRIVATE pugixml::pugixml)
