# The probe, with the module's code once in the executable and once in a shared library.
set(probe ${CMAKE_CURRENT_SOURCE_DIR}/Resources/Probe)
get_target_property(type Tavrin TYPE)
if(type STREQUAL "STATIC_LIBRARY")
  add_executable(ResourceProbe ${probe}/Main.cpp ${probe}/ResourceProbe.cpp)
  target_link_libraries(ResourceProbe PRIVATE Tavrin TavrinWarnings)

  add_library(TavrinProbe SHARED ${probe}/ResourceProbe.cpp)
  target_link_libraries(TavrinProbe PRIVATE Tavrin TavrinWarnings)
  add_executable(ResourceProbeShared ${probe}/Main.cpp)
  target_include_directories(ResourceProbeShared PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(ResourceProbeShared PRIVATE TavrinProbe TavrinWarnings)

  add_dependencies(TavrinResourcesTests ResourceProbe ResourceProbeShared)
  target_compile_definitions(TavrinResourcesTests PRIVATE
    TAVRIN_PROBE="$<TARGET_FILE:ResourceProbe>"
    TAVRIN_PROBE_SHARED="$<TARGET_FILE:ResourceProbeShared>"
    TAVRIN_PROBE_LIBRARY="$<TARGET_FILE:TavrinProbe>")
endif()
target_compile_definitions(TavrinResourcesTests PRIVATE
  TAVRIN_SOURCE_DIR="${PROJECT_SOURCE_DIR}" TAVRIN_BUILD_DIR="${CMAKE_BINARY_DIR}"
  TAVRIN_CMAKE="${CMAKE_COMMAND}")

# The generated accessors are those of the catalogue as it is.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
add_test(NAME GeneratedResourcesAreFresh
         COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/scripts/generate-resources --check)
