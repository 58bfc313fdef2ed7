# How rooms are installed: each is a component of its own, with all that it stands on.
#
#   cmake --install build --component subtitles --prefix /opt/quorel
#
#   find_package(Quorel REQUIRED COMPONENTS subtitles)         or: pkg-config --cflags --libs quorel-subtitles
#   target_link_libraries(app PRIVATE quorel::subtitles)
#
# The files of a room lie in two components that packages are made of, quorel-subtitles-runtime (a shared library) and
# quorel-subtitles-dev (all that compiling and linking need). The component "subtitles" installs both, and those of the
# rooms below. A whole installation has all rooms and the programs.

include_guard()
include(CMakePackageConfigHelpers)

set(QUOREL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Quorel)
set(QUOREL_PKG_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QuorelConfig.cmake.in ${PROJECT_BINARY_DIR}/QuorelConfig.cmake
                              INSTALL_DESTINATION ${QUOREL_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuorelConfigVersion.cmake COMPATIBILITY SameMinorVersion)

# Third-party libraries that are found by a find module or by their own package file, and how pkg-config calls them.
set(QUOREL_MODULES
    CURL::libcurl=libcurl OpenSSL::Crypto=libcrypto simdjson::simdjson=simdjson EXPAT::EXPAT=expat fmt::fmt=fmt
    Qt6::Core=Qt6Core Qt6::Gui=Qt6Gui Qt6::Qml=Qt6Qml Qt6::Quick=Qt6Quick)
# Those that pkg-config does not know.
set(QUOREL_FLAGS Boost::url=-lboost_url Threads::Threads=-pthread)

# The lines that find what the libraries come from: a target PACKAGE::NAME from PACKAGE (of Boost and Qt its component
# NAME), PkgConfig::MODULE from pkg-config's MODULE.
function(quorel_finding_lines result libraries)
  set(lines "")
  foreach(library IN LISTS libraries)
    string(REGEX MATCH "^(.+)::(.+)$" _ ${library})
    set(package ${CMAKE_MATCH_1})
    set(name ${CMAKE_MATCH_2})
    if(package STREQUAL "PkgConfig")
      string(APPEND lines "find_dependency(PkgConfig)\nquorel_find_module(${name})\n")
    elseif(package MATCHES "^(Boost|Qt6)$")
      string(APPEND lines "find_dependency(${package} COMPONENTS ${name})\n")
    else()
      string(APPEND lines "find_dependency(${package})\n")
    endif()
  endforeach()
  set(${result} "${lines}" PARENT_SCOPE)
endfunction()

# Modules and flags of pkg-config for the libraries.
function(quorel_pkg_config_names modules flags libraries)
  set(known_modules ${QUOREL_MODULES})
  set(known_flags ${QUOREL_FLAGS})
  set(found_modules "")
  set(found_flags "")
  foreach(library IN LISTS libraries)
    set(module ${known_modules})
    set(flag ${known_flags})
    list(FILTER module INCLUDE REGEX "^${library}=")
    list(FILTER flag INCLUDE REGEX "^${library}=")
    if(library MATCHES "^PkgConfig::(.+)$")
      list(APPEND found_modules ${CMAKE_MATCH_1})
    elseif(module)
      string(REPLACE "${library}=" "" module ${module})
      list(APPEND found_modules ${module})
    elseif(flag)
      string(REPLACE "${library}=" "" flag ${flag})
      list(APPEND found_flags ${flag})
    else()
      message(FATAL_ERROR "QuorelInstall.cmake does not know how pkg-config calls ${library}")
    endif()
  endforeach()
  list(JOIN found_modules ", " found_modules)
  list(JOIN found_flags " " found_flags)
  set(${modules} "${found_modules}" PARENT_SCOPE)
  set(${flags} "${found_flags}" PARENT_SCOPE)
endfunction()

# What every installed component brings along.
set(QUOREL_COMMON_COMPONENTS quorel-config quorel-licence)
install(FILES ${PROJECT_BINARY_DIR}/QuorelConfig.cmake ${PROJECT_BINARY_DIR}/QuorelConfigVersion.cmake
        DESTINATION ${QUOREL_CMAKE_DIR} COMPONENT quorel-config)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/licenses/quorel COMPONENT quorel-licence)

# quorel_install_together(player ...): the component of the first name installs those of the others.
function(quorel_install_together name)
  foreach(component IN LISTS ARGN)
    install(CODE "execute_process(COMMAND \"${CMAKE_COMMAND}\" --install \"${CMAKE_BINARY_DIR}\"
                    --config \"\${CMAKE_INSTALL_CONFIG_NAME}\" --component ${component} --prefix \"\${CMAKE_INSTALL_PREFIX}\"
                    COMMAND_ERROR_IS_FATAL ANY)"
            COMPONENT ${name} EXCLUDE_FROM_ALL)
  endforeach()
endfunction()

