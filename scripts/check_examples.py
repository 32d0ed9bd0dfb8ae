#!/usr/bin/env python3
"""Compiles the examples in the opening comments of the headers.

    scripts/check_examples.py TREE         with the compiler and the paths of that build tree, its tests included
    scripts/check_examples.py --list       shows what is taken for an example, as it would be compiled
    scripts/check_examples.py --self-test  tries how examples are told and taken apart

What an example is: in the comment that a header of src or tests/support begins with, the lines that are indented by
three spaces and follow an empty line of the comment.

    //   Graph graph;            <- code
    //     AABB  a drawing      <- indented deeper throughout, or following prose directly: a drawing or a list, no code

- An example that begins a class or a function at its outer level is put into a namespace. All others of a header are
  put into one function, each in a block within the one before, whose names it sees; the function may return what it
  likes. Both lie within the header's own namespace.
- Where a statement may stand, "..." is what was left out, and so is "... some words ...".
- What the examples of a folder take as given (a track, a reader, a pin) is declared in that folder's file in
  scripts/header_examples, so that one name means one thing in all of them. It is put in front of each header's examples;
  what it includes is included before them all.

All headers that have examples and all examples are one translation unit, whose syntax alone is checked.
"""

import json
import re
import shlex
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
GIVENS = ROOT / "scripts" / "header_examples"
FOLDERS = ("src", "tests/support")
# Headers of one system, which not every build can read.
ONE_SYSTEM = re.compile(r"/(windows|posix)/")
# Begins a class, a test or the body of a function.
DEFINITION = re.compile(r"(class|struct|enum|template|namespace|TEST(_[FP])?)\b|[\w:<>&* ]+ [*&]?[\w:]+\([^=]*\)( \w+)* \{(.*\})?$")
# Texts and comments, which are passed over, or what stands for code that was left out.
LEFT_OUT = re.compile(r'("(?:\\.|[^"\\])*"|//.*)|(?:^|(?<=[;{})\s]))\.\.\.(?:[^;{}".\n]*\.\.\.)?;?(?=\s|$|\})', re.M)


def opening_comment(text):
    lines = []
    for line in text.splitlines():
        if not line.startswith("//"):
            break
        lines.append(line[2:])
    return lines


def paragraphs(text):
    """The indented paragraphs that follow an empty line, as (number of the first line, lines)."""
    lines = opening_comment(text)
    for first in range(1, len(lines)):
        if not lines[first - 1] and lines[first].startswith("   "):
            last = first
            while last < len(lines) and lines[last].startswith("   "):
                last += 1
            yield first + 1, [line[3:] for line in lines[first:last]]


def examples(text):
    """The examples of a header's text, as (number of the first line, lines)."""
    found = []
    for number, lines in paragraphs(text):
        if all(line.startswith(" ") for line in lines):
            continue
        if found and found[-1][0] + len(found[-1][1]) + 1 == number:
            found[-1][1].extend(["", *lines])
        else:
            found.append((number, lines))
    return found


def wrapped(header, text, givens=""):
    """The source that compiles a header's examples, nothing when it has none."""
    found = examples(text)
    if not found:
        return ""
    own = re.search(r"^namespace ([\w:]+) \{", text, re.M)
    out = [f"namespace {own.group(1)} {{"] if own else []
    out.append(f"namespace examples_of_{re.sub(r'[^0-9a-z]', '_', header)} {{")
    out.append(givens)
    statements = []
    for index, (number, lines) in enumerate(found):
        code = LEFT_OUT.sub(lambda match: match.group(1) or "{}", "\n".join(lines).rstrip())
        if any(DEFINITION.match(line) for line in code.splitlines()):
            out += [f"namespace example_{index} {{", f'#line {number} "{header}"', code, "}"]
        else:
            statements += ["{", f'#line {number} "{header}"', code]
    out += ["inline auto Example()", *statements, "}" * statements.count("{")] if statements else []
    out += ["}"] * (2 if own else 1)
    return "\n".join(out) + "\n"


