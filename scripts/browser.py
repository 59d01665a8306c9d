"""Drives a headless Chromium through chromedriver. Needs only Python's own library."""

import base64
import json
import shutil
import subprocess
import time
import urllib.request

PROGRAMS = ("chromium", "chromedriver")


def is_there():
    return all(shutil.which(program) for program in PROGRAMS)


class Browser:
    """One page. Use it in a with statement."""

    def __init__(self):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        self.base = None
        for line in self.driver.stdout:
            if "started successfully on port" in line:
                self.base = "http://127.0.0.1:" + line.rsplit(" ", 1)[1].strip(" .\n")
                break
        options = {"args": ["--headless=new", "--no-sandbox", "--hide-scrollbars", "--disable-gpu",
                            "--disable-dev-shm-usage", "--lang=de-DE"]}
        answer = self._call("POST", "/session", {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}})
        self.base += "/session/" + answer["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self._call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()

    def _call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def command(self, name, **parameters):
        """A command of the DevTools protocol."""
        return self._call("POST", "/goog/cdp/execute", {"cmd": name, "params": parameters})

    def screen(self, width, height, dark=False, scale=1):
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=scale,
                     mobile=width < 600)
        self.command("Emulation.setEmulatedMedia",
                     features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def open(self, url):
        self._call("POST", "/url", {"url": url})

    def run(self, script, *arguments):
        """The script's return value."""
        return self._call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def wait_for(self, script, seconds=20):
        """Until the expression is true; AssertionError otherwise."""
        end = time.monotonic() + seconds
        while not self.run("return " + script):
            assert time.monotonic() < end, script + "\n" + self.run("return document.body.innerText")
            time.sleep(0.05)

    def new_tab(self):
        """Opens another one before this one and returns what close_tab() wants."""
        first = self._call("GET", "/window")
        self._call("POST", "/window", {"handle": self._call("POST", "/window/new", {"type": "tab"})["handle"]})
        return first

    def close_tab(self, first):
        self._call("DELETE", "/window")
        self._call("POST", "/window", {"handle": first})

    def messages(self):
        """What the page has complained about since the last call."""
        return self._call("POST", "/se/log", {"type": "browser"})

    def picture(self, file, whole=False):
        answer = self.command("Page.captureScreenshot", format="png", captureBeyondViewport=whole, **(
            {"clip": {"x": 0, "y": 0, "scale": 1, **self.run(
                "return {width: innerWidth, height: document.documentElement.scrollHeight}")}} if whole else {}))
        with open(file, "wb") as output:
            output.write(base64.b64decode(answer["data"]))
