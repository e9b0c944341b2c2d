# Puts the module's resources where its code looks for them: share/tavrin/Resources in the directory
# of the file that holds the code, or in one of the three above it.
set(TAVRIN_RENDERINGS ${PROJECT_SOURCE_DIR}/Tavrin/Resources/Renderings)

# Found by every program of this build tree that is no deeper than three folders.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/share/tavrin)
file(CREATE_LINK ${TAVRIN_RENDERINGS} ${CMAKE_BINARY_DIR}/share/tavrin/Resources SYMBOLIC)

include(GNUInstallDirs)
install(DIRECTORY ${TAVRIN_RENDERINGS}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/tavrin/Resources
        COMPONENT TavrinResources)
