"""Packages of npm that take part in benchmarks, in the build folder."""
import shutil
import subprocess

from table import skipped


def install(folder, *packages):
    """Gives the folder whose node_modules holds those packages that could be had, or None without node."""
    if not shutil.which("node") or not shutil.which("npm"):
        return skipped(", ".join(packages), "there is no node or no npm")
    folder = folder / "npm"
    folder.mkdir(parents=True, exist_ok=True)
    if not (folder / "package.json").exists():
        (folder / "package.json").write_text('{"private":true}')
    for package in packages:
        if (folder / "node_modules" / package.split("@")[0]).exists():
            continue
        done = subprocess.run(["npm", "install", "--silent", "--no-audit", "--no-fund", package], cwd=folder,
                              capture_output=True, text=True)
        if done.returncode != 0:
            skipped(package, f"npm failed: {done.stderr.strip()[:200]}")
    return folder
