# How rooms are installed: each is a component of its own, with all that it needs of the others.
#
#   cmake --install build --component subtitles --prefix /opt/quorel
#
#   find_package(Quorel REQUIRED COMPONENTS subtitles)
#   target_link_libraries(app PRIVATE quorel::subtitles)

include_guard()
include(CMakePackageConfigHelpers)

set(QUOREL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Quorel)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QuorelConfig.cmake.in ${PROJECT_BINARY_DIR}/QuorelConfig.cmake
                              INSTALL_DESTINATION ${QUOREL_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuorelConfigVersion.cmake COMPATIBILITY SameMinorVersion)

# The lines that find what the libraries come from: a target PACKAGE::NAME from PACKAGE (of Boost, its component NAME),
# PkgConfig::MODULE from pkg-config's MODULE.
function(quorel_finding_lines result libraries)
  set(lines "")
  foreach(library IN LISTS libraries)
    string(REGEX MATCH "^(.+)::(.+)$" _ ${library})
    set(package ${CMAKE_MATCH_1})
    set(name ${CMAKE_MATCH_2})
    if(package STREQUAL "PkgConfig")
      string(APPEND lines "find_dependency(PkgConfig)\npkg_check_modules(${name} REQUIRED IMPORTED_TARGET ${name})\n")
    elseif(package STREQUAL "Boost")
      string(APPEND lines "find_dependency(Boost COMPONENTS ${name})\n")
    else()
      string(APPEND lines "find_dependency(${package})\n")
    endif()
  endforeach()
  set(${result} "${lines}" PARENT_SCOPE)
endfunction()

# Called by quorel_room. USES and PRIVATE_LIBRARIES are the room's.
function(quorel_install_room name)
  cmake_parse_arguments(R "" "" "USES;PRIVATE_LIBRARIES" ${ARGN})
  set(target quorel_${name})
  foreach(used IN LISTS R_USES)
    get_target_property(isInstalled quorel_${used} QUOREL_IS_INSTALLED)
    if(NOT isInstalled)
      message(FATAL_ERROR "The room '${name}' is installed, and uses '${used}', which is not: give it INSTALL, too")
    endif()
    # The component brings along those below, which a full installation has anyhow.
    install(CODE "execute_process(COMMAND \"${CMAKE_COMMAND}\" --install \"${CMAKE_BINARY_DIR}\"
                    --config \"\${CMAKE_INSTALL_CONFIG_NAME}\" --component ${used} --prefix \"\${CMAKE_INSTALL_PREFIX}\"
                    COMMAND_ERROR_IS_FATAL ANY)"
            COMPONENT ${name} EXCLUDE_FROM_ALL)
  endforeach()

  # Private headers stay at home.
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  list(FILTER headers EXCLUDE REGEX "_private\\.h$")
  set(public "")
  foreach(header IN LISTS headers)
    file(STRINGS ${header} opening LIMIT_COUNT 3)
    if(NOT opening MATCHES "Private to this room")
      list(APPEND public ${header})
    endif()
  endforeach()
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name} QUOREL_IS_INSTALLED ON)

  quorel_finding_lines(finding "${R_PRIVATE_LIBRARIES}")
  set(lines "include(CMakeFindDependencyMacro)\n${finding}")
  foreach(used IN LISTS R_USES)
    string(APPEND lines "include(\${CMAKE_CURRENT_LIST_DIR}/QuorelRoom-${used}.cmake)\n")
  endforeach()
  file(WRITE ${PROJECT_BINARY_DIR}/rooms/QuorelRoom-${name}.cmake
       "include_guard()\n${lines}include(\${CMAKE_CURRENT_LIST_DIR}/QuorelTargets-${name}.cmake)\n")

  install(TARGETS ${target} EXPORT Quorel-${name} COMPONENT ${name})
  install(FILES ${public} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quorel/${name} COMPONENT ${name})
  install(EXPORT Quorel-${name} FILE QuorelTargets-${name}.cmake NAMESPACE quorel:: DESTINATION ${QUOREL_CMAKE_DIR}
          COMPONENT ${name})
  install(FILES ${PROJECT_BINARY_DIR}/rooms/QuorelRoom-${name}.cmake ${PROJECT_BINARY_DIR}/QuorelConfig.cmake
                ${PROJECT_BINARY_DIR}/QuorelConfigVersion.cmake
          DESTINATION ${QUOREL_CMAKE_DIR} COMPONENT ${name})
endfunction()
