"""Drives the page in a real browser as users do. Runs under zynov-sim, as root, with a copy of /etc over the
machine's own: page.py PORT ORDINARY FOLDER, with the ports of root's console and of an ordinary user's."""
import json
import os
import subprocess
import time

from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from console import HERE, ORDINARY, Page, ovuser, read, start_browser, wait

HOSTILE = ["<img src=x onerror=document.title='broken'>", "\u202egnp.exe", "n" * 1000, "caf\udce9"]


def no_clock(page):
    page.open()
    wait("nobody has a clock", lambda: "No virtual clocks" in page.text("#state"))
    hour = lambda: subprocess.run(["date", "+%H"], capture_output=True, text=True, check=True).stdout.strip()
    real = lambda: page.find("#real").get_attribute("datetime")
    wait("real time in the host's zone", lambda: real()[11:13] == hour())
    first = real()
    wait("it ticks", lambda: real() > first)
    page.no_violations("no clock")
    page.press("#state .pf-m-primary")
    wait("a dialog", lambda: page.find("dialog").is_displayed())
    page.find("dialog").send_keys(Keys.ESCAPE)
    wait("it is closed", lambda: not page.all("dialog"))


def table(page):
    ovuser("add", "u:nobody", "--at", "2030-12-25 09:00:00", "--speed", "frozen")
    ovuser("add", "g:bin", "--at", "2038-01-19 03:14:00")
    wait("a frozen clock", lambda: page.time("u:nobody") == "2030-12-25T09:00:00+01:00")
    shown = page.cell("u:nobody", "Shows now").replace("\u202f", " ")
    assert shown == "Wed, Dec 25, 2030, 9:00:00 AM", shown
    first = wait("a clock", lambda: page.time("g:bin"))
    assert page.cell("u:nobody", "Speed") == "Stands still" and page.cell("g:bin", "At midnight") == "goes on"
    wait("it ticks", lambda: page.time("g:bin") > first)
    told = lambda: json.loads(ovuser("list", "--json", "g:bin"))[0]["epoch"] % 3600
    shown = lambda: int(page.time("g:bin")[17:19]) + 60 * int(page.time("g:bin")[14:16])
    wait("the utility's time", lambda: told() - 2 <= shown() <= told() + 2)


def changes_elsewhere(page):
    page.find("#filter").send_keys("zz")
    wait("the filter", lambda: not page.names())
    page.find("#filter").send_keys(Keys.BACKSPACE * 2)
    page.part("g:bin", "button").send_keys("")  # sets the focus
    ovuser("add", "u:daemon", "--in", "1d", "--speed", "60")
    wait("another's clock", lambda: page.cell("u:daemon", "Speed") == "60 times faster")
    assert page.focus() == "Details of the clock of group \u2068bin\u2069", page.focus()
    ovuser("delete", "u:daemon")
    wait("it is gone", lambda: page.names() == ["bin", "nobody"])
    page.press("[data-sort=name] button")
    assert page.names() == ["nobody", "bin"]


def keyboard(page):
    body = "#clocks tbody"
    assert page.run("return [...document.querySelectorAll(arguments[0])].map(body => "
                    "[...body.querySelectorAll('button, input')].filter(one => one.tabIndex === 0).length)", body) == [1, 1]
    page.part("u:nobody", "button").send_keys(Keys.ARROW_RIGHT)
    page.browser.switch_to.active_element.send_keys(Keys.ARROW_DOWN)
    assert page.focus() == "Plot the clock of group \u2068bin\u2069", page.focus()
    page.browser.switch_to.active_element.send_keys(Keys.ARROW_RIGHT * 2)
    assert page.focus() == "Edit the clock of group \u2068bin\u2069", page.focus()


