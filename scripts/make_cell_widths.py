#!/usr/bin/env python3
"""Makes src/tools/cell_widths.inc from Debian's package unicode-data: the characters that do not take one cell.

  scripts/make_cell_widths.py            writes the table
  scripts/make_cell_widths.py --check    1 when the table in the tree is another one
"""
import pathlib
import sys

DATA = pathlib.Path("/usr/share/unicode")
TABLE = pathlib.Path(__file__).resolve().parent.parent / "src/tools/cell_widths.inc"
CHARACTERS = 0x110000
# Shown as a hyphen by every terminal, although its category says otherwise.
SOFT_HYPHEN = 0xAD
# Vowels and finals of Hangul, which join the initial before them.
JOINING_JAMO = [range(0x1160, 0x1200), range(0xD7B0, 0xD800)]
ZERO_CATEGORIES = {"Mn", "Me", "Cf", "Cc", "Zl", "Zp"}


def ranges_of(path):
    """The ranges and their first property in a file of the database: "4E00..9FFF;W  # ..."."""
    for line in path.read_text(encoding="utf-8").splitlines():
        fields = [field.strip() for field in line.split("#")[0].split(";")]
        if len(fields) < 2:
            continue
        first, _, last = fields[0].partition("..")
        yield int(first, 16), int(last or first, 16), fields[1]


def categories():
    """The general category of each character, "Cn" for what is not assigned."""
    found = ["Cn"] * CHARACTERS
    first = None
    for line in (DATA / "UnicodeData.txt").read_text(encoding="utf-8").splitlines():
        fields = line.split(";")
        code = int(fields[0], 16)
        if fields[1].endswith(", First>"):
            first = code
            continue
        found[first if first is not None else code:code + 1] = [fields[2]] * (code + 1 - (first or code))
        first = None
    return found


def widths():
    width = [1] * CHARACTERS
    for first, last, kind in ranges_of(DATA / "EastAsianWidth.txt"):
        if kind in ("W", "F"):
            width[first:last + 1] = [2] * (last + 1 - first)
    for first, last, kind in ranges_of(DATA / "emoji/emoji-data.txt"):
        # Regional indicators make a flag of two: each takes one cell of it.
        if kind == "Emoji_Presentation" and not (0x1F1E6 <= first <= 0x1F1FF):
            width[first:last + 1] = [2] * (last + 1 - first)
    for code, category in enumerate(categories()):
        if category in ZERO_CATEGORIES and code != SOFT_HYPHEN:
            width[code] = 0
    for jamo in JOINING_JAMO:
        for code in jamo:
            width[code] = 0
    return width


def table():
    lines = ["// Made by scripts/make_cell_widths.py of the character database; not to be edited.",
             "// First and last character, and the cells that each of them takes; all others take one."]
    width = widths()
    code = 0
    while code < CHARACTERS:
        last = code
        while last + 1 < CHARACTERS and width[last + 1] == width[code]:
            last += 1
        if width[code] != 1:
            lines.append(f"{{0x{code:04X}, 0x{last:04X}, {width[code]}}},")
        code = last + 1
    return "\n".join(lines) + "\n"


def main():
    made = table()
    if sys.argv[1:] == ["--check"]:
        sys.exit(0 if TABLE.read_text(encoding="utf-8") == made else f"{TABLE} is not what the database gives")
    TABLE.write_text(made, encoding="utf-8")


if __name__ == "__main__":
    main()
