"""page_test.py SERVER: tries the status page in a real browser against the real server."""

import json
import os
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "scripts"))
import browser  # noqa: E402

SERVER = sys.argv[1] if len(sys.argv) > 1 else ""

STATES = "converting", "paused", "finished", "stopped", "scanning", "sampling", "probeClip", "idle"
LIVE = {"converting", "scanning", "sampling", "probeClip"}


def rows(names, *values):
    return [dict(zip(names.split(), row)) for row in values]


def folders(count):
    return rows("name processed count progress state", *((f"Ordner {i}", 0, 2, 0, "open") for i in range(count)))


def snapshot(state="converting", **changes):
    full = {
        "computer": "Wohnzimmer-PC", "folder": "Filme", "location": "Netzwerk (SMB)", "state": state,
        "headline": state, "progress": 0.426, "progressText": "5 von 12",
        "note": "Bisher: 18,2 GB → 7,9 GB, 10,3 GB gespart (−56 %)",
        "tiles": rows("icon tone value caption",
                      ("drive", "plain", "48,1 GB", "Vorher"),
                      ("compress", "plain", "21,4 GB", "Nachher (geschätzt)"),
                      ("save", "green", "26,7 GB", "Ersparnis ca. 55 %"),
                      ("clock", "plain", "3 h 12 min", "Restdauer (geschätzt)")),
        "jobs": rows("name folder state text progress",
                     ("S02E03 - Nach Hause", "Stille Wasser › Staffel 2", "running", "kodiert 43 % · 25 fps", 0.43),
                     ("S02E04", "Stille Wasser › Staffel 2", "analyzing", "Qualitätsprüfung", 0.7),
                     ("Alpenglühen 1998", "", "uploading", "wird hochgeladen")),
        "folders": rows("name processed count progress state eta",
                        ("Stille Wasser › Staffel 1", 4, 4, 1, "done"),
                        ("Stille Wasser › Staffel 2", 1, 6, 0.35, "working", "Heute, 18:40"),
                        ("Urlaub", 0, 2, 0, "open", "Heute, 20:15"),
                        ("Kino", 0, 1, 0, "open")),
        "recent": rows("name text tone",
                       ("S02E02", "3,9 GB → 1,6 GB (−58 %)", "green"),
                       ("Hochzeit", "keine Ersparnis", "plain"),
                       ("Altes Band", "Fehler", "red"))}
    full.update(changes)
    return {key: value for key, value in full.items() if value is not None}


