#!/usr/bin/env python3
"""usage: command_test.py ZEL_FC CONFIG_FOLDER CLASS. What the tool writes and prints, and how it refuses."""

import json
import os
import pathlib
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

zel_fc, config = sys.argv[1], pathlib.Path(sys.argv[2])
os.environ["ZEL_VOICE_CONFIG_DIR"] = str(config)
mixing_file = config / "voice_channel_mixing_coef.json"
scratch = tempfile.TemporaryDirectory()
folder = pathlib.Path(scratch.name)
out, again, loud = folder / "out.wav", folder / "again.wav", folder / "loud.json"
loud.write_text(json.dumps({"MixingCoefficientEnable": True, "MixingWeighting": [{
    "InputChannel": 2, "InputChannelLayout": "2.0", "OutputChannel": 2, "Parameters": [9, 0, 0, 9]}]}))


class Command(unittest.TestCase):
    def run_tool(self, code, *words, text="", **more):
        """The run must end with `code` and say `text`."""
        command = [word if isinstance(word, bytes) else str(word) for word in (zel_fc, *words)]
        done = subprocess.run(command, stdout=more.pop("stdout", subprocess.PIPE),
                              stderr=subprocess.PIPE, timeout=120, **more)
        self.out = (done.stdout or b"").decode(errors="surrogateescape")
        self.err = done.stderr.decode(errors="surrogateescape")
        self.assertEqual(done.returncode, code, f"{words}\n{self.out}{self.err}")
        self.assertIn(text, self.out + self.err, words)
        return self.out

    def json(self, code, *words, **more):
        return json.loads(self.run_tool(code, *words, "--json", **more))

    def expect_size(self, path, frames, frame_bytes):
        self.assertIn(path.stat().st_size - frames * frame_bytes, range(44, 145), path)


