# The media engine over libmpv: a library of its own, so that a host may choose another engine.
pkg_check_modules(MPV REQUIRED IMPORTED_TARGET mpv)
tavrin_room_sources(sources Mpv)
add_library(TavrinMpv ${sources})
add_library(Tavrin::Mpv ALIAS TavrinMpv)
target_link_libraries(TavrinMpv PUBLIC Tavrin
                                PRIVATE $<BUILD_INTERFACE:TavrinWarnings> PkgConfig::MPV)
