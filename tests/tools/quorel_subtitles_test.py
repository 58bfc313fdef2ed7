"""Runs quorel-subtitles as a user does.

usage: quorel_subtitles_test.py DIRECTORY_OF_THE_PROGRAMS [TestCase ...]
"""
import json
import os
import pathlib
import pty
import re
import resource
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import unittest

PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve() / "quorel-subtitles"
READABLE = ["srt", "vtt", "sbv", "json-subtitles", "sub", "csv", "json", "lrc", "ttml", "ass", "ssa"]
WRITABLE = [name for name in READABLE if name not in ("sub", "ass", "ssa")]
# A film's length, with accents, texts of two lines and a gap.
FILM = "".join(f"{i}\n{i * 4 // 3600:02}:{i * 4 // 60 % 60:02}:{i * 4 % 60:02},250 --> "
               f"{(i * 4 + 2) // 3600:02}:{(i * 4 + 2) // 60 % 60:02}:{(i * 4 + 2) % 60:02},750\n"
               f"Line {i}, não\nand another\n\n" for i in range(1, 1401))


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_tool(self, *arguments, code=0, stdin=b"", program=PROGRAM, **more):
        done = subprocess.run([program, *map(str, arguments)], input=stdin, capture_output=True, cwd=self.folder,
                              timeout=60, **more)
        self.assertEqual(done.returncode, code, done.stderr)
        return done.stdout, done.stderr.decode()

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def cues(self, path, *options):
        """(start, end, text) of each."""
        out, _ = self.run_tool("convert", path, "--to", "json", "-o", "-", *options)
        return [(s["startTime"], s["endTime"], s["body"]) for s in json.loads(out)["segments"]]

    def names(self):
        return sorted(path.relative_to(self.folder).as_posix() for path in self.folder.rglob("*") if path.is_file())


class Formats(Case):
    def test_each_of_a_film_becomes_each(self):
        film = self.write("film.srt", FILM)
        expected = self.cues(film)
        self.assertEqual(len(expected), 1400)
        # Those that are not written are made here.
        frames = "".join(f"{{{round(a * 24)}}}{{{round(b * 24)}}}{t.replace(chr(10), '|')}\n" for a, b, t in expected)
        self.write("film.sub", frames)
        clock = lambda t: f"{int(t) // 3600}:{int(t) // 60 % 60:02}:{int(t) % 60:02}.{int(t * 100) % 100:02}"
        self.write("film.ass", "[Events]\nFormat: Layer, Start, End, Text\n" + "".join(
            f"Dialogue: 0,{clock(a)},{clock(b)},{t.replace(',', '').replace(chr(10), chr(92) + 'N')}\n" for a, b, t in expected))
        shutil.copy(self.folder / "film.ass", self.folder / "film.ssa")
        for to in WRITABLE[1:]:
            self.run_tool("convert", "film.srt", "--to", to)
        for source in READABLE:
            cues = self.cues(f"film.{source}")
            self.assertEqual([round(a, 3) for a, _, _ in cues], [a for a, _, _ in expected], source)
            if source != "lrc":
                self.assertEqual([round(b, 3) for _, b, _ in cues], [b for _, b, _ in expected], source)
            text = {"lrc": "Line 1, não", "ass": "Line 1 não\\Nand another", "ssa": "Line 1 não\\Nand another"}
            self.assertEqual(cues[0][2], text.get(source, "Line 1, não\nand another"), source)
            for to in WRITABLE:
                name = f"{source}-to.{to}"
                self.run_tool("convert", f"film.{source}", "-o", name)
                self.assertEqual([c[0] for c in self.cues(name)], [c[0] for c in cues], name)
        for to in "sub", "ass", "ssa":
            _, err = self.run_tool("convert", "film.srt", "--to", to, "-o", f"x.{to}", code=1)
            self.assertIn(f"film.srt: error: {to} can be read only", err)

    def test_are_listed(self):
        out, _ = self.run_tool("formats", "--json")
        listed = [json.loads(line) for line in out.splitlines()]
        self.assertEqual([f["extension"] for f in listed], READABLE)
        self.assertEqual([f["extension"] for f in listed if f["writes"]], WRITABLE)

    def test_without_a_place_for_something_say_so(self):
        self.write("a.vtt", "WEBVTT\n\nintro\n00:01.000 --> 00:02.000\n<v Ann>Hello\nyou\n")
        _, err = self.run_tool("convert", "a.vtt", "--to", "lrc")
        for text in "1 name of a cue is lost", "1 speaker is lost", "1 end is lost", "1 text beyond its first line is lost":
            self.assertIn(f"a.vtt: warning: {text}: lrc has no place for it\n", err)
        self.write("b.csv", '1,1000,2000,"a\n\n \nb\nc"\n2,3000,4000,""\n3,5000,6000,"d\r\n\r\ne\n"\n')
        for to, lines, texts in ("srt", 3, ["a\nb\nc", "", "d\ne"]), ("vtt", 2, ["a\n \nb\nc", "", "d\ne"]), \
                                ("sbv", 2, ["a\n \nb\nc", "d\ne"]):
            _, err = self.run_tool("convert", "b.csv", "--to", to)
            self.assertIn(f"b.csv: warning: {lines} empty lines in texts are lost: {to} has no place for it\n", err)
            self.assertEqual("1 cue without text is lost" in err, to == "sbv")
            self.assertEqual([text for _, _, text in self.cues(f"b.{to}")], texts)
        self.write("c.vtt", "WEBVTT\n\nQ&A\n00:01.000 --> 00:02.000\nx\vy & z\n\nname\n00:03.000 --> 00:04.000\nz")
        _, err = self.run_tool("convert", "c.vtt", "--to", "ttml")
        for text in "1 name of a cue is lost", "1 control character is lost":
            self.assertIn(f"c.vtt: warning: {text}: ttml has no place for it\n", err)
        self.assertEqual([text for _, _, text in self.cues("c.ttml")], ["xy & z", "z"])
        self.write("b.srt", "1\n01:40:00,000 --> 01:40:02,000\nx\n")
        _, err = self.run_tool("convert", "b.srt", "--to", "lrc", code=1)
        self.assertIn("the format ends before 100 minutes, and there is a cue at 01:40:00.000", err)