def folder_of(header):
    """The nearest folder that has givens; the header's own where none has."""
    names = [folder.name for folder in header.parents if ROOT in folder.parents]
    return next((name for name in names if (GIVENS / f"{name}.h").exists()), names[0])


def read_givens(folder):
    """What a folder's examples take as given, as (its includes, the rest)."""
    path = GIVENS / f"{folder}.h"
    if not path.exists():
        return [], ""
    lines = path.read_text(encoding="utf-8").splitlines()
    includes = [line for line in lines if line.startswith("#include")]
    rest = ["" if line in includes or line == "#pragma once" else line for line in lines]
    return includes, "\n".join([f'#line 1 "{path.relative_to(ROOT)}"', *rest])


def unit():
    """The translation unit of everything, and how many headers are in it."""
    includes, bodies, folders = [], [], set()
    for top in FOLDERS:
        for path in sorted((ROOT / top).rglob("*.h")):
            header = path.relative_to(ROOT).as_posix()
            folder_includes, givens = read_givens(folder_of(path))
            body = "" if ONE_SYSTEM.search(header) else wrapped(header, path.read_text(encoding="utf-8"), givens)
            if body:
                includes += [f'#include "{header.partition("/")[2]}"', *folder_includes]
                bodies.append(body)
                folders.add(folder_of(path))
    unused = [path.name for path in GIVENS.glob("*.h") if path.stem not in folders]
    if unused:
        sys.exit(f"scripts/header_examples: {' '.join(unused)}: no examples in that folder")
    return "\n".join(dict.fromkeys(includes)) + "\n" + "".join(bodies), len(bodies)


def compiler(tree):
    """The compiler's name, language and paths, as a test that sees everything has them."""
    commands = json.loads((Path(tree) / "compile_commands.json").read_text(encoding="utf-8"))
    words = next((shlex.split(entry["command"]) for entry in commands
                  if re.search("/tests/(traced/|CMakeFiles/test_traced.dir/Unity/)", entry["file"])), None)
    if not words:
        sys.exit(f"{tree} is not a build tree with tests")
    kept, following = words[:1], False
    for word in words[1:]:
        if following or word == "-isystem" or word.startswith(("-I", "-D", "-std=")):
            kept.append(word)
        following = word == "-isystem"
    return kept


def compiles(command, source):
    return subprocess.run([*command, "-fsyntax-only", "-w", "-x", "c++", "-"], input=source, text=True,
                          cwd=ROOT).returncode == 0


def self_test():
    text = ("// Words.\n//\n//   Foo foo;   // ...\n//   if (foo) ...\n//   ... and so on ...\n//   foo(\"a ... b\", [&] { ...; go(); });\n"
            "//\n//   class A {};\n// A list:\n//   one  two;\n//\n//     a drawing ->\n//\n//   int F(int a) { return 0; }\n"
            "#include <a>\n//\n//   x\nnamespace a::b {\n")
    body = wrapped("src/a/b.h", text)
    expected = {  # what must be in it, and how often
        "namespace a::b {\nnamespace examples_of_src_a_b_h {": 1, "Foo foo;   // ...\nif (foo) {}\n{}\n": 1,
        'foo("a ... b", [&] { {} go(); });': 1, '#line 3 "src/a/b.h"': 1, "one  two": 0, "drawing": 0,
        '#line 14 "src/a/b.h"\nint F(int a) { return 0; }': 1, "Example()": 0,
    }
    wrong = [words for words, count in expected.items() if body.count(words) != count]
    wrong += ["x in a function"] * ("Example()" not in wrapped("h.h", "//\n//   x();\n"))
    print("\n".join(f"self-test: wrong: {words}" for words in wrong) or "self-test: passed")
    return not wrong


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    source, headers = unit()
    if sys.argv[1] == "--self-test":
        sys.exit(0 if self_test() else 1)
    if sys.argv[1] == "--list":
        print(source)
        return
    if not headers or not compiles(compiler(sys.argv[1]), source):
        sys.exit("an example does not compile; scripts/check_examples.py says what an example is")
    print(f"the examples of {headers} headers compile")


if __name__ == "__main__":
    main()
