# The module and everything below it but the media engine, as one library.
find_package(CURL 7.88 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswscale)

set(folders Architecture Models Platform/Foundation Platform/Media Platform/View Platform/Curl
            Platform/FFmpeg Tavrin Tavrin/Dependency Tavrin/Extensions Derived/Sources)
set(sources)
foreach(folder IN LISTS folders)
  file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp
                                    ${PROJECT_SOURCE_DIR}/${folder}/*.hpp)
  list(APPEND sources ${found})
endforeach()

add_library(Tavrin ${sources})
add_library(Tavrin::Tavrin ALIAS Tavrin)
target_include_directories(Tavrin PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_compile_features(Tavrin PUBLIC cxx_std_20)
target_link_libraries(Tavrin PUBLIC Threads::Threads
                             PRIVATE $<BUILD_INTERFACE:TavrinWarnings> CURL::libcurl PkgConfig::FFMPEG)
