#!/usr/bin/env python3
"""What `cmake --install` puts where, and programs of others built with it.

    tests/install/install_test.py TREE WORK_FOLDER [WORD...]

The tree is a native build tree. It is installed into the work folder, which is emptied, and then moved: whatever refers to
where it was built or installed first is found out. The examples are built in copies, as whoever installs the package would
build them, by CMake and by pkg-config, and play test media; what they count is compared with what the tool lists. With words
only those tests run whose name holds one of them.
"""

import collections
import json
import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

TREE, WORK = (Path(path).resolve() for path in sys.argv[1:3])
ROOT = Path(__file__).resolve().parents[2]
MEDIA = ROOT / "tests" / "media"
PREFIX = WORK / "moved"


def cached(name):
    return re.search(rf"^{name}:\w+=(.*)$", (TREE / "CMakeCache.txt").read_text(), re.M).group(1)


LIBRARIES = PREFIX / cached("CMAKE_INSTALL_LIBDIR")
DOCUMENTS = PREFIX / "share" / "doc" / "vantor-mkv"
TOOL = PREFIX / "bin" / "vantor-mkv"
CLEAN = {key: value for key, value in os.environ.items() if key not in ("LD_LIBRARY_PATH", "DESTDIR", "PKG_CONFIG_PATH")}


def run(*words, **options):
    return subprocess.run([*map(str, words)], check=True, text=True, stdout=subprocess.PIPE,
                          **({"env": CLEAN, "timeout": 300} | options)).stdout


def install():
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    # To where it is told at installation only, and under another root.
    run("cmake", "--install", TREE, "--prefix", "/first", env=CLEAN | {"DESTDIR": str(WORK / "root")})
    (WORK / "root" / "first").rename(PREFIX)


def build_with_cmake(name):
    source, tree = WORK / "sources" / name, WORK / "built" / name
    shutil.copytree(DOCUMENTS / "examples" / name, source, dirs_exist_ok=True)
    run("cmake", "-S", source, "-B", tree, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={PREFIX}",
        f"-DCMAKE_CXX_COMPILER={cached('CMAKE_CXX_COMPILER')}", "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror")
    run("cmake", "--build", tree)
    return tree / name


def build_with_pkg_config(name):
    package = CLEAN | {"PKG_CONFIG_PATH": str(LIBRARIES / "pkgconfig")}
    program = WORK / "built" / f"{name}-by-pkg-config"
    program.parent.mkdir(parents=True, exist_ok=True)
    flags = run("pkg-config", "--cflags", "--libs", "vantor-mkv", env=package).split()
    run(cached("CMAKE_CXX_COMPILER"), "-std=c++17", "-Wall", "-Wextra", "-Wpedantic", "-Werror",
        DOCUMENTS / "examples" / name / "main.cpp", "-o", program, *flags, f"-Wl,-rpath,{LIBRARIES}")
    return program


