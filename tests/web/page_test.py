#!/usr/bin/python3
"""Opens the page from a file in a headless browser and plays it as a user would.

usage: page_test.py PAGE README [SCREENSHOT]
"""

import pathlib
import re
import sys
import time

from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

page, readme, *screenshot = sys.argv[1:]


class Page:
    def __init__(self, width=1200, height=800):
        options = webdriver.ChromeOptions()
        for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", f"--window-size={width},{height}"]:
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.open()

    def open(self):
        self.driver.get(pathlib.Path(page).resolve().as_uri())
        self.wait(lambda: self.script("return document.body.dataset.ready"))
        self.line, self.log, self.hint = (self.driver.find_element(By.ID, name) for name in ["line", "log", "hint"])

    def script(self, code, *arguments):
        return self.driver.execute_script(code, *arguments)

    def wait(self, condition, seconds=20):
        WebDriverWait(self.driver, seconds, 0.02).until(lambda driver: condition())

    def wait_until_idle(self):
        self.wait(lambda: not self.driver.find_element(By.ID, "stop").is_enabled())

    def type(self, *keys):
        self.line.send_keys(*keys)

    def play(self, line):
        """What the session shows of a line."""
        before = len(self.text())
        self.type(line, Keys.ENTER)
        self.wait_until_idle()
        return self.text()[before:]

    def text(self):
        return self.script("return arguments[0].textContent", self.log)

    def paste(self, text):
        self.script("const data = new DataTransfer(); data.setData('text', arguments[1]);"
                    "const event = new ClipboardEvent('paste', {cancelable: true, clipboardData: data});"
                    "arguments[0].dispatchEvent(event)", self.line, text)

    def drop(self, text):
        self.script("const data = new DataTransfer(); data.items.add(new File([arguments[1]], 'a.orbel'));"
                    "arguments[0].dispatchEvent(new DragEvent('drop', {bubbles: true, dataTransfer: data}))",
                    self.line, text)


def expect(expected, found):
    if expected != found:
        sys.exit("expected: %r\nfound:    %r" % (expected, found))


def test_session_of_readme(wanted):
    sample = re.search(r"```text\n(> .*?)```", pathlib.Path(readme).read_text(), re.S).group(1)
    for line in re.findall(r"^> (.*)$", sample, re.M):
        wanted.play(line)
    expect(sample, wanted.text())


def test_typing(page):
    page.type("2*ar")
    page.type(Keys.TAB)
    page.wait(lambda: page.line.get_property("value") == "2*area")
    page.wait(lambda: page.hint.text == "6.28318530717959")
    page.type(Keys.CONTROL, "a", Keys.NULL, Keys.DELETE, "atan(")
    page.wait(lambda: page.hint.text == "atan(Scalar)  atan(Scalar, Scalar)")
    page.type(Keys.CONTROL, "a", Keys.NULL, Keys.DELETE, Keys.ARROW_UP, Keys.ARROW_UP)
    expect("?area", page.line.get_property("value"))
    page.type(Keys.ARROW_DOWN, Keys.CONTROL, "a", Keys.NULL, Keys.DELETE)
    expect("> 6*7/2\n\tScalar : 21\n", page.play("6×7÷2"))


def test_questions(page):
    question = "\tWarning : This command will erase all symbols.\n\t          Are you sure ? ([y|Enter]/n) "
    before = len(page.text())
    page.type("kept = 1;~;kept", Keys.ENTER)
    page.wait(lambda: page.text().endswith(question))
    page.type("n", Keys.ENTER)
    page.wait_until_idle()
    expect("> kept = 1;~;kept\n\tDefining Scalar : kept = 1\n" + question + "n\n\tScalar : 1\n",
           page.text()[before:])
    page.type("~", Keys.ENTER)
    page.wait(lambda: page.text().endswith(question))
    page.type(Keys.ESCAPE)
    page.wait(lambda: page.text().endswith(question + "n\n"))
    page.wait_until_idle()


def test_stop(page):
    page.play("slow = 5; " + "; ".join("f%d &= f%d+f%d" % (i, i - 1, i - 2) for i in range(60, 1, -1)))
    page.play("f1 = 1; f0 &= rand()*0")
    before = len(page.text())
    page.type("here = 7; f60+0", Keys.ENTER)
    page.wait(lambda: "here" in page.text()[before:])
    time.sleep(0.3)
    start = time.time()
    page.driver.find_element(By.ID, "stop").click()
    page.wait_until_idle()
    page.wait(lambda: page.text().endswith("\tError : Cancelled, the statement was stopped\n"))
    expect("> slow+here\n\tScalar : 12\n", page.play("slow+here"))
    if time.time() - start > 5:
        sys.exit("a statement was stopped only after %g s" % (time.time() - start))


