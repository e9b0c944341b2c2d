# One set of compiler settings for every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET default)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

find_program(TAVRIN_CCACHE ccache)
if(TAVRIN_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${TAVRIN_CCACHE})
endif()

set(TAVRIN_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")

add_library(TavrinWarnings INTERFACE)
target_compile_options(TavrinWarnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
# GCC 12 sees overlaps and over-long reads in the operators of std::string and std::vector once they
# are inlined (its bugs 105651 and 105545).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(TavrinWarnings INTERFACE -Wno-restrict -Wno-stringop-overread)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(TavrinWarnings INTERFACE -Wthread-safety)
endif()
if(TAVRIN_WERROR)
  target_compile_options(TavrinWarnings INTERFACE -Werror)
endif()

if(TAVRIN_SANITIZE)
  add_compile_options(-fsanitize=${TAVRIN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
                      -O1 -g1)
  add_link_options(-fsanitize=${TAVRIN_SANITIZE})
endif()
