#!/usr/bin/env python3
"""usage: image_files_test.py PROJECT [BUILD_DIR]. The files for the image against each other and against
what the library looks for, and what the page about the device shows against a build's."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
from xml.etree import ElementTree

root = pathlib.Path(sys.argv[1])


def content(path):
    return (root / path).read_text()


# The paths that the library falls back to, as its source names them.
default_paths = set(re.findall(r'"(/vendor/[^"]*)"',
                               content("converter/zel_card_names.h")))


class ImageFiles(unittest.TestCase):
    def test_product_copies_files_that_are_there_to_where_they_are_looked_for(self):
        copies = re.findall(r"\$\(ZEL_FC_PATH\)(\S+):\$\(TARGET_COPY_OUT_VENDOR\)(\S+)",
                            content("android/zel_format_converter.mk"))
        for source, _ in copies:
            self.assertTrue((root / source.lstrip("/")).exists(), source)
        self.assertEqual(len(default_paths), 2)
        self.assertLessEqual(default_paths, {"/vendor" + target for _, target in copies})

    def test_card_definition_says_what_tinyalsa_asks_for(self):
        library = "libzel_tinyalsa_format_converter_plugin.so"
        card = ElementTree.parse(root / "android/card-defs.xml").find("card")
        for path, text in {"id": "70", "pcm-device/id": "70", "pcm-device/type": "1",
                           "pcm-device/so-name": library, "pcm-device/props/capture": "1",
                           "pcm-device/props/playback": "0", "mixer/type": "1",
                           "mixer/so-name": library}.items():
            self.assertEqual(card.findtext(path), text, path)

    def test_policy_labels_the_coefficient_files_so_that_every_process_may_read_them(self):
        label = re.search(r"(/\S+) +u:object_r:vendor_configs_file:s0",
                          content("android/sepolicy/file_contexts"))
        for path in default_paths:
            self.assertTrue(re.fullmatch(label[1], path), path)
            self.assertTrue(re.fullmatch(label[1], "/system" + path), path)

    @unittest.skipIf(len(sys.argv) < 3, "this build's programs don't run here")
    def test_page_shows_what_a_stream_logs_and_how_a_tinyalsa_with_plugins_is_known(self):
        page, build = content("android/README.md"), pathlib.Path(sys.argv[2])
        with tempfile.TemporaryDirectory() as folder:
            log = subprocess.run([build / "bin/zel-fc", "capture", f"{folder}/a.wav", "--fast",
                                  "--seconds", "0.1"], capture_output=True, text=True).stderr
        shown = re.findall(r"^(\w+) +:nnnn (.*)$", page, re.M)
        self.assertGreater(len(shown), 10)
        for function, text in shown:
            text = re.escape(text.replace(" ...", "")).replace("0x10000000", "0x[0-9a-f]+")
            line = re.search(rf"{function} +:\d+ " + text.replace("/vendor/tvconfig/config/voc", ".*"), log)
            self.assertTrue(line, f"{function}: {text} in\n{log}")
            log = log[line.end():]
        command = re.search(r"^(grep -c .*) /vendor/lib64/libtinyalsa.so$", page, re.M)[1]
        library = build / "lib/libtinyalsa.so"
        if library.exists():
            self.assertEqual(subprocess.check_output(f"{command} {library}", shell=True), b"1\n")


unittest.main(argv=sys.argv[:1])
