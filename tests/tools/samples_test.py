#!/usr/bin/env python3
"""usage: samples_test.py ZEL_FC CONFIG_FOLDER. The sample coefficient files: clean, used for the streams
that they are made for, and computed as they say."""

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


def decision(kind, *stream):
    return check(config / f"voice_channel_{kind}_coef.json", "--card-channels", *stream)["decision"]


def rows_of(channels, layout, outputs):
    """The weights that the device takes from the default file, a row by output."""
    taken = decision("mixing", channels, "--card-layout", layout, "-c", outputs)
    return taken["matrix"] if taken["outcome"] == "entry" else [[]]


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

    def test_downmixes_keep_the_balance_and_reach_full_scale(self):
        minus3 = 0.5 ** 0.5
        # Gains relative to the front left channel's into the left output; FL is 1.
        for channels, layout, outputs, left in (
                (4, "4.0", 2, [1, 0, minus3, 0]),
                (6, "5.1", 2, [1, 0, minus3, 0, minus3, 0]),
                (8, "7.1", 2, [1, 0, minus3, 0, minus3, 0, minus3, 0]),
                (12, "7.1.4", 2, [1, 0, minus3, 0, minus3, 0, minus3, 0, 0.5, 0, 0.5, 0]),
                (2, "2.0", 1, [1, 1]),
                (6, "5.1", 1, [1, 1, 2 * minus3, 0, minus3, minus3]),
                (12, "7.1.4", 8, [1, 0, 0, 0, 0, 0, 0, 0, 0.5, 0, 0, 0])):
            rows = rows_of(channels, layout, outputs)
            largest = max(sum(map(abs, row)) for row in rows)
            # The file has six digits.
            self.assertAlmostEqual(largest, 1, delta=1e-5, msg=f"{layout} to {outputs}")
            for weight, gain in zip(rows[0], left, strict=True):
                self.assertAlmostEqual(weight / rows[0][0], gain, delta=1e-4, msg=layout)
        # Every bed channel of the widest matrix passes with the same gain.
        wide = rows_of(12, "7.1.4", 8)
        for channel in range(8):
            self.assertAlmostEqual(wide[channel][channel], 2 / 3, delta=1e-5)


unittest.main(argv=sys.argv[:1])
