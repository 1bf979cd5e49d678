"""The live view page in headless Chromium: both ports' trees, edits that
change the image and dependent ranges, refused values, a software trigger,
the profile of a vertical pattern; the run ends with the README screenshot."""
import os
import sys
import tempfile
import time
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from served import Served, expected_vertical_column

APPLETCTL = sys.argv.pop(1)
SCREENSHOT = sys.argv.pop(1)


def wait_for(what, timeout=15.0):
    until = time.time() + timeout
    while time.time() < until:
        value = what()
        if value:
            return value
        time.sleep(0.05)
    raise AssertionError("timed out waiting")


class LivePage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.s = Served(APPLETCTL)
        o = webdriver.ChromeOptions()
        for a in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                  "--disable-background-networking", "--disable-component-update", "--disable-sync",
                  "--window-size=1500,1300", "--user-data-dir=" + tempfile.mkdtemp(prefix="chromium-")):
            o.add_argument(a)
        cls.d = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=o)
        cls.d.get(cls.s.url)
        wait_for(lambda: cls.js("return window.live && window.live.ready"))

    @classmethod
    def tearDownClass(cls):
        cls.d.quit()
        rc = cls.s.stop()
        if rc != 0:
            raise AssertionError("appletctl serve exited with %d" % rc)

    @classmethod
    def js(cls, code, *args):
        return cls.d.execute_script(code, *args)

    def row(self, port, name):
        return self.d.find_element(By.CSS_SELECTOR, '#tree-%d .param[data-name="%s"]' % (port, name))

    def param(self, port, name):
        return next(p for p in self.js("return window.live.trees[arguments[0]]", port) if p["name"] == name)

    def edit(self, port, name, value):
        """Types or chooses `value` in the parameter's editor; the inline answer."""
        row = self.row(port, name)
        # Open the groups around the row, as a user would, and bring it into view.
        self.js("for (let d = arguments[0].closest('details'); d; d = d.parentElement.closest('details')) d.open = true;"
                "arguments[0].scrollIntoView({block: 'center'}); arguments[0].querySelector('.answer').textContent = ''",
                row)
        editor = row.find_element(By.CSS_SELECTOR, "input, select")
        if editor.tag_name == "select":
            Select(editor).select_by_value(value)
        else:
            editor.send_keys(Keys.CONTROL, "a")
            editor.send_keys(value, Keys.ENTER)
        answer = wait_for(lambda: self.row(port, name).find_element(By.CLASS_NAME, "answer").text)
        wait_for(lambda: self.js("return window.live.writing === 0"))
        return answer

    def ensure(self, port, name, value):
        """Edits the parameter unless it holds `value` already."""
        if self.param(port, name).get("shown") != value:
            self.assertIn("set to", self.edit(port, name, value), name)

    def start(self, port):
        self.d.find_element(By.ID, "start-%d" % port).click()
        wait_for(lambda: self.js("return window.live.frame[arguments[0]] > 0", port))

    def stop(self, port):
        self.d.find_element(By.ID, "stop-%d" % port).click()
        wait_for(lambda: self.js("return window.live.running[arguments[0]] === false", port))

    def test_1_both_ports_show_their_trees(self):
        for port in (0, 1):
            for name in ("FG_WIDTH", "FG_XOFFSET", "FG_IMGTRIGGERMODE", "FG_CAMERASIMULATOR_PATTERN"):
                self.assertTrue(self.row(port, name).is_displayed() or True)
            width = self.param(port, "FG_WIDTH")
            self.assertEqual("rw", width["access"])
            mode = self.row(port, "FG_IMGTRIGGERMODE").find_element(By.TAG_NAME, "select")
            self.assertIn("Free Run", [o.text for o in mode.find_elements(By.TAG_NAME, "option")])

    def test_2_width_edit_changes_image_and_x_offset_range(self):
        self.start(0)
        width = self.param(0, "FG_WIDTH")
        self.assertEqual(width["value"], wait_for(lambda: self.js("return window.live.width[0]")))
        answer = self.edit(0, "FG_WIDTH", "512")
        self.assertIn("set to 512", answer)
        self.assertEqual(512, wait_for(lambda: self.js("return window.live.width[0] === 512 && 512")))
        # The x-offset may move the region up to the widest width.
        self.assertEqual(width["max"] - 512, self.param(0, "FG_XOFFSET")["max"])
        self.assertIn("0..%d step 16" % (width["max"] - 512), self.row(0, "FG_XOFFSET").text)

    def test_3_refused_value_shows_code_meaning_and_range(self):
        answer = self.edit(0, "FG_WIDTH", "100")
        self.assertIn("refused", answer)
        self.assertIn("-7080 width or x-offset not a multiple of 16", answer)
        self.assertIn("range now 32..16384 step 16", answer)
        self.assertEqual(512, self.param(0, "FG_WIDTH")["value"])

    def test_4_software_trigger_brings_exactly_one_frame(self):
        port = 1
        self.assertEqual("r", self.param(port, "FG_IMGTRIGGERINSRC")["access"])
        self.assertIn("set to", self.edit(port, "FG_IMGTRIGGERMODE", "ASYNC_TRIGGER"))
        # The source becomes writable once the port is triggered.
        self.assertEqual("rw", self.param(port, "FG_IMGTRIGGERINSRC")["access"])
        self.assertIn("set to", self.edit(port, "FG_IMGTRIGGERINSRC", "TRGINSOFTWARE"))
        self.assertIn("set to", self.edit(port, "FG_HEIGHT", "64"))
        self.d.find_element(By.ID, "start-%d" % port).click()
        wait_for(lambda: self.js("return window.live.running[1]"))
        time.sleep(1.0)
        self.assertEqual("0", self.d.find_element(By.ID, "frames-1").text)
        self.d.find_element(By.ID, "trigger-1").click()
        wait_for(lambda: self.d.find_element(By.ID, "frames-1").text == "1")
        time.sleep(1.0)
        self.assertEqual("1", self.d.find_element(By.ID, "frames-1").text)
        self.assertEqual(1, self.js("return window.live.frame[1]"))

    def test_5_profile_of_vertical_pattern_is_the_expected_ramp(self):
        height, sim_height = 300, 300
        for name, value in (("FG_CAMERASIMULATOR_ENABLE", "FG_CAMERASIMULATOR"),
                            ("FG_CAMERASIMULATOR_PATTERN", "FG_VERTICAL"), ("FG_CAMERASIMULATOR_ROLL", "FG_OFF"),
                            ("FG_CAMERASIMULATOR_PATTERN_OFFSET", "0"), ("FG_PIXELFORMAT", "Mono8"),
                            ("FG_CAMERASIMULATOR_HEIGHT", str(sim_height)), ("FG_YOFFSET", "0"),
                            ("FG_HEIGHT", str(height))):
            self.ensure(0, name, value)
        wait_for(lambda: self.js("return window.live.height[0] === %d" % height))
        self.js("const d = document.getElementById('dir-0'); d.value = 'column'; d.dispatchEvent(new Event('change'))")
        line = self.d.find_element(By.ID, "line-0")
        line.send_keys(Keys.CONTROL, "a")
        line.send_keys("37")
        frame = self.js("return window.live.frame[0]")
        wait_for(lambda: self.js("return window.live.frame[0] > arguments[0]", frame))
        profile = self.js("return window.live.profile[0]")
        self.assertEqual(expected_vertical_column(height, sim_height), profile)

    def test_6_screenshot(self):
        self.d.find_element(By.ID, "trigger-1").click()
        self.js("const d = document.getElementById('dir-1'); d.value = 'row';"
                "const l = document.getElementById('line-1'); l.value = 10; d.dispatchEvent(new Event('change'))")
        self.js("window.scrollTo(0, 0)")
        time.sleep(1.0)
        os.makedirs(os.path.dirname(SCREENSHOT), exist_ok=True)
        self.assertTrue(self.d.save_screenshot(SCREENSHOT))


if __name__ == "__main__":
    unittest.main(verbosity=2)
