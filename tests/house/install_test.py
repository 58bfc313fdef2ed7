"""Installs components by themselves, and builds and runs an application outside that finds them there.

usage: install_test.py consume BUILD COMPILER find_package|pkg-config COMPONENTS SOURCE [ARGUMENT ...]
       install_test.py embed BUILD COMPILER COMPONENT SOURCE       the SDK is a part of the application's own build
       install_test.py missing BUILD COMPILER                      a component that is not there is named
       install_test.py shared BUILD SHARED_BUILD                   builds the rooms of BUILD as shared libraries
       install_test.py symbols SHARED_BUILD                        which export nothing but the SDK's own
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
SOURCE = HERE.parents[1]


def run(*command, fails=False, **options):
    done = subprocess.run(list(map(str, command)), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    if (done.returncode != 0) != fails:
        sys.exit(f"{' '.join(map(str, command))}\n{done.stdout}")
    return done.stdout


def cached(build, *names):
    """The build's own values, to be handed on to another build."""
    values = dict(re.findall(r"^(\w+):\w+=(.*)$", pathlib.Path(build, "CMakeCache.txt").read_text(), re.M))
    return [f"-D{name}={values[name]}" for name in names if values.get(name)]


COMPILING = ("CMAKE_BUILD_TYPE", "CMAKE_CXX_COMPILER", "CMAKE_CXX_COMPILER_LAUNCHER", "CMAKE_CXX_FLAGS_RELWITHDEBINFO",
             "QUOREL_STATIC_EXPORTS", "QUOREL_WERROR", "QUOREL_BUILD_GSTREAMER", "QUOREL_BUILD_QT")


def install(build, components, prefix):
    for component in components:
        run("cmake", "--install", build, "--component", component, "--prefix", prefix)


def configure(prefix, outside, compiler, components, source, *options, fails=False):
    return run("cmake", "-G", "Ninja", "-S", HERE / "consumer", "-B", outside, f"-DCMAKE_PREFIX_PATH={prefix}",
               f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCOMPONENTS={';'.join(components)}", f"-DSOURCE={source}", *options,
               fails=fails)


def consume(folder, build, compiler, how, components, source, *arguments):
    prefix, outside, components = folder / "prefix", folder / "build", components.split(",")
    install(build, components, prefix)
    private = [path for path in prefix.rglob("*.h") if "Private to this room" in path.read_text()[:400]]
    assert not private, private
    assert (prefix / "share/licenses/quorel/LICENSE").exists()
    if how == "find_package":
        configure(prefix, outside, compiler, components, source)
        run("cmake", "--build", outside)
        print(run(outside / "consumer", *arguments))
    else:
        libraries = [path for path in prefix.rglob("pkgconfig")][0]
        found = {**os.environ, "PKG_CONFIG_PATH": str(libraries)}
        flags = run("pkg-config", "--cflags", "--libs", *[f"quorel-{name}" for name in components], env=found).split()
        outside = folder / "consumer"
        run(compiler, "-std=c++20", "-o", outside, source, *flags, f"-Wl,-rpath,{libraries.parent}")
        print(run(outside, *arguments))


def embed(folder, build, compiler, component, source):
    configure("", folder, compiler, [component], source, f"-DQUOREL_SOURCE={SOURCE}", "-DQUOREL_BUILD_QT=OFF",
              *cached(build, *[name for name in COMPILING if name not in ("CMAKE_CXX_COMPILER", "QUOREL_BUILD_QT")]))
    run("cmake", "--build", folder, "--target", "consumer")
    run(folder / "consumer")


def missing(folder, build, compiler):
    install(build, ["support"], folder / "prefix")
    said = configure(folder / "prefix", folder / "build", compiler, ["support", "subtitles"], "none.cpp", fails=True)
    assert "component 'subtitles' cannot be used" in said and "foundation, support" in said, said


def shared(_, build, shared_build):
    run("cmake", "-G", "Ninja", "-S", SOURCE, "-B", shared_build, "-DBUILD_SHARED_LIBS=ON", "-DQUOREL_BUILD_TESTS=OFF",
        "-DQUOREL_BUILD_PROGRAMS=OFF", *cached(build, *COMPILING))
    print(run("cmake", "--build", shared_build))


def symbols(_, build):
    libraries = [path for path in pathlib.Path(build).rglob("libquorel_*.so")]
    assert len(libraries) > 10, libraries
    problems = []
    for library in libraries:
        said = run("objdump", "-p", library)
        version = re.search(r"SONAME +(\S+)", said).group(1)
        if not re.fullmatch(re.escape(library.name) + r"\.\d+\.\d+", version):
            problems.append(f"{library.name}: the soname is {version}")
        for line in run("nm", "-D", "-C", "--defined-only", library).splitlines():
            symbol = line.split(" ", 1)[1]
            if "quorel::" not in symbol or re.match(r"\w ([\w ]+ for )?(boost|simdjson|fmt)::", symbol):
                problems.append(f"{library.name}: {symbol}")
    sys.exit("\n".join(problems) if problems else 0)


with tempfile.TemporaryDirectory() as scratch:
    globals()[sys.argv[1]](pathlib.Path(scratch), *sys.argv[2:])
