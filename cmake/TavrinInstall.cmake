# What `cmake --install` and CPack give: headers, libraries, resources, and the packages by which a
# host finds them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/tavrin)
target_include_directories(Tavrin PUBLIC $<INSTALL_INTERFACE:${include_dir}>)
foreach(folder IN ITEMS Architecture Models Platform/Foundation Platform/Media Platform/View Tavrin
                        Derived/Sources)
  get_filename_component(parent ${folder} DIRECTORY)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder} DESTINATION ${include_dir}/${parent}
          FILES_MATCHING PATTERN "*.hpp" PATTERN "Resources" EXCLUDE)
endforeach()
install(TARGETS Tavrin EXPORT TavrinTargets)

if(TARGET TavrinMpv)
  set_target_properties(TavrinMpv PROPERTIES EXPORT_NAME Mpv)
  install(FILES ${PROJECT_SOURCE_DIR}/Platform/Mpv/MpvEngine.hpp
          DESTINATION ${include_dir}/Platform/Mpv)
  install(TARGETS TavrinMpv EXPORT TavrinMpvTargets)
  install(EXPORT TavrinMpvTargets NAMESPACE Tavrin::
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Tavrin)
endif()
install(EXPORT TavrinTargets NAMESPACE Tavrin::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Tavrin)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/TavrinConfig.cmake.in ${CMAKE_BINARY_DIR}/TavrinConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Tavrin)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/TavrinConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/TavrinConfig.cmake ${CMAKE_BINARY_DIR}/TavrinConfigVersion.cmake
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
    "libcurl4-openssl-dev, libavformat-dev, libavcodec-dev, libavutil-dev, libswscale-dev, libmpv-dev, pkg-config")
if(TAVRIN_APP AND TAVRIN_MPV)  # what the workout player is linked with besides
  string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", libsdl2-2.0-0, libpangocairo-1.0-0, libmicrohttpd12")
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS fonts-inter)
endif()
include(CPack)