class Oracle(Case):
    """ffmpeg, where its rules and ours agree."""

    def ffmpeg(self, *arguments):
        subprocess.run(["ffmpeg", "-v", "error", "-y", *arguments], check=True, cwd=self.folder, timeout=60)

    def test_reads_what_we_write_and_writes_what_we_read(self):
        film = self.write("film.srt", FILM.replace("Line", "Zeile").replace(", não", " não"))
        expected = self.cues(film)
        near = lambda cues, step: [(round(a / step), round(b / step)) for a, b, _ in cues]
        for name, step in ("theirs.vtt", .001), ("theirs.srt", .001), ("theirs.ass", .01):
            self.ffmpeg("-i", "film.srt", name)
            cues = self.cues(name)
            self.assertEqual(near(cues, step), near(expected, step), name)
            self.assertEqual([t.replace("\\N", "\n") for _, _, t in cues], [t for _, _, t in expected], name)
        # It reads frames, and does not write them; it rounds where we cut.
        self.write("film.sub", "".join(f"{{{i * 48}}}{{{i * 48 + 31}}}{t.replace(chr(10), '|')}\n"
                                       for i, (_, _, t) in enumerate(expected)))
        self.ffmpeg("-subfps", "25", "-i", "film.sub", "back.srt")
        for ours, theirs in zip(self.cues("film.sub", "--fps", "25"), self.cues("back.srt"), strict=True):
            self.assertEqual(ours[2], theirs[2])
            self.assertLess(max(abs(ours[0] - theirs[0]), abs(ours[1] - theirs[1])), .0015)
        for name in "ours.vtt", "ours.srt":
            self.run_tool("convert", "film.srt", "-o", name)
            self.ffmpeg("-i", name, "back.srt")
            self.assertEqual(self.cues("back.srt"), expected, name)
        # Their times in TTML are to the millisecond in three digits, where both readings of fractions agree.
        self.ffmpeg("-i", "film.srt", "-c:s", "ttml", "theirs.ttml")
        self.assertEqual(near(self.cues("theirs.ttml"), .001), near(expected, .001))


