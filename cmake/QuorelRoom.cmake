# How a room, a test and a program are declared. One function each, so that every CMakeLists.txt of the house
# reads as a table: name, floor, sources, what it uses.

include_guard()
include(GNUInstallDirs)
set(QUOREL_GENERATED ${PROJECT_BINARY_DIR}/generated)
include(QuorelInstall)

add_library(quorel_options INTERFACE)
target_compile_features(quorel_options INTERFACE cxx_std_20)
target_compile_options(quorel_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(QUOREL_WERROR)
  target_compile_options(quorel_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # At -O2 and above GCC 12 sees uninitialised strings in variants that hold none.
  target_compile_options(quorel_options INTERFACE -Wno-maybe-uninitialized)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 15)
  # Clang 14 implements C++20 coroutines but does not announce them, and libstdc++ asks.
  target_compile_definitions(quorel_options INTERFACE __cpp_impl_coroutine=201902L)
  target_compile_options(quorel_options INTERFACE -Wno-builtin-macro-redefined)
endif()
if(QUOREL_SANITIZE)
  target_compile_options(quorel_options INTERFACE -fsanitize=${QUOREL_SANITIZE} -fno-omit-frame-pointer
                         -fno-sanitize-recover=all)
  if(QUOREL_SANITIZE MATCHES "undefined")
    # What ASan sees anyhow, and what costs a third of the compile time.
    target_compile_options(quorel_options INTERFACE -fno-sanitize=null,vptr)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      # Clang 14 cannot assemble coroutines with it.
      target_compile_options(quorel_options INTERFACE -fno-sanitize=function)
    endif()
  endif()
  target_link_options(quorel_options INTERFACE -fsanitize=${QUOREL_SANITIZE})
endif()

# What every test runs with: what LeakSanitizer and ThreadSanitizer are to pass over of other people's libraries. One
# variable, because a list would not survive the way into the discovered tests' properties.
if(QUOREL_SANITIZE MATCHES "thread")
  set(QUOREL_TEST_ENVIRONMENT "TSAN_OPTIONS=suppressions=${CMAKE_CURRENT_LIST_DIR}/tsan.supp")
else()
  set(QUOREL_TEST_ENVIRONMENT "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_LIST_DIR}/lsan.supp:print_suppressions=0")
endif()

# quorel_room(foundation [INSTALL] [COMPONENT name] FLOOR 1 SOURCES a.cpp b.cpp [USES engine ui]
#             [HEADERS ../a.h] [PUBLIC_LIBRARIES Qt6::Core] [PRIVATE_LIBRARIES CURL::libcurl])
# makes quorel_foundation with the alias quorel::foundation. USES are rooms of the house, PRIVATE_LIBRARIES
# third-party ones, which never show in public headers, PUBLIC_LIBRARIES those that do; of a room with INSTALL, which
# is a component of the installation, they are named as QuorelInstall.cmake says. Its public headers are those of its
# folder, and HEADERS. Users know the room by the name of its component, which is its own if no other is given.
#
# A room with INSTALL is static or shared, as BUILD_SHARED_LIBS says, and exports what its public headers mark with the
# macro QUOREL_<COMPONENT>_API of the generated export.h (quorel/foundation/visibility.h says when). The others are
# parts of programs, and always static.
function(quorel_room name)
  cmake_parse_arguments(R "INSTALL" "FLOOR;COMPONENT" "SOURCES;USES;HEADERS;PUBLIC_LIBRARIES;PRIVATE_LIBRARIES" ${ARGN})
  set(target quorel_${name})
  if(NOT R_COMPONENT)
    set(R_COMPONENT ${name})
  endif()
  if(R_INSTALL)
    add_library(${target} ${R_SOURCES})
    quorel_export_header(${target} ${R_COMPONENT})
    set_target_properties(${target} PROPERTIES
      OUTPUT_NAME quorel_${R_COMPONENT}
      INSTALL_RPATH "$ORIGIN"
      VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  else()
    add_library(${target} STATIC ${R_SOURCES})
  endif()
  add_library(quorel::${R_COMPONENT} ALIAS ${target})
  if(NOT R_COMPONENT STREQUAL name)
    add_library(quorel::${name} ALIAS ${target})
  endif()
  target_link_libraries(${target} PUBLIC ${R_PUBLIC_LIBRARIES} PRIVATE $<BUILD_INTERFACE:quorel_options> ${R_PRIVATE_LIBRARIES})
  set_target_properties(${target} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                             $<BUILD_INTERFACE:${QUOREL_GENERATED}>
                             $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  foreach(used IN LISTS R_USES)
    target_link_libraries(${target} PUBLIC quorel::${used})
  endforeach()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 15)
    target_compile_definitions(${target} PUBLIC __cpp_impl_coroutine=201902L)
  endif()
  if(R_INSTALL)
    quorel_install_room(${target} ${R_COMPONENT} USES ${R_USES} HEADERS ${R_HEADERS}
                        PUBLIC_LIBRARIES ${R_PUBLIC_LIBRARIES} PRIVATE_LIBRARIES ${R_PRIVATE_LIBRARIES})
  endif()
endfunction()

# The export.h of a room, which is included as if it stood beside the room's headers.
function(quorel_export_header target component)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  string(TOUPPER QUOREL_${component}_API macro)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/export.h.in ${QUOREL_GENERATED}/${folder}/export.h @ONLY)
  set_target_properties(${target} PROPERTIES DEFINE_SYMBOL ${target}_EXPORTS)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT QUOREL_SANITIZE)
      # What the library of another room does not export is missed here, not when an application starts.
      target_link_options(${target} PRIVATE LINKER:-z,defs LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
      set_target_properties(${target} PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    endif()
  elseif(NOT QUOREL_STATIC_EXPORTS)
    target_compile_definitions(${target} PUBLIC QUOREL_STATIC)
  endif()
endfunction()

# quorel_program(quorel-play [INTERNALS] SOURCES main.cpp USES player [LIBRARIES ...])
# A program with INTERNALS reaches into private headers of an installed room. Shared libraries do not export what those
# declare, so it is built only where the rooms are static.
function(quorel_program name)
  cmake_parse_arguments(P "INTERNALS" "" "SOURCES;USES;LIBRARIES" ${ARGN})
  if(P_INTERNALS AND BUILD_SHARED_LIBS)
    return()
  endif()
  add_executable(${name} ${P_SOURCES})
  target_link_libraries(${name} PRIVATE quorel_options ${P_LIBRARIES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  foreach(used IN LISTS P_USES)
    target_link_libraries(${name} PRIVATE quorel::${used})
  endforeach()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
endfunction()

# quorel_test(foundation [INTERNALS] SOURCES a_test.cpp USES foundation [LIBRARIES ...] [LABELS threaded] [TIMEOUT 60])
# makes quorel_foundation_test and enters every GoogleTest case in ctest as one test program per room.
function(quorel_test name)
  cmake_parse_arguments(T "INTERNALS" "TIMEOUT" "SOURCES;USES;LIBRARIES;LABELS" ${ARGN})
  if(T_INTERNALS AND BUILD_SHARED_LIBS)
    return()
  endif()
  set(target quorel_${name}_test)
  quorel_program(${target} SOURCES ${T_SOURCES} USES ${T_USES} LIBRARIES ${T_LIBRARIES} GTest::gtest GTest::gmock GTest::gtest_main)
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  # One label, as in "foundation.threaded": a list would not survive the way into the discovered tests' properties.
  string(JOIN "." labels ${name} ${T_LABELS})
  include(GoogleTest)
  gtest_discover_tests(${target} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${labels}"
                                  ENVIRONMENT "${QUOREL_TEST_ENVIRONMENT}")
endfunction()
