# The public headers, in one list: what is installed, and what the build tree offers under <orvel/...> meanwhile.

set(ORVEL_PUBLIC_HEADERS
  ado/QD_ADOOrvelCommand.h
  ado/QD_ADOOrvelConnection.h
  ado/QD_ADOOrvelException.h
  ado/QD_ADOOrvelInterface.h
  ado/QD_ADOOrvelQuery.h
  config/QD_OrvelConfig.h
  core/QD_OrvelCommand.h
  core/QD_OrvelConnection.h
  core/QD_OrvelDebugOutput.h
  core/QD_OrvelError.h
  core/QD_OrvelException.h
  core/QD_OrvelExport.h
  core/QD_OrvelHandle.h
  core/QD_OrvelInterface.h
  core/QD_OrvelQuery.h
  core/QD_OrvelTools.h
  core/QD_OrvelTransaction.h
  sqlite/QD_SQOrvelCommand.h
  sqlite/QD_SQOrvelConnection.h
  sqlite/QD_SQOrvelException.h
  sqlite/QD_SQOrvelInterface.h
  sqlite/QD_SQOrvelQuery.h)

# The build tree's copies are linked side by side, as the installed ones lie.
set(build_include ${PROJECT_BINARY_DIR}/include)
file(MAKE_DIRECTORY ${build_include}/orvel)
foreach(header IN LISTS ORVEL_PUBLIC_HEADERS)
  get_filename_component(name ${header} NAME)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${build_include}/orvel/${name} SYMBOLIC)
endforeach()

target_include_directories(orvel INTERFACE
  $<BUILD_INTERFACE:${build_include}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(orvel INTERFACE cxx_std_17)

install(TARGETS orvel EXPORT OrvelTargets)
install(FILES ${ORVEL_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvel)

include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Orvel)
install(EXPORT OrvelTargets NAMESPACE Orvel:: DESTINATION ${package_dir})
configure_package_config_file(cmake/OrvelConfig.cmake.in ${PROJECT_BINARY_DIR}/OrvelConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OrvelConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OrvelConfig.cmake ${PROJECT_BINARY_DIR}/OrvelConfigVersion.cmake
  DESTINATION ${package_dir})

# Found from where the file lies, so that `cmake --install --prefix` and a moved tree need no editing.
file(RELATIVE_PATH ORVEL_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" ORVEL_PC_TO_PREFIX "${ORVEL_PC_TO_PREFIX}")
configure_file(cmake/orvel.pc.in ${PROJECT_BINARY_DIR}/orvel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES share/OrvelConfig.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/orvel)
