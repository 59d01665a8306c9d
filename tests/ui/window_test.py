#!/usr/bin/python3
"""window_test.py KESTREL: works the real window on a screen of its own, with the keyboard, real films and the real
ffmpeg. Skipped (77) where Xvfb, xdotool or a window manager is missing.
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

KESTREL = ""
PATIENCE = 300  # seconds; ffmpeg gives way to whatever else the machine does
MAIN = "Videos verkleinern"  # of the title; what xdotool compares need not be UTF-8


class Screen:
    """An X server of its own with a window manager."""

    def __init__(self):
        reader, writer = os.pipe()
        self.server = subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-screen", "0", "1400x900x24"],
                                       pass_fds=[writer], stderr=subprocess.DEVNULL)
        os.close(writer)
        with os.fdopen(reader) as number:
            self.display = ":" + number.readline().strip()
        self.environment = {**os.environ, "DISPLAY": self.display, "QT_QPA_PLATFORM": "xcb"}
        self.environment.pop("WAYLAND_DISPLAY", None)
        self.manager = subprocess.Popen(["openbox"], env=self.environment, stderr=subprocess.DEVNULL)

    def close(self):
        for process in (self.manager, self.server):
            process.terminate()
            process.wait()

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *words], env=self.environment, capture_output=True, text=True).stdout.split()

    def windows(self, name):
        return self.xdotool("search", "--onlyvisible", "--name", name)

    def key(self, *keys):
        self.xdotool("key", "--clearmodifiers", *keys)


def size(path):
    try:
        return path.stat().st_size
    except FileNotFoundError:  # between the original's way out and the result's way in
        return float("inf")


def eventually(condition, patience=PATIENCE):
    end = time.monotonic() + patience
    while time.monotonic() < end:
        if value := condition():
            return value
        time.sleep(0.1)
    return condition()


class Window(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.screen = Screen()
        cls.addClassCleanup(cls.screen.close)

    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.home, ignore_errors=True)
        self.films = self.home / "Filme"
        self.films.mkdir()
        folder = self.home / ".config" / "Kestrel"
        folder.mkdir(parents=True)
        for name in ("app.kestrel.Kestrel", "app.kestrel.Kestrel.test"):
            (folder / f"{name}.conf").write_text(
                # Nothing is measured: these films are about the window.
                '[General]\nmeasuresQuality=false\nsettings="{\\"statusPage\\":false,\\"quality\\":4,\\"parallelJobs\\":1}"\n')

    def film(self, seconds):
        path = self.films / "a.mkv"
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"testsrc2=s=320x240:r=5:d={seconds}", "-c:v",
                        "libx264", "-preset", "ultrafast", "-crf", "1", path], check=True)
        os.utime(path, (1e9, 1e9))
        return path

    def start(self, *words):
        environment = {**self.screen.environment, "HOME": str(self.home), "XDG_CACHE_HOME": str(self.home / "cache"),
                       "XDG_DATA_HOME": str(self.home / "data")}
        environment.pop("XDG_CONFIG_HOME", None)
        self.program = subprocess.Popen([KESTREL, *words], env=environment)
        self.addCleanup(lambda: (self.program.poll() is None and self.program.kill(), self.program.wait()))
        self.assertTrue(eventually(lambda: self.screen.windows(MAIN), 20), "no window")
        self.focus(MAIN)

    def focus(self, name):
        found = eventually(lambda: self.screen.windows(name), 20)
        self.assertTrue(found, f"no window {name}")
        self.screen.xdotool("windowactivate", "--sync", found[-1])

    def press(self, keys, condition):
        """Presses until it has an effect: what the window is still busy with cannot be seen from here."""
        self.assertTrue(eventually(lambda: self.screen.key(keys) or eventually(condition, 2)), f"{keys} does nothing")

    def quit_after_the_run(self):
        """A run ends a moment after its last film is in place; until then the window asks."""
        while self.program.poll() is None:
            self.press("ctrl+q", lambda: self.program.poll() is not None or self.screen.windows("^Kestrel$"))
            self.screen.key("Escape")

    def encodes(self):
        """A ffmpeg of this test writes a film, in its place."""
        return any(self.films.glob(".*kestrel-tmp*"))

    def names(self):
        return sorted(path.name for path in self.films.rglob("*"))

    def test_from_the_empty_window_to_a_converted_film(self):
        film = self.film(20)
        before = film.stat().st_size
        self.start()
        self.press("ctrl+o", lambda: self.screen.windows("Ordner mit Videos"))
        self.focus("Ordner mit Videos")
        self.screen.xdotool("type", "--delay", "5", "$HOME/Filme")
        self.screen.key("Return")
        self.focus(MAIN)
        self.press("ctrl+Return", lambda: self.encodes() or size(film) < before)
        self.assertTrue(eventually(lambda: size(film) < before * 0.95 and self.names() == ["a.mkv"]))
        codec = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "stream=codec_name",
                                "-of", "csv=p=0", film], capture_output=True, text=True).stdout.strip()
        self.assertEqual(codec, "hevc")
        self.quit_after_the_run()
        self.assertEqual(self.program.wait(10), 0)

    def test_a_run_is_kept_on_or_ended_cleanly_as_one_chooses(self):
        film = self.film(59)
        original = film.read_bytes()
        self.start("--openFolder", str(self.films))
        self.press("ctrl+Return", self.encodes)
        self.press("ctrl+q", lambda: self.screen.windows("^Kestrel$"))
        self.focus("^Kestrel$")
        self.screen.key("Escape")
        self.assertTrue(eventually(lambda: not self.screen.windows("^Kestrel$")))
        time.sleep(2)
        self.assertIsNone(self.program.poll())
        self.assertTrue(self.encodes())
        self.program.send_signal(signal.SIGTERM)
        self.assertEqual(self.program.wait(20), 0)
        self.assertEqual(film.read_bytes(), original)
        self.assertEqual(self.names(), ["a.mkv"])


if __name__ == "__main__":
    KESTREL = sys.argv.pop(1)
    if missing := [program for program in ("Xvfb", "xdotool", "openbox") if shutil.which(program) is None]:
        print("missing:", ", ".join(missing))
        sys.exit(77)
    unittest.main()