# quorel_install_program(quorel-hls COMPONENT tools ROOMS sideload): the component quorel-tools has the program, "tools"
# also the shared libraries that it needs.
function(quorel_install_program name)
  cmake_parse_arguments(P "" "COMPONENT" "ROOMS" ${ARGN})
  if(QUOREL_INSTALL)
    set(components "")
    foreach(room IN LISTS P_ROOMS)
      get_target_property(below quorel::${room} QUOREL_BELOW)
      list(APPEND components ${below} ${room})
    endforeach()
    list(REMOVE_DUPLICATES components)
    list(TRANSFORM components REPLACE "(.+)" "quorel-\\1-runtime")
    quorel_install_together(${P_COMPONENT} quorel-licence quorel-${P_COMPONENT} ${components})
    file(RELATIVE_PATH libraries /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
    install(TARGETS ${name} COMPONENT quorel-${P_COMPONENT})
  endif()
endfunction()

# Called by quorel_room. USES, PUBLIC_LIBRARIES and PRIVATE_LIBRARIES are the room's; HEADERS are public ones that do not
# stand in its folder.
function(quorel_install_room target component)
  cmake_parse_arguments(R "" "" "USES;HEADERS;PUBLIC_LIBRARIES;PRIVATE_LIBRARIES" ${ARGN})
  set(below "")
  set(used_components "")
  foreach(used IN LISTS R_USES)
    get_target_property(used_component quorel_${used} EXPORT_NAME)
    if(NOT used_component)
      message(FATAL_ERROR "The room '${component}' is installed, and uses '${used}', which is not: give it INSTALL, too")
    endif()
    get_target_property(under quorel_${used} QUOREL_BELOW)
    list(APPEND below ${under} ${used_component})
    list(APPEND used_components ${used_component})
  endforeach()
  list(REMOVE_DUPLICATES below)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${component} QUOREL_BELOW "${below}")

  # Private headers stay at home.
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  list(FILTER headers EXCLUDE REGEX "_private\\.h$")
  set(public ${R_HEADERS})
  foreach(header IN LISTS headers)
    file(STRINGS ${header} opening LIMIT_COUNT 3)
    if(NOT opening MATCHES "Private to this room")
      list(APPEND public ${header})
    endif()
  endforeach()
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  target_sources(${target} PUBLIC
    FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${public}
    FILE_SET generated TYPE HEADERS BASE_DIRS ${QUOREL_GENERATED} FILES ${QUOREL_GENERATED}/${folder}/export.h)
  if(NOT QUOREL_INSTALL)
    return()
  endif()

  # An application needs the private libraries only where it links the room's own objects, and there always. So they are
  # not "private" to pkg-config either, which would give them with --static only, and then with all that they stand on.
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    set(R_PRIVATE_LIBRARIES "")
    set(definitions "")
  else()
    set(definitions " -DQUOREL_STATIC")
  endif()
  set(libraries ${R_PUBLIC_LIBRARIES} ${R_PRIVATE_LIBRARIES})
  quorel_finding_lines(finding "${libraries}")
  set(using "")
  foreach(used IN LISTS used_components)
    string(APPEND using "quorel_use(${used})\n")
  endforeach()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/QuorelRoom.cmake.in ${PROJECT_BINARY_DIR}/rooms/QuorelRoom-${component}.cmake @ONLY)

  # Found from where the file lies, so that an installation can be moved.
  if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(prefix ${CMAKE_INSTALL_PREFIX})
  else()
    file(RELATIVE_PATH prefix /prefix/${QUOREL_PKG_CONFIG_DIR} /prefix)
    string(REGEX REPLACE "/$" "" prefix "\${pcfiledir}/${prefix}")
  endif()
  list(TRANSFORM used_components PREPEND quorel- OUTPUT_VARIABLE requires)
  quorel_pkg_config_names(modules flags "${libraries}")
  list(APPEND requires ${modules})
  list(JOIN requires ", " requires)
  cmake_path(APPEND libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
  cmake_path(APPEND includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/quorel.pc.in ${PROJECT_BINARY_DIR}/rooms/quorel-${component}.pc @ONLY)

  set(runtime quorel-${component}-runtime)
  set(dev quorel-${component}-dev)
  install(TARGETS ${target} EXPORT Quorel-${component}
          RUNTIME COMPONENT ${runtime}
          LIBRARY COMPONENT ${runtime} NAMELINK_COMPONENT ${dev}
          ARCHIVE COMPONENT ${dev}
          FILE_SET HEADERS COMPONENT ${dev}
          FILE_SET generated COMPONENT ${dev})
  install(EXPORT Quorel-${component} FILE QuorelTargets-${component}.cmake NAMESPACE quorel::
          DESTINATION ${QUOREL_CMAKE_DIR} COMPONENT ${dev})
  install(FILES ${PROJECT_BINARY_DIR}/rooms/QuorelRoom-${component}.cmake DESTINATION ${QUOREL_CMAKE_DIR} COMPONENT ${dev})
  install(FILES ${PROJECT_BINARY_DIR}/rooms/quorel-${component}.pc DESTINATION ${QUOREL_PKG_CONFIG_DIR} COMPONENT ${dev})
  set(together "")
  foreach(room IN LISTS below ITEMS ${component})
    list(APPEND together quorel-${room}-runtime quorel-${room}-dev)
  endforeach()
  quorel_install_together(${component} ${QUOREL_COMMON_COMPONENTS} ${together})
endfunction()