def set_one(page):
    page.press("#new")
    page.choose("name", "nobodyatall")
    wait("plain words", lambda: page.text("#preview").startswith("There is no such user"))
    page.choose("name", "daemon")
    page.choose("from", "in")
    page.choose("in", "3 fortnights")
    wait("a distance", lambda: page.text("#preview").startswith("This is no distance"))
    page.choose("from", "at")
    page.choose("at", "2031-07-01T00:00:00")
    page.choose("speed", "slower")
    page.choose("times", "4")
    wait("a preview", lambda: "Tue, Jul 1, 2031" in page.text("#preview"))
    page.no_violations("the dialog")
    before = read("calls").count("set --at")
    page.run("const b = document.querySelector('dialog [type=submit]'); b.click(); b.click();")
    wait("it is set", lambda: page.time("u:daemon").startswith("2031-07-01T00:0"))
    wait("it is told", lambda: "The clock of user \u2068daemon\u2069 is set." in page.text("#alerts"))
    assert read("calls").count("set --at") == before + 1 and not page.all("dialog")
    wait("its row", lambda: page.focus() == "Details of the clock of user \u2068daemon\u2069")
    page.press("[data-sort=speed] button")
    assert page.names() == ["nobody", "daemon", "bin"], page.names()


def edit(page):
    page.press(page.part("u:daemon", ".pf-m-secondary"))
    page.choose("speed", "0")
    wait("the preview", lambda: "Tue, Jul 1, 2031" in page.text("#preview") and "stand still" in page.text("#preview"))
    page.press("dialog #keep")
    page.press("dialog [type=submit]")
    wait("it is another", lambda: page.cell("u:daemon", "Speed") == "Stands still")
    wait("and kept", lambda: page.part("u:daemon", ".pf-c-switch input").is_selected())
    page.press(page.part("u:daemon", ".pf-m-secondary"))
    page.press("dialog [type=submit]")
    wait("it is set", lambda: not page.all("dialog"))
    assert read("/etc/orvane/clocks").count("u:daemon") == 1


def keep(page):
    clocks = "/etc/orvane/clocks"
    assert read(clocks).startswith("u:daemon --epoch "), read(clocks)
    assert os.stat(clocks).st_mode & 0o133 == 0 and "systemctl enable orvane-clocks" in read("calls")
    with open(clocks, "a", encoding="utf-8") as file:
        file.write("# by hand\ng:sys --at now\n")
    page.press(page.part("u:nobody", ".pf-c-switch input"))
    wait("another line", lambda: "u:nobody" in read(clocks))
    assert [line[:6] for line in read(clocks).splitlines()] == ["u:daem", "# by h", "g:sys ", "u:nobo"], read(clocks)
    plan = json.loads(ovuser("apply", "--dry-run", "--json"))
    assert [each["id"] for each in plan["left"]] == [1, 65534] and not plan["failed"], plan
    page.press(page.part("u:daemon", ".pf-c-switch input"))
    wait("no line", lambda: "u:daemon" not in read(clocks))
    assert "# by hand\ng:sys --at now\nu:nobody" in read(clocks)


def details(page):
    ovuser("add", "u:games", "--at", "2030-12-25 23:30", "--rewind")
    with open(HERE + "/journal", "w", encoding="utf-8") as file:
        for uid, second, result in (5, 1, "done"), (55, 2, "done"), (5, 3, "5"):
            file.write('{"MESSAGE": "add for=u:%d(games) time=x by=1(daemon) login=- result=%s", "__REALTIME_TIMESTAMP": '
                       '"17900000%02d000000"}\n' % (uid, result, second))
    process = subprocess.Popen(["setpriv", "--reuid=games", "--clear-groups", "sleep", "600"])
    wait("the process", lambda: os.stat("/proc/%d" % process.pid).st_uid == 5)
    wait("the row", lambda: page.part("u:games", "button")).click()
    wait("who lives by it", lambda: "1 process: \u2068sleep\u2069 (%d)" % process.pid in page.part("u:games", "dl").text)
    wait("its midnight", lambda: "real time, in 00:2" in page.part("u:games", "dl").text)
    told = page.part("u:games", "dl").text.replace("\u202f", " ")
    assert "Goes back to its date" in told, told
    assert "Sep 21, 2026, 4:13:21 PM, by \u2068daemon\u2069" in told, told
    page.no_violations("details")
    process.terminate()
    process.wait()
    page.part("u:games", "button").click()


