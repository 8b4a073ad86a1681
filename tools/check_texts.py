#!/usr/bin/env python3
"""Holds every row of the language tables against its English column.

In each of the other 17 columns: the same directives in the same order; one accelerator where English has one and
none where it has none; the same line breaks and blanks at both ends; a text at all; the language's own script;
and no cell equal to English unless qv/lang/tables/same_as_english.txt gives the reason.
"""
import pathlib
import re
import sys

TABLES = pathlib.Path(__file__).resolve().parent.parent / "qv/lang/tables"
COLUMNS = ["en", "ja", "de", "es", "fr", "zh-CN", "zh-TW", "da", "fi", "it", "ko", "nl", "nb", "pt-BR", "pt-PT", "ru",
           "sv", "pl"]
DIRECTIVE = re.compile(r"%%|\$\([A-Za-z]+\)|[%$][-#0-9.]*(?:I64)?[a-zA-Z]|%\d")
CJK = r"\u3000-\u30ff\u3400-\u9fff\uac00-\ud7af\uff00-\uffef"
SCRIPTS = {"ja": re.compile(r"[\u3040-\u30ff\u3400-\u9fff]"), "zh-CN": re.compile(r"[\u3400-\u9fff]"),
           "zh-TW": re.compile(r"[\u3400-\u9fff]"), "ko": re.compile(r"[\uac00-\ud7af]"),
           "ru": re.compile(r"[\u0400-\u04ff]")}
FOREIGN = {"ja": re.compile(r"[\u0400-\u04ff\uac00-\ud7af]"), "ko": re.compile(r"[\u0400-\u04ff\u3040-\u30ff]"),
           "zh-CN": re.compile(r"[\u0400-\u04ff\u3041-\u30fa\uac00-\ud7af]"),
           "zh-TW": re.compile(r"[\u0400-\u04ff\u3041-\u30fa\uac00-\ud7af]"), "ru": re.compile(f"[{CJK}]")}
LATIN = re.compile(f"[\u0400-\u04ff{CJK}]")


def rows():
    for file in sorted(TABLES.glob("*.inc")):
        text = "\n".join(l for l in file.read_text(encoding="utf-8").split("\n") if not l.startswith("//"))
        for name, body in re.findall(r"QV_TEXT_ROW\((\w+),(.*?\"\))", text, re.S):
            cells = re.findall(r"/\* (\S+)\s*\*/ \"((?:[^\"\\]|\\.)*)\"", body)
            yield file.name, name, [c for c, _ in cells], [t for _, t in cells]


def excuses():
    found = set()
    for line in (TABLES / "same_as_english.txt").read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            name, languages, _reason = line.split(None, 2)
            found |= {(name, language) for language in languages.split(",")}
    return found


def ends(text):
    return re.match(r"(?:\\n| )*", text).group(), re.search(r"(?:\\n| )*$", text).group()


def accelerators(text):
    return len(re.findall(r"&(?=\S)", text))


def faults_of(english, language, text):
    if not text.strip():
        yield "is empty"
    if DIRECTIVE.findall(english) != DIRECTIVE.findall(text):
        yield "has other directives than English, or another order"
    if accelerators(english) != accelerators(text):
        yield "has another number of accelerators"
    if ends(english) != ends(text):
        yield "has other breaks or blanks at its ends"
    if FOREIGN.get(language, LATIN).search(text):
        yield "holds a foreign script"
    words = re.sub(r"\\n", " ", DIRECTIVE.sub("", text))
    if language in SCRIPTS and text != english and len(re.findall(r"[^\W\d_]", words)) > 12 and \
            not SCRIPTS[language].search(words):
        yield "is not in the language's script"


def main():
    excused, used, faults, count = excuses(), set(), [], 0
    for file, name, columns, texts in rows():
        count += 1
        if columns != COLUMNS:
            faults.append(f"{file}: {name}: the columns are {columns}")
            continue
        for language, text in zip(columns[1:], texts[1:]):
            faults += [f"{file}: {name}: {language} {fault}: {text}" for fault in faults_of(texts[0], language, text)]
            if text == texts[0]:
                used.add((name, language))
                if (name, language) not in excused:
                    faults.append(f"{file}: {name}: {language} is equal to English without a reason")
    faults += [f"same_as_english.txt: {n} {l} is not equal to English" for n, l in sorted(excused - used)]
    print("\n".join(faults) if faults else f"texts: {count} records in {len(COLUMNS)} languages, no fault")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
