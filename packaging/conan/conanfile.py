"""A recipe for Conan 2.

conan create packaging/conan --build=missing -o "quorel/*:with_gstreamer=False"

GStreamer and Qt are taken from the system: an application must use the ones that its plugins are made for.
"""
import os

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy
from conan.tools.gnu import PkgConfigDeps

# Each component, the rooms that it stands on, and the libraries of other people that it is linked with.
ROOMS = {
    "foundation": ([], ["boost::url", "libcurl::libcurl", "openssl::crypto", "simdjson::simdjson"]),
    "ui": (["foundation"], []),
    "support": (["foundation"], ["pcre2::pcre2-8"]),
    "httpserver": (["foundation"], ["openssl::crypto"]),
    "subtitles": (["foundation", "support"], ["expat::expat", "uchardet::uchardet", "utf8proc::utf8proc"]),
    "engine": (["foundation", "ui"], []),
    "session": (["foundation", "engine"], []),
    "sideload": (["foundation", "engine", "subtitles", "httpserver"], []),
    "telemetry": (["foundation", "engine", "session"], []),
    "presentation": (["foundation", "ui", "engine"], ["fmt::fmt"]),
    "player": (["foundation", "ui", "engine", "session", "sideload", "telemetry", "presentation"], ["fmt::fmt"]),
    "facade": (["foundation", "ui", "engine", "session", "presentation", "player"], []),
    "simulated": (["engine"], []),
    "vast": (["foundation", "ui", "engine"], ["expat::expat", "fmt::fmt"]),
    "gstreamer": (["engine", "httpserver", "ui", "foundation"], ["fmt::fmt"]),
    "qt": (["foundation", "ui", "engine", "session", "presentation", "player", "facade"], []),
}

# Of the system, in the order of static linking.
SYSTEM = {
    "gstreamer": ["gstapp-1.0", "gstpbutils-1.0", "gstvideo-1.0", "gstreamer-1.0", "pangocairo-1.0", "pango-1.0", "cairo",
                  "gio-2.0", "gobject-2.0", "glib-2.0"],
    "qt": ["Qt6Quick", "Qt6Qml", "Qt6Gui", "Qt6Core"],
}


class QuorelConan(ConanFile):
    name = "quorel"
    version = "0.1.0"
    license = "Apache-2.0"
    description = "Embeddable video player SDK, with its subtitle, HTTP server and regular expression libraries"
    topics = ("video", "player", "subtitles", "hls")
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "with_gstreamer": [True, False], "with_qt": [True, False]}
    default_options = {"shared": False, "with_gstreamer": True, "with_qt": False, "boost/*:without_url": False}

    def layout(self):
        cmake_layout(self)

    def export_sources(self):
        root = os.path.join(self.recipe_folder, "..", "..")
        for pattern in ("CMakeLists.txt", "LICENSE", "cmake/*", "quorel/*", "engines/*", "hosts/*"):
            copy(self, pattern, root, self.export_sources_folder)

    def requirements(self):
        for reference in ("boost/1.81.0", "libcurl/8.9.1", "openssl/3.2.2", "simdjson/3.9.5", "pcre2/10.42", "expat/2.6.2",
                          "uchardet/0.0.8", "utf8proc/2.9.0", "fmt/10.2.1"):
            self.requires(reference)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables.update({
            "QUOREL_BUILD_TESTS": False, "QUOREL_BUILD_PROGRAMS": False,
            "QUOREL_BUILD_GSTREAMER": bool(self.options.with_gstreamer), "QUOREL_BUILD_QT": bool(self.options.with_qt)})
        toolchain.generate()
        CMakeDeps(self).generate()
        PkgConfigDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "Quorel")
        for room, (below, libraries) in ROOMS.items():
            if (room == "gstreamer" and not self.options.with_gstreamer) or (room == "qt" and not self.options.with_qt):
                continue
            component = self.cpp_info.components[room]
            component.set_property("cmake_target_name", f"quorel::{room}")
            component.set_property("pkg_config_name", f"quorel-{room}")
            component.libs = [f"quorel_{room}"]
            component.requires = below + libraries
            if not self.options.shared:
                component.defines = ["QUOREL_STATIC"]
                component.system_libs = SYSTEM.get(room, [])
