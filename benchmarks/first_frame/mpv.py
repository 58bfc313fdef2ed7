"""mpv as a player to compare with: pictures are decoded and converted as the SDK's are, and go nowhere, as the sound
does. It is told what to do through its socket, and its log says when the first picture is shown."""
import json
import os
import socket
import subprocess

OPTIONS = ["--no-config", "--no-terminal", "--idle=yes", "--load-scripts=no", "--osc=no", "--ytdl=no", "--vo=null", "--ao=null",
           "--sid=no", "--force-window=no", "--vf=format=fmt=bgr0:convert=yes"]


class Mpv:
    def __init__(self, commands=()):
        own, its = socket.socketpair()
        self.socket, self.lines = own, own.makefile()
        # What stands in the socket at its start is done first, so that nothing waits for this program.
        for command in [["request_log_messages", "v"], *commands]:
            self.send(command)
        self.process = subprocess.Popen(["mpv", *OPTIONS, f"--input-ipc-client=fd://{its.fileno()}"], pass_fds=[its.fileno()],
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        its.close()
        self.pid = self.process.pid

    def send(self, command, number=0):
        self.socket.sendall(json.dumps({"command": command, "request_id": number}).encode() + b"\n")

    def wait(self, is_it):
        for line in self.lines:
            message = json.loads(line)
            if is_it(message):
                return message
        raise RuntimeError("mpv has ended")

    def wait_for_picture(self):
        self.wait(lambda m: m.get("event") == "log-message" and m["text"].startswith("first video frame after restart shown"))

    def wait_for_event(self, name):
        self.wait(lambda m: m.get("event") == name)

    def ask(self, name):
        self.send(["get_property", name], 7)
        return self.wait(lambda m: m.get("request_id") == 7 and "event" not in m).get("data")

    def close(self):
        self.process.kill()
        self.process.wait()
        self.lines.close()
        self.socket.close()