class Batches(Case):
    def test_of_folders_and_patterns(self):
        for name in "a.srt", "b.srt", "deep/c.srt", ".hidden.srt":
            self.write(name, FILM)
        self.write("notes.txt", "no subtitles")
        out, err = self.run_tool("convert", "*.srt", "--to", "vtt", "-o", "out/")
        self.assertEqual(out.decode(), "a.srt -> out/a.vtt: 1400 cues\nb.srt -> out/b.vtt: 1400 cues\n")
        self.assertEqual(err, "2 files converted\n")
        self.run_tool("convert", ".", "--recursive", "--to", "sbv", "-o", "all/", "--quiet", "--from", "srt")
        self.assertEqual([n for n in self.names() if n.startswith("all/")], ["all/a.sbv", "all/b.sbv", "all/deep/c.sbv"])
        self.run_tool("convert", "*.srt", "--to", "vtt", "-o", "x.vtt", code=2)
        _, err = self.run_tool("check", "*.mp4", "empty", code=1)
        self.assertIn("*.mp4: error: no file matches the pattern\n", err)

    def test_outlive_a_file_that_fails(self):
        self.write("1.srt", FILM)
        self.write("2.srt", FILM.replace("00:00:08,250 -->", "00:00:08.250 -->"))
        self.write("3.srt", FILM)
        # Stops any process that decodes it.
        self.write("4.sub", "{1}{2}fine\n{-5}{9}not\n{10}{11}fine\n")
        out, err = self.run_tool("convert", ".", "--to", "vtt", code=1)
        self.assertEqual([n for n in self.names() if n.endswith(".vtt")], ["1.vtt", "3.vtt"])
        self.assertIn("./2.srt:7: error: expected one timing line behind the number of a cue, as 00:01:02,500 --> "
                      "00:01:04,000\n    7 | 00:00:08.250 --> 00:00:10,750\n", err)
        self.assertRegex(err, r"\./4\.sub:2: error: .*not negative.*\n    2 \| \{-5\}\{9\}not\n")
        self.assertTrue(err.endswith("2 files converted, 2 failed\n"), err)

    def test_write_no_file_twice(self):
        self.write("a.srt", FILM)
        self.write("a.sbv", "0:00:01.000,0:00:02.000\nx\n")
        _, err = self.run_tool("convert", ".", "--to", "vtt", "--force", code=1)
        self.assertIn("another file of this command goes there, too", err)
        self.assertEqual(len(self.cues("a.vtt")), 1)

    def test_are_told_in_json(self):
        self.write("a.srt", FILM)
        self.write("b.json", '{"version":"1.0.0",\n"segments":[{"startTime":"x"}]}')
        out, err = self.run_tool("convert", ".", "--to", "vtt", "--json", code=1)
        first, second = map(json.loads, out.splitlines())
        self.assertEqual(first, {"file": "./a.srt", "ok": True, "output": "./a.vtt", "from": "srt", "to": "vtt",
                                 "encoding": "UTF-8", "cues": 1400, "warnings": []})
        self.assertEqual((second["ok"], second["error"]["line"]), (False, 2))
        self.assertEqual(err, "")

    def test_show_how_far_they_are_on_a_terminal_only(self):
        for i in range(3):
            self.write(f"{i}.srt", FILM)
        master, slave = pty.openpty()
        with subprocess.Popen([PROGRAM, "check", ".", "--recursive"], cwd=self.folder, stdout=subprocess.DEVNULL,
                              stderr=slave) as tool:
            os.close(slave)
            seen = b""
            try:
                while piece := os.read(master, 65536):
                    seen += piece
            except OSError:  # the other end is closed
                pass
        os.close(master)
        self.assertIn(b"\r\x1b[2K[3/3] ./2.srt", seen)
        self.assertTrue(seen.endswith(b"\r\x1b[2K3 files can be read\r\n"), seen)


class Streams(Case):
    def test_go_through(self):
        out, err = self.run_tool("convert", "-", "--from", "srt", "--to", "vtt", stdin=FILM.encode("utf-16"))
        self.assertTrue(out.startswith("WEBVTT\n\n\n00:00:04.250 --> 00:00:06.750\nLine 1, não\n".encode()))
        self.assertEqual(err, "")
        _, err = self.run_tool("convert", "-", "--from", "srt", "--to", "vtt", stdin=b"x\n", code=1)
        self.assertEqual(err, "standard input:1: error: expected the number of a cue, behind the blank line that ends "
                              "the one before\n    1 | x\n")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([PROGRAM, "convert", "-", "--from", "srt", "--to", "vtt"], input=FILM.encode(),
                                  stdout=full, stderr=subprocess.PIPE, timeout=60)
            listed = subprocess.run([PROGRAM, "formats"], stdout=full, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (1, b"standard input: error: cannot be written: No space left on device\n"))
        self.assertEqual((listed.returncode, listed.stderr), (1, b"quorel-subtitles: standard output cannot be written\n"))