def plot(page):
    wait("curves", lambda: len(page.all("#plot .curve")) == 5)
    page.run("""const moment = arguments[0], eight = 8 * 3600 - moment.min % 86400;
        moment.value = Number(moment.min) + eight + (eight < 0 ? 86400 : 0);
        moment.dispatchEvent(new Event('input'));""", page.find("#moment"))
    shown = {line.find_element(By.CSS_SELECTOR, "bdi").text:
             line.find_element(By.CSS_SELECTOR, "time").get_attribute("datetime") for line in page.all("#reading li")}
    assert shown["Real time"][10:19] == "T08:00:00", shown
    assert shown["user \u2068nobody\u2069"] == "2030-12-25T09:00:00+01:00", shown
    assert shown["user \u2068games\u2069"].startswith("2030-12-25T"), shown
    paths = {curve.get_attribute("data-key"): curve.get_attribute("d") for curve in page.all("#plot .curve")}
    heights = lambda name: [float(point.split()[1]) for point in paths[page.key(name)][1:].split("L")]
    assert len(set(heights("u:nobody"))) == 1
    falls = [after - before for before, after in zip(heights("u:games"), heights("u:games")[1:])]
    assert max(falls) > 20 and sum(fall > 1 for fall in falls) == 1  # one midnight


def pictures(page):
    page.run("document.querySelector('#alerts').replaceChildren(); document.activeElement.blur()")
    for style in "dark", "light":
        page.style(style)
        time.sleep(0.5)
        page.picture(style)
    page.size(320, 900)
    assert page.run("return document.documentElement.scrollWidth") == 320
    assert page.run("return [...document.querySelectorAll('#clocks td > *')].every(each => !each.offsetWidth || "
                    "each.getBoundingClientRect().right <= 310)")
    assert page.run("return Math.min(...[...document.querySelectorAll('#clocks time')].map(each => each.offsetWidth))") > 100
    page.no_violations("narrow")
    page.picture("narrow")
    page.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})


def take_away(page):
    remove = lambda: page.press(page.part("u:nobody", ".pf-m-danger"))
    remove()
    page.press("dialog .pf-m-link")
    time.sleep(2)
    remove()
    page.press("dialog [type=submit]")
    wait("it is gone", lambda: "nobody" not in page.names())
    wait("and not kept", lambda: "u:nobody" not in read("/etc/orvane/clocks"))
    page.press("#reset")
    page.press("dialog [type=submit]")
    wait("all are gone", lambda: page.find("#state").is_displayed())
    assert read("/etc/orvane/clocks") == "# by hand\n"


def make_users(first, names):
    """In the copy of /etc, by the name that is the trial's own."""
    with open(HERE + "/etc/passwd", "a", encoding="utf-8", errors="surrogateescape") as file:
        file.writelines("%s:x:%d:1::/:/bin/sh\n" % (name, first + number) for number, name in enumerate(names))


def hostile(page):
    make_users(54321, HOSTILE)
    uids = ["u:%d" % (54321 + number) for number in range(len(HOSTILE))]
    ovuser("add", *uids, "--at", "now")
    wait("their clocks", lambda: len(page.names()) == len(HOSTILE))
    shown = page.run("return [...document.querySelectorAll('.who bdi')].map(name => name.textContent)")
    assert set(shown) == {*HOSTILE[:-1], "caf\ufffd"}, shown
    assert page.browser.title == "Virtual clocks" and not page.all("tbody img")
    page.press("[data-key='u:54322'] .pf-m-danger")
    assert HOSTILE[1] in page.find("dialog h1").get_attribute("textContent")
    page.press("dialog .pf-m-link")
    ovuser("reset")


def thousand(page):
    make_users(70000, ["many%d" % number for number in range(1000)])
    ovuser("add", *("u:%d" % uid for uid in range(70000, 70500)), "--at", "now")
    wait("500 rows", lambda: len(page.all("tbody")) == 500)
    page.run("document.querySelector('#alerts').replaceChildren()")
    page.picture("500")
    ovuser("add", *("u:%d" % uid for uid in range(70500, 71000)), "--at", "now")
    wait("1000 rows", lambda: len(page.all("tbody")) == 1000)
    ovuser("reset")
    wait("all are gone", lambda: page.find("#state").is_displayed())


