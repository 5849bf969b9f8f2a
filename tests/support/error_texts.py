#!/usr/bin/env python3
"""Programs compare the texts of errors, so each of them has to be spelled out where people and tests rely on it.

    tests/support/error_texts.py tests     each text of the library stands in a test, letter by letter
    tests/support/error_texts.py manual    docs/errors.md explains each of them, and no others

In a text with figures, %llu and %d stand for a number and %s for a name.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ("qor/file/error_text.h", "qor/data/buf_ref.h")

# Texts that no test can bring about, and why.
NEVER_SEEN = {
    "BufRef typeSize != typeElemSize * typeElemCount.": "no type of the catalogue is uneven",
}


def literals(source):
    """The string literals of a source, those that follow each other in one."""
    return ["".join(re.findall(r'"((?:[^"\\]|\\.)*)"', run))
            for run in re.findall(r'(?:"(?:[^"\\\n]|\\.)*"\s*)+', source)]


def library_texts():
    texts = set()
    for path in SOURCES:
        source = re.sub(r"^\s*#.*$|//.*$", "", (ROOT / path).read_text(), flags=re.MULTILINE)
        texts.update(literals(source))
    return texts


def pattern(text):
    parts = {"%llu": r"\d+", "%d": r"-?\d+", "%s": r"\w+"}
    return re.compile("".join(parts.get(part) or re.escape(part) for part in re.split(r"(%llu|%d|%s)", text)))


def missing_in_tests():
    found = [literal for path in sorted((ROOT / "tests").glob("**/*_test.cpp"))
             for literal in literals(path.read_text())]
    return [f"no test has the text: {text}" for text in sorted(library_texts())
            if text not in NEVER_SEEN and not any(pattern(text).search(literal) for literal in found)]


def unlike_the_manual():
    headings = re.findall(r"^###.*$", (ROOT / "docs/errors.md").read_text(), flags=re.MULTILINE)
    explained = [text for heading in headings for text in re.findall(r"`([^`]+)`", heading)]
    texts = library_texts()
    return ([f"not explained: {text}" for text in sorted(texts - set(explained))] +
            [f"explained, and none of the library's: {text}" for text in sorted(set(explained) - texts)] +
            [f"explained twice: {text}" for text in sorted(set(explained)) if explained.count(text) > 1])


def main():
    checks = {"tests": missing_in_tests, "manual": unlike_the_manual}
    if len(sys.argv) != 2 or sys.argv[1] not in checks:
        sys.exit(__doc__)
    if not library_texts():
        sys.exit("the library has no texts")
    findings = checks[sys.argv[1]]()
    if findings:
        sys.exit("\n".join(findings))
    print(f"{len(library_texts())} texts")


if __name__ == "__main__":
    main()
