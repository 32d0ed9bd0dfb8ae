#!/usr/bin/env python3
"""The page that `vantor-mkv report` writes, in a browser.

    report_test.py TOOL [SCREENSHOT_FOLDER]

TOOL is the built program. Pages of test media, and of a file whose texts are HTML that would run, are opened in headless
Chromium at 1280 and at 400 pixels, light and dark. With a folder, what is seen goes there as PNG files. Where there is
no Chromium, a line says so, and the exit status is 0.

The browser is driven through its debugging pipe: commands and answers are JSON objects that end in a zero byte. That needs
no driver (chromium-driver) beside it, and no port: colours, requests and messages of the console are this protocol's own.
"""

import base64
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOOL = Path(sys.argv[1]).resolve() if len(sys.argv) > 1 else None
SCREENSHOTS = Path(sys.argv[2]) if len(sys.argv) > 2 else None
MEDIA = Path(__file__).resolve().parents[1] / "media"
WIDTHS = [1280, 400]
SCHEMES = ["light", "dark"]
EVIL = "</title></style><script>window.ran=1</script><img src=x onerror=\"window.ran=2\"><svg onload='window.ran=3'>"


# ---- A file whose texts are HTML.

def element(identifier, *payload):
    data = b"".join(payload)
    id_bytes = identifier.to_bytes((identifier.bit_length() + 7) // 8, "big")
    return id_bytes + (len(data) | 1 << 56).to_bytes(8, "big") + data


def number(identifier, value):
    return element(identifier, value.to_bytes(max(1, (value.bit_length() + 7) // 8), "big"))


def text(identifier, value):
    return element(identifier, value.encode())


def block(track, time, key=True):
    return element(0xA3, bytes([0x80 | track]) + time.to_bytes(2, "big", signed=True) + bytes([0x80 if key else 0]) +
                   bytes(200 + 37 * time % 900))


def evil_file():
    """Two tracks with a pin and one without, a gap, preroll, chapters, an attachment, an end that comes too early."""
    video = element(0xAE, number(0xD7, 1), number(0x83, 1), text(0x86, "V_VP8"), text(0x536E, EVIL),
                    number(0x23E383, 40000000), element(0xE0, number(0xB0, 320), number(0xBA, 240)))
    audio = element(0xAE, number(0xD7, 2), number(0x83, 2), text(0x86, "A_MPEG/L3"), text(0x536E, EVIL),
                    text(0x22B59C, "<b>"), element(0xE1, number(0x9F, 2)))
    other = element(0xAE, number(0xD7, 3), number(0x83, 2), text(0x86, "A_" + EVIL))
    chapters = element(0x1043A770, element(0x45B9, *(
        element(0xB6, number(0x73C4, i + 1), number(0x91, i * 2500000000),
                element(0x80, text(0x85, f"{i} {EVIL}"))) for i in range(4))))
    attached = element(0x1941A469, element(0x61A7, text(0x466E, EVIL), text(0x4660, EVIL), element(0x465C, bytes(64)),
                                           number(0x46AE, 1)))
    clusters = b""
    for second in [0, 1, 2, 3, 4, 8, 9, 10]:
        blocks = [block(track, time, track != 1 or time == 0) for time in range(0, 1000, 40) for track in (1, 2, 3)]
        if second == 0:
            blocks.insert(0, block(1, -40))
        clusters += element(0x1F43B675, number(0xE7, second * 1000), *blocks)
    info = element(0x1549A966, number(0x2AD7B1, 1000000), text(0x7BA9, EVIL), text(0x5741, EVIL),
                   element(0x4489, bytes.fromhex("40c1940000000000")))  # 9000 ms
    header = element(0x1A45DFA3, text(0x4282, "matroska"), number(0x4287, 2), number(0x4285, 2))
    return header + element(0x18538067, info, element(0x1654AE6B, video, audio, other), chapters, attached, clusters)


# ---- The browser.

class Browser:
    def __init__(self, folder):
        to_browser, self.commands = os.pipe()
        self.answers, from_browser = os.pipe()

        def use_pipes():
            os.dup2(to_browser, 13)
            os.dup2(from_browser, 14)
            os.dup2(13, 3)
            os.dup2(14, 4)
            os.set_inheritable(3, True)
            os.set_inheritable(4, True)

        self.process = subprocess.Popen(
            ["chromium", "--headless", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--no-first-run",
             "--hide-scrollbars", "--disable-background-networking", f"--user-data-dir={folder}",
             "--remote-debugging-pipe", "about:blank"],
            preexec_fn=use_pipes, close_fds=False, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self.buffer = b""
        self.count = 0
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = None
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def read(self):
        while b"\0" not in self.buffer:
            data = os.read(self.answers, 1 << 16)
            if not data:
                raise RuntimeError("the browser is gone")
            self.buffer += data
        message, _, self.buffer = self.buffer.partition(b"\0")
        return json.loads(message)

    def call(self, method, **parameters):
        self.count += 1
        message = {"id": self.count, "method": method, "params": parameters}
        if getattr(self, "session", None):
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.read()
            if answer.get("id") == self.count:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def wait_for(self, method):
        for event in self.events:
            if event.get("method") == method:
                return
        while True:
            event = self.read()
            self.events.append(event)
            if event.get("method") == method:
                return

    def show(self, width, scheme):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1, mobile=False)
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def open(self, page):
        self.events.clear()
        self.call("Page.navigate", url=page.as_uri())
        self.wait_for("Page.loadEventFired")

    def evaluate(self, expression):
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(answer["exceptionDetails"])
        return answer["result"].get("value")

    def screenshot(self, path):
        size = self.call("Page.getLayoutMetrics")["cssContentSize"]
        data = self.call("Page.captureScreenshot", captureBeyondViewport=True,
                         clip={"x": 0, "y": 0, "width": size["width"], "height": size["height"], "scale": 1})["data"]
        path.write_bytes(base64.b64decode(data))

    def close(self):
        try:
            self.session = None
            self.call("Browser.close")
        except (RuntimeError, OSError):
            self.process.kill()
        self.process.wait()
        os.close(self.commands)
        os.close(self.answers)


# Luminance and contrast as the guidelines for accessible pages define them.
LOOK = """(() => {
  const channel = c => (c /= 255) <= .03928 ? c / 12.92 : ((c + .055) / 1.055) ** 2.4;
  const light = text => { const [r, g, b] = text.match(/[\\d.]+/g).map(Number);
                          return .2126 * channel(r) + .7152 * channel(g) + .0722 * channel(b); };
  const back = light(getComputedStyle(document.body).backgroundColor);
  const contrast = e => { const own = light(getComputedStyle(e).color);
                          return (Math.max(own, back) + .05) / (Math.min(own, back) + .05); };
  const texts = [...document.querySelectorAll('h1,h2,p,.label,.label span,li,.axis span,.flag,td,th')]
      .filter(e => e.textContent.trim() && e.checkVisibility());
  const wide = [...document.querySelectorAll('body *')]
      .filter(e => !e.closest('.scroll') && e.getBoundingClientRect().right > innerWidth + .5);
  return {
    ran: window.ran ?? null, scripts: document.scripts.length, images: document.images.length,
    loaded: document.querySelectorAll('iframe,object,embed,link,video,audio').length,
    handlers: [...document.querySelectorAll('*')].filter(e => [...e.attributes].some(a => a.name.startsWith('on'))).length,
    lanes: [...document.querySelectorAll('.row.track svg')].map(e => e.getAttribute('aria-label')),
    widths: [...document.querySelectorAll('.strip svg')].map(e => e.getBoundingClientRect().width),
    behind: [...document.querySelectorAll('.strip .behind')].map(e => e.getBoundingClientRect().width),
    overflow: document.documentElement.scrollWidth - innerWidth, wide: wide.map(e => e.outerHTML.slice(0, 100)),
    back, contrast: Math.min(...texts.map(contrast)),
    letters: Math.min(...texts.map(e => parseFloat(getComputedStyle(e).fontSize))),
    flags: document.querySelectorAll('.flag').length,
    lost: [...document.querySelectorAll('.flag')].filter(e => !document.querySelector(e.getAttribute('href'))).length,
    title: document.title,
  };
})()"""


class ReportPages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="vantor_report_"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.browser = Browser(cls.folder / "profile")
        cls.addClassCleanup(cls.browser.close)

    def report(self, media):
        page = self.folder / (media.name + ".html")
        subprocess.run([TOOL, "report", media, "-o", page], check=True)
        data = json.loads(subprocess.run([TOOL, "report", media, "--json"], check=True, capture_output=True).stdout)
        return page, data

    def look(self, media, schemes):
        """The data, and what is seen at every width in these schemes."""
        page, data = self.report(media)
        for scheme in schemes:
            for width in WIDTHS:
                with self.subTest(media=media.name, width=width, scheme=scheme):
                    self.browser.show(width, scheme)
                    self.browser.open(page)
                    seen = self.browser.evaluate(LOOK)
                    self.check_page(page, data, seen, width)
                    self.assertEqual(seen["back"] < 0.2, scheme == "dark")
                    if SCREENSHOTS:
                        self.browser.screenshot(SCREENSHOTS / f"{media.stem}-{width}-{scheme}.png")
        return data, page.read_text(), seen

    def check_page(self, page, data, seen, width):
        # Messages, errors and what the page's policy had to stop come as such events; so do requests.
        told = [event for event in self.browser.events
                if event["method"] in ("Log.entryAdded", "Runtime.consoleAPICalled", "Runtime.exceptionThrown",
                                       "Page.javascriptDialogOpening")]
        self.assertEqual(told, [])
        asked = [event["params"]["request"]["url"] for event in self.browser.events
                 if event["method"] == "Network.requestWillBeSent"]
        self.assertEqual(asked, [page.as_uri()])
        self.assertIsNone(seen["ran"])
        self.assertEqual([seen[what] for what in ("scripts", "images", "loaded", "handlers")], [0, 0, 0, 0])

        lanes = [f"Track {track['number']} over time" for track in data["tracks"] if track["number"] is not None]
        self.assertEqual([lane for lane in seen["lanes"] if lane.startswith("Track")], lanes)
        self.assertLessEqual(seen["overflow"], 0)
        self.assertEqual(seen["wide"], [])
        self.assertGreater(min(seen["widths"]), 0.6 * width)
        self.assertGreaterEqual(seen["letters"], 12)
        self.assertGreaterEqual(seen["contrast"], 4.5)
        self.assertEqual(seen["lost"], 0)
        is_hatched = data["announced_end"] < data["last_start"]
        self.assertEqual(bool(seen["behind"]), is_hatched)
        if is_hatched:
            self.assertGreater(min(seen["behind"]), 1)

    def test_texts_of_the_file_do_not_run(self):
        media = self.folder / "evil.mkv"
        media.write_bytes(evil_file())
        data, page, seen = self.look(media, SCHEMES)
        self.assertEqual(data["tracks"][0]["name"], EVIL)
        self.assertGreaterEqual(page.count("&lt;script&gt;"), 7)
        self.assertEqual(data["tracks"][0]["gap_count"], 1)
        self.assertEqual(data["tracks"][0]["preroll"], 1)
        self.assertEqual(data["chapter_count"], 4)
        self.assertEqual(seen["title"], "evil.mkv")
        self.assertTrue(seen["behind"])

    def test_a_file_without_an_index_shows_where_it_ends_early(self):
        data, _, seen = self.look(MEDIA / "avc_no_cues.mkv", ["light"])
        self.assertIn("end-early", [finding["id"] for finding in data["findings"]])
        self.assertGreater(seen["flags"], 0)

    def test_a_file_of_many_tracks_has_every_lane(self):
        self.look(MEDIA / "languages.mkv", ["dark"])


def main():
    if not shutil.which("chromium"):
        print("Chromium is not to be had here: the report was not looked at in a browser.")
        return 0
    if SCREENSHOTS:
        SCREENSHOTS.mkdir(parents=True, exist_ok=True)
    result = unittest.TextTestRunner(verbosity=1).run(unittest.defaultTestLoader.loadTestsFromTestCase(ReportPages))
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    if TOOL is None:
        sys.exit(__doc__)
    sys.exit(main())
