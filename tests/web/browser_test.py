#!/usr/bin/python3
"""The browser host's page in a real browser (headless Chromium driven by
Selenium): upload the example run, read it, build the model with the page's
controls, fit by typing and by the FIT button, see the coefficient table,
the statistics and the plots, mask a star by clicking it in a plot, and fit
again without it. Screenshots of the page go to --shots.

    browser_test.py --server build/src/zenfit-web --examples examples --shots DIR

Exits 77 (a skip for CTest) only when Chromium cannot be started here.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

SKIP = 77


def skip(reason):
    print(f"SKIPPED: {reason}")
    sys.exit(SKIP)


try:
    from selenium import webdriver
    from selenium.common.exceptions import WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.actions.action_builder import ActionBuilder
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import Select
except ImportError as error:
    skip(f"python3-selenium is not installed ({error}); scripts/deps.sh installs it")


class Failure(Exception):
    pass


def check(condition, message):
    if not condition:
        raise Failure(message)


def start_server(server, data):
    process = subprocess.Popen([server, "--port", "0", "--data", data], stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True)
    line = process.stdout.readline()
    match = re.search(r"open (http://\S+)", line)
    if not match:
        process.kill()
        raise Failure(f"zenfit-web did not start: {line!r}")
    return process, match.group(1)


def start_browser(profile):
    chromium = shutil.which("chromium") or "/usr/bin/chromium"
    driver = shutil.which("chromedriver") or "/usr/bin/chromedriver"
    if not (os.path.exists(chromium) and os.path.exists(driver)):
        skip("chromium and chromium-driver are not installed; scripts/deps.sh installs them")
    options = webdriver.ChromeOptions()
    options.binary_location = chromium
    # No connections to anything but this machine: they are refused here.
    for flag in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage",
                 "--window-size=1600,1200", "--force-device-scale-factor=1",
                 f"--user-data-dir={profile}"):
        options.add_argument(flag)
    try:
        return webdriver.Chrome(service=Service(driver), options=options)
    except WebDriverException as error:
        skip(f"Chromium cannot start here: {str(error).splitlines()[0]}")


class Page:
    def __init__(self, driver):
        self.d = driver

    def js(self, script, *args):
        return self.d.execute_script(script, *args)

    def wait(self, script, what, timeout=15):
        end = time.time() + timeout
        while time.time() < end:
            value = self.js(script)
            if value:
                return value
            time.sleep(0.05)
        raise Failure(f"timed out waiting for {what}")

    def idle(self):
        """Waits until every command the page sent has been answered."""
        self.js("window.__idle = false; page.queue.then(() => { window.__idle = true; });")
        self.wait("return window.__idle && !document.querySelector('#plot.busy')", "the page to settle")

    def click(self, element):
        """Clicks like a user: the element in the middle of the window, clear
        of the page's fixed header."""
        self.js("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def type_command(self, line):
        box = self.d.find_element(By.ID, "command")
        box.send_keys(line, Keys.ENTER)
        self.idle()

    def last_entry(self):
        return self.js("const e = document.querySelector('#transcript .entry:last-child');"
                       "return [e.textContent, e.classList.contains('failed')];")


def run(args):
    work = tempfile.mkdtemp(prefix="zenfit-browser-")
    os.makedirs(os.path.join(work, "data"))
    server, url = start_server(args.server, os.path.join(work, "data"))
    driver = None
    try:
        driver = start_browser(os.path.join(work, "profile"))
        page = Page(driver)
        driver.get(url)
        page.wait("return document.body.dataset.ready === 'true'", "the page to load")
        check("ZENFIT" in driver.title, f"title {driver.title!r}")
        check("There are 54 standard pointing terms." in page.js(
            "return document.getElementById('transcript').textContent"), "the start-up text")

        # Upload the example run and its catalogue through the file input.
        upload = driver.find_element(By.ID, "upload")
        upload.send_keys("\n".join(os.path.join(args.examples, n) for n in ("run.dat", "stars.dat")))
        page.wait("return document.querySelectorAll('#files tbody select').length === 2", "the uploads")
        names = page.js("return [...document.querySelectorAll('#files tbody td:first-child')]"
                        ".map(td => td.textContent)")
        check(names == ["run.dat", "stars.dat"], f"files listed: {names}")

        # Read them with the files' menus: the catalogue, then the observations.
        for name, verb in (("stars.dat", "INST"), ("run.dat", "INDAT")):
            Select(driver.find_element(By.CSS_SELECTOR, f"#files select[aria-label='Read {name} as']")).select_by_value(verb)
            page.idle()
        state = page.js("return page.state")
        check(state["observations"]["count"] == 170, f"{state['observations']['count']} observations")
        check(len(driver.find_elements(By.CSS_SELECTOR, "#observations tbody tr")) == 170,
              "the observation table has a row per observation")
        run_text = driver.find_element(By.ID, "run").text
        check("+28° 45′ 36″" in run_text and "775.0 mB" in run_text, f"run parameters: {run_text}")

        # A failed command is marked; history comes back with the arrow keys.
        page.type_command("GSCATTER")
        text, failed = page.last_entry()
        check(failed and "Unrecognized command!" in text, f"failed entry: {text!r} {failed}")
        box = driver.find_element(By.ID, "command")
        box.send_keys(Keys.ARROW_UP)
        check(box.get_attribute("value") == "GSCATTER", "history with the up arrow")
        box.clear()

        # The model: typed in the console, and the rest with the add box.
        page.type_command("USE IH ID CH NP")
        add = driver.find_element(By.ID, "add-terms")
        add.send_keys("me ma tf daf", Keys.ENTER)
        page.idle()
        terms = [t["name"] for t in page.js("return page.state")["model"]]
        check(terms == ["IH", "ID", "CH", "NP", "ME", "MA", "TF", "DAF"], f"model {terms}")

        # FIT typed, then FIT with the button: the second converges.
        page.type_command("FIT")
        text, failed = page.last_entry()
        check(not failed and "Sky RMS" in text, "FIT typed")
        page.click(driver.find_element(By.ID, "fit"))
        page.idle()
        rows = page.js("return [...document.querySelectorAll('#coefficients tbody tr')]"
                       ".map(r => [...r.cells].map(c => c.textContent))")
        check(len(rows) == 8 and rows[0][1] == "IH", f"coefficient table {rows}")
        check(rows[0][3] == "\u221235.21" and rows[0][4] == "0.109", f"IH row {rows[0]}")
        stats = driver.find_element(By.ID, "fit-stats").text
        check("1.14" in stats and "1.17" in stats and "170" in stats, f"statistics {stats!r}")
        check(len(driver.find_elements(By.CSS_SELECTOR, "#correlations td.cell")) == 28,
              "a heat map cell per pair of fitted terms")

        # The residual plots are drawn for the fit.
        page.wait("const i = document.querySelector('#plot img'); return i && i.complete && i.naturalWidth > 0",
                  "the residual plot")
        marks = page.js("return document.getElementById('plot').marks.length")
        check(marks == 4 * 170, f"{marks} marks on the residual plot (4 panels)")
        for tab in ("GSCAT", "GMAP"):
            page.click(driver.find_element(By.CSS_SELECTOR, f"#plot-tabs [data-plot='{tab}']"))
            page.idle()
            command = page.js("return document.querySelector('#plot img').dataset.command")
            check(command == tab, f"{tab} tab shows {command}")
        page.click(driver.find_element(By.CSS_SELECTOR, "#plot-tabs [data-plot='residuals']"))
        page.idle()
        driver.save_screenshot(os.path.join(args.shots, "web-host-view.png"))

        # Click a star on the residual plot: it is masked, and the next FIT leaves it out.
        target = page.js("""
            const box = document.getElementById('plot');
            box.scrollIntoView({block: 'center'});
            const m = box.marks.find(m => m.n === 17);
            const r = box.querySelector('img').getBoundingClientRect();
            return [Math.round(r.left + (m.x - box.view[0]) * r.width / box.view[2]),
                    Math.round(r.top + (m.y - box.view[1]) * r.height / box.view[3]), m.n];""")
        actions = ActionBuilder(driver)
        actions.pointer_action.move_to_location(target[0], target[1]).click()
        actions.perform()
        page.idle()
        state = page.js("return page.state")
        check(state["observations"]["rows"][16]["active"] is False, "star 17 masked by the click")
        check(state["observations"]["active"] == 169, "169 stars in use")
        check("changed since" in driver.find_element(By.ID, "fit-stale").text, "the fit says it is stale")
        check(page.js("return document.querySelector('#observations tr[data-n=\"17\"]')"
                      ".classList.contains('masked')"), "the table shows it masked")
        driver.find_element(By.TAG_NAME, "body").send_keys("f")  # the FIT key
        page.idle()
        check(page.js("return page.state")["fit"]["stars"] == 169, "the next FIT uses 169 stars")
        check(driver.find_element(By.ID, "fit-stale").text == "", "a current fit")

        # Full page, then night mode.
        height = page.js("return document.documentElement.scrollHeight")
        driver.set_window_size(1600, height + 120)
        page.js("window.scrollTo(0, 0)")
        time.sleep(0.2)
        driver.save_screenshot(os.path.join(args.shots, "web-host.png"))
        driver.set_window_size(1600, 1000)
        page.click(driver.find_element(By.ID, "night"))
        time.sleep(0.2)
        driver.save_screenshot(os.path.join(args.shots, "web-host-night.png"))
        errors = [e for e in driver.get_log("browser")
                  if e["level"] == "SEVERE" and "favicon" not in e["message"]
                  and " 401 " not in e["message"]]
        check(not errors, f"{len(errors)} errors in the browser console, the first: {errors[:3]}")
    finally:
        if driver is not None:
            driver.quit()
        if server is not None:
            server.terminate()
            server.wait(timeout=10)
        shutil.rmtree(work, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser()
    for option in ("--server", "--examples", "--shots"):
        parser.add_argument(option, required=True)
    args = parser.parse_args()
    args.examples = os.path.abspath(args.examples)
    os.makedirs(args.shots, exist_ok=True)
    started = time.time()
    try:
        run(args)
    except Failure as failure:
        print(f"FAILED: {failure}")
        print("0 passed, 1 failed")
        return 1
    print(f"browser test passed in {time.time() - started:.1f} s; screenshots in {args.shots}")
    print("1 passed, 0 failed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
