# The item list reader is measured beside a pugixml-based one.
find_package(pugixml REQUIRED)
target_link_libraries(parse_bench PRIVATE pugixml::pugixml)
