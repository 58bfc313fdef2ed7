"""Installs a room as a component of its own, and builds and runs an application that finds it there.

usage: install_test.py BUILD_DIRECTORY COMPILER ROOM SOURCE [ARGUMENT ...]
"""
import pathlib
import subprocess
import sys
import tempfile

build, compiler, room, source, *arguments = sys.argv[1:]
consumer = pathlib.Path(__file__).resolve().parent / "consumer"


def run(*command):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\n{done.stdout}")
    return done.stdout


with tempfile.TemporaryDirectory() as folder:
    prefix, outside = pathlib.Path(folder, "prefix"), pathlib.Path(folder, "build")
    run("cmake", "--install", build, "--component", room, "--prefix", prefix)
    private = [path for path in prefix.rglob("*.h") if "Private to this room" in path.read_text()[:400]]
    assert not private, private
    run("cmake", "-G", "Ninja", "-S", consumer, "-B", outside, f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DCMAKE_CXX_COMPILER={compiler}", f"-DROOM={room}", f"-DSOURCE={source}")
    run("cmake", "--build", outside)
    print(run(outside / "consumer", *arguments))
