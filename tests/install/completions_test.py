#!/usr/bin/env python3
"""The manual page and the shells' completions, tried by the programs that read them.

    tests/install/completions_test.py TREE WORK_FOLDER [WORD...]

The tree is a native build tree; the work folder is emptied. What they must hold is read from what the tool's --help says.
A program that is not there is left out with a line.
"""

import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

TREE, WORK = (Path(path).resolve() for path in sys.argv[1:3])
PAGES = TREE / "src" / "tools"
TOOL = TREE / "bin" / "vantor-mkv"


def output(*words, **options):
    return subprocess.run([*map(str, words)], check=True, text=True, stdout=subprocess.PIPE, timeout=120, **options).stdout


def options_in(text):
    return sorted({word for line in text.splitlines() if line.startswith("  -")
                   for word in re.findall(r"(?<![\w-])--?[a-z][a-z-]*", re.split(r"  +", line.strip())[0])})


HELP = output(TOOL, "--help")
COMMANDS = re.findall(r"^  ([a-z]+)  ", HELP.partition("Subcommands:")[2], re.M)
OPTIONS = options_in(HELP.partition("\nOptions:")[2])
OPTIONS_OF = {command: options_in(output(TOOL, command, "--help")) for command in COMMANDS if command != "help"}


class Completions:
    """What every shell must do; complete(words) gives what it offers for the last of them."""

    def setUp(self):
        if not shutil.which(self.shell):
            self.skipTest(f"{self.shell} is not to be had here")
        (WORK / self.shell).mkdir(parents=True, exist_ok=True)
        for name in ("movie one.mkv", "movie.txt"):
            (WORK / self.shell / name).touch()
        (WORK / self.shell / "movie parts").mkdir(exist_ok=True)

    def run_shell(self, *words, **environment):
        return output(*words, cwd=WORK / self.shell, stdin=subprocess.DEVNULL,
                      env=os.environ | {"HOME": str(WORK / self.shell), "XDG_CONFIG_HOME": str(WORK / self.shell),
                                        "XDG_DATA_HOME": str(WORK / self.shell), "TERM": "dumb"} | environment)

    def test_CommandsAreOffered(self):
        self.assertEqual(self.complete("vantor-mkv", ""), sorted(COMMANDS))
        self.assertEqual(self.complete("vantor-mkv", "--complete", "ch"), sorted(c for c in COMMANDS if c.startswith("ch")))

    def test_OptionsOfTheToolAreOffered(self):
        self.assertEqual(self.complete("vantor-mkv", "--"), [option for option in OPTIONS if option.startswith("--")])

    def test_OptionsOfEveryCommandAreOffered(self):
        for command, options in OPTIONS_OF.items():
            offered = self.complete("vantor-mkv", command, "--")
            self.assertEqual(offered, sorted(option for option in {*options, *OPTIONS} if option.startswith("--")), command)

    def test_FilesAreOfferedWhereAFileIsWanted(self):
        self.assertIn("movie one.mkv", self.complete("vantor-mkv", "info", "mov"))
        self.assertIn("movie one.mkv", self.complete("vantor-mkv", "--component", "mov"))

    def test_NothingIsOfferedForAValueThatIsNoFile(self):
        self.assertEqual(self.complete("vantor-mkv", "play", "--from", "mov"), [])


class BashTest(Completions, unittest.TestCase):
    shell = "bash"

    def complete(self, *words):
        script = (f'. "{PAGES}/bash/vantor-mkv"; complete -p vantor-mkv >/dev/null || exit 1; COMP_WORDS=("$@"); '
                  'COMP_CWORD=$(($# - 1)); _vantor_mkv; [ ${#COMPREPLY[@]} = 0 ] || printf "%s\\n" "${COMPREPLY[@]}"')
        return sorted(self.run_shell("bash", "--norc", "-c", script, "bash", *words).splitlines())