def empty(state="idle"):
    return snapshot(state, folder=None, location=None, progress=None, progressText=None, note=None, tiles=[], jobs=[],
                    folders=[], recent=[])


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.file = os.path.join(cls.folder.name, "status.json")
        cls.browser = browser.Browser()
        cls.servers = []

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()
        for server in cls.servers:
            server.kill()
            server.wait()
        cls.folder.cleanup()

    def setUp(self):
        self.browser.screen(390, 844)

    def show(self, content):
        text = content if isinstance(content, str) else json.dumps(content)
        with open(self.file + ".new", "w", encoding="utf-8") as output:
            output.write(text)
        os.replace(self.file + ".new", self.file)

    def load(self, content):
        self.show(content)
        if not self.servers:
            server = subprocess.Popen([SERVER, self.file], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
            type(self).servers.append(server)
            type(self).address = f"http://127.0.0.1:{int(server.stdout.readline())}/"
        self.browser.open(self.address)
        self.browser.wait_for("document.querySelector('footer') !== null")

    def refresh(self, content):
        self.show(content)
        self.browser.run("refresh()")
        wanted = content["headline"]
        self.browser.wait_for(f"document.querySelector('.pill').innerText.includes({json.dumps(wanted)})")

    def text(self, selector):
        return self.browser.run("return [...document.querySelectorAll(arguments[0])].map(e => e.innerText)", selector)

    def style(self, selector, name):
        return self.browser.run("return getComputedStyle(document.querySelector(arguments[0]))[arguments[1]]",
                                selector, name)

    def fits(self):
        return self.browser.run("return document.documentElement.scrollWidth <= innerWidth")

    def test_shows_everything(self):
        self.load(snapshot())
        self.assertEqual(self.text("h1"), ["Filme"])
        self.assertEqual(self.text(".location"), ["Netzwerk (SMB)"])
        self.assertEqual(self.text(".percent"), ["43\u00a0%"])
        self.assertEqual(self.text(".count"), ["5 von 12"])
        self.assertEqual(self.text(".value")[3], "3\u00a0h 12\u00a0min")
        self.assertEqual(self.text("h2"), ["Gerade in Arbeit", "Ordner", "Zuletzt fertig"])
        self.assertEqual(self.text("ul:nth-of-type(2) .row > :last-child"),
                         ["✓ fertig", "1 von 6", "Heute, 20:15", "1 Datei"])
        self.assertEqual(self.text("ul:nth-of-type(2) .sub"), ["Geschätzte Fertigstellung"])
        self.assertEqual(len(self.text(".sweeping")), 1)
        self.assertRegex(self.text("footer")[0], r"^Stand \d\d?:\d\d:\d\d · Wohnzimmer-PC$")
        self.assertEqual(self.browser.run("return document.title"), "43 % · Kestrel")
        self.assertEqual(self.style(".tiles", "gridTemplateColumns").count("px"), 2)
        self.assertEqual([m for m in self.browser.messages() if m["level"] == "SEVERE"], [])
        self.browser.screen(560, 800)
        self.assertEqual(self.style(".tiles", "gridTemplateColumns").count("px"), 4)
        self.browser.screen(1280, 800)
        self.assertEqual(self.style("main", "width"), "640px")

    def test_every_state_has_its_tone(self):
        self.load(snapshot())
        tones = set()
        for state in STATES:
            self.refresh(snapshot(state))
            self.assertEqual(self.style(".dot", "animationName"), "pulse" if state in LIVE else "none", state)
            tones.add(self.style(".pill", "color"))
            title = self.browser.run("return document.title")
            self.assertEqual(title, "43 % · Kestrel" if state == "converting" else "Kestrel")
        self.assertEqual(len(tones), 5)
        idle = self.style(".pill", "color")
        self.refresh(snapshot("dreaming"))
        self.assertEqual(self.style(".pill", "color"), idle)
        self.assertEqual(self.style(".dot", "animationName"), "none")

    def test_no_progress_is_too_much(self):
        self.load(snapshot())
        for progress, text, share in ((1.2, "120\u00a0%", 1), (-0.1, "-10\u00a0%", 0), (0, "0\u00a0%", 0)):
            self.refresh(snapshot(progress=progress, headline=f"Anteil {progress}"))
            self.assertEqual(self.text(".percent"), [text])
            self.browser.wait_for("(() => { const bar = document.querySelector('.bar'); return Math.abs("
                                  f"bar.firstChild.offsetWidth - bar.offsetWidth * {share}) < 1; }})()")

    def test_an_empty_library(self):
        self.load(empty())
        self.assertEqual(self.text("h1"), ["Kein Ordner geöffnet"])
        self.assertEqual(self.text(".empty"),
                         ["Öffne in Kestrel auf dem Computer einen Ordner – dann erscheint hier der Fortschritt."])
        self.assertEqual(self.text("h2"), [])
        self.refresh(snapshot())
        self.refresh(empty())
        self.assertEqual(self.text("h2"), [])

    def test_names_are_only_text(self):
        evil = "<img src=x onerror=\"document.title='hacked'\">"
        long = "Sehr" + "langer" * 40 + "Name"
        self.load(snapshot(
            folder=evil, headline=evil, note=evil,
            jobs=rows("name folder state text", *((name, name, "running", "kodiert 4 %") for name in (evil, long))),
            folders=rows("name processed count state", *((name, 0, 3, "open") for name in (evil, long))),
            recent=rows("name text tone", *((name, "9 s", "<b>") for name in (evil, long)))))
        self.assertEqual(self.text("h1"), [evil])
        self.assertEqual(self.browser.run("return document.images.length"), 0)
        self.assertTrue(self.fits())
        self.assertEqual(self.browser.run("return document.title"), "43 % · Kestrel")

    def test_nothing_jumps_between_two_refreshes(self):
        some = folders(2000)
        self.load(snapshot(folders=some))
        self.browser.run("scrollTo(0, 20000); window.dot = document.querySelector('.dot');"
                         "window.sweep = document.querySelector('.sweeping').getAnimations()[0]")
        before = self.browser.run("return [scrollY, document.querySelectorAll('li').length]")
        some[3] = dict(some[3], state="done", processed=2, progress=1)
        begun = time.monotonic()
        self.refresh(snapshot(folders=some, progress=0.9, headline="Noch da"))
        self.assertLess(time.monotonic() - begun, 5)
        self.assertEqual(self.browser.run("return [scrollY, document.querySelectorAll('li').length]"), before)
        self.assertTrue(self.browser.run("return window.dot === document.querySelector('.dot')"))
        self.assertTrue(self.browser.run(
            "return window.sweep === document.querySelector('.sweeping').getAnimations()[0]"))

    def test_what_one_reads_stays_in_place(self):
        some = folders(60)
        self.load(snapshot(folders=some))
        self.browser.run("scrollTo(0, 1600)")
        top = ("[...document.querySelectorAll('.list li')].find(e => e.innerText.startsWith('Ordner 30'))"
               ".getBoundingClientRect().top")
        self.browser.run("window.sweep = document.querySelector('.sweeping')")
        before = self.browser.run("return " + top)
        jobs = snapshot()["jobs"]
        for changes in ({"jobs": jobs[1:]}, {"tiles": []}, {"progress": None}, {"jobs": []}, {"jobs": jobs},
                        {"folders": [dict(some[0], eta="Heute, 12:00")] + some[1:]}):
            self.refresh(snapshot(**{"folders": some, "headline": str(sorted(changes)) + str(len(str(changes))),
                                     **changes}))
            self.assertAlmostEqual(self.browser.run("return " + top), before, delta=1.5, msg=str(changes)[:60])
            self.assertTrue(changes.get("jobs") != [] or self.browser.run("return !window.sweep.isConnected"))
        self.browser.run("scrollTo(0, 0)")
        self.refresh(snapshot(headline="oben"))
        self.browser.run("window.sweep = document.querySelector('.sweeping')")
        self.refresh(snapshot(headline="weniger", jobs=jobs[1:]))
        self.assertTrue(self.browser.run("return window.sweep === document.querySelector('.sweeping')"))

    def test_offline_and_back(self):
        self.load(snapshot())
        self.assertTrue(self.browser.run("return document.getElementById('offline').offsetHeight === 0"))
        for broken in ("{", "null"):
            before = self.text(".percent")
            self.show(broken)
            self.browser.run("refresh()")
            self.browser.wait_for("document.body.classList.contains('is-offline')")
            self.assertEqual(self.text("#offline"), [
                "Keine Verbindung zum Computer. Läuft Kestrel noch, und ist das Smartphone im selben WLAN?"])
            self.browser.wait_for("getComputedStyle(document.querySelector('main')).opacity === '0.45'")
            self.assertEqual(self.text(".percent"), before)
            self.show(snapshot(progress=0.5))
            self.browser.wait_for("!document.body.classList.contains('is-offline')")  # by itself
        self.show("-")  # asks, and gets no answer
        self.browser.run("refresh()")
        time.sleep(3)
        self.assertFalse(self.browser.run("return document.body.classList.contains('is-offline')"))
        self.browser.wait_for("document.body.classList.contains('is-offline')")

    def test_a_hidden_page_asks_seldom_and_one_that_is_shown_at_once(self):
        self.load(snapshot())
        self.browser.run("window.asked = 0; const real = fetch; window.fetch = (...a) => { ++asked; return real(...a); }")
        self.browser.run("Object.defineProperty(document, 'hidden', {get: () => window.isAway, configurable: true});"
                         "window.isAway = true; refresh(); window.asked = 0")
        time.sleep(5)
        self.assertEqual(self.browser.run("return asked"), 0)
        self.browser.run("window.isAway = false; document.dispatchEvent(new Event('visibilitychange'))")
        self.browser.wait_for("asked === 1", 1)
        self.browser.wait_for("asked >= 3", 6)


if __name__ == "__main__":
    if not browser.is_there():
        print("skipped: needs chromium and chromedriver")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