class Encodings(Case):
    def test_are_detected_named_and_refused(self):
        text = "1\n00:00:01,000 --> 00:00:02,000\nNão é possível, a situação está péssima.\n"
        for encoding in "utf-8-sig", "utf-16", "cp1252":
            self.write("a.srt", text.encode(encoding))
            self.assertEqual(self.cues("a.srt")[0][2], "Não é possível, a situação está péssima.", encoding)
        self.write("a.srt", "1\n00:00:01,000 --> 00:00:02,000\nПривет\n".encode("koi8-r"))
        self.assertEqual(self.cues("a.srt", "--encoding", "koi8-r")[0][2], "Привет")
        _, err = self.run_tool("check", "a.srt", "--encoding", "utf-8", code=1)
        self.assertEqual(err, "a.srt:3: error: the bytes are no text in UTF-8\n")
        _, err = self.run_tool("convert", "a.srt", "--encoding", "koi8-r", "--output-encoding", "iso-8859-1", "-o", "b.srt",
                               code=1)
        self.assertEqual(err, "a.srt: error: the character does not exist in ISO-8859-1, on line 3 of what would be written\n"
                              "      | П\n")
        self.run_tool("convert", "a.srt", "--encoding", "koi8-r", "--output-encoding", "cp1251", "-o", "b.srt")
        self.assertIn("Привет".encode("cp1251"), (self.folder / "b.srt").read_bytes())
        _, err = self.run_tool("check", "a.srt", "--encoding", "klingon", code=2)
        self.assertIn("--encoding needs the name of an encoding", err)
        for to in "ttml", "json":
            self.run_tool("convert", "b.srt", "--output-encoding", "utf-16", "--to", to, code=1)


class Files(Case):
    def test_are_not_overwritten_unasked_and_never_lost(self):
        self.write("a.srt", FILM)
        target = self.write("a.vtt", "precious")
        target.chmod(0o640)
        _, err = self.run_tool("convert", "a.srt", "--to", "vtt", code=1)
        self.assertEqual(err, "a.srt: error: a.vtt: exists already; --force overwrites it\n")
        self.write("bad.srt", "no subtitles")
        self.run_tool("convert", "bad.srt", "-o", "a.vtt", "--force", code=1)
        self.assertEqual(target.read_text(), "precious")
        self.run_tool("convert", "a.srt", "--to", "vtt", "--force")
        self.assertEqual((len(self.cues("a.vtt")), stat.S_IMODE(target.stat().st_mode)), (1400, 0o640))
        self.assertEqual(self.names(), ["a.srt", "a.vtt", "bad.srt"])

    def test_behind_links_are_replaced_and_the_links_stay(self):
        self.write("a.srt", FILM)
        self.write("real/b.vtt", "old")
        (self.folder / "b.vtt").symlink_to("real/b.vtt")
        (self.folder / "nowhere.vtt").symlink_to("gone.vtt")
        self.run_tool("convert", "a.srt", "-o", "b.vtt", "--force")
        self.assertTrue((self.folder / "b.vtt").is_symlink())
        self.assertEqual(len(self.cues("real/b.vtt")), 1400)
        _, err = self.run_tool("convert", "a.srt", "-o", "nowhere.vtt", "--force", code=1)
        self.assertIn("a symbolic link that leads nowhere", err)

    def test_in_a_folder_that_cannot_be_written(self):
        self.write("a.srt", FILM)
        (self.folder / "locked").mkdir()
        # Nobody is kept out who is root, so the program runs as somebody else then.
        user = {"user": 65534} if os.geteuid() == 0 else {}
        program = shutil.copy(PROGRAM, self.folder) if user else PROGRAM
        self.folder.chmod(0o755)
        (self.folder / "locked").chmod(0o555)
        _, err = self.run_tool("convert", "a.srt", "-o", "locked/a.vtt", code=1, program=program, **user)
        self.assertTrue(err.startswith("a.srt: error: locked/a.vtt: cannot be written: Permission denied\n"), err)
        (self.folder / "locked").chmod(0o755)
        for target, reason in ("a.srt/x.vtt", "Not a directory"), ("none/x.vtt", "No such file or directory"):
            _, err = self.run_tool("convert", "a.srt", "-o", target, code=1)
            self.assertIn(f"{target}: cannot be written: {reason}\n", err)
        self.run_tool("convert", "a.srt", "--to", "vtt", "-o", "/dev/null")

    def test_leave_nothing_behind_when_interrupted(self):
        # A pipe that nobody fills keeps the second file from being read, once the first is written.
        self.write("a.srt", FILM)
        os.mkfifo(self.folder / "b.srt")
        with subprocess.Popen([PROGRAM, "convert", "a.srt", "b.srt", "--to", "vtt"], cwd=self.folder,
                              stdout=subprocess.PIPE) as tool:
            tool.stdout.readline()
            tool.send_signal(signal.SIGINT)
        self.assertEqual(tool.returncode, -signal.SIGINT)
        self.assertEqual(self.names(), ["a.srt", "a.vtt"])


