#!/usr/bin/env python3
"""The packages that ./package makes, and their installers at work under Wine.

    installer_test.py [--x86 ROOT | --both ROOT] [--packages FOLDER] X64_TREE X86_TREE WORK_FOLDER RESULTS [WORD...]

The trees are build trees with component and tool, and with the tests' programs: that for x64, or with an option both. The
work folder is emptied; the packages and a fresh Wine prefix go there. RESULTS becomes a JUnit file. With words only those
tests run whose name holds one of them.

Wine shows its windows nowhere, but has them, so that message boxes wait to be closed. Without an option it runs no
programs of 32 bits, as Debian's 64-bit Wine does: the installer for 64-bit Windows is tried, and where a test needs the
registration of the x86 component, a program that only records how it was called takes the place of its regsvr32.
ROOT is what scripts/i386_root makes. With --x86 the installer for 32-bit Windows is tried, in it; with --both that for
64-bit Windows where programs of both kinds run. --packages takes those that another run has made of the same trees.
"""

import contextlib
import hashlib
import os
import re
import shutil
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ElementTree
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
MODE, ENTER, PACKAGES = "x64", [], None
ARGUMENTS = sys.argv[1:]
if ARGUMENTS[0] in ("--x86", "--both"):
    MODE = ARGUMENTS[0][2:]
    ENTER = [ROOT / "scripts" / "i386_root", ARGUMENTS[1], "--run" if MODE == "x86" else "--both"]
    del ARGUMENTS[:2]
if ARGUMENTS[0] == "--packages":
    PACKAGES = Path(ARGUMENTS[1]).resolve()
    del ARGUMENTS[:2]
X64_TREE, X86_TREE, WORK = (Path(path).resolve() for path in ARGUMENTS[:3])
RESULTS, *WORDS = ARGUMENTS[3:]
WINE = [*ENTER, "/usr/lib/wine/wine" if MODE == "x86" else "/usr/lib/wine/wine64"]
WINE_SERVER = [*ENTER, "/usr/lib/wine/wineserver32" if MODE == "x86" else "/usr/lib/wine/wineserver64"]
# The installer that is tried, and what else runs there.
ARCHITECTURE, TREE = ("x86", X86_TREE) if MODE == "x86" else ("x64", X64_TREE)

NAME = "Vantor MKV Demultiplexer"
CLASS_ID = "{5E1B2A64-90C3-4D0F-A7E2-6B8D54C9F311}"
ENTRY = rf"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Uninstall\{NAME}"
CLASS = rf"HKEY_LOCAL_MACHINE\Software\Classes\CLSID\{CLASS_ID}"
MEDIA_TYPE = (r"HKEY_LOCAL_MACHINE\Software\Classes\Media Type\{E436EB83-524F-11CE-9F53-0020AF0BA770}"
              r"\{49952F4C-3EDC-4A9B-8906-1DE02A3D4BC2}")
FOLDER = rf"C:\Program Files\{NAME}"
UNINSTALLER = "uninstall-vantor-mkv.exe"
FILES = {"vantormkv.ax", "vantor-mkv.exe", "vantor-mkv.txt", UNINSTALLER}
# What an installation brings where programs of 32 bits run beside those of 64.
X86_FILES = set() if MODE == "x86" else {"x86/vantormkv.ax", "x86/vantor-mkv.exe"}
COMPLETE_CLASS_ID = "{35CF08A4-73AF-444E-912C-586453BA20A0}"
COMPLETE_CLASS = rf"HKEY_LOCAL_MACHINE\Software\Classes\CLSID\{COMPLETE_CLASS_ID}"
COMPLETE_FILES = FILES | {"vantormkv-complete.ax"}

DONE, IN_USE, NOT_REGISTERED, NOT_HERE, NOT_WRITTEN, NOT_UNREGISTERED = 0, 2, 3, 4, 5, 6


# ---- The packages.

def project_version():
    return re.search(r"^CMAKE_PROJECT_VERSION:\w+=(.*)$", (X64_TREE / "CMakeCache.txt").read_text(), re.M).group(1)


VERSION = project_version()


def package(x64, x86, out, *options, **environment):
    subprocess.run([ROOT / "package", "--x64", x64, "--x86", x86, "--out", out, *options], check=True, stdout=sys.stderr,
                   env=os.environ | environment)


