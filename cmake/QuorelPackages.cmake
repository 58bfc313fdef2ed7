# Debian packages of the installation's components, by CPack: ./dev package. One for each library that is of use by itself,
# and one for all the rooms of the player; shared libraries, what is needed to develop with them, programs.

option(QUOREL_PACKAGES "Be made for packages: shared libraries below /usr, documents as Debian wants them" OFF)
if(NOT QUOREL_PACKAGES)
  return()
endif()
if(NOT BUILD_SHARED_LIBS)
  message(FATAL_ERROR "QUOREL_PACKAGES is for shared libraries: give -DBUILD_SHARED_LIBS=ON")
endif()
set(QUOREL_PACKAGE_CONTACT "QuorelSDK developers <developers@quorel.example>" CACHE STRING "The packages' maintainer")

set(version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quorel)
set(CPACK_PACKAGE_CONTACT "${QUOREL_PACKAGE_CONTACT}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL "")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(exact "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# Debian wants a changelog and a copyright in each package.
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${PROJECT_BINARY_DIR}/debian/changelog.Debian
     "quorel (${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium\n\n"
     "  * Version ${PROJECT_VERSION}.\n\n -- ${QUOREL_PACKAGE_CONTACT}  ${now}\n")
execute_process(COMMAND gzip -9nf changelog.Debian WORKING_DIRECTORY ${PROJECT_BINARY_DIR}/debian COMMAND_ERROR_IS_FATAL ANY)

# quorel_package(quorel-tools SUMMARY "..." SECTION video COMPONENTS quorel-tools [DEPENDS "a (= 1)" ...] [RECOMMENDS b ...])
# Macros: what they set is CPack's.
macro(quorel_package name)
  cmake_parse_arguments(P "" "SUMMARY;SECTION" "COMPONENTS;DEPENDS;RECOMMENDS" ${ARGN})
  string(TOUPPER ${name} upper)
  foreach(component IN LISTS P_COMPONENTS)
    string(TOUPPER ${component} upper_component)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    set(CPACK_COMPONENT_${upper_component}_GROUP ${name})
  endforeach()
  list(GET P_COMPONENTS 0 first)
  install(FILES ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
          DESTINATION share/doc/${name} COMPONENT ${first})
  list(JOIN P_DEPENDS ", " CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS)
  list(JOIN P_RECOMMENDS ", " CPACK_DEBIAN_${upper}_PACKAGE_RECOMMENDS)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${P_SECTION})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION
      "${P_SUMMARY}\nQuorelSDK is a video player that applications embed, and the libraries\nit is built from.")
endmacro()

# quorel_library_package(support SUMMARY "..." ROOMS support BELOW foundation): the libraries of the rooms in one package,
# what is needed to develop with them in another. RUNNING: packages that the library loads from while it runs, which nobody
# sees from its symbols.
macro(quorel_library_package name)
  cmake_parse_arguments(L "" "SUMMARY" "ROOMS;BELOW;DEVELOPING;RUNNING;RECOMMENDS" ${ARGN})
  set(runtime ${L_ROOMS})
  set(dev ${L_ROOMS})
  set(runtime_below ${L_BELOW})
  set(dev_below ${L_BELOW} ${name}${version})
  list(TRANSFORM runtime REPLACE "(.+)" "quorel-\\1-runtime")
  list(TRANSFORM dev REPLACE "(.+)" "quorel-\\1-dev")
  list(TRANSFORM runtime_below REPLACE "(.+)" "libquorel-\\1${version} ${exact}")
  list(TRANSFORM dev_below REPLACE "([a-z]+)$" "\\1-dev")
  list(TRANSFORM dev_below REPLACE "(.+)" "libquorel-\\1 ${exact}")
  if(${name} STREQUAL "foundation")
    list(APPEND dev quorel-config)
  endif()
  quorel_package(libquorel-${name}${version} SUMMARY "${L_SUMMARY}" SECTION libs COMPONENTS ${runtime}
                 DEPENDS ${runtime_below} ${L_RUNNING} RECOMMENDS ${L_RECOMMENDS})
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
  quorel_package(libquorel-${name}-dev SUMMARY "${L_SUMMARY}: development files" SECTION libdevel COMPONENTS ${dev}
                 DEPENDS ${dev_below} ${L_DEVELOPING})
endmacro()

quorel_library_package(foundation SUMMARY "URLs, loading, run loops and JSON" ROOMS foundation)
quorel_library_package(support SUMMARY "regular expressions and typed bytes" ROOMS support BELOW foundation)
quorel_library_package(subtitles SUMMARY "subtitle documents in eleven formats" ROOMS subtitles BELOW foundation support)
quorel_library_package(httpserver SUMMARY "embedded HTTP and WebSocket server" ROOMS httpserver BELOW foundation)
quorel_library_package(player SUMMARY "video player to be embedded"
  ROOMS player ui engine session sideload telemetry presentation facade vast simulated
  BELOW foundation support subtitles httpserver RECOMMENDS "libquorel-gstreamer${version} ${exact}")
if(TARGET quorel::gstreamer)
  quorel_library_package(gstreamer SUMMARY "playback engine of a video player, on GStreamer" ROOMS gstreamer
    BELOW foundation httpserver player
    RUNNING gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
    RECOMMENDS gstreamer1.0-libav fonts-dejavu-core)
endif()
if(TARGET quorel::qt)
  quorel_library_package(qt SUMMARY "video player in Qt Quick" ROOMS qt BELOW foundation player
    DEVELOPING qt6-base-dev qt6-declarative-dev
    RUNNING qml6-module-qtquick qml6-module-qtquick-window qml6-module-qtqml-workerscript RECOMMENDS fonts-dejavu-core)
endif()
if(QUOREL_BUILD_PROGRAMS)
  foreach(room IN ITEMS foundation support subtitles httpserver player gstreamer qt)
    set(lib_${room} "libquorel-${room}${version} ${exact}")
  endforeach()
  quorel_package(quorel-tools SUMMARY "convert subtitle files and look at HLS playlists" SECTION video
    COMPONENTS quorel-tools DEPENDS "${lib_foundation}" "${lib_support}" "${lib_subtitles}" "${lib_httpserver}" "${lib_player}")
  if(TARGET quorel::gstreamer)
    quorel_package(quorel-sandbox SUMMARY "local video service with titles of its own, to try a player with" SECTION video
      COMPONENTS quorel-sandbox DEPENDS "${lib_foundation}" "${lib_httpserver}" "${lib_player}" "${lib_gstreamer}")
  endif()
  if(TARGET quorel-player)
    quorel_package(quorel-player SUMMARY "window for the sandbox's titles" SECTION video COMPONENTS quorel-window
      DEPENDS "${lib_foundation}" "${lib_httpserver}" "${lib_player}" "${lib_gstreamer}" "${lib_qt}" "quorel-sandbox ${exact}")
  endif()
endif()

# Where dpkg-shlibdeps finds the libraries that are in other packages of this build.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "")
foreach(room IN ITEMS foundation ui support subtitles httpserver engine session sideload telemetry presentation player facade
                      vast simulated gstreamer qt)
  if(TARGET quorel::${room})
    get_target_property(folder quorel::${room} BINARY_DIR)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${folder})
  endif()
endforeach()
include(CPack)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  cpack_add_component(${component} GROUP ${CPACK_COMPONENT_${upper}_GROUP})
endforeach()
