# An overlay port: the sources are those that it lies in.
#   vcpkg install "quorel[qt]" --overlay-ports=packaging/vcpkg/ports
get_filename_component(SOURCE_PATH "${CURRENT_PORT_DIR}/../../../.." ABSOLUTE)

vcpkg_check_features(OUT_FEATURE_OPTIONS FEATURE_OPTIONS
  FEATURES
    gstreamer QUOREL_BUILD_GSTREAMER
    qt QUOREL_BUILD_QT)
vcpkg_find_acquire_program(PKGCONFIG)
vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS
    ${FEATURE_OPTIONS}
    -DPKG_CONFIG_EXECUTABLE=${PKGCONFIG}
    -DQUOREL_BUILD_TESTS=OFF
    -DQUOREL_BUILD_PROGRAMS=OFF
  MAYBE_UNUSED_VARIABLES PKG_CONFIG_EXECUTABLE)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME Quorel CONFIG_PATH lib/cmake/Quorel)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE" "${SOURCE_PATH}/hosts/qt/fonts/OFL.txt")