def tree_with(name, component):
    """A build tree that holds the component, in the tool's place too."""
    binaries = WORK / name / "bin"
    binaries.mkdir(parents=True)
    for file in ("vantormkv.ax", "vantormkv-complete.ax", "vantor-mkv.exe"):
        shutil.copy(component, binaries / file)
    (WORK / name / "CMakeCache.txt").write_text(f"CMAKE_PROJECT_VERSION:STATIC={VERSION}\n")


def broken_tree(architecture, triplet):
    """A build tree whose component loads, but has nothing to be registered with."""
    component = WORK / f"broken-{architecture}.dll"
    subprocess.run([f"{triplet}-g++-posix", "-shared", "-static", "-x", "c++", "/dev/null", "-o", component], check=True)
    tree_with(f"broken-{architecture}", component)


def package_broken(out, **environment):
    package(WORK / "broken-x64", WORK / "broken-x86", out, **environment)


def package_boxing(out):
    """Installers that wait a few seconds only: what shows a box would never end."""
    trees = {"x64": WORK / "broken-x64", "x86": WORK / "broken-x86"}
    trees[ARCHITECTURE] = WORK / f"boxing-{ARCHITECTURE}"
    tree_with(f"boxing-{ARCHITECTURE}", TREE / "bin" / "boxing_component.dll")
    package(trees["x64"], trees["x86"], out, "--limit", "5")


# ---- Windows.

def environment():
    wanted = {key: value for key, value in os.environ.items() if key != "DISPLAY"}
    return wanted | {"WINEPREFIX": str(WORK / "wine"), "WINEARCH": "win32" if MODE == "x86" else "win64",
                     "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml=;winegstreamer=d"}


def wine(*words, **options):
    return subprocess.run([*WINE, *map(str, words)], stdin=subprocess.DEVNULL, timeout=120,
                          **({"env": environment(), "stdout": sys.stderr} | options))


def unix(path):
    return WORK / "wine" / "drive_c" / path.removeprefix("C:\\").replace("\\", "/")


def registry_of(text):
    """Of an export: the values by key, each a raw line."""
    keys = {}
    values = None
    for line in text.replace("\\\r\n  ", "").splitlines():
        if line.startswith("["):
            values = keys.setdefault(line[1:-1], {})
        elif values is not None and "=" in line:
            name, _, value = line.partition("=")
            values[name.strip('"')] = value
    return keys


