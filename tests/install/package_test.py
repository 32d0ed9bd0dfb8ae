#!/usr/bin/env python3
"""What ./package makes of a native build.

    tests/install/package_test.py TREE WORK_FOLDER [WORD...]

The tree is a native build tree, configured for the prefix /usr. The work folder is emptied. Debian's packages are installed
under a root of their own, without touching the system's. With words only those tests run whose name holds one of them.
"""

import hashlib
import os
import re
import shutil
import signal
import subprocess
import sys
import tarfile
import time
import unittest
from pathlib import Path

TREE, WORK = (Path(path).resolve() for path in sys.argv[1:3])
ROOT = Path(__file__).resolve().parents[2]
OUT = WORK / "packages"
VERSION = re.search(r"^CMAKE_PROJECT_VERSION:\w+=(.*)$", (TREE / "CMakeCache.txt").read_text(), re.M).group(1)
PACKAGES = ("vantor-mkv", "libvantor-mkv-host1", "libvantor-mkv-dev")


def package(out, **environment):
    return subprocess.run([ROOT / "package", "--linux", TREE, "--out", out], check=True, text=True, timeout=300,
                          stdout=subprocess.PIPE, env=os.environ | environment).stdout


def output(*words):
    return subprocess.run([*map(str, words)], check=True, text=True, timeout=300, stdout=subprocess.PIPE).stdout


def debs():
    return [next(OUT.glob(f"{name}_*.deb")) for name in PACKAGES]


class Dpkg:
    """Debian's installer, at work under a root of its own."""

    def __init__(self, root):
        self.root = root
        for folder in ("info", "updates", "triggers"):
            (root / "var/lib/dpkg" / folder).mkdir(parents=True)
        for name in ("status", "available"):
            (root / "var/lib/dpkg" / name).touch()

    def __call__(self, *words):
        fake = [] if os.geteuid() == 0 else ["fakeroot"]
        path = os.environ["PATH"] + ":/usr/sbin:/sbin"
        subprocess.run([*fake, "dpkg", f"--root={self.root}", "--force-depends", "--log=/dev/null", *map(str, words)],
                       check=True, env=os.environ | {"PATH": path}, stdout=sys.stderr)

    def files(self):
        return sorted(str(path.relative_to(self.root)) for path in self.root.rglob("*")
                      if not path.is_relative_to(self.root / "var/lib/dpkg") and (path.is_file() or path.is_symlink()))


