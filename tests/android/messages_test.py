#!/usr/bin/env python3
"""usage: messages_test.py PROJECT. The table of messages against the log calls in the sources: each is
there, with its tag and level, and nothing else is."""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
failures = []

# `_OF`: in another operation's name, which comes first. `not_supported` logs what it is given.
CALL = re.compile(
    r"\b(?:ZEL_FC_LOG([EWIT])(?:\(|_OF\([^,]+,)|ZEL_LOG_PRINT(?:_OF)?\(|not_supported\(__func__,)")
# Up to the text, which is string literals that stand one after the other.
ARGUMENTS = re.compile(r'([^";]*)((?:"(?:[^"\\]|\\.)*"[ \n\\]*)+)')
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')
ROW = re.compile(r"\| `(.*)` \| ([EWDT])(?:, ([EWDT]))? \| .+ \|")


def tags_of(arguments, source):
    if "nullptr" in arguments:
        return [""]
    constant = re.search(r'kTag = "(\w+)"', source)
    if "kTag" in arguments and constant:
        return [constant[1]]
    # One function logs for both kinds of coefficient file.
    return ["zel_channel_mixing", "zel_channel_delay"] if " tag," in arguments else ["unknown tag"]


def logged():
    """Tag, level and text of every call."""
    for folder in ("plugin", "converter", "modules"):
        for path in (root / folder).rglob("*"):
            if path.suffix not in (".cpp", ".h") or path.name in ("zel_log.h", "zel_fc_log.h"):
                continue
            source = path.read_text()
            for call in CALL.finditer(source):
                found = ARGUMENTS.match(source, call.end())
                if found and found[2].strip() == '"%s"' and source[found.end() :].startswith(", missing"):
                    continue
                if not found or found[2].strip() == '"%s"':
                    line = source.count("\n", 0, call.start()) + 1
                    failures.append(f"{path}:{line}: the text must stand at the call")
                    continue
                text = "".join(LITERAL.findall(found[2]))
                if call[1]:
                    yield "zel_tinyalsa_format_converter", call[1].replace("I", "D"), text
                    continue
                if call[0].startswith("not_supported"):
                    yield "zel_tinyalsa_format_converter", "E", text
                    continue
                priority = re.search("ANDROID_LOG_(.)", found[1])
                for tag in tags_of(found[1], source):
                    yield tag, priority[1], text


def documented():
    """Tag, level and text of every row."""
    tags = []
    for line in (root / "android/messages.md").read_text().splitlines():
        row = ROW.fullmatch(line)
        if line.startswith("## "):
            tags = re.findall(r"`(\w+)`", line) or [""]
        elif row:
            for tag in tags:
                for level in filter(None, row.group(2, 3)):
                    yield tag, level, row[1]
        elif line.startswith("| `"):
            failures.append(f"no row: {line}")


calls, rows = set(logged()), list(documented())
failures += [f"twice: {row}" for row in set(rows) if rows.count(row) > 1]
failures += [f"not in android/messages.md: {call}" for call in sorted(calls - set(rows))]
failures += [f"nowhere logged: {row}" for row in sorted(set(rows) - calls)]
if len(calls) <= 200:
    failures.append(f"only {len(calls)} messages are found")
print(f"{len(calls)} messages", *failures, sep="\n")
sys.exit(1 if failures else 0)