def registry(key):
    """The key and those below it; empty when it does not exist."""
    file = unix(r"C:\exported.reg")
    file.unlink(missing_ok=True)
    wine("reg", "export", key, r"C:\exported.reg", "/y", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return registry_of(file.read_text("utf-16")) if file.exists() else {}


def text(value):
    return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'


# Keys that Wine writes to whenever it starts; the last is where the uninstaller's temporary copy is noted for removal.
OF_WINE = re.compile(r"Control\\\\Class\\\\|NetworkCards\]|\\\\RunServices|\[Software\\\\Wine\\\\|\\\\Session Manager\]")


def whole_registry():
    """All of it that Wine leaves alone, as it is stored once every program has ended."""
    subprocess.run([*WINE_SERVER, "-w"], env=environment(), check=True)
    keys = {}
    for name in ("system.reg", "user.reg", "userdef.reg"):
        key = None
        for line in (WORK / "wine" / name).read_text("utf-8", "replace").replace("\\\n  ", "").splitlines():
            if line.startswith("["):
                key = f"{name}: {line[:line.rindex(']') + 1]}"
                keys[key] = []
            elif key is not None and line and not line.startswith("#"):
                keys[key].append(line)
    return {key: values for key, values in keys.items() if not OF_WINE.search(key)}


def digest_of(file):
    return hashlib.sha256(file.read_bytes()).hexdigest()


def files_in(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()}


def state_of(folder):
    """Of each file: the digest of its content, and its time."""
    return {name: (digest_of(folder / name), (folder / name).stat().st_mtime_ns) for name in files_in(folder)}


def everything():
    """All files and folders of the drive, but for temporary ones."""
    drive = WORK / "wine" / "drive_c"
    return {str(path) for path in drive.rglob("*") if not re.search("/temp/", str(path), re.I) and path.suffix != ".reg"}


def install(folder=None, packages="packages", switches=(), architecture=ARCHITECTURE, **variables):
    setup = WORK / packages / f"vantor-mkv-{VERSION}-setup-{architecture}.exe"
    # The folder stands last, and without quotation marks, however many words it is.
    words = f"/D={folder}".split(" ") if folder else []
    return wine(setup, "/S", *switches, *words, env=environment() | variables).returncode


def uninstall(folder=FOLDER, **variables):
    """Waits for the end, for which the uninstaller has to stay where it is, and stay behind."""
    return wine(rf"{folder}\{UNINSTALLER}", "/S", *f"_?={folder}".split(" "), env=environment() | variables).returncode


@contextlib.contextmanager
def holding(file, tree=TREE):
    """A running program that has loaded the file."""
    program = subprocess.Popen([*WINE, tree / "bin" / "component_user.exe", "hold", file], env=environment(),
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    try:
        if program.stdout.readline().strip() != b"loaded":
            raise AssertionError(f"{file} cannot be loaded")
        yield
    finally:
        program.communicate()


def registered_for(tree):
    """What a program of that build gets when it asks for the component: a result, and the file that it came from."""
    return wine(tree / "bin" / "component_user.exe", stdout=subprocess.PIPE).stdout.decode().strip()


def changes(before, after):
    return {key: (before.get(key), after.get(key)) for key in before.keys() | after.keys()
            if before.get(key) != after.get(key)}


LINK = r"C:\Linked"  # as a junction
SYSTEM_OF_32_BITS = r"C:\windows\syswow64\regsvr32.exe"
CALLS = r"C:\regsvr32.log"
CODE = r"C:\regsvr32.code"


def calls_of_regsvr32():
    """How it was called: what stood behind its own name."""
    log = unix(CALLS)
    lines = log.read_text().splitlines() if log.exists() else []
    log.unlink(missing_ok=True)
    return [re.sub(r'^("[^"]*"|\S+) ', "", line) for line in lines]


def on_x86(test):
    """Marks what the installer for 32-bit Windows goes through, too: its own ways, and what is built apart for it."""
    test.on_x86 = True
    return test


class PackageTest(unittest.TestCase):
    def test_ChecksumsAreThoseOfTheFiles(self):
        out = WORK / "packages"
        sums = dict(reversed(line.split("  ")) for line in (out / "SHA256SUMS").read_text().splitlines())
        self.assertEqual(set(sums), {f"vantor-mkv-{VERSION}-{end}" for end in
                                     ("setup-x64.exe", "setup-x86.exe", "windows.zip")})
        for name, digest in sums.items():
            self.assertEqual(digest_of(out / name), digest, name)

    def test_ArchiveHoldsBothArchitecturesAndTheTexts(self):
        with zipfile.ZipFile(WORK / "packages" / f"vantor-mkv-{VERSION}-windows.zip") as archive:
            self.assertIsNone(archive.testzip())
            self.assertEqual(set(archive.namelist()),
                             {"vantor-mkv.txt", "docs/windows.md", "docs/tool.md", "docs/findings.md",
                              "docs/behaviour.md", "docs/vantor-mkv.schema.json",
                              "examples/windows_player/CMakeLists.txt", "examples/windows_player/main.cpp",
                              "x64/vantormkv.ax", "x64/vantormkv-complete.ax", "x64/vantor-mkv.exe",
                              "x86/vantormkv.ax", "x86/vantormkv-complete.ax", "x86/vantor-mkv.exe"})
            self.assertIn(f"{NAME} {VERSION}\r\n".encode(), archive.read("vantor-mkv.txt"))
            for folder, machine in (("x64", 0x8664), ("x86", 0x14C)):
                for name in ("vantormkv.ax", "vantormkv-complete.ax", "vantor-mkv.exe"):
                    self.assertEqual(machine_of(archive.read(f"{folder}/{name}")), machine, f"{folder}/{name}")

    def test_DocumentsLeadOnlyToWhatTheArchiveHolds(self):
        with zipfile.ZipFile(WORK / "packages" / f"vantor-mkv-{VERSION}-windows.zip") as archive:
            names = set(archive.namelist())
            links = [(page, link) for page in names if page.endswith(".md") for link in
                     re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", archive.read(page).decode())]
        self.assertGreater(len(links), 3)
        for page, link in links:
            self.assertIn(os.path.normpath(os.path.join(os.path.dirname(page), link)), names, page)

    def test_InstallersAreProgramsOfTheirOwnWindows(self):
        for name, machine in (("x64", 0x8664), ("x86", 0x14C)):
            setup = WORK / "packages" / f"vantor-mkv-{VERSION}-setup-{name}.exe"
            self.assertEqual(machine_of(setup.read_bytes()), machine, name)

    def test_PackingAgainGivesTheSameBytes(self):
        package_broken(WORK / "again", TZ="Pacific/Auckland")
        self.assertEqual((WORK / "again" / "SHA256SUMS").read_text(),
                         (WORK / "broken-packages" / "SHA256SUMS").read_text())


def machine_of(program):
    header = int.from_bytes(program[0x3C:0x40], "little")
    return int.from_bytes(program[header + 4:header + 6], "little")


class InstallerTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.addCleanup(self.clean)

    def clean(self):
        for folder in (rf"{FOLDER}\x86", FOLDER, r"C:\My media\Vantor's filters"):
            if unix(rf"{folder}\{UNINSTALLER}").exists():
                uninstall(folder)
            shutil.rmtree(unix(folder), ignore_errors=True)
        for file in (SYSTEM_OF_32_BITS, CALLS, CODE, LINK):
            unix(file).unlink(missing_ok=True)

    def bring_32_bits(self):
        """Programs of 32 bits run, as far as an installer for 64-bit Windows can tell."""
        if MODE == "x64":
            shutil.copy(X64_TREE / "bin" / "recording_regsvr32.exe", unix(SYSTEM_OF_32_BITS))

    def check_installed(self, folder=FOLDER, files=frozenset(FILES)):
        self.assertEqual(files_in(unix(folder)), set(files))
        self.assertEqual(registered_for(TREE), rf"00000000 {folder}\vantormkv.ax")
        entry = registry(ENTRY)[ENTRY]
        self.assertRegex(entry.pop("EstimatedSize"), r"^dword:0000[0-9a-f]{4}$")
        self.assertEqual(entry, {
            "DisplayName": text(NAME),
            "DisplayVersion": text(VERSION),
            "Publisher": text("Vantor"),
            "InstallLocation": text(folder),
            "UninstallString": text(rf'"{folder}\{UNINSTALLER}"'),
            "QuietUninstallString": text(rf'"{folder}\{UNINSTALLER}" /S'),
            "NoModify": "dword:00000001",
            "NoRepair": "dword:00000001",
        })

    def check_absent(self, folder=FOLDER):
        self.assertFalse(unix(folder).exists())
        self.assertEqual(registry(ENTRY), {})
        self.assertEqual(registry(CLASS), {})

    @on_x86
    def test_SilentInstallationRegistersTheComponentAndAnUninstallEntry(self):
        self.assertEqual(install(), DONE)
        self.check_installed()
        server = registry(CLASS)[rf"{CLASS}\InprocServer32"]
        self.assertEqual(server["@"], text(rf"{FOLDER}\vantormkv.ax"))
        self.assertEqual(registry(MEDIA_TYPE)[MEDIA_TYPE],
                         {"0": text("0,4,,1A45DFA3"), "Source Filter": text("{E436EBB5-524F-11CE-9F53-0020AF0BA770}")})

    @on_x86
    def test_UninstallingLeavesRegistryAndFilesAsTheyWere(self):
        registry_before, files_before = whole_registry(), everything()
        self.assertEqual(install(), DONE)
        self.check_installed()
        # The uninstaller runs from a copy of its own, and this one ends at once; the registry is read after the copy.
        self.assertEqual(wine(rf"{FOLDER}\{UNINSTALLER}", "/S").returncode, DONE)
        self.assertEqual(changes(registry_before, whole_registry()), {})
        self.assertEqual(everything(), files_before)

    @on_x86
    def test_FolderMayHaveSpaces(self):
        folder = r"C:\My media\Vantor's filters"
        self.assertEqual(install(folder), DONE)
        self.check_installed(folder)

    @on_x86
    def test_InstallsOverAnOlderVersion(self):
        self.assertEqual(install(), DONE)
        current = unix(rf"{FOLDER}\vantor-mkv.txt").read_bytes()
        for name in FILES - {"vantormkv.ax"}:
            unix(rf"{FOLDER}\{name}").write_bytes(b"older")
        wine("reg", "add", ENTRY, "/v", "DisplayVersion", "/d", "0.1.0", "/f")
        self.assertEqual(install(), DONE)
        self.check_installed()
        self.assertEqual(unix(rf"{FOLDER}\vantor-mkv.txt").read_bytes(), current)

    @on_x86
    def test_InstallingElsewhereMovesTheInstallation(self):
        folder = r"C:\My media\Vantor's filters"
        self.assertEqual(install(), DONE)
        self.assertEqual(install(folder), DONE)
        self.assertFalse(unix(FOLDER).exists())
        self.check_installed(folder)
        # And stays there when no folder is named.
        self.assertEqual(install(), DONE)
        self.check_installed(folder)

    def check_works(self, files=frozenset(FILES)):
        """However the folder is written."""
        self.assertEqual(files_in(unix(FOLDER)), set(files))
        self.assertRegex(registered_for(TREE), r"^00000000 [Cc]:\\.*\\vantormkv\.ax$")

    def test_InstallsOverTheSameFolderInAnotherSpelling(self):
        self.bring_32_bits()
        self.assertEqual(install(), DONE)
        for folder in (rf"C:\Program Files\.\{NAME}", rf"C:\windows\..\Program Files\{NAME}", FOLDER.upper(),
                       FOLDER.replace("\\", "/"), FOLDER):
            with self.subTest(folder):
                self.assertEqual(install(folder), DONE)
                self.check_works(FILES | X86_FILES)

    def test_InstallsOverAFolderTheEntryOfWhichIsSpeltOtherwise(self):
        for folder in (rf"{FOLDER}\\", rf"{FOLDER}//", FOLDER.lower(), rf"\\?\{FOLDER}"):
            with self.subTest(folder):
                self.assertEqual(install(FOLDER), DONE)
                wine("reg", "add", ENTRY, "/v", "InstallLocation", "/d", folder, "/f")
                self.assertEqual(install(FOLDER), DONE)
                self.check_installed()

    def test_InstallsOverTheSameFolderThroughAJunction(self):
        self.bring_32_bits()
        self.assertEqual(install(), DONE)
        unix(LINK).symlink_to(unix(FOLDER))
        # The last one leaves no entry that goes through the junction, which still is not the installer's to remove.
        for folder in (LINK, LINK.lower(), FOLDER):
            with self.subTest(folder):
                self.assertEqual(install(folder), DONE)
                self.check_works(FILES | X86_FILES)
                self.assertTrue(unix(LINK).is_symlink())

    def test_InstallsIntoAFolderOfThePreviousVersionAndBack(self):
        self.bring_32_bits()
        self.assertEqual(install(), DONE)
        inner = rf"{FOLDER}\x86"
        self.assertEqual(install(inner), DONE)
        self.check_installed(inner, FILES | X86_FILES)
        self.assertEqual(files_in(unix(FOLDER)), {f"x86/{name}" for name in FILES | X86_FILES})
        self.assertEqual(machine_of((unix(inner) / "vantormkv.ax").read_bytes()), 0x8664)
        self.assertEqual(install(FOLDER), DONE)
        self.check_installed(files=FILES | X86_FILES)
        self.assertEqual(machine_of((unix(inner) / "vantormkv.ax").read_bytes()), 0x14C)

    @on_x86
    def test_FailedMoveBringsBackWhatWasThere(self):
        self.bring_32_bits()
        self.assertEqual(install(), DONE)
        before, classes = state_of(unix(FOLDER)), registry(CLASS)
        for folder in (r"C:\My media\Vantor's filters", rf"{FOLDER}\x86", rf"C:\Program Files\.\{NAME}"):
            with self.subTest(folder):
                self.assertEqual(install(folder, packages="broken-packages"), NOT_REGISTERED)
                self.assertEqual(state_of(unix(FOLDER)), before)
                self.assertEqual(registry(CLASS), classes)
                self.check_installed(files=FILES | X86_FILES)
        self.assertFalse(unix(r"C:\My media\Vantor's filters").exists())

    @on_x86
    def test_RefusesToInstallOverAComponentInUse(self):
        self.assertEqual(install(), DONE)
        before, classes = state_of(unix(FOLDER)), registry(CLASS)
        with holding(rf"{FOLDER}\vantormkv.ax"):
            self.assertEqual(install(), IN_USE)
            self.assertEqual(install(r"C:\My media\Vantor's filters"), IN_USE)
        self.assertEqual(state_of(unix(FOLDER)), before)
        self.assertEqual(registry(CLASS), classes)
        self.assertFalse(unix(r"C:\My media\Vantor's filters").exists())
        self.check_installed()
        self.assertEqual(install(), DONE)

    @on_x86
    def test_RefusesToUninstallAComponentInUse(self):
        self.assertEqual(install(), DONE)
        before, classes = state_of(unix(FOLDER)), registry(CLASS)
        with holding(rf"{FOLDER}\vantormkv.ax"):
            self.assertEqual(uninstall(), IN_USE)
        self.assertEqual(state_of(unix(FOLDER)), before)
        self.assertEqual(registry(CLASS), classes)
        self.check_installed()
        self.assertEqual(uninstall(), DONE)
        self.assertEqual(registry(CLASS), {})

    @on_x86
    def test_FailedRegistrationIsUndone(self):
        self.assertEqual(install(packages="broken-packages"), NOT_REGISTERED)
        self.check_absent()

    def test_FailedRegistrationBringsBackWhatWasThere(self):
        self.assertEqual(install(), DONE)
        before, classes = state_of(unix(FOLDER)), registry(CLASS)
        self.assertEqual(install(packages="broken-packages"), NOT_REGISTERED)
        self.assertEqual(state_of(unix(FOLDER)), before)
        self.assertEqual(registry(CLASS), classes)
        self.check_installed()

    @on_x86
    def test_SilentInstallationDoesNotWaitForSomebodyToCloseAMessageBox(self):
        self.assertEqual(install(packages="boxing-packages"), NOT_REGISTERED)
        self.check_absent()

    def test_FailedUnregistrationIsReportedAndTheFilesGo(self):
        self.bring_32_bits()
        self.assertEqual(install(), DONE)
        unix(CODE).write_text("5")
        self.assertEqual(uninstall(), NOT_UNREGISTERED)
        self.assertEqual(files_in(unix(FOLDER)), {UNINSTALLER})
        self.assertEqual(registry(ENTRY) | registry(CLASS), {})

    @on_x86
    def test_SilentUninstallationReportsAnUnregistrationThatHadToBeEnded(self):
        self.assertEqual(install(packages="boxing-packages", BOXING="unregistering"), DONE)
        self.assertEqual(uninstall(BOXING="unregistering"), NOT_UNREGISTERED)
        self.assertEqual(files_in(unix(FOLDER)), {UNINSTALLER})
        self.assertEqual(registry(ENTRY), {})

    def test_FilesThatCannotBeWrittenAreAnErrorOfTheirOwn(self):
        self.bring_32_bits()
        unix(FOLDER).mkdir()
        (unix(FOLDER) / "x86").write_text("where a folder is needed")
        self.assertEqual(install(), NOT_WRITTEN)
        self.assertEqual(files_in(unix(FOLDER)), {"x86"})
        self.assertEqual(registry(ENTRY) | registry(CLASS), {})

    @on_x86
    def test_FilesOfOthersStay(self):
        self.bring_32_bits()
        self.assertEqual(install(), DONE)
        others = {"my notes.txt", "x86/other.ax"}
        (unix(FOLDER) / "x86").mkdir(exist_ok=True)
        for name in others:
            (unix(FOLDER) / name).write_text("mine")
        self.assertEqual(uninstall(), DONE)
        self.assertEqual(files_in(unix(FOLDER)) - {UNINSTALLER}, others)

    def test_X86ComponentIsLeftOutWhereNoProgramOf32BitsRuns(self):
        self.assertEqual(install(), DONE)
        self.assertFalse((unix(FOLDER) / "x86").exists())

    def test_X86ComponentIsRegisteredByTheSystemOf32Bits(self):
        self.bring_32_bits()
        self.assertEqual(install(), DONE)
        self.assertEqual(calls_of_regsvr32(), [rf'/s "{FOLDER}\x86\vantormkv.ax"'])
        self.check_installed(files=FILES | X86_FILES)
        self.assertEqual(machine_of((unix(FOLDER) / "x86" / "vantormkv.ax").read_bytes()), 0x14C)
        self.assertEqual(uninstall(), DONE)
        self.assertEqual(calls_of_regsvr32(), [rf'/s /u "{FOLDER}\x86\vantormkv.ax"'])
        self.assertEqual(files_in(unix(FOLDER)), {UNINSTALLER})

    @on_x86
    def test_CompleteComponentIsInstalledOnlyWhereItIsAskedFor(self):
        self.assertEqual(install(), DONE)
        self.check_installed()
        self.assertEqual(registry(COMPLETE_CLASS), {})
        self.assertEqual(install(switches=["/COMPLETE"]), DONE)
        self.check_installed(files=COMPLETE_FILES)
        self.assertEqual(registry(COMPLETE_CLASS)[rf"{COMPLETE_CLASS}\InprocServer32"]["@"],
                         text(rf"{FOLDER}\vantormkv-complete.ax"))
        # And goes where it is not asked for again.
        self.assertEqual(install(), DONE)
        self.check_installed()
        self.assertEqual(registry(COMPLETE_CLASS), {})

    @on_x86
    def test_UninstallingTheCompleteComponentTooLeavesRegistryAndFilesAsTheyWere(self):
        registry_before, files_before = whole_registry(), everything()
        self.assertEqual(install(switches=["/COMPLETE"]), DONE)
        self.check_installed(files=COMPLETE_FILES)
        self.assertEqual(wine(rf"{FOLDER}\{UNINSTALLER}", "/S").returncode, DONE)
        self.assertEqual(changes(registry_before, whole_registry()), {})
        self.assertEqual(everything(), files_before)

    def test_X86CompleteComponentIsRegisteredBehindTheOtherAndRemovedBeforeIt(self):
        self.bring_32_bits()
        self.assertEqual(install(switches=["/COMPLETE"]), DONE)
        self.assertEqual(calls_of_regsvr32(), [rf'/s "{FOLDER}\x86\vantormkv.ax"',
                                               rf'/s "{FOLDER}\x86\vantormkv-complete.ax"'])
        self.check_installed(files=COMPLETE_FILES | X86_FILES | {"x86/vantormkv-complete.ax"})
        self.assertEqual(uninstall(), DONE)
        self.assertEqual(calls_of_regsvr32(), [rf'/s /u "{FOLDER}\x86\vantormkv-complete.ax"',
                                               rf'/s /u "{FOLDER}\x86\vantormkv.ax"'])
        self.assertEqual(files_in(unix(FOLDER)), {UNINSTALLER})

    def test_FailedRegistrationOfTheX86ComponentTakesTheX64OneBack(self):
        self.bring_32_bits()
        unix(CODE).write_text("5")
        self.assertEqual(install(), NOT_REGISTERED)
        self.assertEqual(calls_of_regsvr32(),
                         [rf'/s "{FOLDER}\x86\vantormkv.ax"', rf'/s /u "{FOLDER}\x86\vantormkv.ax"'])
        self.check_absent()


X86_VIEW = r"HKEY_LOCAL_MACHINE\Software\Classes\Wow6432Node\CLSID"


class BothKindsOfProgramsTest(unittest.TestCase):
    """The installers where programs of 64 and of 32 bits run: everything is the system's own."""
    maxDiff = None

    def setUp(self):
        self.addCleanup(self.clean)

    def clean(self):
        if unix(rf"{FOLDER}\{UNINSTALLER}").exists():
            uninstall()
        shutil.rmtree(unix(FOLDER), ignore_errors=True)

    def check_absent(self):
        self.assertFalse(unix(FOLDER).exists())
        for key in (ENTRY, CLASS, COMPLETE_CLASS, rf"{X86_VIEW}\{CLASS_ID}", rf"{X86_VIEW}\{COMPLETE_CLASS_ID}"):
            self.assertEqual(registry(key), {}, key)

    def test_EachKindOfProgramGetsItsOwnComponent(self):
        self.assertEqual(install(), DONE)
        self.assertEqual(files_in(unix(FOLDER)), FILES | X86_FILES)
        self.assertEqual(registered_for(X64_TREE), rf"00000000 {FOLDER}\vantormkv.ax")
        self.assertEqual(registered_for(X86_TREE), rf"00000000 {FOLDER}\x86\vantormkv.ax")

    def test_UninstallingLeavesRegistryAndFilesAsTheyWere(self):
        registry_before, files_before = whole_registry(), everything()
        self.assertEqual(install(switches=["/COMPLETE"]), DONE)
        self.assertEqual(files_in(unix(FOLDER)), COMPLETE_FILES | X86_FILES | {"x86/vantormkv-complete.ax"})
        for view, folder in ((CLASS.rpartition("\\")[0], FOLDER), (X86_VIEW, rf"{FOLDER}\x86")):
            for identifier, file in ((CLASS_ID, "vantormkv.ax"), (COMPLETE_CLASS_ID, "vantormkv-complete.ax")):
                server = rf"{view}\{identifier}\InprocServer32"
                self.assertEqual(registry(server)[server]["@"], text(rf"{folder}\{file}"))
        self.assertEqual(wine(rf"{FOLDER}\{UNINSTALLER}", "/S").returncode, DONE)
        self.assertEqual(changes(registry_before, whole_registry()), {})
        self.assertEqual(everything(), files_before)

    def test_RefusesToInstallOverTheX86ComponentInUse(self):
        self.assertEqual(install(), DONE)
        before = state_of(unix(FOLDER))
        with holding(rf"{FOLDER}\x86\vantormkv.ax", X86_TREE):
            self.assertEqual(install(), IN_USE)
            self.assertEqual(uninstall(), IN_USE)
        self.assertEqual(state_of(unix(FOLDER)), before)
        self.assertEqual(registered_for(X86_TREE), rf"00000000 {FOLDER}\x86\vantormkv.ax")

    def test_FailedRegistrationOfTheX86ComponentTakesTheX64OneBack(self):
        self.assertEqual(install(packages="half-broken-packages"), NOT_REGISTERED)
        self.check_absent()

    def test_FailedRegistrationOfTheX86ComponentBringsBothBack(self):
        self.assertEqual(install(), DONE)
        before = state_of(unix(FOLDER))
        self.assertEqual(install(packages="half-broken-packages"), NOT_REGISTERED)
        self.assertEqual(state_of(unix(FOLDER)), before)
        self.assertEqual(registered_for(X64_TREE), rf"00000000 {FOLDER}\vantormkv.ax")
        self.assertEqual(registered_for(X86_TREE), rf"00000000 {FOLDER}\x86\vantormkv.ax")

    def test_InstallerFor32BitWindowsIsNotForThisOne(self):
        before = everything()
        self.assertEqual(install(architecture="x86"), NOT_HERE)
        self.assertEqual(everything(), before)
        self.check_absent()


# ---- The run.

class Results(unittest.TextTestResult):
    """Keeps what a JUnit file holds."""

    def __init__(self, *arguments, **words):
        super().__init__(*arguments, **words)
        self.suite = ElementTree.Element("testsuite", name=f"installer {MODE}")

    def startTest(self, test):
        super().startTest(test)
        names = test.id().split(".")
        self.case = ElementTree.SubElement(self.suite, "testcase", classname=names[-2],
                                           name=f"{names[-2]}.{names[-1].removeprefix('test_')}")

    def addError(self, test, error):
        super().addError(test, error)
        ElementTree.SubElement(self.case, "failure").text = self.errors[-1][1]

    def addFailure(self, test, error):
        super().addFailure(test, error)
        ElementTree.SubElement(self.case, "failure").text = self.failures[-1][1]


def stop_wine():
    subprocess.run([*WINE_SERVER, "-k"], env=environment(), stderr=subprocess.DEVNULL)


def tests_of_mode(loader):
    if MODE == "both":
        return loader.loadTestsFromTestCase(BothKindsOfProgramsTest)
    if MODE == "x86":
        return unittest.TestSuite(test for test in loader.loadTestsFromTestCase(InstallerTest)
                                  if hasattr(getattr(test, test.id().rpartition(".")[2]), "on_x86"))
    return unittest.TestSuite(map(loader.loadTestsFromTestCase, (PackageTest, InstallerTest)))


def main():
    if (WORK / "wine").exists():
        stop_wine()
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    with subprocess.Popen([*WINE, "cmd", "/c", "exit"], env=environment(), stdin=subprocess.DEVNULL) as prefix:
        if PACKAGES:
            shutil.copytree(PACKAGES, WORK / "packages")
        else:
            package(X64_TREE, X86_TREE, WORK / "packages")
        broken_tree("x64", "x86_64-w64-mingw32")
        broken_tree("x86", "i686-w64-mingw32")
        if MODE == "both":
            package(X64_TREE, WORK / "broken-x86", WORK / "half-broken-packages")
        else:
            package_broken(WORK / "broken-packages")
            package_boxing(WORK / "boxing-packages")
    if prefix.returncode != 0:
        # The server of a prefix that was removed under it may have answered.
        stop_wine()
        shutil.rmtree(WORK / "wine", ignore_errors=True)
        if wine("cmd", "/c", "exit").returncode != 0:
            sys.exit("Wine cannot make a prefix")
    wine("reg", "add", r"HKCU\Software\Wine\Drivers", "/v", "Graphics", "/d", "null", "/f")
    subprocess.run([*WINE_SERVER, "-w"], env=environment(), check=True)
    loader = unittest.TestLoader()
    loader.testNamePatterns = [f"*{word}*" for word in WORDS] or None
    try:
        results = unittest.TextTestRunner(verbosity=2, resultclass=Results).run(tests_of_mode(loader))
    finally:
        stop_wine()
    ElementTree.ElementTree(results.suite).write(RESULTS)
    sys.exit(not results.wasSuccessful())


if __name__ == "__main__":
    main()
