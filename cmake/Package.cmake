# `cpack` in a build directory makes a Debian package of library, headers, program, manual page and texts.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qzutils)
set(CPACK_PACKAGE_CONTACT "The QZUtils developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
# What it depends on is read from the binaries, and programs find the library after an ldconfig.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
include(CPack)