class ZshTest(Completions, unittest.TestCase):
    shell = "zsh"

    # The completion runs where alone it can, in the line editor of a shell at a terminal, which zsh itself provides. All
    # that is offered goes through compadd, in whose place a function notes it.
    INNER = """
fpath=({pages}/zsh $fpath)
autoload -Uz compinit && compinit -u -D
compadd() {{
  local -A given
  if [[ ${{@[1,(i)(-|--)]}} == *-(O|A|D)\\ * ]]; then builtin compadd "$@"; return; fi
  local -a found
  builtin compadd -O found "$@"
  (( $#found )) && print -rl -- "$found[@]" >>{answer}
  builtin compadd "$@"
}}
note() {{ zle complete-word; print -r -- done >>{answer}.done; zle send-break }}
zle -N note; bindkey '^X^T' note
zle -C complete-word complete-word _main_complete
setopt no_beep; zstyle ':completion:*' list-max 0; zstyle ':completion:*' menu no
print -r -- rea''dy
"""

    def complete(self, *words):
        answer, inner = WORK / "zsh-answer", WORK / "zsh-inner.zsh"
        for file in (answer, Path(f"{answer}.done")):
            file.unlink(missing_ok=True)
        inner.write_text(self.INNER.format(pages=PAGES, answer=answer))
        line = " ".join(words)
        self.run_shell("zsh", "-f", "-c", f"""
zmodload zsh/zpty || exit 1
zpty -b inner zsh -f -i
zpty -w inner 'PROMPT= ; . {inner}'
zpty -r -m inner text '*ready*' || exit 1
zpty -n -w inner $'{line}\\x18\\x14'
repeat 600; do [[ -e {answer}.done ]] && break; sleep 0.05; done
zpty -d inner""")
        return sorted({line.replace("\\ ", " ") for line in answer.read_text().splitlines()}) if answer.exists() else []


class FishTest(Completions, unittest.TestCase):
    shell = "fish"

    def complete(self, *words):
        text = self.run_shell("fish", "--no-config", "-c",
                              f"source {PAGES}/fish/vantor-mkv.fish; complete -C '{' '.join(words)}'")
        return sorted(line.partition("\t")[0].replace("\\ ", " ") for line in text.splitlines())


class PageTest(unittest.TestCase):
    PAGE = PAGES / "man" / "vantor-mkv.1"

    def test_EveryCommandAndOptionIsOnThePage(self):
        if not shutil.which("groff"):
            self.skipTest("groff is not to be had here")
        text = output("groff", "-man", "-Tascii", "-P-cbou", self.PAGE)
        wanted = {*COMMANDS, *OPTIONS, *(option for options in OPTIONS_OF.values() for option in options)}
        self.assertEqual([word for word in sorted(wanted) if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text)], [])
        self.assertIn("vantor-mkv info movie.mkv", text)
        self.assertRegex(text, r"(?m)^EXIT STATUS$")

    def test_GroffHasNothingToSay(self):
        if not shutil.which("groff"):
            self.skipTest("groff is not to be had here")
        said = subprocess.run(["groff", "-man", "-ww", "-z", "-Tutf8", self.PAGE], stderr=subprocess.PIPE, text=True)
        self.assertEqual((said.returncode, said.stderr), (0, ""))

    def test_MandocHasNothingToSay(self):
        if not shutil.which("mandoc"):
            self.skipTest("mandoc is not to be had here")
        said = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", self.PAGE], stdout=subprocess.PIPE, text=True)
        self.assertEqual((said.returncode, said.stdout), (0, ""))


if __name__ == "__main__":
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    loader = unittest.defaultTestLoader
    loader.testNamePatterns = [f"*{word}*" for word in sys.argv[3:]] or None
    suite = unittest.TestSuite(loader.loadTestsFromTestCase(case) for case in (BashTest, ZshTest, FishTest, PageTest))
    outcome = unittest.TextTestRunner(verbosity=2).run(suite)
    sys.exit(0 if outcome.wasSuccessful() and outcome.testsRun else 1)
