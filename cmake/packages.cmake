# Debian packages: the shared library, what programs are compiled with, and Python. scripts/package.sh makes them with
# the prefix /usr, for which the folders are those of Debian.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "meldra3d developers <developers@meldra3d.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev)
if(MELDRA3D_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

# The number in the name is that of the ABI: two of them may be installed beside each other.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libmeldra3d${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The shared library.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libmeldra3d-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEV_DESCRIPTION "Headers, CMake package and pkg-config file.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-meldra3d)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
string(JOIN ", " CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})" python3
  python3-numpy python3-meshio python3-matplotlib python3-click python3-rich)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/debian/python/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/python/prerm)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "Python module and command.")

# Where Debian looks for the licence of a package; a plain installation does without.
foreach(component RUNTIME DEV PYTHON)
  string(TOLOWER ${component} name)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright COMPONENT ${name} EXCLUDE_FROM_ALL
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME})
endforeach()

include(CPack)