class Disks(Case):
    """A file is what it was, or what it should be; nothing else is left."""

    def test_that_limit_a_file(self):
        # SIGXFSZ would end the process and leave its temporary file behind.
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
            os.environ["GCOV_PREFIX"] = "/dev/null"  # a file of counters that is cut loses those of all runs
        self.write("a.srt", FILM)
        self.write("old.vtt", "precious")
        for target in "old.vtt", "new.vtt":
            _, err = self.run_tool("convert", "a.srt", "--force", "-o", target, code=1, preexec_fn=limit)
            self.assertTrue(err.startswith(f"a.srt: error: {target}: cannot be written: File too large\n"), err)
        self.assertEqual((self.folder / "old.vtt").read_text(), "precious")
        self.assertEqual(self.names(), ["a.srt", "old.vtt"])

    def test_that_are_full(self):
        self.write("a.srt", FILM)
        # A file system of its own, which ends with the process that has mounted it.
        script = f"""mkdir disk && mount -t tmpfs -o size=64k none disk || exit 77
            cd disk && echo precious > old.vtt && head -c 48k /dev/zero > filler
            for target in old.vtt new.vtt; do {PROGRAM} convert ../a.srt --force -o $target; echo $?; done
            ls -A; cat old.vtt"""
        done = subprocess.run(["unshare", "--mount", "sh", "-c", script], cwd=self.folder, capture_output=True,
                              text=True, timeout=60)
        if done.returncode in (1, 77) and "recious" not in done.stdout:
            self.skipTest(f"no file system can be mounted here: {done.stderr.strip()}")
        self.assertEqual(done.stdout, "1\n1\nfiller\nold.vtt\nprecious\n", done.stderr)
        self.assertEqual(done.stderr.count("cannot be written: No space left on device"), 2, done.stderr)


class Shifts(Case):
    def test_in_place_and_elsewhere(self):
        film = self.write("a.vtt", "WEBVTT\n\n00:01.000 --> 00:02.000\n<v Ann>one\n\n00:05.400 --> 00:06.600\ntwo é\n")
        _, err = self.run_tool("shift", "a.vtt", "--offset", "-1.5", "--in-place")
        self.assertEqual(err, "a.vtt: warning: 1 cue would begin before 0 and begins at 0 now\n")
        self.assertEqual(film.read_text(), "WEBVTT\n\n\n00:00:00.000 --> 00:00:00.500\n<v Ann>one\n\n"
                                           "\n00:00:03.900 --> 00:00:05.100\ntwo é\n\n")
        self.run_tool("shift", "a.vtt", "--offset=+00:01:00", "--at", "2", "-o", "b.vtt")
        self.assertEqual([c[0] for c in self.cues("b.vtt")], [0, 63.9])
        latin = self.write("c.srt", "1\n00:00:01,000 --> 00:00:02,000\nNão é possível, a situação está péssima.\n".encode("cp1252"))
        self.run_tool("shift", "c.srt", "--offset", "1", "--in-place")
        self.assertEqual(latin.read_bytes().split(b"\n")[2].decode("cp1252"), "Não é possível, a situação está péssima.")


