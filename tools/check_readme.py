#!/usr/bin/env python3
"""Holds the README against the project: every package that run and test install is named in it with its reason,
every verb of the workbench has its line in the table, and every link leads to a file."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def main():
    readme = (ROOT / "README.md").read_text(encoding="utf-8")
    named = set(re.findall(r"[\w.+-]+", readme.split("## What it needs", 1)[1]))
    packages = [l.split()[1] for l in (ROOT / "tools/packages.txt").read_text().splitlines() if l and l[0] != "#"]
    faults = [f"README: the package {p} is not named" for p in packages if p not in named]
    table = readme.split("## The workbench", 1)[1].split("## The house", 1)[0]
    shown = {w for cell in re.findall(r"^\| (.*?) \|", table, re.M) for w in re.findall(r"`(\w+)", cell)}
    for source in (ROOT / "qv/app/workbench").glob("*.cpp"):
        for rows in re.findall(r"constexpr Verb \w+\[\] = \{(.*?)\n?\};", source.read_text(encoding="utf-8"), re.S):
            for verb in re.findall(r"\{\s*\"(\w+)\"", rows):
                if verb not in shown:
                    faults.append(f"README: the verb {verb} ({source.name}) is not in the table")
    links = re.findall(r"\]\(([^)#]+)\)", readme)
    faults += [f"README: the link {l} leads nowhere" for l in links if not (ROOT / l).exists()]
    print("\n".join(faults) if faults else f"readme: {len(packages)} packages, {len(shown)} verbs, no fault")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