class NativePackages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(WORK, ignore_errors=True)
        package(OUT)

    def test_ChecksumsAreThoseOfTheFiles(self):
        sums = dict(reversed(line.split("  ")) for line in (OUT / "SHA256SUMS").read_text().splitlines())
        self.assertEqual(set(sums), {path.name for path in OUT.iterdir()} - {"SHA256SUMS"})
        self.assertGreaterEqual(len(sums), 5)
        for name, digest in sums.items():
            self.assertEqual(hashlib.sha256((OUT / name).read_bytes()).hexdigest(), digest, name)

    def test_PackingAgainGivesTheSameBytes(self):
        package(WORK / "elsewhere" / "again", TZ="Pacific/Auckland", LC_ALL="C")
        self.assertEqual((WORK / "elsewhere" / "again" / "SHA256SUMS").read_text(), (OUT / "SHA256SUMS").read_text())

    def test_DebianInstallsAndRemovesThem(self):
        if os.geteuid() != 0 and not shutil.which("fakeroot"):
            self.skipTest("neither root nor fakeroot is to be had here")
        dpkg = Dpkg(WORK / "debian")
        dpkg("--install", *debs())
        installed = dpkg.files()
        self.assertIn("usr/bin/vantor-mkv", installed)
        self.assertIn("usr/share/man/man1/vantor-mkv.1.gz", installed)
        media = ROOT / "tests" / "media" / "avc_aac.mkv"
        self.assertIn('"type":"eos"', output(dpkg.root / "usr/bin/vantor-mkv", "samples", media))
        dpkg("--purge", *PACKAGES)
        self.assertEqual(dpkg.files(), [])

    def test_NoFileIsInTwoPackages(self):
        files = [line for deb in debs() for line in output("dpkg-deb", "--contents", deb).splitlines() if line[0] != "d"]
        paths = [line.split()[5] for line in files]
        self.assertEqual(len(paths), len(set(paths)))

    def test_CopyrightSaysThatNoLicenceIsGranted(self):
        for name, deb in zip(PACKAGES, debs()):
            unpacked = WORK / "unpacked" / name
            unpacked.mkdir(parents=True)
            output("dpkg-deb", "--extract", deb, unpacked)
            self.assertIn("No licence is granted yet", (unpacked / "usr/share/doc" / name / "copyright").read_text())

    def test_LintianHasNothingToSay(self):
        if not shutil.which("lintian"):
            self.skipTest("lintian is not to be had here")
        said = subprocess.run(["lintian", "--fail-on", "error,warning", *debs()], text=True, stdout=subprocess.PIPE)
        self.assertEqual((said.returncode, said.stdout), (0, ""))

    def test_SymbolsOfEveryBinaryAreFoundByItsBuildId(self):
        for kind in ("linux-*", "symbols"):
            with tarfile.open(next(OUT.glob(f"vantor-mkv-{VERSION}-{kind}.tar.xz"))) as archive:
                archive.extractall(WORK / "archives")
        whole = next((WORK / "archives").glob(f"vantor-mkv-{VERSION}-linux-*"))
        symbols = WORK / "archives" / f"vantor-mkv-{VERSION}-symbols"
        listed = dict(line.split()[::2] for line in (symbols / "BUILD-IDS").read_text().splitlines())
        binaries = [path for path in whole.rglob("*") if path.is_file() and not path.is_symlink()
                    and path.read_bytes()[:4] == b"\x7fELF"]
        self.assertEqual(len(binaries), 4)
        for binary in binaries:
            build_id = re.search(r"Build ID: (\w+)", output("readelf", "-n", binary)).group(1)
            self.assertEqual(listed[build_id], str(binary.relative_to(whole)))
            debug = symbols / ".build-id" / build_id[:2] / f"{build_id[2:]}.debug"
            self.assertIn("vantor::", output("nm", "-C", debug))
            self.assertEqual(output("nm", binary), "")

    def test_AMissingProgramIsNamed(self):
        programs = WORK / "programs"
        programs.mkdir()
        for folder in ("/usr/bin", "/bin"):
            for program in Path(folder).iterdir():
                if program.name != "xz" and not (programs / program.name).is_symlink():
                    (programs / program.name).symlink_to(program)
        result = subprocess.run([ROOT / "package", "--linux", TREE, "--out", WORK / "nothing"], text=True,
                                env=os.environ | {"PATH": str(programs)}, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.assertEqual(result.returncode, 1)
        self.assertIn("these programs are missing: xz\n", result.stderr)

    def test_AnInterruptionIsToldAndLeavesNoPackages(self):
        programs, reached = WORK / "waiting", WORK / "reached"
        programs.mkdir()
        (programs / "dpkg-shlibdeps").write_text(f"#!/bin/sh\ntouch '{reached}'\nexec sleep 300\n")
        (programs / "dpkg-shlibdeps").chmod(0o755)
        running = subprocess.Popen([ROOT / "package", "--linux", TREE, "--out", WORK / "broken-off"], text=True,
                                   env=os.environ | {"PATH": f"{programs}:{os.environ['PATH']}"}, start_new_session=True,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        while not reached.exists() and running.poll() is None:
            time.sleep(0.05)
        os.killpg(running.pid, signal.SIGTERM)
        message = running.communicate(timeout=60)[1]
        self.assertEqual(running.returncode, 143)
        self.assertIn("interrupted", message)
        self.assertEqual([path.name for path in (WORK / "broken-off").iterdir() if path.is_file()], [])


if __name__ == "__main__":
    loader = unittest.defaultTestLoader
    loader.testNamePatterns = [f"*{word}*" for word in sys.argv[3:]] or None
    outcome = unittest.TextTestRunner(verbosity=2).run(loader.loadTestsFromTestCase(NativePackages))
    sys.exit(0 if outcome.wasSuccessful() and outcome.testsRun else 1)
