# Install rules: the shared library, the public headers under one include root,
# a CMake package with the imported target OndSDK.AM.3mf::OndSDK.AM.3mf, a
# pkg-config file and the tools.
include(CMakePackageConfigHelpers)

set(OND_PACKAGE OndSDK.AM.3mf)
set(OND_INCLUDE_ROOT ${CMAKE_INSTALL_INCLUDEDIR}/${OND_PACKAGE})
set(OND_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/${OND_PACKAGE})

install(TARGETS OndSDK.AM.3mf EXPORT OndSDK.AM.3mfTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${OND_INCLUDE_ROOT}
  COMPONENT Development FILES_MATCHING PATTERN "*.h")
# The tools find the library by a path relative to their own folder, so that
# they run from any prefix without LD_LIBRARY_PATH.
set(OND_TOOLS ond3mf-info ond3mf-convert ond3mf-project ond3mf-torus)
file(RELATIVE_PATH OND_BIN_TO_LIB /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(${OND_TOOLS} PROPERTIES INSTALL_RPATH "$ORIGIN/${OND_BIN_TO_LIB}")
install(TARGETS ${OND_TOOLS} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(EXPORT OndSDK.AM.3mfTargets NAMESPACE ${OND_PACKAGE}:: DESTINATION ${OND_CMAKE_DIR}
  COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/Config.cmake.in
  ${PROJECT_BINARY_DIR}/${OND_PACKAGE}Config.cmake INSTALL_DESTINATION ${OND_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${OND_PACKAGE}ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/${OND_PACKAGE}Config.cmake
  ${PROJECT_BINARY_DIR}/${OND_PACKAGE}ConfigVersion.cmake
  DESTINATION ${OND_CMAKE_DIR} COMPONENT Development)

# The library's own dependencies are linked into it; a user links it alone.
# The prefix is found from where the file lies, so that the tree can be
# installed anywhere (cmake --install --prefix) and moved.
file(RELATIVE_PATH OND_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" OND_PC_TO_PREFIX "${OND_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/OndSDK.AM.3mf.pc.in ${PROJECT_BINARY_DIR}/${OND_PACKAGE}.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/${OND_PACKAGE}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT Development)
