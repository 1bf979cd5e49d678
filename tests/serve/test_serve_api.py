"""appletctl serve over plain HTTP: who is let in, which files the page may
touch, and the frames it writes, compared with the pattern the simulator's
settings imply."""
import os
import subprocess
import sys
import time
import unittest

from served import Served, expected_vertical_column

APPLETCTL = sys.argv.pop(1)


class ServeApi(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.s = Served(APPLETCTL)

    @classmethod
    def tearDownClass(cls):
        rc = cls.s.stop()
        if rc != 0:
            raise AssertionError("appletctl serve exited with %d" % rc)

    def test_requests_without_token_or_from_elsewhere_are_refused(self):
        s = self.s
        own = "127.0.0.1:%d" % s.port
        cases = [
            ("no token", {}, False, 401),
            ("wrong token", {"X-Token": s.token[:-1] + "x"}, False, 401),
            ("token shortened", {"X-Token": s.token[:8]}, False, 401),
            ("foreign host", {"Host": "attacker.example:%d" % s.port}, True, 403),
            ("own address, other port", {"Host": "127.0.0.1:%d" % (s.port + 1)}, True, 403),
            ("host without port", {"Host": "localhost"}, True, 403),
            ("foreign origin", {"Origin": "http://attacker.example"}, True, 403),
            ("opaque origin", {"Origin": "null"}, True, 403),
            ("origin on another port", {"Origin": "http://127.0.0.1:%d" % (s.port + 1)}, True, 403),
            ("cross-site fetch", {"Sec-Fetch-Site": "cross-site"}, True, 403),
            ("own origin", {"Origin": "http://" + own}, True, 200),
            ("localhost", {"Host": "localhost:%d" % s.port, "Origin": "http://localhost:%d" % s.port}, True, 200),
        ]
        for name, headers, token, status in cases:
            for method, path, body in (("GET", "/", None), ("GET", "/api/status", None),
                                       ("POST", "/api/set", {"port": 0, "name": "FG_WIDTH", "value": "512"})):
                with self.subTest(name, path=path):
                    got = s.request(method, path, body, headers, token)[0]
                    self.assertEqual(status, got)
        # The token in the address works as in the header; a refused write changed nothing.
        self.assertEqual(200, s.request("GET", "/?token=" + s.token, token=False)[0])

    def test_file_names_cannot_leave_the_directory(self):
        s = self.s
        outside = os.path.dirname(s.directory)
        link = os.path.join(s.directory, "elsewhere.mcf")
        os.symlink("/etc/hostname", link)
        names = ["../escaped.mcf", "/tmp/escaped.mcf", "sub/escaped.mcf", "..", ".hidden.mcf", "a\\b.mcf", "",
                 "line\nbreak.mcf", "elsewhere.mcf", "x" * 300 + ".mcf"]
        for name in names:
            for path, body in (("/api/config/save", {"file": name}), ("/api/config/load", {"file": name}),
                               ("/api/lut", {"port": 0, "file": name}),
                               ("/api/grab", {"port": 0, "count": 1, "prefix": name})):
                with self.subTest(repr(name)[:40], path=path):
                    status, answer, _ = s.request("POST", path, body)
                    self.assertEqual(400, status)
                    self.assertFalse(answer["ok"])
        self.assertFalse(os.path.exists(os.path.join(outside, "escaped.mcf")))
        self.assertFalse(os.path.exists("/tmp/escaped.mcf"))
        os.remove(link)

    def test_malformed_requests_are_answered(self):
        s = self.s
        for body in (b"", b"[1,2]", b"{", b'{"port": 7, "name": "FG_WIDTH", "value": "1"}',
                     b'{"port": 0, "name": 5, "value": "1"}', b'{"port": -1, "action": "start"}'):
            for path in ("/api/set", "/api/acquisition", "/api/grab"):
                with self.subTest(body=body, path=path):
                    self.assertEqual(400, s.request("POST", path, body)[0])
        self.assertEqual(413, s.request("POST", "/api/set", b"{" + b" " * 70000 + b"}")[0])
        self.assertEqual(400, s.request("GET", "/api/params?port=9")[0])

    def vertical_pattern(self, port, height, sim_height):
        for name, value in (("FG_CAMERASIMULATOR_ENABLE", "FG_CAMERASIMULATOR"), ("FG_CAMERASIMULATOR_PATTERN", "FG_VERTICAL"),
                            ("FG_CAMERASIMULATOR_ROLL", "FG_OFF"), ("FG_CAMERASIMULATOR_HEIGHT", str(sim_height)),
                            ("FG_PIXELFORMAT", "Mono8"), ("FG_WIDTH", "64"), ("FG_HEIGHT", str(height)),
                            ("FG_YOFFSET", "0")):
            self.assertTrue(self.s.post("/api/set", {"port": port, "name": name, "value": value})["ok"], name)

    def grab_columns(self, port, count, prefix, height):
        """The first column of each grabbed PGM file; every line is constant."""
        self.assertTrue(self.s.post("/api/acquisition", {"port": port, "action": "start"})["ok"])
        answer = self.s.post("/api/grab", {"port": port, "count": count, "prefix": prefix})
        self.s.post("/api/acquisition", {"port": port, "action": "stop"})
        self.assertTrue(answer["ok"], answer)
        self.assertEqual(["%s-%04d.pgm" % (prefix, i + 1) for i in range(count)], answer["files"])
        columns = []
        for f in answer["files"]:
            with open(os.path.join(self.s.directory, f), "rb") as fh:
                data = fh.read()
            header = b"P5\n64 %d\n255\n" % height
            self.assertEqual(header, data[:len(header)])
            rows = [data[len(header) + 64 * r:len(header) + 64 * (r + 1)] for r in range(height)]
            self.assertTrue(all(row == bytes([row[0]]) * 64 for row in rows))
            columns.append([row[0] for row in rows])
        return columns

    def test_lookup_table_file_applies_to_grabbed_frames(self):
        port, height, sim_height = 0, 48, 200
        self.vertical_pattern(port, height, sim_height)
        with open(os.path.join(self.s.directory, "invert.lut"), "w") as f:
            f.write("# Lut data file v1.1\n[gray]\nid=3;\nnrOfElements=4096;\nformat=0;\nnumber=0;\n")
            f.writelines("%d,%d;\n" % (i, 4095 - i) for i in range(4096))
        answer = self.s.post("/api/lut", {"port": port, "file": "invert.lut"})
        self.assertTrue(answer["ok"], answer)
        missing = self.s.post("/api/lut", {"port": port, "file": "missing.lut"})
        self.assertFalse(missing["ok"])
        self.assertIn("missing.lut", missing["message"])
        # An 8-bit pixel c sits at c << 4 on the 12-bit path; the table gives
        # 4095 - 16c, gray 8 keeps its top 8 bits: 255 - c.
        column = self.grab_columns(port, 1, "inverted", height)[0]
        first = 255 - column[0]
        self.assertEqual([255 - (first + r) % sim_height for r in range(height)], column)

    def test_configuration_round_trip_and_grabbed_frames(self):
        s = self.s
        port, height, sim_height = 1, 64, 40
        self.vertical_pattern(port, height, sim_height)
        self.assertTrue(s.post("/api/config/save", {"file": "grab.mcf"})["ok"])
        self.assertTrue(s.post("/api/set", {"port": port, "name": "FG_HEIGHT", "value": "32"})["ok"])
        self.assertTrue(s.post("/api/config/load", {"file": "grab.mcf"})["ok"])
        # The pictures continue the simulator's line stream: successive lines
        # count up modulo the generated height (the loaded height is back).
        for column in self.grab_columns(port, 2, "frame", height):
            self.assertEqual([(column[0] + r) % sim_height for r in range(height)], column)


class ServeStart(unittest.TestCase):
    def test_unusable_address_or_directory_fails_with_a_message(self):
        cases = [(["--listen", "127.0.0.1:99999"], 1, "ADDRESS:PORT"),
                 (["--listen", "[::1]"], 1, "ADDRESS:PORT"),
                 (["--listen", "192.0.2.1:0"], 1, "cannot listen on 192.0.2.1:0"),
                 (["--listen", "127.0.0.1:0", "--dir", "/no/such/directory"], 1, "/no/such/directory"),
                 (["--listen", "127.0.0.1:0", "--dir", "/etc/hostname"], 1, "is not a directory")]
        for args, status, message in cases:
            with self.subTest(args=args):
                r = subprocess.run([APPLETCTL, "serve"] + args, capture_output=True,
                                   text=True, timeout=60)
                self.assertEqual(status, r.returncode, r.stderr)
                self.assertIn("appletctl: serve", r.stderr)
                self.assertIn(message, r.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