def listed(file, *options):
    """How many samples the tool lists, by stream."""
    counts = collections.Counter()
    for line in run(TOOL, "samples", *options, file).splitlines():
        record = json.loads(line)
        if record["type"] == "sample":
            counts[record["pin"] - 1] += 1
    return counts


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        install()

    def test_EverythingIsWhereTheConventionsWantIt(self):
        library = cached("CMAKE_INSTALL_LIBDIR")
        expected = ["bin/vantor-mkv", f"{library}/vantor-mkv/libvantormkv.so", f"{library}/vantor-mkv/libvantormkv-complete.so",
                    f"{library}/libvantor-mkv-host.so", f"{library}/libvantor-mkv-host.so.1",
                    f"{library}/pkgconfig/vantor-mkv.pc", f"{library}/cmake/VantorMkv/VantorMkvConfig.cmake",
                    f"{library}/cmake/VantorMkv/VantorMkvConfigVersion.cmake", "include/vantor-mkv/host.h",
                    "share/man/man1/vantor-mkv.1", "share/bash-completion/completions/vantor-mkv",
                    f"share/zsh/{cached('VANTOR_ZSH_FUNCTIONS')}/_vantor-mkv", "share/fish/vendor_completions.d/vantor-mkv.fish",
                    "share/doc/vantor-mkv/tool.md", "share/doc/vantor-mkv/CHANGELOG.md"]
        self.assertEqual([path for path in expected if not (PREFIX / path).is_file()], [])

    def test_NothingRefersToWhereItWasBuiltOrInstalled(self):
        places = [str(place).encode() for place in (TREE, ROOT, WORK, "/first/")]
        files = [path for path in PREFIX.rglob("*") if path.is_file()]
        self.assertGreater(len(files), 20)
        faults = [f"{path}: {place.decode()}" for path in files for place in places if place in path.read_bytes()]
        self.assertEqual(faults, [])
        self.assertEqual([path for path in PREFIX.rglob("*") if path.is_symlink() and os.path.isabs(os.readlink(path))], [])

    def test_TheToolFindsBothComponents(self):
        file = MEDIA / "avc_aac.mkv"
        self.assertGreater(sum(listed(file).values()), 0)
        self.assertGreater(sum(listed(file, "--complete").values()), 0)

    def test_TheToolSaysWhereItLookedForAComponent(self):
        alone = WORK / "alone" / "bin"
        alone.mkdir(parents=True)
        tool = shutil.copy(TOOL, alone)
        result = subprocess.run([tool, "info", MEDIA / "avc_aac.mkv"], env=CLEAN, text=True, stderr=subprocess.PIPE)
        self.assertEqual(result.returncode, 2)
        self.assertIn(str(WORK / "alone" / cached("CMAKE_INSTALL_LIBDIR") / "vantor-mkv"), result.stderr)
        # The one named is taken wherever it lies.
        component = LIBRARIES / "vantor-mkv" / "libvantormkv.so"
        run(tool, "info", "--component", component, MEDIA / "avc_aac.mkv")

    def test_TheLibraryExportsTheClassOfItsHeaderAndNothingElse(self):
        library = LIBRARIES / "libvantor-mkv-host.so.1"
        symbols = [line.split(maxsplit=2)[2] for line in run("nm", "-D", "-C", "--defined-only", library).splitlines()]
        versions = [symbol for symbol in symbols if symbol.startswith("VANTOR_MKV_HOST_")]
        self.assertEqual(versions, ["VANTOR_MKV_HOST_1"])
        foreign = [symbol for symbol in symbols if not re.match(r"vantor::Host::~?\w+\(|VANTOR_MKV_HOST_1$", symbol)]
        self.assertEqual(foreign, [])
        self.assertGreater(len(symbols), 15)
        self.assertIn("[libvantor-mkv-host.so.1]", run("readelf", "-d", library))

    def test_EveryHeaderCanBeIncludedByItself(self):
        headers = sorted(path.name for path in (PREFIX / "include" / "vantor-mkv").glob("*.h"))
        flags = run("pkg-config", "--cflags", "vantor-mkv",
                    env=CLEAN | {"PKG_CONFIG_PATH": str(LIBRARIES / "pkgconfig")}).split()
        running = [subprocess.Popen([cached("CMAKE_CXX_COMPILER"), "-std=c++17", "-fsyntax-only", "-Wall", "-Wextra", "-Werror",
                                     "-x", "c++", "-", *flags], stdin=subprocess.PIPE, text=True) for _ in headers]
        for header, compiler in zip(headers, running):
            compiler.communicate(f"#include <vantor-mkv/{header}>\nint main() {{}}\n", timeout=120)
        self.assertEqual([header for header, compiler in zip(headers, running) if compiler.returncode != 0], [])
        self.assertGreater(len(headers), 5)

    def test_LinksBetweenTheDocumentsLeadSomewhere(self):
        for page in DOCUMENTS.glob("*.md"):
            for link in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", page.read_text(encoding="utf-8")):
                self.assertTrue((DOCUMENTS / link).exists() or link.startswith("../"), f"{page.name}: {link}")

    def check_native_host(self, program):
        for name in ("avc_aac.mkv", "languages.mkv", "vp9_opus.webm"):
            text = run(program, MEDIA / name)
            ends = {int(stream): int(count) for stream, count in re.findall(r"^(\d+): end, (\d+) samples$", text, re.M)}
            self.assertEqual(ends, dict(listed(MEDIA / name)), name)
            self.assertEqual(len(re.findall(r"^\d+: \d+ bytes", text, re.M)), sum(ends.values()), name)
        self.assertIn("AVC (H.264)", run(program, MEDIA / "avc_aac.mkv"))
        refused = subprocess.run([program, __file__], env=CLEAN, stderr=subprocess.PIPE, text=True)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("native_host: ", refused.stderr)

    def test_TheExampleOfAHostBuildsWithCmakeAndPlays(self):
        self.check_native_host(build_with_cmake("native_host"))

    def test_TheExampleOfAHostBuildsWithPkgConfigAndPlays(self):
        self.check_native_host(build_with_pkg_config("native_host"))

    def test_TheExampleOfASourcePlaysBytesThatComeLater(self):
        program = build_with_cmake("custom_source")
        file = MEDIA / "avc_aac.mkv"
        content = file.read_bytes()
        with subprocess.Popen([program, str(len(content))], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=CLEAN) as running:
            running.stdin.write(content[:1000])
            running.stdin.flush()
            # The rest comes when the component has asked for it.
            self.assertIn(b"waiting for the bytes before", running.stderr.readline())
            text = running.communicate(content[1000:], timeout=120)[0].decode()
        self.assertEqual(running.returncode, 0)
        self.assertEqual([int(count) for count in re.findall(r": (\d+) samples$", text, re.M)],
                         [count for _, count in sorted(listed(file).items())])
        # Bytes that never come are an error, not an endless wait.
        broken = subprocess.run([program, str(len(content))], input=content[:1000], env=CLEAN, timeout=120,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(broken.returncode, 1)

    def test_TheExampleOfASourcePlaysBytesInMemoryByAReaderOfItsOwn(self):
        program = build_with_cmake("custom_source")
        file = MEDIA / "languages.mkv"
        text = run(program, "--memory", stdin=file.open("rb"))
        self.assertEqual([int(count) for count in re.findall(r": (\d+) samples$", text, re.M)],
                         [count for _, count in sorted(listed(file).items())])
        self.assertIn("references left: 0\n", text)
        refused = subprocess.run([program, "--memory"], input=b"no such file", env=CLEAN, timeout=120,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(refused.returncode, 1)
        self.assertEqual(refused.stdout, b"references left: 0\n")


if __name__ == "__main__":
    loader = unittest.defaultTestLoader
    loader.testNamePatterns = [f"*{word}*" for word in sys.argv[3:]] or None
    outcome = unittest.TextTestRunner(verbosity=2).run(loader.loadTestsFromTestCase(Installed))
    sys.exit(0 if outcome.wasSuccessful() and outcome.testsRun else 1)