def no_module(page):
    def mode(text):
        with open(HERE + "/mode", "w", encoding="utf-8") as file:
            file.write(text)
    state = lambda: page.find("#state").get_attribute("data-state")
    mode("module")
    page.run("cockpit.dispatchEvent('visibilitychange')")
    wait("no module", lambda: state() == "absent" and "modprobe zynov" in page.text("#state"))
    page.no_violations("no module")
    open(HERE + "/installed", "w").close()
    wait("it can be loaded", lambda: state() == "unloaded")
    page.press("#state button")
    wait("all is well", lambda: state() == "none")
    os.rename(HERE + "/bin/ovuser", HERE + "/bin/away")
    os.rename(HERE + "/usr/sbin/ovuser", HERE + "/usr/sbin/away")
    page.run("cockpit.dispatchEvent('visibilitychange')")
    wait("no utility", lambda: state() == "missing" and "orvane-tools" in page.text("#state"))
    os.rename(HERE + "/bin/away", HERE + "/bin/ovuser")
    os.rename(HERE + "/usr/sbin/away", HERE + "/usr/sbin/ovuser")
    wait("it is back", lambda: state() == "none")


def hidden(page):
    page.run("cockpit.hidden = true; cockpit.dispatchEvent('visibilitychange')")  # like the console's frame
    time.sleep(1)
    ovuser("add", "u:nobody", "--at", "now")
    time.sleep(2)
    watching = subprocess.run(["ps", "-C", "ovuser", "-o", "args="], capture_output=True, text=True, check=False).stdout
    assert not page.names() and HERE + "/usr/sbin/ovuser list --watch" not in watching, (page.names(), watching)
    page.run("cockpit.hidden = false; cockpit.dispatchEvent('visibilitychange')")
    wait("it looks again", lambda: page.names() == ["nobody"])


def no_rights(page):
    ovuser("add", "g:nogroup", "--at", "now")
    page.open(ORDINARY)
    page.browser.switch_to.new_window("tab")  # the first one keeps the console while this one is loaded again
    page.open(ORDINARY)
    wait("the notice", lambda: "limited access mode" in page.text("#access"))
    wait("both clocks", lambda: sorted(page.names()) == ["nobody", "nogroup"])
    seen = lambda name: [one.text for one in page.all("[data-key='%s'] button" % page.key(name)) if one.is_displayed()]
    wait("what may be changed", lambda: seen("u:nobody")[1:] == ["Edit", "Take away"] and len(seen("g:nogroup")) == 1)
    assert not [one for one in page.all(".pf-c-switch, #reset") if one.is_displayed()]
    page.no_violations("no rights")
    page.press(page.part("u:nobody", ".pf-m-secondary"))
    assert not page.all("dialog #keep")
    page.choose("speed", "0")
    page.press("dialog [type=submit]")
    wait("one's own", lambda: page.cell("u:nobody", "Speed") == "Stands still")
    page.press("#access button")
    for password in "wrong", "secret":
        wait("a question", lambda: page.find("dialog #answer").get_attribute("value") == "")
        page.find("dialog #answer").send_keys(password + Keys.ENTER)
        if password == "wrong":
            wait("it was wrong", lambda: page.find("dialog .pf-m-danger").is_displayed())
    wait("administrative access", lambda: not page.text("#access") and page.find("#reset").is_displayed())


def german(_page):
    browser = start_browser("de")
    page = Page(browser)
    try:
        page.open()
        wait("German", lambda: "Zeigt jetzt" in page.text("#clocks thead") and browser.title == "Virtuelle Uhren")
        ovuser("set", "u:nobody", "--at", "2030-12-25 09:00", "--speed", "-4")
        wait("its clock", lambda: page.cell("u:nobody", "Geschwindigkeit") == "4-mal langsamer")
        assert page.cell("u:nobody", "Zeigt jetzt").startswith("Mi., 25. Dez. 2030, 9:00:"), page.text("#clocks")
    finally:
        browser.quit()


def connection_lost(page):
    page.open()
    wait("a clock", page.names)
    subprocess.run(["kill", read("server").strip()], check=True)
    wait("the connection is lost", lambda: "connection to the host is lost" in page.text("#state"))


the_browser = start_browser()
try:
    the_page = Page(the_browser)
    for step in (no_clock, table, changes_elsewhere, keyboard, set_one, edit, keep, details, plot, pictures, take_away,
                 hostile, thousand, no_module, hidden, german):
        step(the_page)
        print(step.__name__, flush=True)
    errors = [entry for entry in the_browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")]
    assert not errors, errors
    connection_lost(the_page)
    print("connection_lost, and no error on the console before", flush=True)
    no_rights(the_page)  # last: a console ends soon after its last reader has left
    print("no_rights")
except Exception:
    the_page.picture("failed")
    raise
finally:
    the_browser.quit()