class Checks(Case):
    def test_name_the_line_and_the_reason(self):
        for name, content, line, text in [
            ("a.srt", "1\n00:00:01,000 --> 00:00:02,000\na\n\nb\n", 5, "expected the number of a cue"),
            ("a.srt", "1\n\n", 2, "expected one timing line"),
            ("a.srt", "1\n00:00:01,000 --> 00:00:02,000\nx\n\n2\n", 5, "the text ends here"),
            ("a.vtt", "1\n", 1, "expected WEBVTT"),
            ("a.vtt", "WEBVTT\n\nid\nx\n", 4, "expected one timing line"),
            ("a.sbv", "0:00:01.000,0:00:02.000\n", 1, "expected the text"),
            ("a.sub", "\nx\n", 2, "expected two frames and a text"),
            ("a.ass", "ScriptType: v3\n", 1, "expected the script type"),
            ("a.ass", "[Events]\nDialogue: 0,1,2,x\n", 2, "expected a line Format:"),
            ("a.ssa", "[Events]\nFormat: Start, End, Text\nDialogue: 1,x,a\n", 3, "expected a time"),
            ("a.ttml", "<tt xmlns='http://www.w3.org/ns/ttml'>\n<body>\n</tt>", 3, "mismatched tag"),
            ("a.ttml", "<tt\nxmlns='x'/>", 2, "expected xmlns="),
            ("a.json", '{"version":"1",\n"segments":[{"startTime":1}]}', 2, "segments[0].endTime: the key is missing"),
            ("a.json-subtitles", '\n{"cues":[}', 2, "not JSON"),
            ("a.csv", b"1,00:00:01:000,00:00:02:000,\xff\n", 1, "the bytes are no text in UTF-8"),
            ("a.csv", "1,-5,6,x\n", 1, "not negative"),
        ]:
            self.write(name, content)
            encoding = ["--encoding", "utf-8"] if isinstance(content, bytes) else []
            _, err = self.run_tool("check", name, *encoding, code=1)
            self.assertRegex(err, rf"\A{re.escape(name)}:{line}: error: .*{re.escape(text)}")

    def test_warn_of_what_was_hardly_meant(self):
        self.write("a.srt", "1\n00:00:01,000 --> 00:00:01,000\n\n2\n00:00:02,000 --> 00:00:09,000\nx\n\n"
                            "3\n00:00:03,000 --> 00:00:04,000\ny\n")
        out, err = self.run_tool("check", "a.srt")
        self.assertEqual(err, "a.srt: warning: 1 cue has no text: number 1 at 00:00:01.000\n"
                              "a.srt: warning: 1 cue has no duration: number 1 at 00:00:01.000\n"
                              "a.srt: warning: 1 cue begins before the one before it has ended: number 3 at 00:00:03.000\n")
        self.assertEqual(out, b"a.srt: readable: SubRip, US-ASCII, 3 cues\n")
        self.run_tool("check", "a.srt", "--strict", code=1)
        out, _ = self.run_tool("info", "a.srt", "--json")
        self.assertEqual(json.loads(out), {"file": "a.srt", "ok": True, "format": "srt", "encoding": "US-ASCII",
                                           "bytes": 102, "cues": 3, "start": 1, "end": 9, "speakers": []})


class Usage(Case):
    def test_what_makes_no_sense_is_said_in_one_line(self):
        for arguments, text in [
            (["concat"], "there is no command 'concat'"),
            (["convert"], "a file is missing"),
            (["convert", "a.srt"], "the format to write is missing"),
            (["convert", "a.srt", "-o", "b.doc"], "no format has the extension of 'b.doc'"),
            (["convert", "a.srt", "--to", "doc"], "--to needs one of srt, vtt"),
            (["convert", "-", "--to", "vtt"], "the format of standard input is missing"),
            (["convert", "a.srt", "--to", "vtt", "--in-place"], "'convert' has no option '--in-place'"),
            (["convert", "a.srt", "--to", "vtt", "-o", "-", "--json"], "cannot both go to standard output"),
            (["convert", "-", "--from", "srt", "--to", "vtt", "--json"], "cannot both go to standard output"),
            (["convert", "a.sub", "--to", "vtt", "--fps", "0"], "--fps needs a number from 1 to 1000"),
            (["shift", "a.srt", "--offset", "1e3x", "--in-place"], "--offset needs a time"),
            (["shift", "a.srt", "--offset", "1"], "say where to"),
            (["check", "a.srt", "--strict=1"], "--strict takes no value"),
        ]:
            out, err = self.run_tool(*arguments, code=2)
            self.assertEqual(out, b"", arguments)
            self.assertIn(text, err)
            self.assertRegex(err, r"\Aquorel-subtitles: .*; see quorel-subtitles .*--help\n\Z")

    def test_each_command_has_help(self):
        for command in "convert", "shift", "info", "check", "formats":
            out, _ = self.run_tool(command, "--help")
            self.assertIn(b"usage: quorel-subtitles " + command.encode(), out)
            self.assertIn(b"exit codes", out)


if __name__ == "__main__":
    unittest.main()
