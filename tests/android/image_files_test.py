#!/usr/bin/env python3
"""usage: image_files_test.py PROJECT. The files for the image against each other and against what the
library looks for."""

import pathlib
import re
import sys
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


unittest.main(argv=sys.argv[:1])
