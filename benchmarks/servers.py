"""Servers that benchmarks start. Those of our own programs print their port and end with their standard input."""
import os
import socket
import subprocess
import time
from pathlib import Path

TICKS = os.sysconf("SC_CLK_TCK")


class Server:
    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.port = int(self.process.stdout.readline())

    def cpu_seconds(self):
        return cpu_seconds(self.process.pid)

    def close(self):
        self.process.stdin.close()
        try:
            self.process.wait(5)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()


class ForeignServer(Server):
    """One that is told its port, and ended by a signal."""

    def __init__(self, command_for):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        self.process = subprocess.Popen(command_for(self.port), stdin=subprocess.DEVNULL)
        for _ in range(200):
            try:
                socket.create_connection(("127.0.0.1", self.port)).close()
                return
            except ConnectionRefusedError:
                time.sleep(0.01)
        raise RuntimeError(f"{command_for(self.port)[0]} does not listen")

    def close(self):
        self.process.terminate()
        try:
            self.process.wait(5)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


def cpu_seconds(process):
    """Of a process and its children."""
    fields = Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()
    children = Path(f"/proc/{process}/task/{process}/children").read_text().split()
    return (int(fields[11]) + int(fields[12])) / TICKS + sum(cpu_seconds(child) for child in children)
