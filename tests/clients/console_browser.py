"""The operator console in a real browser.

Starts the server on this host with its console on a free loopback port,
opens the console in headless Chromium through Selenium and goes through it
as an operator would: logs in with the token, watches the figures change and
the charts being drawn, opens every page, starts a recording, changes a
setting and saves it, answers a question, and sees the link drop when the
server stops. Screenshots go to the folder given.

    /usr/bin/python3 console_browser.py SERVER SCREENSHOT_DIR
"""

import os
import re
import sys

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.common.exceptions import NoSuchElementException, StaleElementReferenceException
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import host_server
from host_server import GIVE_UP


def wait_for(what, check, timeout=GIVE_UP):
    """Waits for `check` to give a true value; an element not there yet (a
    page loading again, say) is as good as false."""
    return host_server.wait_for(what, check, timeout,
                                (NoSuchElementException, StaleElementReferenceException))


def read_profile(path, section, key):
    """A key of a settings file, or None."""
    current = None
    with open(path, encoding="latin-1") as f:
        for line in f:
            line = line.strip()
            m = re.fullmatch(r"\[(.*)\]", line)
            if m:
                current = m.group(1)
            elif current == section and "=" in line:
                k, v = line.split("=", 1)
                if k == key:
                    return v
    return None


class Console:
    def __init__(self, server, shots):
        self.shots = shots
        self.host = host_server.HostServer(server, "tarnex-browser-")
        self.home = self.host.home
        self.server = self.host.process
        self.browser = None
        try:
            self.start_browser()
        except BaseException:
            self.close(keep=True)
            raise

    def start_browser(self):
        self.base = self.host.console()
        self.token = self.host.token()
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for arg in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage",
                    "--disable-gpu", "--window-size=1280,1000"):
            options.add_argument(arg)
        self.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.browser.set_script_timeout(GIVE_UP)

    def close(self, keep=False):
        """Stops the browser and the server; `keep` leaves the folder to look at."""
        if self.browser:
            self.browser.quit()
        self.host.stop(keep)

    def find(self, css):
        return self.browser.find_element(By.CSS_SELECTOR, css)

    def text(self, css):
        return self.find(css).text

    def shot(self, name):
        path = os.path.join(self.shots, name + ".png")
        self.browser.save_screenshot(path)
        print("screenshot", path)

    def js(self, script, *args):
        return self.browser.execute_script(script, *args)

    def settle(self):
        """Waits until every operator request the page made has been answered."""
        self.browser.execute_async_script("queue.then(arguments[0], arguments[0]);")

    def page(self, page_id, title):
        self.find('nav a[data-page="%s"]' % page_id).click()
        wait_for("the page " + page_id, lambda: self.text("#page-body h2") == title)
        self.settle()


def login_and_live_figures(c):
    # Without the token the page says how to log in.
    c.browser.get(c.base + "/")
    wait_for("the not-logged-in message", lambda: "Not logged in" in c.text("#link"))
    c.browser.get(c.base + "/login?token=" + c.token)
    assert c.browser.current_url == c.base + "/", c.browser.current_url
    wait_for("the live link", lambda: c.text("#link") == "live")
    first = wait_for("the clock", lambda: c.text("#clock"))
    wait_for("the next second's frame", lambda: c.text("#clock") not in ("", first))
    assert c.text('#page-main [data-field="CPUUsage"]').endswith(" %")
    assert c.text('#page-main [data-field="procnum"]').startswith("Processes: ")
    # The three strip charts are drawn from their histories.
    for chart in ("chart0", "chart1", "chart2"):
        drawn = wait_for(chart + " drawn", lambda: c.find("#" + chart).get_attribute("data-drawn"))
        assert int(drawn) > 0, chart
        lit = c.js("const g = document.getElementById(arguments[0]).getContext('2d');"
                   "const d = g.getImageData(0, 0, 300, 100).data; let n = 0;"
                   "for (let i = 0; i < d.length; i += 4) if (d[i + 1] > 0) ++n; return n;", chart)
        assert lit > 0, chart + " has nothing drawn"
    c.shot("main")


