#!/usr/bin/env python3
"""usage: doc_test.py [--write] ZEL_FC DOCUMENT. Runs the commands in a document's console blocks, from
the project's folder, and compares what they print with what stands there; --write replaces it."""

import os
import pathlib
import re
import subprocess
import sys

write = "--write" in sys.argv
zel_fc, document = [pathlib.Path(arg).resolve() for arg in sys.argv[1:] if arg != "--write"]
project = document.parent.parent
environment = {**os.environ, "PATH": f"{zel_fc.parent}:{os.environ['PATH']}", "LC_ALL": "C"}
commands = 0
wrong = []


def run(block):
    global commands
    commands += 1
    command = block.group(1)
    done = subprocess.run(["bash", "-c", command], cwd=project, env=environment, text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    fresh = f"```console\n$ {command}\n{done.stdout}```\n"
    if fresh != block.group(0):
        wrong.append(f"$ {command}\n{done.stdout}")
    return fresh


text = document.read_text()
fresh = re.sub(r"```console\n\$ (.*)\n(?:(?!```).*\n)*```\n", run, text)
if write:
    document.write_text(fresh)
elif wrong:
    print("differs from what is printed now:\n" + "\n".join(wrong))
for line in (project / "config/known-bad/expected.txt").read_text().splitlines():
    if line.startswith("#"):
        continue
    name, kinds = line.split("|")[0].strip(), line.split("|")[4]
    if f"config/known-bad/{name}: " not in fresh:
        wrong.append(f"{name} is not shown")
        print(wrong[-1])
    for kind in re.findall(r"(\w+)@", kinds):
        if f"| `{kind}` |" not in fresh:
            wrong.append(f"{kind} is not explained")
            print(wrong[-1])
print(f"{commands} commands")
sys.exit(1 if commands == 0 or (wrong and not write) else 0)
