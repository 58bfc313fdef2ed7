"""Runs quorel-play (and quorel-sandbox) as a user does, with the real engine.

usage: quorel_play_test.py DIRECTORY_OF_THE_PROGRAMS [TestCase ...]
"""
import json
import os
import pathlib
import pty
import re
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
import urllib.request

PROGRAMS = pathlib.Path(sys.argv.pop(1))
# A test run must not make noise on the machine that it runs on.
QUIET = ["--mute"]


def run(*arguments):
    return subprocess.run([PROGRAMS / "quorel-play", *arguments], capture_output=True, text=True, timeout=120)


def play(*arguments):
    """Gives the exit code, the events and the summary."""
    done = run(*arguments, *QUIET, "--json")
    lines = [json.loads(line) for line in done.stdout.splitlines()]
    assert lines, done.stderr
    return done.returncode, lines[:-1], lines[-1]


def named(events, name):
    return [event for event in events if event["event"] == name]


def read_png(path):
    """Rows of (red, green, blue)."""
    width, = struct.unpack(">I", pathlib.Path(path).read_bytes()[16:20])
    raw = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-f", "rawvideo", "-pix_fmt", "rgb24", "-"], check=True,
                         capture_output=True, timeout=60).stdout
    pixels = list(zip(*[iter(raw)] * 3))
    return [pixels[i:i + width] for i in range(0, len(pixels), width)]


class Usage(unittest.TestCase):
    def test_what_makes_no_sense_is_said_in_one_line(self):
        for arguments, text in [
            ([], "a content id is missing"),
            (["sample", "--sed"], "there is no option '--sed'"),
            (["sample"], "--token is missing"),
            (["a", "b", "--sandbox"], "not also 'b'"),
            (["a", "--sandbox", "--seconds"], "--seconds needs a value"),
            (["a", "--sandbox=1"], "--sandbox takes no value"),
            (["a", "--sandbox", "--rate=0"], "--rate needs a number from 0.1 to 16, not '0'"),
            (["a", "--sandbox", "--start", "nan"], "--start needs a number"),
            (["a", "--token", "t", "--backend", "ftp://x"], "--backend needs a URL"),
            (["a", "--sandbox", "--backend=http://x"], "exclude each other"),
        ]:
            done = run(*arguments)
            self.assertEqual((done.returncode, done.stdout), (2, ""), arguments)
            self.assertIn(text, done.stderr)
            self.assertRegex(done.stderr, r"\Aquorel-play: .*; see quorel-play --help\n\Z")

    def test_help_and_version(self):
        self.assertIn("exit codes", run("--help").stdout)
        self.assertRegex(run("--version").stdout, r"\Aquorel-play \d+\.\d+\.\d+\n\Z")


class Titles(unittest.TestCase):
    def test_each_plays_to_its_end(self):
        for title in "sample", "sample-aes", "sample-fmp4", "sample-audio":
            with self.subTest(title):
                code, events, summary = play(title, "--sandbox", "--start", "28.5")
                self.assertEqual((code, summary["outcome"], summary["error"]), (0, "ended", None))
                order = [event["event"] for event in events if event["event"] in
                         ("subtitlesAvailable", "metadataLoaded", "play", "playing", "ended")]
                self.assertEqual(order[-1], "ended")
                self.assertLess(order.index("metadataLoaded"), order.index("playing"))
                self.assertEqual(named(events, "subtitlesAvailable")[0]["subtitles"], ["en", "es", "pt-br"])
                self.assertAlmostEqual(summary["position"], 30, delta=0.2)
                self.assertAlmostEqual(summary["duration"], 30, delta=0.2)
                self.assertIn((summary["width"], summary["height"]), [(426, 240), (640, 360), (1280, 720)])

    def test_live_starts_by_itself(self):
        code, events, summary = play("live", "--sandbox", "--on-air-after", "1.5", "--seconds", "1")
        self.assertEqual((code, summary["outcome"]), (0, "stopped"))
        self.assertEqual(named(events, "screen")[0]["state"], "startSoon")
        self.assertTrue(named(events, "metadataLoaded")[0]["isLive"])


class Starts(unittest.TestCase):
    def test_where_it_is_told_to(self):
        code, events, summary = play("sample", "--sandbox", "--start", "7.5", "--seconds", "1", "--rate", "2")
        self.assertEqual((code, summary["outcome"]), (0, "stopped"))
        self.assertAlmostEqual(named(events, "timeUpdate")[0]["time"], 7.5, delta=0.1)
        self.assertGreaterEqual(summary["position"], summary["firstPosition"] + 1)
        self.assertEqual(named(events, "playbackRateChanged")[-1]["rate"], 2)


