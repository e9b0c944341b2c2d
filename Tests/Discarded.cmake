# A compiler tells of each line that drops what must be kept.
set(discarded ${CMAKE_CURRENT_SOURCE_DIR}/Support/Discarded.cpp.in)
add_test(NAME CompilersTellOfWhatIsDropped
         COMMAND ${CMAKE_CXX_COMPILER} -std=c++20 -fsyntax-only -I${PROJECT_SOURCE_DIR} -x c++
                 ${discarded})
set_tests_properties(CompilersTellOfWhatIsDropped PROPERTIES PASS_REGULAR_EXPRESSION
  "in:7:[0-9]+: warning.*in:8:[0-9]+: warning.*in:9:[0-9]+: warning.*in:10:[0-9]+: warning.*in:11:[0-9]+: warning")
