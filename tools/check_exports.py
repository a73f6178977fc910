#!/usr/bin/env python3
"""Check that a shared library exports exactly the names its public headers
declare with CAIRN_API: nothing missing, nothing extra."""
import pathlib
import re
import subprocess
import sys

DECL = re.compile(r"CAIRN_API\s+([^;{]*?)\s*(?:\(|;|\[)", re.S)
IGNORED = {"_init", "_fini", "_edata", "_end", "__bss_start"}


def declared(include_dir):
    names = set()
    for header in pathlib.Path(include_dir).rglob("*.h"):
        text = header.read_text()
        text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
        text = re.sub(r"#\s*define[^\n]*(\\\n[^\n]*)*", " ", text)
        for match in DECL.finditer(text):
            ident = re.findall(r"[A-Za-z_][A-Za-z0-9_]*", match.group(1))
            if ident:
                names.add(ident[-1])
    return names


def exported(library):
    out = subprocess.run(["nm", "-D", "--defined-only", library],
                         check=True, capture_output=True, text=True).stdout
    names = set()
    for line in out.splitlines():
        parts = line.split()
        if len(parts) == 3 and parts[1] in "TDBRVWiu":
            names.add(parts[2].split("@")[0])
    return names - IGNORED


def main():
    library, include_dir = sys.argv[1], sys.argv[2]
    want, have = declared(include_dir), exported(library)
    missing, extra = sorted(want - have), sorted(have - want)
    for name in missing:
        print(f"declared but not exported: {name}")
    for name in extra:
        print(f"exported but not declared: {name}")
    print(f"{len(want)} declared, {len(have)} exported")
    return 1 if missing or extra else 0


if __name__ == "__main__":
    sys.exit(main())
