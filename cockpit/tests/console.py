"""The trial's means to find things in the page and act on them."""
import os
import subprocess
import sys
import time

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.chrome.service import Service

PORT, ORDINARY, HERE = sys.argv[1:]


def ovuser(*arguments):
    return subprocess.run(["ovuser", *arguments], check=True, stdout=subprocess.PIPE, text=True).stdout


def wait(what, condition):
    end = time.monotonic() + 60  # on a busy machine
    while time.monotonic() < end:
        try:
            if seen := condition():
                return seen
        except Exception as error:  # the page is being drawn
            last = error
        time.sleep(0.1)
    raise AssertionError(what + ": " + str(locals().get("last", "")))


def read(name):
    with open(os.path.join(HERE, name), encoding="utf-8") as file:
        return file.read()


class Page:
    def __init__(self, browser):
        self.browser = browser
        self.find = lambda css: browser.find_element(By.CSS_SELECTOR, css)
        self.all = lambda css: browser.find_elements(By.CSS_SELECTOR, css)
        self.run = browser.execute_script

    def open(self, port=PORT):
        self.browser.get("http://127.0.0.1:%s/cockpit/@localhost/orvane/index.html" % port)

    def key(self, name):
        kind, _, text = name.partition(":")
        field = {"u": "passwd", "g": "group"}.get(kind)
        return name if field is None or text.isdigit() else kind + ":" + subprocess.run(
            ["getent", field, text], capture_output=True, text=True, check=True).stdout.split(":")[2]

    def part(self, name, css):
        return self.find("#clocks tbody[data-key='%s'] %s" % (self.key(name), css))

    def cell(self, name, label):
        return self.part(name, "[data-label='%s']" % label).text

    def time(self, name):
        return self.part(name, "time").get_attribute("datetime")

    def names(self):
        return [body.text for body in self.all("tbody:not([hidden]) .who bdi")]

    def text(self, css):
        return self.find(css).text

    def choose(self, name, value):
        self.run("arguments[0].value = arguments[1]; arguments[0].dispatchEvent(new Event('input', {bubbles: true}))",
                 self.find("dialog #" + name), value)

    def press(self, css):
        self.run("arguments[0].click()", self.find(css) if isinstance(css, str) else css)

    def focus(self):
        return self.run("return document.activeElement.getAttribute('aria-label') || document.activeElement.id")

    def style(self, name):
        self.run("localStorage.setItem('shell:style', arguments[0]); dispatchEvent(new Event('cockpit-style'))", name)

    def picture(self, name):
        self.browser.save_screenshot("%s/pictures/page-%s.png" % (HERE, name))

    def size(self, width, height):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     dict(width=width, height=height, deviceScaleFactor=1, mobile=False))
        time.sleep(0.3)

    def no_violations(self, where):
        for style in "light", "dark":
            self.style(style)
            time.sleep(0.4)  # the colours fade
            if not self.run("return typeof axe === 'object'"):
                self.run(read("axe.js"))
            found = self.browser.execute_async_script("axe.run().then(r => arguments[0](r.violations))")
            told = ["%s: %s" % (each["id"], [node["html"][:200] for node in each["nodes"]]) for each in found]
            assert not told, (where, style, told)
        self.style("light")


def start_browser(language="en"):
    options = webdriver.ChromeOptions()
    for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 "--lang=" + language, "--window-size=1250,1180", "--user-data-dir=%s/browser-%s" % (HERE, language)):
        options.add_argument(word)
    options.add_experimental_option("prefs", {"intl.accept_languages": language})
    options.binary_location = "/usr/bin/chromium"
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
