# What a host's tests and the author of an engine need: fakes, servers, contract suites.
find_package(GTest REQUIRED)
tavrin_room_sources(sources Testing)
add_library(TavrinTesting STATIC ${sources})
add_library(Tavrin::Testing ALIAS TavrinTesting)
target_link_libraries(TavrinTesting PUBLIC Tavrin GTest::gmock PRIVATE $<BUILD_INTERFACE:TavrinWarnings>)
