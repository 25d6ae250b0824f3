# What `cmake --install` puts where. The headers keep the tree's layout below include/QZUtils, so that an include
# reads the same in the tree and in an application: <QZUtils/QZUtils.h>, "Platform/Export.h".

include(CMakePackageConfigHelpers)

# Headers in directories named internal stay home, except those that an installed header includes.
function(qz_installed_headers result)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} Platform/*.h Siblings/*.h QZUtils/*.h)
  list(FILTER headers EXCLUDE REGEX "/internal/")
  set(installed)
  while(headers)
    list(POP_FRONT headers header)
    list(APPEND installed ${header})
    file(STRINGS ${header} includes REGEX "^ *# *include [\"<](Platform|Siblings|QZUtils)/.*internal/")
    foreach(include IN LISTS includes)
      string(REGEX REPLACE ".*[\"<](.*)[\">].*" "\\1" include ${include})
      if(NOT include IN_LIST installed AND NOT include IN_LIST headers)
        list(APPEND headers ${include})
      endif()
    endforeach()
  endwhile()
  set(${result} ${installed} PARENT_SCOPE)
endfunction()

qz_installed_headers(QZ_HEADERS)
target_sources(QZUtils PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${QZ_HEADERS})

install(TARGETS QZUtils
  EXPORT QZUtilsTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QZUtils)

install(DIRECTORY Resources/ DESTINATION ${CMAKE_INSTALL_DATADIR}/QZUtils)

# find_package(QZUtils). Until 1.0 a minor version may change the interface.
set(QZ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QZUtils)
install(EXPORT QZUtilsTargets NAMESPACE QZUtils:: DESTINATION ${QZ_CMAKE_DIR})
configure_package_config_file(cmake/QZUtilsConfig.cmake.in ${PROJECT_BINARY_DIR}/QZUtilsConfig.cmake
  INSTALL_DESTINATION ${QZ_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QZUtilsConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QZUtilsConfig.cmake ${PROJECT_BINARY_DIR}/QZUtilsConfigVersion.cmake
  DESTINATION ${QZ_CMAKE_DIR})

# pkg-config. The prefix is counted from where the file lies, so that an installed tree can be moved.
file(RELATIVE_PATH QZ_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" QZ_PC_PREFIX ${QZ_PC_PREFIX})
configure_file(cmake/qzutils.pc.in ${PROJECT_BINARY_DIR}/qzutils.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qzutils.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
