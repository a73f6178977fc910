#!/usr/bin/env python3
"""List exported functions and variables that no test names.

A name counts as tested when it appears as a whole word in a test source
outside tests/headers (those only compile the headers).  Prints each
untested name and exits 1 when there is any."""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from check_exports import declared  # noqa: E402

SOURCES = ("*.cpp", "*.c", "*.hpp", "*.h")


def named_in_tests(tests_dir):
    """Every word of the test sources, plus the names that token pasting
    (P##_suffix) builds from a prefix the tests also name."""
    words, suffixes = set(), set()
    root = pathlib.Path(tests_dir)
    for pattern in SOURCES:
        for source in root.rglob(pattern):
            if "headers" in source.relative_to(root).parts[:1]:
                continue
            text = source.read_text(errors="replace")
            words.update(re.findall(r"[A-Za-z_][A-Za-z0-9_]*", text))
            suffixes.update(re.findall(r"##(_[A-Za-z0-9_]+)", text))
    return words | {prefix + suffix for prefix in words for suffix in suffixes}


def main():
    include_dir, tests_dir = sys.argv[1], sys.argv[2]
    names = declared(include_dir)
    untested = sorted(names - named_in_tests(tests_dir))
    for name in untested:
        print(f"named by no test: {name}")
    print(f"{len(names)} exported, {len(untested)} named by no test", flush=True)
    return 1 if untested else 0


if __name__ == "__main__":
    sys.exit(main())
