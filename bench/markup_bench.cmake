# The navigator is measured beside pugixml.
find_package(pugixml REQUIRED)
target_link_libraries(markup_bench PRIVATE pugixml::pugixml)
