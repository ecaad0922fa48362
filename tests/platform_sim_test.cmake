# The simulator's own test reads answer documents with pugixml, independently of libpavo.
find_package(pugixml REQUIRED)
target_link_libraries(platform_sim_test PRIVATE pugixml::pugixml)
