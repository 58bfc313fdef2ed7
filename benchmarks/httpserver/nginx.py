"""nginx as a process of its own, with its own configuration, on loopback. Its Debian package is unpacked into the build
folder instead of installed, since installing it starts a web server for the whole machine."""
import os
import shutil
import subprocess

from servers import ForeignServer
from table import skipped

CONFIGURATION = """
daemon off;
{user}
worker_processes {processors};
pid {folder}/nginx.pid;
error_log {folder}/error.log warn;
events {{ worker_connections 2048; }}
http {{
    access_log off;
    sendfile on;
    tcp_nopush on;
    tcp_nodelay on;
    keepalive_requests 1000000000;
    open_file_cache max=100;
    default_type application/octet-stream;
    {temporary}
    server {{
        listen 127.0.0.1:{port} backlog=1024;
        location = /small {{ return 200 "Hello, World!"; }}
        location = /large {{ alias {files}/large; }}
        location /files/ {{ alias {files}/; }}
    }}
}}
"""


def find(folder):
    """The program, from the system or from the build folder; None where it cannot be had."""
    program = shutil.which("nginx") or shutil.which("nginx", path="/usr/sbin")
    unpacked = folder / "nginx" / "usr" / "sbin" / "nginx"
    if program or unpacked.exists():
        return program or unpacked
    packages = folder / "nginx-package"
    packages.mkdir(parents=True, exist_ok=True)
    got = subprocess.run(["apt-get", "download", "-qq", "nginx"], cwd=packages, capture_output=True, text=True)
    for package in packages.glob("nginx_*.deb"):
        subprocess.run(["dpkg-deb", "-x", package, folder / "nginx"], check=True)
    if unpacked.exists() and subprocess.run([unpacked, "-v"], capture_output=True).returncode == 0:
        return unpacked
    return skipped("nginx", f"apt-get gave no package that runs: {got.stderr.strip()[:200]}")


def start(program, folder, files):
    temporary = folder / "nginx-run"
    temporary.mkdir(exist_ok=True)

    def command(port):
        text = CONFIGURATION.format(
            user="user root;" if os.geteuid() == 0 else "", processors=os.cpu_count(), folder=temporary, port=port, files=files,
            temporary="\n    ".join(f"{kind}_temp_path {temporary}/{kind};"
                                     for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi")))
        (temporary / "nginx.conf").write_text(text)
        return [program, "-p", temporary, "-e", temporary / "error.log", "-c", temporary / "nginx.conf"]

    return ForeignServer(command)
