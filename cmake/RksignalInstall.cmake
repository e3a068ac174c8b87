# Installs the libraries with their headers, the CMake packages, the pkg-config file and the program.
#
# Each library is a CMake package of its own name. The two platform packages form the component "platform": a
# site with its own does without, and an installed one can serve as the external platform of another build.
# Everything installed may be moved as a whole.
include(CMakePackageConfigHelpers)

set(RKSIGNAL_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake)
set(RKSIGNAL_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/rksignal)

# rksignal_install_library(<name> COMPONENT <component> CONFIG <template> [DEPENDS <package>...])
# The library, its headers and its CMake package, which finds the packages it depends on.
function(rksignal_install_library name)
  cmake_parse_arguments(PACKAGE "" "COMPONENT;CONFIG" "DEPENDS" ${ARGN})
  set(PACKAGE_NAME ${name})
  set(directory ${RKSIGNAL_PACKAGE_DIR}/${name})
  set(generated ${CMAKE_CURRENT_BINARY_DIR}/package/${name})

  install(TARGETS ${name} EXPORT ${name}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${PACKAGE_COMPONENT}
    FILE_SET HEADERS DESTINATION ${RKSIGNAL_HEADER_DIR} COMPONENT ${PACKAGE_COMPONENT})
  install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION ${directory} COMPONENT ${PACKAGE_COMPONENT})

  configure_package_config_file(cmake/${PACKAGE_CONFIG} ${generated}Config.cmake INSTALL_DESTINATION ${directory})
  write_basic_package_version_file(${generated}ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  install(FILES ${generated}Config.cmake ${generated}ConfigVersion.cmake
    DESTINATION ${directory} COMPONENT ${PACKAGE_COMPONENT})
endfunction()

# rksignal_install_pkgconfig()
# rksignal.pc. A client of the library also uses the platform libraries directly, through its headers, so all
# three are linked: the bundled ones from where they are installed, external ones from where they were found.
function(rksignal_install_pkgconfig)
  set(PLATFORM_CFLAGS "")
  set(PLATFORM_DIRS "")
  if(RKSIGNAL_PLATFORM STREQUAL "external")
    set(includes "")
    set(directories "")
    foreach(library IN ITEMS rktrace rkutil)
      list(APPEND includes $<TARGET_PROPERTY:${library}::${library},INTERFACE_INCLUDE_DIRECTORIES>)
      list(APPEND directories $<TARGET_LINKER_FILE_DIR:${library}::${library}>)
    endforeach()
    set(PLATFORM_CFLAGS " -I$<JOIN:$<REMOVE_DUPLICATES:${includes}>, -I>")
    set(PLATFORM_DIRS " -L$<JOIN:$<REMOVE_DUPLICATES:${directories}>, -L>")
  endif()
  set(directory ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH PREFIX_FROM_PC ${directory} ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" PREFIX_FROM_PC ${PREFIX_FROM_PC})
  file(RELATIVE_PATH LIBDIR_FROM_PREFIX ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
  file(RELATIVE_PATH INCLUDEDIR_FROM_PREFIX ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
  configure_file(cmake/rksignal.pc.in ${CMAKE_CURRENT_BINARY_DIR}/package/rksignal.pc.in @ONLY)
  file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/package/rksignal.pc
    INPUT ${CMAKE_CURRENT_BINARY_DIR}/package/rksignal.pc.in)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/package/rksignal.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT rksignal)
endfunction()

if(RKSIGNAL_PLATFORM STREQUAL "bundled")
  rksignal_install_library(rkutil COMPONENT platform CONFIG PlatformConfig.cmake.in)
  rksignal_install_library(rktrace COMPONENT platform CONFIG PlatformConfig.cmake.in DEPENDS rkutil)
endif()
rksignal_install_library(rksignal COMPONENT rksignal CONFIG rksignalConfig.cmake.in DEPENDS rkutil rktrace)
rksignal_install_pkgconfig()

# librkreplay, where it is built: the component "replay" of the package rksignal.
if(TARGET rkreplay)
  install(TARGETS rkreplay EXPORT rksignalReplayTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT rksignal
    FILE_SET HEADERS DESTINATION ${RKSIGNAL_HEADER_DIR} COMPONENT rksignal)
  install(EXPORT rksignalReplayTargets NAMESPACE rksignal::
    DESTINATION ${RKSIGNAL_PACKAGE_DIR}/rksignal COMPONENT rksignal)
  configure_file(cmake/rksignal-replay.pc.in ${CMAKE_CURRENT_BINARY_DIR}/package/rksignal-replay.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/package/rksignal-replay.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT rksignal)
endif()
foreach(component IN ITEMS platform rksignal)
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT ${component})
endforeach()
