"""Server programs that benchmarks start: each prints its port and ends with its standard input."""
import os
import subprocess
from pathlib import Path

TICKS = os.sysconf("SC_CLK_TCK")


class Server:
    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.port = int(self.process.stdout.readline())

    def cpu_seconds(self):
        fields = Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / TICKS

    def close(self):
        self.process.stdin.close()
        try:
            self.process.wait(5)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
