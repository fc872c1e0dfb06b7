#!/usr/bin/env python3
"""usage: android_bp_test.py PROJECT COMPILE_COMMANDS ARCH RELEASE. The device's build files against
CMake's: the same sources, the library's compiled with the same flags (in a release build, 1)."""

import json
import os
import pathlib
import re
import sys
import unittest

root = pathlib.Path(sys.argv[1])
compile_commands, arch, is_release = pathlib.Path(sys.argv[2]), sys.argv[3], sys.argv[4] == "1"


def read_blueprints(*paths):
    """The modules by their "name". But for the quotes of its members' names, a module is written as
    a Python value is."""
    text = re.sub("//.*", "", "\n".join(path.read_text() for path in paths))
    variables = {"true": True, "false": False, **dict(re.findall(r'^(\w+) = "(.*)"$', text, re.M))}
    found = [eval(re.sub(r"(\w+): ", r'"\1": ', module), variables)
             for module in re.findall(r"^\w+ (\{.*?^\})", text, re.M | re.S)]
    return {module["name"]: module for module in found if "name" in module}


modules = read_blueprints(root / "Android.bp", root / "android/Android.bp")

LIBRARY = "libzel_tinyalsa_format_converter_plugin"
# Not the library's own choice: what Soong sets itself, the build type's, and g++'s own.
LEFT_TO_SOONG = {
    "-O2", "-g", "-DNDEBUG", "-fPIC", "-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=2",
    "-fstack-protector-strong", "-Wno-restrict", "-Wno-free-nonheap-object",
    "-Dzel_tinyalsa_format_converter_plugin_EXPORTS"}


def cmake_compilations(targets="(plugin|converter|modules)/"):
    """Of each file of the library, or of other targets: its path, and the flags that change what is
    made or what is accepted."""
    for entry in json.loads(compile_commands.read_text()):
        if re.search(f" -o {targets}", entry["command"]):
            source = os.path.relpath(entry["file"], root)
            words = entry["command"].split()
            flags = {word for word in words if re.match("-[DUfmOgW]", word)} - LEFT_TO_SOONG
            yield source, flags


def all_of(module, name, arch=""):
    """What a module and its defaults list under a property, for that architecture."""
    own = modules[module]
    found = {*own.get(name, []), *own.get("arch", {}).get(arch, {}).get(name, [])}
    return found.union(*(all_of(defaults, name, arch) for defaults in own.get("defaults", [])))


def sources_of(module):
    """The files that a module's "srcs" stand for."""
    groups = all_of(module, "srcs")
    listed = [source for group in groups for source in modules[group.lstrip(":")]["srcs"]]
    return {str(path.relative_to(root)) for source in listed for path in root.glob(source)}


class AndroidBp(unittest.TestCase):
    def test_names_the_sources_that_cmake_compiles(self):
        library = {source for source, _ in cmake_compilations()}
        self.assertGreater(len(library), 20)
        self.assertEqual(sources_of(LIBRARY), library)

    @unittest.skipUnless(is_release, "this build has other flags")
    def test_compiles_with_the_flags_of_cmake(self):
        for source, flags in cmake_compilations():
            self.assertEqual(all_of(LIBRARY, "cflags", arch), flags, source)

    def test_makes_the_doctor_of_the_sources_that_cmake_takes(self):
        text = (root / "tools/CMakeLists.txt").read_text()
        own = re.search(r"add_executable\(zel_fc_doctor ([^)]*)\)", text)[1].split()
        self.assertEqual(sources_of("zel-fc-doctor"),
                         {os.path.normpath(f"tools/{source}") for source in own})

    def test_makes_the_tests_of_the_sources_and_with_the_calls_that_cmake_takes(self):
        targets = "tests/(converter|modules|support)/"
        tests = {source for source, _ in cmake_compilations(targets)}
        at_a_desk = {"tests/modules/coefficient_file_test.cpp", "tests/support/known_bad.cpp",
                     "tests/support/skipped_time.cpp"}
        self.assertEqual(sources_of("zel_fc_tests"),
                         sources_of("zel_fc_tests") & {s for s, _ in cmake_compilations()}
                         | tests - at_a_desk)
        text = "".join((root / f"tests/{folder}/CMakeLists.txt").read_text()
                       for folder in ("converter", "support"))
        calls = {*re.findall(r"--wrap=(\w+)", text),
                 *re.search(r"foreach\(call (pipe2.*)\)", text)[1].split()}
        self.assertEqual(all_of("zel_fc_tests", "ldflags"), {f"-Wl,--wrap={c}" for c in calls})

    def test_makes_the_fuzzer_of_the_sources_that_cmake_takes(self):
        # With the device's own tinyalsa, its utility and no tool.
        own = {source for source, _ in cmake_compilations("(tests/support/.*(log|folder)|fuzz/.*coef)")}
        library = {source for source, _ in cmake_compilations("(converter|modules)/")}
        self.assertEqual(sources_of("zel_fc_coefficient_file_fuzzer"),
                         (own | library) - {"fuzz/replay.cpp"})
        corpus = modules["zel_fc_coefficient_file_fuzzer"]["corpus"][0].lstrip(":")
        for pattern in modules[corpus]["srcs"]:
            self.assertTrue(list(root.glob(pattern)), pattern)

    def test_links_as_cmake_does(self):
        cmake = (root / "plugin/CMakeLists.txt").read_text()
        for flag in all_of(LIBRARY, "ldflags"):
            self.assertIn(flag, cmake)
        self.assertIn("-Wl,-z,nodelete", all_of(LIBRARY, "ldflags"))
        exports = modules[LIBRARY]["version_script"].lstrip(":")
        self.assertEqual(modules[exports]["srcs"], ["plugin/exports.map"])
        self.assertIn("-fexceptions", all_of(LIBRARY, "cppflags"))
        self.assertEqual(modules[LIBRARY]["compile_multilib"], "both")


unittest.main(argv=sys.argv[:1])
