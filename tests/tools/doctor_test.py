#!/usr/bin/env python3
"""usage: doctor_test.py ZEL_FC FAULTY_DOCTOR ODD_FOLDER CONFIG_FOLDER EMULATED CLASS. Each check of the
doctor fails once; EMULATED is 1 where an emulator translates the first blocks for longer than the card
keeps them."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

zel_fc, doctor, odd, config = sys.argv[1:5]
emulated = sys.argv[5] == "1"
os.environ["ZEL_VOICE_CONFIG_DIR"] = config
scratch = tempfile.TemporaryDirectory()
folder = pathlib.Path(scratch.name)
library = "libzel_tinyalsa_format_converter_plugin.so"
MARK = b"format converter of card 70, version "
clock, refusing = {"ZEL_LOOPBACK_CARD": "Sim Pacing=Clock"}, {"ZEL_LOOPBACK_CARD": "Sim Fault Open=1000"}


def fault(name, **more):
    return {"ZEL_FAULT": name, **more}


def loader(path):
    return {"LD_LIBRARY_PATH": f"{path}:{os.environ.get('LD_LIBRARY_PATH', '')}"}


def card_defs(odds):
    return {"ZEL_ODD_CARDS": odds, **loader(f"{odd}/cards")}


def files(path):
    return {"ZEL_VOICE_CONFIG_DIR": str(path)}


def setting(text):
    return {"ZEL_LOOPBACK_CARD": text}


class Doctor(unittest.TestCase):
    def run_doctor(self, *words, program=(doctor,), **variables):
        """Its rows by their checks, each (result, "SEEN > REMEDY")."""
        self.done = subprocess.run([*program, *words], env=os.environ | variables, text=True,
                                   capture_output=True, timeout=60)
        self.rows, last = {}, None
        for line in self.done.stdout.splitlines():
            row = re.match(r"(ok|warning|FAILED|-) +(.{16}) (.*)", line)
            if row:
                last = row[2].strip()
                self.rows[last] = (row[1], row[3])
            elif re.match(" +> ", line):
                self.rows[last] = (self.rows[last][0], f"{self.rows[last][1]} {line.strip()}")
        return self.done.returncode

    def shows(self, result, check, text, variables={}, *words):
        """The row, of a run that ends with 5 where something failed, else with 0. A loaded machine
        loses audio or opens late, and the doctor says so: one run in six must be on time."""
        # What fails anyway needn't take its time.
        fast = {"ZEL_LOOPBACK_CARD": "Sim Pacing=Fast"} if result == "FAILED" else {}
        pattern = ".*".join(map(re.escape, text.split(".*")))
        for _ in range(6):
            code = self.run_doctor(*words, **{**fast, **variables})
            got, seen = self.rows.get(check, ("", ""))
            if (code, got) == (5 if result == "FAILED" else 0, result) and re.search(pattern, seen):
                return
        self.fail(f"{check}: no {result} {text}\n{self.done.stdout}{self.done.stderr}")


class Whole(Doctor):
    def test_both_programs_and_json(self):
        # An emulated program cannot start another.
        for program in ([doctor],) if emulated else ([zel_fc, "doctor"], [doctor]):
            for _ in range(6):
                self.run_doctor(program=program)
                good = [check for check, (result, seen) in self.rows.items() if result == "ok" or (
                    emulated and check == "timestamps" and "by 32.0 ms " in seen)]
                if len(good) == 18:
                    break
            self.assertEqual((len(good), len(self.rows)), (18, 18), self.done.stdout)
            self.assertRegex(self.done.stdout, "Card 70 works here: 0 of 18 checks failed, [01] warning")
        self.run_doctor("--json")
        told = json.loads(self.done.stdout)
        self.assertTrue(told["works"] and len(told["checks"]) == 18, told)
        self.shows("ok", "mixing file", "entry 11: 8 channels (7.1) to 2")
        self.shows("ok", "open", "48000 Hz, 8 channels, 32 bits", {}, "--rate", "48000", "-c8", "-b", "32")
        for words in (["-c", "0"], ["--bits", "24"], ["-c"], ["--all"], ["-c", "2", "mixing.json"]):
            self.assertEqual((self.run_doctor(*words), "usage: " in self.done.stderr), (1, True), words)
        self.run_doctor("--version")
        version = self.done.stdout.replace("-doctor", "")
        self.run_doctor("--version", program=[zel_fc])
        self.assertEqual(version, self.done.stdout)

    def test_a_check_that_ends_or_stays_away_is_told_like_one(self):
        self.shows("FAILED", "end", "crashes: Aborted", fault("crash"))
        self.assertEqual(self.run_doctor("--json", ZEL_FAULT="hang"), 5)
        self.assertIn("gives no answer in 10 s", json.loads(self.done.stdout)["checks"][-1]["seen"])


class Loading(Doctor):
    def test_tinyalsa_and_its_definitions(self):
        self.shows("FAILED", "tinyalsa", "loads no plugins", fault("no_plugins"))
        self.assertEqual([result for result, _ in self.rows.values()].count("-"), 12)
        for odds, text in (("open=70", "card 70 is not defined"), ("pcm=", "card 70 has no PCM device 70"),
                           ("mixer=", "card 70 has no mixer"), ("type=0", "of type 0, not 1"),
                           ("capture=0", "does not capture"), ("so-name=libother.so", "names libother.so")):
            self.shows("FAILED", "card definition", text, card_defs(odds))
        parser = folder / "libsndcardparser.so"
        parser.write_text("no library")
        self.shows("FAILED", "card definition", "libsndcardparser.so", loader(folder))
        shutil.copy(f"{odd}/bare/{library}", parser)
        self.shows("FAILED", "card definition", "ops > That file is no", loader(folder))
        self.shows("FAILED", "voice utility", 'no capture device "Loopback Capture_I2S"', card_defs("open=0"))
        self.run_doctor("capture", f"{folder}/none.wav", "-q", program=[zel_fc], **card_defs("open=0"))
        self.assertEqual(self.done.returncode, 2, "no simulated card is no crash")

    def test_the_library(self):
        self.run_doctor("-r", "48000")
        true_library = pathlib.Path(self.rows["library"][1])
        self.shows("FAILED", "other programs", f"parser.so > export LD_LIBRARY_PATH={true_library.parent}",
                   fault("no_definitions"))
        self.assertEqual(self.rows["mixer of card 70"][0], "ok")
        none = f"{folder}/{library}"
        self.shows("FAILED", "library", none, card_defs(f"so-name={none}"))
        self.shows("FAILED", "library", none, card_defs(f"mixer-so={none}"))
        self.shows("FAILED", "library", "exports no res_coeff", card_defs(f"so-name={odd}/bare/{library}"))
        self.assertEqual(self.rows["version"][0], "warning")
        self.assertIn("the library's file does not tell it", self.rows["version"][1])
        marked = folder / "marked" / library
        marked.parent.mkdir()
        for check, result, text, other, numbers in (
                ("version", "FAILED", "table has 12 operations", {}, (12, 1, 6)),
                ("control numbers", "FAILED", '"PCM Slave Active" is number 1, the library watches 3', {},
                 (16, 3, 8)),
                ("control numbers", "ok", '"PCM Slave Active" is number 3; ', fault("numbers"), (16, 3, 8))):
            content = bytearray(true_library.read_bytes())  # as another build's, by its mark
            at = content.index(MARK) + 48
            content[at:at + 12] = b"".join(n.to_bytes(4, sys.byteorder) for n in numbers)
            marked.write_bytes(content)
            self.shows(result, check, text, {**card_defs(f"so-name={marked}"), **other})


class Card(Doctor):
    def test_controls_and_rights(self):
        for check, text, name in (
                ("card controls", "Permission denied > See the log of the card", "card_mixer"),
                ("card controls", "Permission denied > See the row on rights", "card_mixer rights"),
                ("card controls", 'there is no "PCM Slave Rate"', "missing_control"),
                ("card controls", '"PCM Slave Channels" is enumerated, not integer', "kind"),
                ("card controls", "format 3", "format"),
                ("control numbers", '"PCM Channel Layout" is number 8, the library watches 6', "numbers"),
                ("mirroring", '"PCM Channel Layout" has no text for item 8', "item"),
                ("mirroring", '"Loopback Volume" is boolean', "boolean")):
            self.shows("FAILED", check, text, fault(name))
        self.assertEqual(self.rows["mixer of card 70"][0], "FAILED")
        self.shows("ok", "rights", "the card opens for user", fault("rights"))
        self.shows("FAILED", "rights", "/dev/snd/pcmC0D0c: Permission denied", {**fault("rights"), **refusing})

    def test_coefficient_files(self):
        mixing, delay = (folder / f"voice_channel_{kind}_coef.json" for kind in ("mixing", "delay"))
        self.shows("FAILED", "mixing file", "No such file .*export ZEL_VOICE_CONFIG_DIR=/", files(folder))
        self.assertEqual(self.rows["sound"][:1], ("warning",))
        shutil.copy(f"{config}/{delay.name}", delay)
        for text, told in (('{"a": ', "is not JSON"), ("{}" + " " * 2000000, "is larger than 1 MiB")):
            mixing.write_text(text)
            self.shows("warning", "mixing file", told, files(folder))
        self.shows("warning", "mixing file", "is disabled or has no entry for 8 channels (7.1) to 3", {},
                   "-c", "3")
        self.shows("warning", "delay file", "is disabled or has no entry for 11 channels",
                   setting("PCM Slave Channels=11"))
        delay.write_text(delay.read_text().replace("true", "false"))
        self.shows("warning", "delay file", "is disabled or has no", files(folder))


class Stream(Doctor):
    def test_opens_and_delivers(self):
        for result, check, text, variables in (
                ("FAILED", "open", "cannot set hw params.*zel-fc doctor --log", refusing),
                ("FAILED", "open", "> Process 4711 has the card's capture device", fault("busy", **refusing)),
                ("FAILED", "open", "at 44100 Hz is delivered at that rate alone",
                 setting("PCM Slave Rate=44100")),
                ("warning", "open", "16000 Hz, 2 channels, 16 bits, in ", fault("slow_open")),
                ("FAILED", "first block", "the card delivers nothing, for ", setting("Sim Pacing=Step")),
                ("FAILED", "first block", "only after pcm_prepare and pcm_start", fault("unstarted")),
                ("warning", "first block", "after ", setting("Sim Fault Stall=300")),
                ("FAILED", "timestamps", "they do not advance", fault("no_time")),
                # Halved for the library, and for its client.
                ("FAILED", "timestamps", "by 8.0 ms", fault("half_time", **clock)),
                ("warning", "timestamps", "too far", fault("lost_time")),
                ("ok", "timestamps", " to 37.0 ms)", fault("late_time"))):
            self.shows(result, check, text, variables)

    def test_sounds(self):
        # What the two formats make of the stream, as zel-fc info has it.
        of_48 = "of a card at 48000 Hz the converter makes 48000 or 16000 Hz"
        for result, check, text, variables, *words in (
                ("FAILED", "pace", "of audio in .* > The card's clock does not", fault("slow_card")),
                ("FAILED", "pace", "that for 8000 Hz: ask for -r 16000", clock, "-r", "8000"),
                ("FAILED", "sound", "the card stopped",
                 setting("Sim Pacing=Step;Sim Granted Frames=15360")),
                ("FAILED", "sound", f"peak .* > 50 % of each block is silence: {of_48}", clock,
                 "-r", "32000", "-b", "32"),
                ("FAILED", "sound", f"a second of silence > all blocks are silence: {of_48}", clock,
                 "-r", "32000"),
                ("warning", "sound", "play 48 dB down", setting("PCM Slave Format=6")),
                ("warning", "sound", "a second of silence", setting("Loopback Signal=Silence"))):
            self.shows(result, check, text, variables, *words)


unittest.main(argv=sys.argv[:1] + sys.argv[6:])
