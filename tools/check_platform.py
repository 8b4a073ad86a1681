#!/usr/bin/env python3
"""Holds docs/platform.md against the platform headers, in both directions: every operation declared has its row in
the section of its header, every row its declaration, and every declaration a comment."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
HEADERS = ROOT / "qv" / "platform"
PAGE = ROOT / "docs" / "platform.md"
# At the start of a line: a function up to its parameters; not a constant, not a macro.
DECLARATION = re.compile(r"^(?:\[\[noreturn\]\] )?(?!using |return |extern )(?:[\w:]+[\s&*]+)+(\w+)\(")


def public_lines(text):
    """The lines of a header, those inside namespace detail left out."""
    hidden = False
    for line in text.split("\n"):
        hidden = hidden or line.startswith("namespace detail {")
        if not hidden:
            yield line
        hidden = hidden and not line.startswith("}  // namespace detail")


def declared(path):
    """The operations of a header, and those of them that no comment speaks of."""
    names, bare, commented = set(), [], False
    for line in public_lines(path.read_text(encoding="utf-8")):
        if not line.strip():
            commented = False
        commented = commented or line.startswith("//")
        found = DECLARATION.match(line)
        if found:
            names.add(found[1])
            if not commented:
                bare.append(found[1])
    return names, bare


def documented(page):
    """The operations that each section of the page lists."""
    sections = {}
    for part in re.split(r"^## ", page, flags=re.M)[1:]:
        title, _, body = part.partition("\n")
        cells = re.findall(r"^\| (.*?) \|", body, re.M)
        names = [name for cell in cells for name in re.findall(r"`(\w+)`", cell)]
        sections[title.strip()] = names
    return sections


def faults_of(header, names, bare, rows):
    where = header.relative_to(ROOT)
    yield from (f"{where}: {name} has no comment" for name in bare)
    yield from (f"{PAGE.name}: {name} of {where} has no row" for name in sorted(names - set(rows)))
    yield from (f"{PAGE.name}: {name} has a row, but {where} doesn't declare it" for name in sorted(set(rows) - names))
    yield from (f"{PAGE.name}: {name} has two rows" for name in sorted({n for n in rows if rows.count(n) > 1}))


def main():
    sections = documented(PAGE.read_text(encoding="utf-8"))
    faults, count = [], 0
    for header in sorted(HEADERS.rglob("*.h")):
        if "linux" in header.parts or "windows" in header.parts:
            continue
        names, bare = declared(header)
        rows = sections.pop(header.name, [])
        faults += faults_of(header, names, bare, rows)
        count += len(names)
    faults += [f"{PAGE.name}: no header {title}" for title in sections]
    print("\n".join(faults) if faults else f"platform: {count} operations, no fault")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
