# The module and everything below it but the media engine, as one library.
find_package(CURL 7.88 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavcodec libavutil libswscale)
pkg_check_modules(WEBP REQUIRED IMPORTED_TARGET libwebpdemux libwebp)

# All sources of the rooms named, those under Internal/ with them.
function(tavrin_room_sources result)
  set(sources)
  foreach(room IN LISTS ARGN)
    file(GLOB_RECURSE found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Tavrin/${room}/*.cpp
                                              ${PROJECT_SOURCE_DIR}/Tavrin/${room}/*.hpp)
    list(APPEND sources ${found})
  endforeach()
  set(${result} ${sources} PARENT_SCOPE)
endfunction()

tavrin_room_sources(sources Architecture Cache Curl FFmpeg Feature Foundation Item Media Models Resources View WebP)
add_library(Tavrin ${sources})
add_library(Tavrin::Tavrin ALIAS Tavrin)
target_include_directories(Tavrin PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_compile_features(Tavrin PUBLIC cxx_std_20)
target_link_libraries(Tavrin PUBLIC Threads::Threads
                             PRIVATE $<BUILD_INTERFACE:TavrinWarnings> CURL::libcurl PkgConfig::FFMPEG
                                     PkgConfig::WEBP)
# What the session names itself to servers.
set_source_files_properties(${PROJECT_SOURCE_DIR}/Tavrin/Curl/Request.cpp
                            PROPERTIES COMPILE_DEFINITIONS TAVRIN_VERSION="${PROJECT_VERSION}")
