#!/usr/bin/python3
"""demo_test.py KESTREL SCRIPTS: the libraries and pictures that the README shows."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

KESTREL, SCRIPTS = sys.argv[1], pathlib.Path(sys.argv[2])
SIZE = 1180, 760


class Demo(unittest.TestCase):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = pathlib.Path(home.name)
        self.films = self.home / "Filme"
        self.environment = {**os.environ, "HOME": home.name, "QT_QPA_PLATFORM": "offscreen",
                            "KESTREL_DEMO_SIZE": "%dx%d" % SIZE}
        for variable in ("XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "QT_SCALE_FACTOR"):
            self.environment.pop(variable, None)

    def make(self, script):
        subprocess.run([SCRIPTS / script, self.films], check=True)

    def kestrel(self, *words):
        return subprocess.run([KESTREL, *words], env=self.environment, check=True, capture_output=True,
                              text=True).stdout

    def assert_sizes_are_believable(self):
        table = self.kestrel("plan", self.films, "--output", "separateFolder")
        self.assertNotIn(" 0 MB", table)
        self.assertNotIn(" KB", table)
        return json.loads(self.kestrel("plan", self.films, "--json", "--output", "separateFolder"))["files"]

    def test_the_small_library_is_large_enough_to_read(self):
        self.make("make-demo-library")
        files = self.assert_sizes_are_believable()
        self.assertEqual([file["relativePath"] for file in files if file["plan"]["isNoop"]], ["Schon klein.mkv"])

    def test_pictures_show_films_of_believable_size_and_say_that_they_are_simulated(self):
        self.make("make-simulated-library")
        for file in self.assert_sizes_are_believable():
            self.assertGreater(file["info"]["fileSize"], 500e6, file["relativePath"])
            self.assertGreater(file["info"]["duration"], 25 * 60, file["relativePath"])
        on_disk = sum(path.stat().st_blocks * 512 for path in self.films.rglob("*"))
        self.assertLess(on_disk, 300e6)

        pictures = self.home / "pictures"
        self.kestrel("--demo", self.films, "--snapshots", pictures)
        width, height = SIZE
        for name in ("library", "measured", "converting", "finished"):
            caption = subprocess.run(
                ["ffmpeg", "-v", "error", "-i", pictures / f"{name}.png", "-vf",
                 f"crop={width}:in_h-{height + 2}:0:{height + 2}", "-pix_fmt", "gray", "-f", "rawvideo", "-"],
                check=True, capture_output=True).stdout
            self.assertGreater(len(caption), 10 * width, name)
            self.assertGreater(len(set(caption)), 2, f"nothing is written below {name}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
