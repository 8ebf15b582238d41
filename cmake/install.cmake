include(CMakePackageConfigHelpers)

# Three components, of which packages are made: runtime (the shared library), dev (what programs are compiled with) and
# python (python/CMakeLists.txt).
install(TARGETS meldra3d EXPORT meldra3d-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(DIRECTORY include/meldra3d companions/numcore/include/numcore companions/meldra/include/meldra
    companions/lapack/include/lapack companions/meldra2d/include/meldra2d
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN "*.h")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/meldra3d)
install(EXPORT meldra3d-targets NAMESPACE quorl:: FILE meldra3d-targets.cmake
  DESTINATION ${package_dir} COMPONENT dev)
configure_package_config_file(cmake/meldra3d-config.cmake.in ${PROJECT_BINARY_DIR}/meldra3d-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/meldra3d-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/meldra3d-config.cmake ${PROJECT_BINARY_DIR}/meldra3d-config-version.cmake
  DESTINATION ${package_dir} COMPONENT dev)

# find_package works on the build tree, too.
export(EXPORT meldra3d-targets NAMESPACE quorl:: FILE ${PROJECT_BINARY_DIR}/meldra3d-targets.cmake)

# The .pc file finds its prefix from its own place, so that an installation may be moved or made with another prefix
# (cmake --install --prefix). That holds only while the folders are relative to the prefix.
set(pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
set(pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
  set(pc_libdir ${CMAKE_INSTALL_FULL_LIBDIR})
  set(pc_includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
else()
  file(RELATIVE_PATH way_up /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" way_up ${way_up})
  set(pc_prefix "\${pcfiledir}/${way_up}")
endif()
# The shared library knows what it needs. Where only the static one is installed, a plain --libs must name it as well.
set(pc_libs)
if(NOT BUILD_SHARED_LIBS)
  set(pc_libs " -llapack")
endif()
configure_file(cmake/meldra3d.pc.in ${PROJECT_BINARY_DIR}/meldra3d.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/meldra3d.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