def test_paste_and_drop(page):
    before = len(page.text())
    page.paste("p = 2\r\np*3\np+")
    page.wait(lambda: page.line.get_property("value") == "p+")
    expect("> p = 2\n\tDefining Scalar : p = 2\n> p*3\n\tScalar : 6\n", page.text()[before:])
    page.play("1")
    before = len(page.text())
    page.drop("\ufeffq = 4\nq\n~")
    page.wait(lambda: page.text().endswith("erased\n"))
    expect("> q = 4\n\tDefining Scalar : q = 4\n> q\n\tScalar : 4\n> ~\n\tAll symbols erased\n",
           page.text()[before:])


def test_samples(page):
    sample = page.driver.find_element(By.CSS_SELECTOR, "aside pre .try")
    sample.click()
    expect(sample.text[2:], page.line.get_property("value"))
    page.type(Keys.CONTROL, "a", Keys.NULL, Keys.DELETE)
    before = len(page.text())
    page.driver.find_element(By.CSS_SELECTOR, "aside pre .run").click()
    page.wait_until_idle()
    page.wait(lambda: sample.text in page.text()[before:])


def test_deep_nesting(page):
    for open, close in ["<>", ("Vector(", ")")]:
        page.script("arguments[0].value = arguments[1]", page.line, open * 5000 + "1" + close * 5000)
        expect("\tError : Nested more than 400 levels deep\n", page.play("").split(")\n")[-1].split(">\n")[-1])
    page.play("d0 &= <1>")
    page.paste("".join("d%d &= <d%d+d%d*0>[0]\n" % (i, i - 1, i - 1) for i in range(1, 396)))
    page.wait(lambda: "d395 &=" in page.text()[-200:])
    page.wait_until_idle()
    for _ in range(20):
        page.play("d395+0; d0 = <2>; d395")
    if "too deeply" in page.text():
        sys.exit("400 levels are too many")


def test_network(page):
    requests = [entry["message"] for entry in page.driver.get_log("performance")
                if '"Network.requestWillBeSent"' in entry["message"]]
    for request in requests:
        if not re.search(r'"url":"(file:///[^"]*orbel\.html|data:|blob:)', request):
            sys.exit("something was loaded: " + request)
    expect([], [entry for entry in page.driver.get_log("browser") if entry["level"] == "SEVERE"])


def test_phone():
    phone = Page(390, 844)
    phone.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                 {"width": 390, "height": 844, "deviceScaleFactor": 2, "mobile": True})
    phone.driver.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": True, "maxTouchPoints": 5})
    phone.open()
    for line in ["price = 1299; rate = 0.19", "tax &= price*rate", "rate = 0.07"]:
        phone.play(line)
    expect("> tax\n\tScalar : 90.93\n", phone.play("tax"))
    if phone.script("return document.documentElement.scrollWidth > innerWidth"):
        sys.exit("the page is wider than a phone")
    phone.driver.find_element(By.ID, "older").click()
    expect("tax", phone.line.get_property("value"))
    phone.type(Keys.BACKSPACE)
    phone.driver.find_element(By.ID, "complete").click()
    phone.wait(lambda: phone.line.get_property("value") == "ta")  # "tan(" as well
    phone.type(Keys.CONTROL, "a", Keys.NULL, Keys.DELETE, "exit", Keys.ENTER)
    phone.wait(lambda: phone.driver.find_element(By.ID, "again").is_displayed() and not phone.line.is_displayed())
    phone.driver.find_element(By.ID, "again").click()
    phone.wait(lambda: phone.script("return document.body.dataset.ready"))
    phone.driver.quit()


start = time.time()
wanted = Page()
test_session_of_readme(wanted)
if screenshot:
    wanted.driver.save_screenshot(screenshot[0])
test_typing(wanted)
test_questions(wanted)
test_samples(wanted)
test_paste_and_drop(wanted)
test_stop(wanted)
test_deep_nesting(wanted)
test_network(wanted)
wanted.driver.quit()
test_phone()
print("the page works in Chromium")