def every_page(c):
    pages = c.js("return PAGES.map((p) => [p.id, p.title, p.form]);")
    assert len(pages) >= 15, pages
    for page_id, title, form in pages:
        c.page(page_id, title)
        assert c.text("#answer") == "", page_id + ": " + c.text("#answer")
        controls = c.browser.find_elements(
            By.CSS_SELECTOR, "#page-body input, #page-body textarea, #page-body select, "
                             "#page-body button, #page-body table, #page-body pre, #page-body output")
        assert controls, page_id + " shows nothing"
        # A frame made before the window opened may come after the answer that
        # opened it: the page is right again with the next frame.
        if form != "MainFrm":
            wait_for(page_id + " open", lambda: c.js("return model.forms[arguments[0]].open;",
                                                     form) is True)
        if page_id == "frmServer":
            # The performance console's captions are filled as it opens.
            wait_for("the performance console's rows", lambda: len(c.browser.find_elements(
                By.CSS_SELECTOR, "#page-body table.pairs tr")) >= 33)
            c.shot("form-server-performance")
        if page_id == "remotes":
            wait_for("five slots", lambda: len(c.browser.find_elements(
                By.CSS_SELECTOR, "table.slots tr")) == 6)
            c.shot("form-remotes")
        if page_id == "email":
            c.shot("form-email")


# What every page's description covers, by form: its fields and commands.
COVERED = """
const cover = {};
const add = (form, kind, name) => {
  cover[form] = cover[form] || {fields: [], commands: []};
  if (name !== undefined) cover[form][kind].push(String(name));
};
for (const p of PAGES) {
  add(p.form, "commands", p.show);
  add("MainFrm", "commands", p.menu);
  for (const i of p.items) {
    for (const k of ["field", "caps", "vals", "red", "pick", "list"]) add(p.form, "fields", i[k]);
    for (const k of ["remove", "click", "command"]) add(p.form, "commands", i[k]);
    for (const [name, caption] of i.items || []) {
      add(p.form, "commands", name);
      if (caption.field) add(p.form, "fields", caption.field);
    }
    if (i.type === "slots") {
      for (let n = 0; n < 5; ++n) {
        add("MainFrm", "commands", "Generate(" + n + ")");
        for (const f of [slotName("CPUPort", n), slotName("BUPort", n)]) add("MainFrm", "fields", f);
      }
      for (const f of ["CPUpass", "MUser", "conc", "cno"]) add("MainFrm", "fields", f);
    }
  }
}
for (const b of document.querySelectorAll("#page-main [data-command]")) add("MainFrm", "commands", b.dataset.command);
return cover;
"""


def every_form_has_its_page(c):
    forms = c.js("return fetch('api/forms').then((r) => r.json());")
    cover = c.js(COVERED)
    for f in forms:
        name = f["form"]
        assert name in cover, name + " has no page"
        # The hints of the tracking set-up come with the pointer, and two of
        # the main window's commands do what another button does.
        commands = {x for x in f["commands"] if not x.endswith(".MouseMove")}
        commands -= {"Command3", "mnuExit"}
        missing = commands - set(cover[name]["commands"])
        assert not missing, "%s: no button for %s" % (name, sorted(missing))
        if f["fields"] != ["*"]:
            missing = set(f["fields"]) - set(cover[name]["fields"])
            assert not missing, "%s: no place for %s" % (name, sorted(missing))


def log_all_data(c):
    c.find('nav a[data-page=""]').click()
    wait_for("the main window", lambda: c.find("#page-main").is_displayed())
    assert c.text("#recording") == "Not recording"
    c.find('#page-main button[data-command="mnulogall1"]').click()
    wait_for("the recording", lambda: c.text("#recording").startswith("Recording all data:"))
    assert c.text("#recording").endswith(" of 60 s"), c.text("#recording")
    snapshot = os.path.join(c.home, "Events", "SnapShot")
    wait_for("the recording's files", lambda: os.path.isdir(snapshot) and os.listdir(snapshot))