class Subtitles(unittest.TestCase):
    def test_files_beside_the_stream_are_shown_as_asked(self):
        code, events, _ = play("sample", "--sandbox", "--list-tracks", "--subtitle", "EN")
        self.assertEqual(code, 0)
        self.assertEqual([(track["kind"], track["language"], track["isShown"]) for track in named(events, "track")],
                         [("subtitles", "en", True), ("subtitles", "es", False), ("subtitles", "pt-br", False)])
        _, events, summary = play("sample", "--sandbox", "--start", "14.5", "--seconds", "1.5", "--subtitle", "pt-br")
        self.assertEqual(named(events, "subtitleSelected")[0]["subtitle"], "pt-br")
        self.assertEqual([line["text"] for line in named(events, "subtitle")], ["O ponto âmbar dá uma volta por segundo.",
                                                                            "Metade. Esta linha começa aos 15 s exatos."])


class Snapshot(unittest.TestCase):
    def test_shows_the_picture_in_its_colours(self):
        with tempfile.TemporaryDirectory() as directory:
            file = os.path.join(directory, "frame.png")
            code, _, summary = play("sample", "--sandbox", "--start", "4.2", "--seconds", "0.5", "--snapshot", file)
            self.assertEqual((code, summary["snapshot"]), (0, file))
            rows = read_png(file)
        width, height = len(rows[0]), len(rows)
        self.assertEqual((width, height), (summary["width"], summary["height"]))
        # The seven patches of the test picture, and white digits in the middle.
        patches = [(191, 191, 191), (191, 191, 0), (0, 191, 191), (0, 191, 0), (191, 0, 191), (191, 0, 0), (0, 0, 191)]
        for i, wanted in enumerate(patches):
            seen = rows[608 * height // 720][(74 + 36 * i) * width // 1280]
            self.assertLess(max(abs(a - b) for a, b in zip(seen, wanted)), 30, (i, seen, wanted))
        middle = [pixel for row in rows[height * 2 // 7:height * 3 // 7] for pixel in row]
        white = sum(min(pixel) > 235 for pixel in middle) / len(middle)
        self.assertTrue(0.05 < white < 0.5, white)

    def test_that_cannot_be_written_is_an_error(self):
        code, _, summary = play("sample", "--sandbox", "--seconds", "0.2", "--snapshot", "/no/such/place.png")
        self.assertEqual((code, summary["snapshot"]), (1, None))
        self.assertIn("/no/such/place.png", summary["error"])

    def test_on_a_full_disk_costs_no_older_one(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
            os.environ["GCOV_PREFIX"] = "/dev/null"  # a file of counters that is cut loses those of all runs

        with tempfile.TemporaryDirectory() as directory:
            file = pathlib.Path(directory, "frame.png")
            file.write_text("precious")
            command = [PROGRAMS / "quorel-play", "sample", "--sandbox", "--seconds", "0.2", *QUIET, "--json"]
            done = subprocess.run([*command, "--snapshot", file], capture_output=True, text=True, timeout=120,
                                  preexec_fn=limit)
            self.assertEqual(done.returncode, 1, done.stderr)
            self.assertIn("File too large", json.loads(done.stdout.splitlines()[-1])["error"])
            self.assertEqual([(entry.name, entry.read_text()) for entry in pathlib.Path(directory).iterdir()],
                             [("frame.png", "precious")])
        with open("/dev/full", "w") as full:
            done = subprocess.run(command, stdout=full, stderr=subprocess.PIPE, text=True, timeout=120)
        self.assertEqual((done.returncode, done.stderr),
                         (1, "quorel-play: standard output could not be written whole\n"))


class Ads(unittest.TestCase):
    def test_play_before_the_content_and_in_it(self):
        with tempfile.TemporaryDirectory() as directory:
            file = os.path.join(directory, "frame.png")
            code, events, summary = play("ads", "--sandbox", "--start", "4", "--seconds", "2", "--snapshot", file)
            self.assertEqual((code, summary["outcome"], summary["snapshot"]), (0, "stopped", file))
            course = [event["event"] for event in events if event["event"].startswith(("ad", "play"))]
            ad = ["adBegin", "adEnd"]
            self.assertEqual(course, ["adBreakBegin", *ad, "adBreakEnd", "play", "playing",
                                      "adBreakBegin", *ad, *ad, "adBreakEnd", "playing"])
            # The first ad is red, the second one green.
            for number, colour in enumerate([(168, 50, 31), (168, 50, 31), (31, 122, 61)], 1):
                rows = read_png(os.path.join(directory, f"frame-ad-{number}.png"))
                self.assertLess(max(abs(a - b) for a, b in zip(rows[20][20], colour)), 16, number)


class Failures(unittest.TestCase):
    def test_of_the_load(self):
        for arguments, text in [(["sample", "--token", "wrong"], "Authorization error"),
                                (["no such title"], "Unknown content")]:
            done = run(*arguments, "--sandbox")
            self.assertEqual(done.returncode, 1)
            self.assertIn(f'error(error: "{text}", canRetry: false)', done.stdout)
            self.assertIn(f"{arguments[0]} failed: {text}\n", done.stdout)

    def test_nobody_listens(self):
        code, _, summary = play("sample", "--token", "t", "--backend", "http://127.0.0.1:1")
        self.assertEqual((code, summary["outcome"]), (1, "failed"))


class Backend(unittest.TestCase):
    def test_of_a_sandbox_beside_it(self):
        sandbox = subprocess.Popen([PROGRAMS / "quorel-sandbox", "--port", "0", "--token", "secret"],
                                   stdout=subprocess.PIPE, text=True)
        try:
            base = re.search(r"http://127\.0\.0\.1:\d+", sandbox.stdout.readline()).group()
            arguments = ["sample", "--token", "secret", "--backend", base, "--seconds", "0.2"]
            self.assertEqual(play(*arguments)[0], 0)
            with urllib.request.urlopen(base + "/_control/requests") as reply:
                requests = json.load(reply)
            self.assertEqual([(request["path"], request["authorization"]) for request in requests[:2]],
                             [("/v1/players/configuration/sample", "Bearer secret"),
                              ("/v1/videos/sample", "Bearer secret")])
            self.assertIn("/media/sample/master.m3u8", [request["path"] for request in requests])

            fault = json.dumps({"path": "/media/*", "status": 503}).encode()
            urllib.request.urlopen(base + "/_control/faults", fault).close()
            code, events, _ = play(*arguments)
            self.assertEqual(code, 1)
            self.assertTrue(named(events, "error")[0]["canRetry"])

            fault = json.dumps({"path": "/v1/*", "delay": 600000}).encode()
            urllib.request.urlopen(base + "/_control/faults", fault).close()
            code, _, summary = play(*arguments, "--timeout", "0.5")
            self.assertEqual((code, summary["outcome"], summary["firstFrame"]), (3, "noPicture", None))
        finally:
            sandbox.terminate()
            sandbox.communicate()
        self.assertEqual(sandbox.returncode, 0)


class Stopping(unittest.TestCase):
    def test_by_an_interrupt(self):
        command = [PROGRAMS / "quorel-play", "sample", "--sandbox", "--json", *QUIET]
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as player:
            for line in player.stdout:
                if json.loads(line)["event"] == "timeUpdate":
                    break
            player.send_signal(signal.SIGINT)
            last = json.loads(player.stdout.readlines()[-1])
        self.assertEqual((player.returncode, last["outcome"]), (0, "interrupted"))

    def test_by_a_reader_that_has_seen_enough(self):
        for options in ["--json"], []:
            command = [PROGRAMS / "quorel-play", "sample", "--sandbox", *options, *QUIET]
            with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as player:
                while "playing" not in player.stdout.readline():
                    pass
                player.stdout.close()
                self.assertEqual((player.stderr.read(), player.wait(60)), ("", -signal.SIGPIPE))


class Terminal(unittest.TestCase):
    def test_rewrites_one_line(self):
        master, slave = pty.openpty()
        arguments = ["sample", "--sandbox", "--start", "10", "--seconds", "1", *QUIET]
        with subprocess.Popen([PROGRAMS / "quorel-play", *arguments], stdout=slave, stderr=slave) as player:
            os.close(slave)
            output = b""
            try:
                while piece := os.read(master, 65536):
                    output += piece
            except OSError:  # the other end is closed
                pass
        os.close(master)
        self.assertEqual(player.returncode, 0)
        text = output.decode()
        self.assertGreater(len(re.findall(r"\r\x1b\[2K 0:1\d\.\d / 0:30\.0 .*?3\d %", text)), 1)
        self.assertRegex(text, r"\r\n  first picture +\d+\.\d{3} s after setup, now \d+ x \d+\r\n")


if __name__ == "__main__":
    unittest.main()
