#!/usr/bin/env python3
"""Compare the shared library's public ABI with the baseline kept in the
repository (abi/libcairn.abi, written by abidw from a build with debug
information, restricted to the types of the public headers).

  check_abi.py LIBRARY INCLUDE_DIR BASELINE           compare
  check_abi.py LIBRARY INCLUDE_DIR BASELINE --update  write the baseline

A removed or changed function or variable fails, unless the library's SONAME has moved and the
baseline was written anew for it in the same change.  Compatible changes
(additions) pass, with abidiff's report shown so the baseline can be
brought up to date."""
import os
import re
import subprocess
import sys

ABIDIFF_ERROR, ABIDIFF_USAGE, ABIDIFF_CHANGE, ABIDIFF_INCOMPATIBLE = 1, 2, 4, 8


def soname(library):
    out = subprocess.run(["readelf", "-d", library], check=True, capture_output=True, text=True).stdout
    match = re.search(r"\(SONAME\)\s+Library soname: \[([^\]]+)\]", out)
    return match.group(1) if match else None


def baseline_soname(baseline):
    with open(baseline, encoding="utf-8") as f:
        match = re.search(r"soname='([^']+)'", f.read(4096))
    return match.group(1) if match else None


def changed_or_removed(report):
    """abidiff marks only removed symbols as incompatible; a changed
    function or variable (a type's layout, a parameter) breaks callers just
    as surely.  Only additions are compatible."""
    counts = re.findall(r"(\d+) Removed(?: \(\d+ filtered out\))?, (\d+) Changed", report)
    return any(int(removed) or int(changed) for removed, changed in counts)


def main():
    if len(sys.argv) < 4:
        print(__doc__, file=sys.stderr)
        return 2
    library, include_dir, baseline = sys.argv[1:4]
    if sys.argv[4:] == ["--update"]:
        os.makedirs(os.path.dirname(baseline) or ".", exist_ok=True)
        subprocess.run(["abidw", "--headers-dir", include_dir, "--drop-private-types", "--no-show-locs",
                        "--no-comp-dir-path", "--no-corpus-path", "--out-file", baseline, library], check=True)
        print(f"wrote {baseline} for {soname(library)}")
        return 0
    have, want = soname(library), baseline_soname(baseline)
    if have != want:
        print(f"the library's SONAME is {have} but the baseline is for {want}: "
              "write the baseline anew (tools/run abi-update) in the change that moves the SONAME")
        return 1
    # The baseline holds only the public types already; filtering by header
    # paths here would drop everything, as the baseline keeps no paths.
    result = subprocess.run(["abidiff", "--no-show-locs", baseline, library], capture_output=True, text=True)
    report = result.stdout + result.stderr
    if result.returncode & (ABIDIFF_ERROR | ABIDIFF_USAGE):
        print(report)
        print("abidiff could not compare")
        return 1
    if result.returncode & ABIDIFF_INCOMPATIBLE or changed_or_removed(report):
        print(report)
        print(f"incompatible ABI change for {have}: move the SONAME and write the baseline anew")
        return 1
    if result.returncode & ABIDIFF_CHANGE:
        print(report)
        print("compatible ABI changes: consider updating the baseline (tools/run abi-update)")
    else:
        print(f"ABI of {have} matches the baseline")
    return 0


if __name__ == "__main__":
    sys.exit(main())
