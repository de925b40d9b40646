"""Drives the page in a real browser, as its users do. Runs under zynov-sim, as root: page.py PORT PICTURES"""
import json
import os
import subprocess
import sys
import time

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.chrome.service import Service

PORT, PICTURES = sys.argv[1:]
ADDRESS = "http://127.0.0.1:%s/cockpit/@localhost/orvane/index.html" % PORT
HOSTILE = ["<img src=x onerror=document.title='broken'>", "\u202egnp.exe", "n" * 1000, "caf\udce9"]


def ovuser(*arguments):
    subprocess.run(["ovuser", *arguments], check=True, stdout=subprocess.DEVNULL)


def wait(what, condition, seconds=10):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        try:
            if seen := condition():
                return seen
        except Exception as error:  # the page is being drawn
            last = error
        time.sleep(0.1)
    raise AssertionError(what + ": " + str(locals().get("last", "")))


class Page:
    def __init__(self, browser):
        self.browser = browser
        self.find = lambda css: browser.find_element(By.CSS_SELECTOR, css)
        self.all = lambda css: browser.find_elements(By.CSS_SELECTOR, css)

    def open(self):
        self.browser.get(ADDRESS)

    def row(self, identity):
        return self.find("tr[data-identity='%s']" % identity)

    def cell(self, identity, name):
        return self.row(identity).find_element(By.CSS_SELECTOR, "." + name).text

    def names(self):
        return [row.get_attribute("data-identity") for row in self.all("tbody tr")]

    def text(self, css):
        return self.find(css).text

    def fill(self, **fields):
        for name, text in fields.items():
            field = self.find("[name=%s]" % name)
            field.clear()
            field.send_keys(text)


def start_browser():
    options = webdriver.ChromeOptions()
    for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 "--window-size=1250,1180", "--user-data-dir=" + os.environ["HOME"] + "/browser"):
        options.add_argument(word)
    options.binary_location = "/usr/bin/chromium"
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def no_clock(page):
    page.open()
    wait("nobody has a clock", lambda: "Set the first one below" in page.text("#empty"))


def table(page):
    ovuser("add", "u:nobody", "--at", "2030-12-25 09:00:00", "--speed", "frozen")
    ovuser("add", "g:bin", "--at", "2038-01-19 03:14:00")
    wait("a frozen clock", lambda: page.cell("u:nobody", "time") == "2030-12-25T09:00:00+01:00", 4)
    assert page.cell("u:nobody", "speed") == "Frozen" and page.cell("g:bin", "rewind") == "no"
    first = wait("a clock", lambda: page.cell("g:bin", "time"))
    wait("it ticks", lambda: page.cell("g:bin", "time") > first, 3)
    seen = subprocess.run(["ovuser", "list", "--json", "g:bin"], capture_output=True, text=True, check=True).stdout
    shown = wait("a time", lambda: page.cell("g:bin", "time"))
    assert abs(int(shown[17:19]) + 60 * int(shown[14:16]) - int(json.loads(seen)[0]["epoch"]) % 3600) <= 2, (shown, seen)


def changes_elsewhere(page):
    page.find("#filter").send_keys("zz")
    wait("the filter", lambda: not page.row("g:bin").is_displayed())
    page.find("#filter").send_keys(Keys.BACKSPACE * 2)
    page.row("g:bin").find_element(By.CSS_SELECTOR, "button").send_keys("")  # the focus is on it
    ovuser("add", "u:daemon", "--in", "1d", "--speed", "60")
    wait("another's clock", lambda: page.cell("u:daemon", "speed") == "60 times faster", 4)
    focused = page.browser.execute_script("return document.activeElement.getAttribute('aria-label')")
    assert focused == "Change the clock of g:bin", focused
    ovuser("delete", "u:daemon")
    wait("it is gone", lambda: not page.all("tr[data-identity='u:daemon']"), 4)
    assert page.names() == ["g:bin", "u:nobody"]
    page.find("[data-sort=identity]").click()
    assert page.names() == ["u:nobody", "g:bin"]


def form(page):
    page.fill(identity="u:daemon", at="2030-12-25 25:00")
    wait("ovuser's own words", lambda: "invalid hours" in page.text("#preview"))
    page.fill(at="2031-07-01 00:00:00", speed="-4")
    wait("a preview", lambda: "4 times slower virtual clock: Tue Jul  1 00:00:00 2031" in
         page.find("#preview").get_attribute("textContent"))
    calls = os.environ["HOME"] + "/calls"
    before = open(calls).read().count("set --at")
    page.browser.execute_script("const b = document.querySelector('#set .primary'); b.click(); b.click();")
    wait("it is set", lambda: page.cell("u:daemon", "time").startswith("2031-07-01T00:00:0"), 5)
    assert open(calls).read().count("set --at") == before + 1
    assert ": given 2031-07-01T00:00:00" in page.text("#outcome")
    hour = lambda: subprocess.run(["date", "+%H"], capture_output=True, text=True, check=True).stdout.strip()
    wait("real time in its own zone", lambda: page.text("#real").split("T")[1][:2] == hour() and
         page.cell("u:daemon", "seen")[:2] == hour())
    page.find("[data-sort=speed]").click()
    assert page.names() == ["u:nobody", "u:daemon", "g:bin"]


