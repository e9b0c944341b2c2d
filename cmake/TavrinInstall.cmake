# What `cmake --install` and CPack give: headers, libraries, resources, and the packages by which a
# host finds them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

target_include_directories(Tavrin PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
# Which rooms have headers for a host says docs/house.md; what lies under Internal/ is ours alone.
function(tavrin_install_headers)
  foreach(room IN LISTS ARGN)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/Tavrin/${room} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Tavrin
            FILES_MATCHING PATTERN "*.hpp" PATTERN "Internal" EXCLUDE
            PATTERN "Colors" EXCLUDE PATTERN "Images" EXCLUDE PATTERN "Renderings" EXCLUDE)
  endforeach()
endfunction()
# tavrin_install_component(TARGET NAME): find_package(Tavrin COMPONENTS NAME) finds Tavrin::NAME.
function(tavrin_install_component target name)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  install(TARGETS ${target} EXPORT Tavrin${name}Targets)
  install(EXPORT Tavrin${name}Targets NAMESPACE Tavrin:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Tavrin)
endfunction()

tavrin_install_headers(Architecture Cache Feature Foundation Item Media Models Resources View)
install(TARGETS Tavrin EXPORT TavrinTargets)
if(TARGET TavrinMpv)
  tavrin_install_headers(Mpv)
  tavrin_install_component(TavrinMpv Mpv)
endif()
if(TARGET TavrinTesting)
  tavrin_install_headers(Testing)
  tavrin_install_component(TavrinTesting Testing)
endif()
install(EXPORT TavrinTargets NAMESPACE Tavrin::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Tavrin)

set(TAVRIN_INSTALL_RESOURCES ${CMAKE_INSTALL_DATADIR}/tavrin/Resources)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/TavrinConfig.cmake.in ${CMAKE_BINARY_DIR}/TavrinConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Tavrin PATH_VARS TAVRIN_INSTALL_RESOURCES)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/TavrinConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/TavrinConfig.cmake ${CMAKE_BINARY_DIR}/TavrinConfigVersion.cmake
              ${CMAKE_CURRENT_LIST_DIR}/TavrinHost.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Tavrin)
# Told from where the file lies, so that an installed copy works wherever that is.
file(RELATIVE_PATH TAVRIN_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/tavrin.pc.in ${CMAKE_BINARY_DIR}/tavrin.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/tavrin.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavrin-dev)
set(CPACK_PACKAGE_CONTACT "The Tavrin developers <maintainers@tavrin.invalid>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "libcurl4-openssl-dev, libavcodec-dev, libavutil-dev, libswscale-dev, libwebp-dev, libmpv-dev, pkg-config")
if(TAVRIN_APP AND TAVRIN_MPV)  # what the workout player is linked with besides
  string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", libsdl2-2.0-0, libpangocairo-1.0-0, libmicrohttpd12")
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS fonts-inter)
endif()
if(TARGET TavrinTesting)
  list(APPEND CPACK_DEBIAN_PACKAGE_RECOMMENDS libgmock-dev)
  list(JOIN CPACK_DEBIAN_PACKAGE_RECOMMENDS ", " CPACK_DEBIAN_PACKAGE_RECOMMENDS)
endif()
include(CPack)
