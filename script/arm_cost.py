#!/usr/bin/env python3
"""usage: arm_cost.py ARM64_BUILD ARM32_BUILD. Estimates what the filter's and the matrix's inner loops
take on devices' cores: compiles the library's files as those build folders do, looks for the loops in
the assembly and lets llvm-mca run them. All data is taken to lie in the first-level cache; what stands
around the loops isn't counted."""

import functools
import json
import pathlib
import re
import shlex
import subprocess
import sys

MHZ = 1800
BLOCK_FRAMES = 1536  # 32 ms at 48 kHz
BLOCK_CYCLES = MHZ * 1000 * 32
CORES = (("aarch64", "cortex-a53"), ("aarch64", "cortex-a55"), ("aarch64", "cortex-a72"),
         ("armv7a", "cortex-a9"), ("armv7a", "cortex-a57"))

# A stage at a number of channels: the file, which function its loop is in or inlined into, which of the
# loops there when ordered by their products, and how many products of vectors of four floats a block
# takes.
STAGES = (
    ("filter", 2, "zel_src_48k_block.cpp", r"direct", -1, BLOCK_FRAMES // 3 * 2 * 237 // 4),
    ("filter", 8, "zel_src_48k_block.cpp", r"folded", -1, BLOCK_FRAMES // 3 * 8 * 119 // 4),
    ("matrix", 2, "zel_channel_mixing.cpp", r"mix", -2, BLOCK_FRAMES * 2),
    ("matrix", 8, "zel_channel_mixing.cpp", r"mix", -1, BLOCK_FRAMES * 8 * 2),
)

PRODUCT = re.compile(r"fmul\s+v\d+\.4s|vmul\.f32\s+q|vmla\.f32\s+q")
SUM = re.compile(r"fadd\s+v\d+\.4s|vadd\.f32\s+q")
LABEL = re.compile(r"(\.L\w+):")
BRANCH = re.compile(r"\s(?:b|b\.\w+|b(?:eq|ne|hs|lo|hi|ls|ge|lt|gt|le|mi|pl)|cbn?z\s+\w+,|"
                    r"tbn?z\s+\w+, #\w+,)\s+(\.L\w+)")


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, **options).stdout


@functools.cache
def assembly(build, file):
    """Functions of the file, by their full names, each with its lines."""
    for entry in json.loads((build / "compile_commands.json").read_text()):
        if "/modules/" in entry["file"] and entry["file"].endswith("/" + file):
            words = shlex.split(entry["command"])
            words[words.index("-o") + 1] = "-"
            words[words.index("-c")] = "-S"
            text = run([*words, "-g0"], cwd=entry["directory"])
            parts = re.split(r"^(_Z\w+):.*\n", text, flags=re.M)
            names = run(["llvm-cxxfilt", *parts[1::2]]).splitlines()
            return dict(zip(names, (part.splitlines() for part in parts[2::2])))
    sys.exit(f"{build} does not compile {file}")


def innermost_loops(lines):
    """The instructions of each loop without another one inside."""
    labels, loops = {}, []
    for n, line in enumerate(lines):
        if label := LABEL.match(line):
            labels[label[1]] = n
        elif (branch := BRANCH.search(line)) and branch[1] in labels:
            loops.append((labels[branch[1]], n))
    for begin, end in loops:
        if not any(begin <= b and e <= end and (b, e) != (begin, end) for b, e in loops):
            yield [line for line in lines[begin:end + 1] if re.match(r"\s+[a-z]", line)]


def hot_loop(build, file, function, place):
    """Of the loops in functions with that name, the one at that place; several with as many products are
    one for each kind of sample."""
    loops = {}
    for name, lines in assembly(build, file).items():
        for loop in innermost_loops(lines) if re.search(function, name) else ():
            loops.setdefault(len(PRODUCT.findall("\n".join(loop))), loop)
    # The compiler makes vectors of other loops, too, with few of them.
    hot = sorted(products for products in loops if products >= 4)
    if len(hot) < -place:
        sys.exit(f"{file}: no loop with products of vectors in a function {function}")
    return loops[hot[place]]


def cycles_per_turn(loop, machine, core):
    # The 32-bit cores' models don't know vectors kept on the stack by these names.
    text = re.sub(r"v(ld|st)mia\s+(\w+), ({.*?})", r"v\g<1>1.32 \3, [\2]", "\n".join(loop))

    def total(turns):
        said = run(["llvm-mca", f"-mtriple={machine}-linux-gnu", f"-mcpu={core}", f"-iterations={turns}",
                    *(["-mattr=+neon"] if machine == "armv7a" else [])],
                   input=text, stderr=subprocess.DEVNULL)
        return int(re.search(r"Total Cycles:\s+(\d+)", said)[1])
    return (total(300) - total(100)) / 200


def main():
    builds = dict(zip(("aarch64", "armv7a"), map(pathlib.Path, sys.argv[1:3])))
    print(f"{'':14}{'':8}{'channels':>9}{'a turn':>9}{'limit':>7}{'a block':>9}"
          f"{f'of {MHZ / 1000} GHz':>12}")
    for machine, core in CORES:
        whole = {}
        for stage, channels, file, function, place, products in STAGES:
            loop = hot_loop(builds[machine], file, function, place)
            text = "\n".join(loop)
            in_turn = len(PRODUCT.findall(text))
            limit = in_turn + len(SUM.findall(text))
            turn = cycles_per_turn(loop, machine, core)
            block = turn * products / in_turn
            whole[channels] = whole.get(channels, 0) + block
            print(f"{core:14}{stage:8}{channels:9}{turn:9.1f}{limit:7}{block:9.0f}"
                  f"{block / BLOCK_CYCLES:12.2%}")
        for channels, block in whole.items():
            print(f"{core:14}{'both':8}{channels:9}{'':16}{block:9.0f}{block / BLOCK_CYCLES:12.2%}")


main()
