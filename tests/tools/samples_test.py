#!/usr/bin/env python3
"""usage: samples_test.py ZEL_FC CONFIG_FOLDER. The sample coefficient files: clean, and used for the
streams that they are made for."""

import json
import pathlib
import subprocess
import sys
import unittest

zel_fc, config = sys.argv[1], pathlib.Path(sys.argv[2])
samples = sorted([*config.glob("*.json"), *config.glob("samples/*.json")])


def check(path, *stream):
    """What `zel-fc check` says of a file, for that stream."""
    done = subprocess.run([zel_fc, "check", "--json", *map(str, stream), path],
                          stdout=subprocess.PIPE)
    return json.loads(done.stdout)["files"][0]


class Samples(unittest.TestCase):
    def test_are_clean(self):
        self.assertGreaterEqual(len(samples), 5)
        for path in samples:
            report = check(path)
            self.assertIn(report["kind"], ("mixing", "delay"), path)
            self.assertEqual(report["findings"], [], path)
            self.assertTrue(report["entries"], path)
            for entry in report["entries"]:
                self.assertTrue(entry["reachable"] and entry["usable"], (path, entry))


unittest.main(argv=sys.argv[:1])
