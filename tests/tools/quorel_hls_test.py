"""Runs quorel-hls as a user does.

usage: quorel_hls_test.py DIRECTORY_OF_THE_PROGRAMS
"""
import functools
import http.server
import pathlib
import subprocess
import sys
import tempfile
import threading
import unittest

PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve() / "quorel-hls"
MASTER = '#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n720/a.m3u8?t=1\n'
MEDIA = '#EXTM3U\n#EXTINF:1.5,\na.ts\n#EXTINF:2,\nhttps://other.example/b.ts\n#EXT-X-ENDLIST\n'


def run(*arguments, stdin=""):
    done = subprocess.run([PROGRAM, *map(str, arguments)], input=stdin, capture_output=True, text=True, timeout=60)
    return done.returncode, done.stdout, done.stderr


class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class Playlists(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "film.m3u8").write_text(MASTER)
        (self.folder / "none.m3u8").write_text("<html>")

    def test_master(self):
        code, out, err = run(self.folder / "film.m3u8", "--track", "https://subs.example/a.srt,pt-br,Português",
                             "--track", "https://subs.example/b.vtt,en", "--url", "https://cdn.example/x/film.m3u8")
        self.assertEqual((code, err), (0, ""))
        self.assertIn('NAME="Português",', out)
        self.assertIn('subtitlesm3u8://https://subs.example/b.vtt', out)
        self.assertIn("variantm3u8://https://cdn.example/x/720/a.m3u8?t=1", out)

    def test_media(self):
        code, out, err = run("-", stdin=MEDIA)
        self.assertEqual((code, err), (0, "duration: 3.5 s\n"))
        self.assertIn("\nhttps://cdn.example/a.ts\n", out)
        self.assertIn("\nhttps://other.example/b.ts\n", out)

    def test_over_the_network(self):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0),
                                                 functools.partial(Quiet, directory=str(self.folder)))
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        self.addCleanup(lambda: (server.shutdown(), thread.join(), server.server_close()))
        base = f"http://127.0.0.1:{server.server_port}"
        code, out, _ = run(f"{base}/film.m3u8")
        self.assertEqual(code, 0)
        self.assertIn(f"variantm3u8://{base}/720/a.m3u8?t=1", out)
        code, out, err = run(f"{base}/nothing.m3u8")
        self.assertEqual((code, out), (1, ""))
        self.assertIn("status 404", err)

    def test_refusals(self):
        for arguments, code, words in [((self.folder / "none.m3u8",), 1, "no playlist"),
                                       ((self.folder / "absent.m3u8",), 1, "cannot be read"),
                                       ((), 2, "a playlist is missing"), (("a", "b"), 2, "one playlist at a time"),
                                       (("a", "--track"), 2, "needs a value"), (("a", "--x"), 2, "no option"),
                                       (("a", "--url", "b"), 2, "URL with a host")]:
            with self.subTest(arguments=arguments):
                result, out, err = run(*arguments)
                self.assertEqual((result, out), (code, ""))
                self.assertIn(words, err)

        with open("/dev/full", "wb") as full:
            done = subprocess.run([PROGRAM, self.folder / "film.m3u8"], stdout=full, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"cannot be written", done.stderr)


if __name__ == "__main__":
    unittest.main()