class Capture(Command):
    def test_length_format_and_changes_of_the_card(self):
        self.run_tool(0, "capture", out, "--fast", "-s", 10, text="160000 frames, 10.000 s")
        self.assertIn("timestamp gaps: 0   overruns: 0   frames lost: 0", self.out)
        # Every line of a message has the log's own beginning.
        self.assertRegex(self.err, r"(?m)^D/zel_tinyalsa_format_converter\( *\d+\): +channel_mixing 1$")
        self.expect_size(out, 160000, 4)
        self.run_tool(0, "capture", out, "--fast", "-s", 1, "-r", 48000, "-c", 8, "-b", 32)
        self.expect_size(out, 48000, 32)
        head = out.read_bytes()[:60]
        self.assertEqual(head[40:44], b"\x3f\x06\0\0", "where the channels are: 7.1")
        self.run_tool(0, "capture", out, "-s", 0.5, "--card-channels", 2, "--card-layout", "2.0",
                      text="8000 frames")
        got = self.json(0, "capture", out, "--fast", "-s", 3, "-q", "--change",
                        "2:PCM Slave Format=2", "--change", "1:PCM Slave Channels=6", "--change",
                        "1.5:Loopback Tuning=01ff", "--change", "9:FC log level=All")
        self.assertEqual((got["frames"], got["restarts"], len(got["levels"])), (48000, 2, 2))
        self.assertEqual([event.split(": ")[1] for event in got["events"]], [
            "PCM Slave Channels = 6", "the capture was restarted", "Loopback Tuning = 01ff",
            "PCM Slave Format = 2", "the capture was restarted"])
        self.assertEqual(got["chain"]["card"]["word_bits"], 16)
        self.assertIn('"FC log level=All" was not made', self.err)

    def test_refuses_before_anything_is_written(self):
        out.write_text("kept")
        for change, why in (("1:Volume=3", '": no such'), ("9:FC log level=Loud", "not one of"),
                            ("9:PCM Slave Channels=99", "refuses"), ("soon:Volume=3", "SECONDS:"),
                            (f"9:Loopback Calibration={'1' * 16}", "more than 15 characters"),
                            ("9:Loopback Volume=101", "refuses 101, it takes 0 to 100"),
                            (f"9:FC mixing coef file={out}", "would overwrite"),
                            (f"0:Sim WAV File={out}", "would overwrite")):
            self.run_tool(1, "capture", out, "--fast", "--change", change, text=why)
        for code, why, *words in (
                (1, "--bits", "--bits", 24), (1, "--rate", "--rate", 8000),
                (1, "--wav", "--wav", "/nowhere.wav"), (2, "card 70", "--channels", 9),
                (2, '"PCM Channel Layout": "3.0" is not one of 1.0, ', "--card-layout", "3.0"),
                (2, "ask for -r 44100, or resample", "--card-rate", 44100),
                (1, "--seconds", "--seconds"), (1, "nan is not from", "--seconds", "nan")):
            self.run_tool(code, "capture", out, "--fast", *words, text=why)
        self.assertEqual(out.read_text(), "kept")
        self.run_tool(4, "capture", "/nowhere/out.wav", text="/nowhere/out.wav")

    def test_an_interrupt_leaves_what_the_summary_says(self):
        out.unlink(missing_ok=True)
        with subprocess.Popen([zel_fc, "capture", out, "-s", "60", "-c", "3", "--json"],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as tool:
            while not out.exists() or out.stat().st_size < 100000:
                time.sleep(0.05)
            tool.send_signal(signal.SIGINT)
            got = json.loads(tool.stdout.read())
        self.assertEqual(tool.returncode, 0)
        self.assertTrue(got["interrupted"])
        self.expect_size(out, got["frames"], 6)


class Convert(Command):
    def setUp(self):
        self.run_tool(0, "capture", out, "--fast", "-s", 1)

    def test_plays_and_counts_what_is_lost(self):
        got = self.json(0, "convert", out, again, "--delay", "none", "--mixing", "none")
        self.assertEqual((got["in"]["frames"], got["chain"]["card"]["rate"]), (16000, 16000))
        self.assertEqual(got["chain"]["delay"], {"in_use": "bypass", "file": "none"})
        self.assertEqual(again.read_bytes()[44:][:64000], out.read_bytes()[44:])
        self.assertEqual(self.err, "")
        for weights, overloads in ((mixing_file, False), (loud, True)):
            for command in (["capture", again, "--fast", "-s", 1, "-q", "--wav", out],
                            ["convert", out, again]):
                got = self.json(0, *command, "--mixing", weights)
                self.assertEqual(got["overloads"] > 1000, overloads, (command, weights))
                self.assertEqual("mixed samples are beyond" in self.err, overloads)
        broken = folder / "broken.json"
        broken.write_text("{")
        self.run_tool(0, "convert", out, again, "--tail", 0, "--mixing", loud, "--delay", broken,
                      text="the delay file is not in use (delay coefficient file")
        self.assertNotIn("the mixing file", self.err)
        played = struct.iter_unpack("<h", out.read_bytes()[44:])
        got = [sample for sample, in struct.iter_unpack("<h", again.read_bytes()[44:])]
        self.assertEqual(got[:32000], [(9 * sample + 32768) % 65536 - 32768 for sample, in played])
        self.run_tool(0, "convert", out, again, "--tail", 0, text="the output is silent",
                      env=os.environ | {"ZEL_VOICE_CONFIG_DIR": "/nowhere"})
        self.assertFalse(any(again.read_bytes()[44:]))
        with out.open("rb") as pipe:
            wav = bytearray(pipe.read())
        wav[40:44] = b"\x00\xf0\xff\x7f"  # the size that a writer into a pipe leaves
        got = json.loads(subprocess.run(
            f"cat | '{zel_fc}' convert - '{again}' --json", shell=True, input=bytes(wav),
            stdout=subprocess.PIPE, check=True).stdout)
        self.assertEqual(got["in"]["frames"], 16000)
        self.run_tool(0, "capture", again, "--fast", "-s", 0.1, "--card-layout", "5.1.2",
                      text="8 channels, 32-bit words, 48000 Hz, layout 5.1.2")

    def test_no_command_writes_onto_what_it_reads(self):
        mixing, same = folder / "m  n.json", folder / "same.wav"
        mixing.write_bytes(mixing_file.read_bytes())
        os.link(out, same)
        before = out.read_bytes()
        for words in (["capture", out, "--wav", out], ["convert", out, folder / "." / "same.wav"],
                      ["plot", "matrix", out, out.with_suffix(".svg")]):
            if words[0] == "plot":
                os.link(out, words[3])
            self.run_tool(1, *words, text="the output would overwrite")
        environment = os.environ | {"ZEL_LOOPBACK_CARD": f"Sim WAV File={out}"}
        self.run_tool(1, "capture", out, env=environment, text="the output would overwrite")
        for name in ("a.flac", "a.mp3", "-", "/dev/stdout"):
            self.run_tool(1, "convert", out, name, text=name + ": ")
        again.write_text("kept")
        self.run_tool(2, "convert", __file__, again, text="Format not recognised")
        self.run_tool(2, "convert", "/dev/null", again, text="/dev/null: no audio in it")
        self.run_tool(1, "convert", out, again, "--tail", "nan", text="nan is not from 0 to 60")
        self.run_tool(2, "convert", out, again, "-c", 9, text="channel num 9 out of limit 8")
        self.assertEqual((out.read_bytes(), again.read_text()), (before, "kept"))

    def test_an_interrupt_is_told_and_a_full_disk_too(self):
        again.unlink(missing_ok=True)
        with subprocess.Popen([zel_fc, "convert", out, again, "--tail", "60", "--json"],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as tool:
            while not again.exists():
                time.sleep(0.001)
            tool.send_signal(signal.SIGINT)
            got = json.loads(tool.stdout.read() or b"{}")
        self.assertEqual(tool.returncode, 3)
        self.assertTrue(got.get("interrupted", True), "nothing is told before the first block")
        for words in (["capture", again, "--fast", "-s", 2], ["convert", out, again, "--tail", 9]):
            def small_disk():
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
                resource.setrlimit(resource.RLIMIT_FSIZE, (16384, 16384))
            self.run_tool(4, *words, preexec_fn=small_disk, text="again.wav: File too large")
        for words in (["capture", again, "--fast", "-s", 0.1], ["convert", out, again, "--json"],
                      ["info"], ["controls"], ["check", "--json", mixing_file], ["--help"],
                      ["plot", "filter", folder / "plot.svg"]):
            with open("/dev/full", "wb") as full:
                self.run_tool(4, *words, stdout=full, text="standard output: No space left")


class Check(Command):
    def test_samples_are_clean_and_used(self):
        samples = sorted([*config.glob("*.json"), *config.glob("samples/*.json")])
        self.assertGreaterEqual(len(samples), 5)
        for report in self.json(0, "check", *samples)["files"]:
            self.assertTrue(report["kind"] != "unknown" and not report["findings"], report)

    def test_reports_and_refuses(self):
        delay, bad = config / "voice_channel_delay_coef.json", config / "known-bad"
        for code, text, *words in (
                (0, "16 entries, no problems", mixing_file, delay),
                (0, " 5 BR           5       80", delay, "--card-channels", 6, "--card-rate", 16000),
                (5, "syntax_comment.json:4:8: error: ", mixing_file, bad / "mixing/syntax_comment.json"),
                (3, "client hears silence", "/nowhere/mixing.json", "--card-channels", 6),
                (3, "no delay (bypass)", bad / "delay/disabled.json", "/nowhere/delay.json",
                 "--card-channels", 6),
                (5, "unknown_kind", config.parent / "CMakePresets.json"),
                (1, "file"),
                (1, "no channel count", mixing_file, "--card-layout", "stereo")):
            self.run_tool(code, "check", *words, text=text)
        self.run_tool(5, "check", bad / "mixing/weight_count.json", "--card-layout", "5.1")
        self.assertEqual((self.err, "search_coefficient" in self.out), ("", False), "the log is held back")


class New(Command):
    def entries(self, *words, code=0, **more):
        text = self.run_tool(code, "new", *words, **more)
        return next(iter(reversed(json.loads(text or '{"": []}').values())))

    def test_downmixes_are_those_of_the_samples(self):
        for sample in json.loads(mixing_file.read_text())["MixingWeighting"]:
            layout, outputs = sample["InputChannelLayout"], sample["OutputChannel"]
            made, = self.entries("mixing", "--card", layout, "--to", outputs, "--normalise",
                                 text="gains: ITU-R BS.775")
            if (layout, outputs) != ("1.0", 2):  # mono in both at 0 dB
                for weight, wanted in zip(made["Parameters"], sample["Parameters"], strict=True):
                    self.assertAlmostEqual(weight, wanted, delta=2e-6, msg=(layout, outputs))

    def test_gains_tables_and_distances(self):
        made, = self.entries("mixing", "--card", "5.1", "--gain", "FC=-6dB", "--gain", "BL,LFE=50%",
                             text="the weights of output 1 FR add up to 2.70829")
        self.assertEqual(made["Parameters"], [1, 0, .501187, .5, .5, 0, 0, 1, .501187, .5, 0, .707107])
        table = folder / "weights.csv"
        for text, unit, wanted in (("0,5;0\n0;1", "factor", [.5, 0, 0, 1]), ("-6,0206\t0\n0\t-inf\r\n",
                                   "db", [.5, 1, 1, 0]), ("\ufeff50,0\n\n0,100\n", "percent", [.5, 0, 0, 1]),
                                   ("-6\t0\n0\t-20", "db", [.501187, 1, 1, .1]),
                                   ("1,0", "factor", None), ("1,x\n0,1", "factor", None)):
            table.write_text(text)
            words = ["mixing", "--card", "2.0", table, "--unit", unit]
            got = self.entries(*words, code=0 if wanted else 1, text="" if wanted else "weights.csv: ")
            self.assertEqual(got and got[0]["Parameters"], wanted or got, text)
        table.write_text("50,0\n0,100\n")
        self.run_tool(1, "new", "mixing", "--card", "2.0", table, text="in which unit?")
        made, = self.entries("delay", "--card", "4.0", "--metres", "3,3,1.7,2.88", text="channel 3 BR: "
                             "0.35 ms becomes 0, off by 12 cm")
        self.assertEqual((made["InputChannel"], made["Parameters"]), (4, [0, 0, 4, 0]))
        for words, why in ((["delay", "--card", "5.1", "--ms", "1,2"], "2 values for 6 channels"),
                           (["delay", "--card", "2.0", "--ms", "1,20000"], "nothing is written"),
                           (["delay", "--card", "2.0", "--metres", "1,-1"], "-1 is not from 0"),
                           (["mixing", "--card", "5.1", "--gain", "XY=1"], "no channel XY; there are FL"),
                           (["mixing", "--card", "9.9"], "of layout 9.9, or"),
                           (["mixing", "--card", "x"], "no layout such as"),
                           (["mixing", "--card", "5.1", "--gain", "FC"], "is no gain such as -3dB"),
                           (["mixing", "--card", "5.1", "--gain", "FC=1e999"], '"1e999" is no gain'),
                           (["mixing", "--card", "5.1", "--gain", "FC=nandB"], '"nandB" is no gain')):
            self.run_tool(1, "new", *words, text=why)

    def test_an_entry_goes_where_the_device_finds_it_or_nowhere(self):
        path = folder / "m.json"
        self.run_tool(0, "new", "mixing", "--card", "7.1", "--normalise", "-o", path,
                      text=f"-c 2 --card-layout 7.1 --delay none --mixing {path}")
        link, beside = folder / "link.json", folder / "m.json.new"
        beside.write_text("kept")
        link.symlink_to(path)
        path.chmod(0o600)
        for layout in ("5.1.2", "5.1", "5.1.4"):
            self.run_tool(0, "new", "mixing", "--card", layout, "--normalise", "--into", link)
        self.assertEqual((link.is_symlink(), path.stat().st_mode & 0o777), (True, 0o600))
        text = path.read_text().replace('"InputChannel": 6', '"InputChannel": 8')
        path.write_text(text.replace('"5.1"', '"5"'))
        self.run_tool(5, "check", path, text='layout "5.1.2" of entry 1')
        path.write_text(text[:text.index(",\n    {")] + "\n  ] }")
        for layout, where in (("5.1.2", 1), ("7.1.2", 2), ("5.1.2", None)):
            code = 0 if where else 1
            self.run_tool(code, "new", "mixing", "--card", layout, "--normalise", "--into", path,
                          text="" if where else ":13: there is an entry for this stream already")
        before = path.read_text()
        path.write_text(before.replace("true", "1"))
        self.run_tool(1, "new", "mixing", "--card", "5.1", "--into", path, text="nothing is written")
        self.run_tool(1, "new", "delay", "--card", "2.0", "--ms", "1,2", "-o", path, text="no delay entries")
        self.run_tool(4, "new", "mixing", "--card", "5.1", "-o", "/nowhere/m.json", text="No such file")
        self.assertEqual((sorted(folder.glob("*.new*")), beside.read_text()), ([beside], "kept"))


class Output(Command):
    def test_info(self):
        got = self.json(0, "info", "--card-channels", 6, "--card-layout", "5.1")
        self.assertEqual([len(row) for row in got["matrix"]], [6, 6])
        self.assertEqual(got["delay_frames"], [48, 48, 96, 0, 240, 240])
        self.assertEqual(got["chain"]["stages"], {"truncation": True, "delay": True, "mixing": True,
                                                  "rate_conversion": True, "padding": False})
        odd = os.fsencode(folder) + b"/a  b\xff.json"
        pathlib.Path(os.fsdecode(odd)).write_bytes(mixing_file.read_bytes())
        got = json.loads(self.run_tool(0, "info", "--json", "--mixing", odd))
        self.assertTrue(got["mixing_file"].endswith("a  b\ufffd.json"))
        self.run_tool(0, "plot", "matrix", odd, folder / "plot.svg")
        self.assertIn("a  b\ufffd.json", (folder / "plot.svg").read_text())
        got = self.json(0, "info", "-c", 3)
        self.assertEqual(got["chain"]["mixing"], {
            "in_use": "identity", "file": got["mixing_file"],
            "reason": "8(7.1) => 3 mixing coefficient not found"})
        self.assertEqual(got["matrix"], [[int(i == o) for i in range(8)] for o in range(3)])
        self.assertIn("-r 16000", self.json(0, "info", "-r", 32000)["chain"]["warnings"][0])
        got = self.json(2, "info", "--card-rate", 44100)
        self.assertFalse(got["opens"] or got["chain"])
        self.assertIn("ask for -r 44100", got["reason"])
        self.assertIn("the library says: sample rate is not 16 48Khz", self.err)
        environment = {k: v for k, v in os.environ.items() if k != "ZEL_VOICE_CONFIG_DIR"}
        self.run_tool(0, "info", env=environment, text="mixing: file of")

    def test_controls(self):
        got = self.json(0, "controls")
        self.assertEqual(got[0]["value"], f"{config}/voice_channel_delay_coef.json")
        self.assertEqual(got[2], {
            "number": 2, "name": "FC log level", "type": "ENUM", "count": 1, "value": "Info",
            "items": ["None", "Fatal", "Error", "Warn", "Info", "Trace", "All"]})
        self.assertEqual((got[3]["value"], got[3]["max"]), ([100, 100], 100))
        self.run_tool(0, "controls", text="100 100  (0 to 100)")
        self.run_tool(2, "controls", "--card", 5, text="cannot open the mixer of card 5")

    def test_pictures_and_help(self):
        svg = folder / "plot.svg"
        self.run_tool(0, "plot", "filter", svg, text="plot.svg")
        self.run_tool(0, "plot", "matrix", mixing_file, svg)
        self.assertEqual(svg.read_text().count("-12.9</text>"), 6)
        for text in (mixing_file.name, "3 LFE", "client 1 FR", "sum"):
            self.assertIn(text + "</text>", svg.read_text())
        self.run_tool(0, "plot", "matrix", __file__, svg, text="the mixing file is not in use")
        self.assertIn("not of the file: the identity matrix", svg.read_text())
        self.run_tool(0, "--version", text="zel-fc 1.")
        self.run_tool(1, "chek", text="  convert   Convert a WAV file")
        self.run_tool(0, "help", "convert", text="--tail")
        self.assertIn("Usage: zel-fc convert", self.out)


unittest.main(argv=sys.argv[:1] + sys.argv[3:])