def change_a_setting_and_save(c):
    c.page("settings", "Settings")
    name = c.find('#page-body input[data-field="SName"]')
    name.clear()
    name.send_keys("web-console-test" + Keys.TAB)
    box = c.find('#page-body input[data-field="Check3"][data-index="2"]')
    was = box.is_selected()
    box.click()
    six = c.find('#page-body input[name="SendOpt"][value="1"]')
    assert not six.is_selected()
    six.click()
    c.shot("form-settings")
    c.find('#page-body button[data-command="Command1"]').click()
    c.settle()
    settings = os.path.join(c.home, "Bin", "Tarnex.Tnx")
    wait_for("the saved name", lambda: read_profile(settings, "Server", "Server Name")
             == "web-console-test")
    assert read_profile(settings, "Server", "Start Server Monitor") == ("0" if was else "1")
    assert read_profile(settings, "Server", "Send 6") == "True"
    assert read_profile(settings, "Server", "Send 24") == "False"
    # The model says so too, and the page shows it after a reload.
    c.browser.refresh()
    wait_for("the page again", lambda: c.text("#page-body h2") == "Settings")
    c.settle()
    wait_for("the name shown", lambda: c.find('#page-body input[data-field="SName"]')
             .get_attribute("value") == "web-console-test")


def question_as_dialog(c):
    c.page("tracking", "Setup Web Tracking")
    c.find('#page-body button[data-command="Command1"]').click()
    dialog = wait_for("the question", lambda: c.find("#dialog").is_displayed() and c.find("#dialog"))
    assert "First Time Tracking" in c.text("#dialog-text"), c.text("#dialog-text")
    c.shot("question")
    no = [b for b in dialog.find_elements(By.TAG_NAME, "button") if b.text == "No"]
    assert len(no) == 1
    no[0].click()
    c.settle()
    # The save closed the window; the question is in the model's record.
    wait_for("the main window", lambda: c.find("#page-main").is_displayed())
    asked = c.js("return fetch('api/model?fields=OperatorQuestions').then((r) => r.json());")
    assert any("First Time Tracking" in q for q in asked["OperatorQuestions"]), asked


def phone_screen(c):
    c.browser.set_window_size(390, 844)
    c.find('nav a[data-page=""]').click()
    wait_for("the main window", lambda: c.find("#page-main").is_displayed())
    wide = c.js("return document.documentElement.scrollWidth - window.innerWidth;")
    assert wide <= 0, "the main window is %d px wider than a phone" % wide
    c.shot("main-phone")
    c.page("email", "SMTP Email Utility")
    wide = c.js("return document.documentElement.scrollWidth - window.innerWidth;")
    assert wide <= 0, "the mail set-up is %d px wider than a phone" % wide
    c.browser.set_window_size(1280, 1000)


def closing_ends_the_server_and_the_link_drops(c):
    c.find('nav a[data-page=""]').click()
    c.find('#page-main button[data-command="close"]').click()
    dialog = wait_for("the question", lambda: c.find("#dialog").is_displayed() and c.find("#dialog"))
    assert c.text("#dialog-text").startswith("End Tarnex Server?"), c.text("#dialog-text")
    [b for b in dialog.find_elements(By.TAG_NAME, "button") if b.text == "Yes"][0].click()
    assert c.server.wait(GIVE_UP) == 0
    wait_for("the link-down message", lambda: c.find("#banner").is_displayed())
    assert "link to the server is down" in c.text("#banner"), c.text("#banner")
    c.shot("link-down")


def main():
    server, shots = sys.argv[1], sys.argv[2]
    os.makedirs(shots, exist_ok=True)
    c = Console(server, shots)
    try:
        for step in (login_and_live_figures, every_form_has_its_page, every_page, log_all_data, change_a_setting_and_save,
                     question_as_dialog, phone_screen,
                     closing_ends_the_server_and_the_link_drops):
            step(c)
            print("passed:", step.__name__)
    except Exception:
        c.shot("failure")
        print("server output:\n" + c.host.output())
        raise
    finally:
        c.close()


if __name__ == "__main__":
    main()
