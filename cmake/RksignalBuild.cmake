# What every target of the project is built with: warnings, sanitizers, coverage, ccache.

find_program(CCACHE ccache)
mark_as_advanced(CCACHE)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

# Sanitizers and coverage, for generated code too.
add_library(rksignal_instrumentation INTERFACE)
if(RKSIGNAL_SANITIZE)
  target_compile_options(rksignal_instrumentation INTERFACE
    -fsanitize=${RKSIGNAL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(rksignal_instrumentation INTERFACE -fsanitize=${RKSIGNAL_SANITIZE})
endif()
if(RKSIGNAL_COVERAGE)
  # Tests run several threads: counters that are not atomic lose counts, and can even end up negative.
  target_compile_options(rksignal_instrumentation INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(rksignal_instrumentation INTERFACE --coverage)
endif()

add_library(rksignal_build_options INTERFACE)
target_compile_options(rksignal_build_options INTERFACE -Wall -Wextra -Wconversion
  $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier>)
if(RKSIGNAL_WERROR)
  target_compile_options(rksignal_build_options INTERFACE -Werror)
endif()
target_link_libraries(rksignal_build_options INTERFACE rksignal_instrumentation)

# rksignal_unity(<target> <sources in a piece> [ALONE <source>...])
# Lets a target be compiled in few large pieces when RKSIGNAL_UNITY is on. ALONE are sources that call different things
# by the same name.
function(rksignal_unity target batch_size)
  cmake_parse_arguments(UNITY "" "" "ALONE" ${ARGN})
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${RKSIGNAL_UNITY} UNITY_BUILD_BATCH_SIZE ${batch_size})
  if(UNITY_ALONE)
    set_source_files_properties(${UNITY_ALONE} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
endfunction()

# rksignal_library(<name> HEADER_ROOT <dir> HEADERS ... SOURCES ... LINK ...)
# One of the three shared libraries: lib<name>.so.0, headers reached from HEADER_ROOT, symbols limited to
# what <name>.map beside the calling file lists. It is linked as rksignal::<name>, or as <name>::<name>, the
# name that it has in its own package: the bundled platform and an external one look the same to src/.
function(rksignal_library name)
  cmake_parse_arguments(LIB "" "HEADER_ROOT" "HEADERS;SOURCES;LINK" ${ARGN})
  add_library(${name} SHARED ${LIB_SOURCES})
  foreach(package IN ITEMS rksignal ${name})
    if(NOT TARGET ${package}::${name})
      add_library(${package}::${name} ALIAS ${name})
    endif()
  endforeach()
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION 0
    INSTALL_RPATH "\$ORIGIN"
    INSTALL_RPATH_USE_LINK_PATH ON)
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${LIB_HEADER_ROOT} FILES ${LIB_HEADERS})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PUBLIC ${LIB_LINK} PRIVATE $<BUILD_INTERFACE:rksignal_build_options>)
  set(map ${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  target_link_options(${name} PRIVATE -Wl,--version-script=${map} -Wl,--no-undefined-version)
  if(NOT RKSIGNAL_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,--no-undefined)
  endif()
  set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()
