#!/usr/bin/env python3
"""Fails unless every sample of code in the documents named is word for word in a file that the
tests build and run, and every link to a file, or to a heading in one, has its target. A sample that
begins with an #include is the whole file."""

import pathlib
import re
import sys

top = pathlib.Path(__file__).resolve().parent.parent
outside = "tests/install/consumer/"
sources = {
    "cpp": ["examples/*.cpp", outside + "consumer.cpp"],
    "cmake": [outside + "CMakeLists.txt", "tests/install/subproject/CMakeLists.txt"],
}
files = {
    language: [path.read_text() for pattern in patterns for path in top.glob(pattern)]
    for language, patterns in sources.items()
}
fences = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def is_shown(language, code):
    whole = code.startswith("#include")
    return any(code == file if whole else "\n" + code in "\n" + file
               for file in files.get(language, []))


def headings(document):
    """What links name the headings of a document by."""
    found = re.findall(r"^#+ (.*)$", fences.sub("", document.read_text()), re.MULTILINE)
    return [re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in found]


def problems(document):
    text = document.read_text()
    for fence in fences.finditer(text):
        language, code = fence.groups()
        if language in ("bodies", "vectors", "checksums"):  # tables that the build and tests read
            continue
        count["samples"] += language != ""
        if language and not is_shown(language, code):
            yield fence.start(), "no file that is built and run has this sample"
    for link in re.finditer(r"\]\((?!https?:)([^)#\s]*)(?:#([^)\s]+))?\)", text):
        count["links"] += 1
        name, heading = link.groups()
        target = document.parent / name if name else document
        if not target.exists():
            yield link.start(), f"there is no {name}"
        elif heading and heading not in headings(target):
            yield link.start(), f"there is no heading #{heading}"


count = {"samples": 0, "links": 0, "problems": 0}
for argument in sys.argv[1:]:
    path = pathlib.Path(argument)
    for place, problem in problems(path):
        line = path.read_text().count("\n", 0, place) + 1
        print(f"{argument}:{line}: {problem}")
        count["problems"] += 1
print(count)
sys.exit(count["problems"] != 0 or 0 in (count["samples"], count["links"]))