def plot(page):
    ovuser("add", "u:games", "--at", "2030-12-25 23:30", "--rewind")
    wait("curves", lambda: len(page.all("#plot .curve")) == 5, 6)
    page.browser.execute_script("""
        const moment = arguments[0], eight = 8 * 3600 - moment.min % 86400;
        moment.value = Number(moment.min) + eight + (eight < 0 ? 86400 : 0);
        moment.dispatchEvent(new Event('input'));""", page.find("#moment"))
    read = dict(line.rsplit(" ", 1) for line in page.text("#reading").splitlines())
    assert read["real time"][10:] == "T08:00:00" + page.text("#real")[-6:], read
    assert read["u:nobody"] == "2030-12-25T09:00:00+01:00" and read["u:games"].startswith("2030-12-25T"), read
    paths = {curve.get_attribute("data-identity"): curve.get_attribute("d") for curve in page.all("#plot .curve")}
    heights = lambda name: [float(point.split()[1]) for point in paths[name][1:].split("L")]
    assert len(set(heights("u:nobody"))) == 1
    falls = [after - before for before, after in zip(heights("u:games"), heights("u:games")[1:])]
    assert max(falls) > 20 and sum(fall > 1 for fall in falls) == 1  # one midnight


def pictures(page):
    for style in "light", "dark":
        page.browser.execute_script("localStorage.setItem('shell:style', arguments[0]); dispatchEvent("
                                    "new Event('cockpit-style'))", style)
        page.browser.save_screenshot("%s/page-%s.png" % (PICTURES, style))


def take_away(page):
    def ask(button, answer):
        button.click()
        wait("a question", lambda: page.find("#ask").is_displayed())
        page.find("#ask [value=%s]" % answer).click()
    remove = lambda: page.row("u:daemon").find_elements(By.CSS_SELECTOR, ".do button")[1]
    ask(remove(), "no")
    time.sleep(2)
    assert page.row("u:daemon")
    ask(remove(), "yes")
    wait("it is gone", lambda: not page.all("tr[data-identity='u:daemon']"), 5)
    assert page.browser.execute_script("return document.activeElement.className") == "scroll"
    ask(page.find("#reset"), "yes")
    wait("all are gone", lambda: page.find("#empty").is_displayed(), 5)


def make_users(first, names):
    """In the copy of the user database that is mounted over the machine's."""
    with open("/etc/passwd", "a", encoding="utf-8", errors="surrogateescape") as file:
        file.writelines("%s:x:%d:1::/:/bin/sh\n" % (name, first + number) for number, name in enumerate(names))


def hostile(page):
    make_users(54321, HOSTILE)
    uids = ["u:%d" % (54321 + number) for number in range(len(HOSTILE))]
    ovuser("add", *uids, "--at", "now")
    wait("their clocks", lambda: len(page.all("tbody tr")) == len(HOSTILE), 6)
    assert set(page.names()) == {"u:" + name for name in HOSTILE[:-1]} | {uids[-1]}, page.names()
    assert page.browser.title == "Virtual clocks" and not page.all("tbody img")
    page.find("[aria-label^='Take'][aria-label$='gnp.exe']").click()
    assert page.text("#question bdi") == "u:" + HOSTILE[1]
    page.find("#ask [value=no]").click()
    ovuser("reset")


def thousand(page):
    make_users(70000, ["many%d" % number for number in range(1000)])
    ovuser("add", *("u:%d" % uid for uid in range(70000, 71000)), "--at", "now")
    wait("a thousand rows", lambda: len(page.all("tbody tr")) == 1000, 20)
    busy = page.browser.execute_async_script("""
        const done = arguments[0], times = [];
        let last = performance.now();
        function frame(now) {
            times.push(now - last); last = now;
            times.length < 60 ? requestAnimationFrame(frame) : done(times.sort((a, b) => a - b)[30]);
        }
        requestAnimationFrame(frame);""")
    assert busy < 100, busy
    ovuser("reset")
    wait("all are gone", lambda: page.find("#empty").is_displayed(), 10)


def troubles(page):
    mode = os.environ["HOME"] + "/mode"
    for word, expected in (("missing", "ovuser is not installed"), ("module", "Open of /proc/zynov failed; error = 2")):
        with open(mode, "w") as file:
            file.write(word)
        if word == "missing":
            os.rename(os.environ["HOME"] + "/bin/ovuser", os.environ["HOME"] + "/bin/away")
        wait(expected, lambda: expected in page.text("#trouble"), 6)
        if word == "missing":
            os.rename(os.environ["HOME"] + "/bin/away", os.environ["HOME"] + "/bin/ovuser")
    os.remove(mode)
    wait("all is well again", lambda: not page.find("#trouble").is_displayed(), 6)


def hidden(page):
    calls = lambda: open(os.environ["HOME"] + "/calls").read().count("list")
    show = lambda how: page.browser.execute_script(
        "cockpit.hidden = arguments[0]; cockpit.dispatchEvent('visibilitychange')", how)  # as the console's frame does
    show(True)
    time.sleep(1)
    before = calls()
    time.sleep(3)
    assert calls() == before
    show(False)
    wait("it asks again", lambda: calls() > before, 2)


def connection_lost(page):
    subprocess.run(["pkill", "-x", "cockpit-ws"], check=True)
    wait("the connection is lost", lambda: "connection to the host is lost" in page.text("#trouble"), 20)


browser = start_browser()
try:
    the_page = Page(browser)
    for step in (no_clock, table, changes_elsewhere, form, plot, pictures, take_away, hostile, thousand, troubles, hidden):
        step(the_page)
        print(step.__name__, flush=True)
    errors = [entry for entry in browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")]
    assert not errors, errors
    connection_lost(the_page)
    print("connection_lost, and no error on the console before")
finally:
    browser.quit()
