#!/usr/bin/env python3
"""Read valgrind memcheck logs (--show-leak-kinds=all) and fail on any
block the library still holds at exit.

  check_valgrind_log.py LOG...

memcheck itself fails the run on errors and on definite or indirect leaks
(--error-exitcode).  What it calls "still reachable" or "possibly lost"
is allowed from the C and C++ runtimes (their own caches: the C++
emergency exception pool, the resolver's name-service modules, stdio
buffers), but not from the library: once its exit handlers have run it
holds nothing, so a loss record with a libcairn frame in its allocation
stack fails here.  Exceptions, by design, are the blocks the library keeps
for the life of the process, whatever ends it:
  - the object registry's slot table (unless enable_ox_object_cleanup() was
    called), so that objects released by late exit code still find it;
  - the process identity that _oxinit() records and hands out by pointer
    (program and application names, argv[0], the UTF-8 arguments, the
    installation directory and the product's directories, the crypto
    search path): callers may keep those pointers until the process ends;
  - the thread-storage key-list lock, through which a thread that ends
    during or after exit processing still runs its end steps.
They are named below by the first library frame above the allocator."""
import re
import sys

# First library frames of the blocks kept for the process's life.
KEPT = (
    "cairn::FreeSlotIndex::",
    "_ox_object_reference",
    "cairn::(anonymous namespace)::create_registry()",
    "_oxinit ",
    "utf8_argv ",
    "ox_set_argv0 ",
    "ox_find_installdir ",
    "cairn::app_directory_lookup(",
    "cairn::(anonymous namespace)::join(",
    "cairn::(anonymous namespace)::set_search_path(",
    "(anonymous namespace)::create_list_lock()",
)
RECORD = re.compile(r"^==\d+== (\S+) bytes in (\S+) blocks are (still reachable|possibly lost)")


def is_library(record):
    frames = record[1:]
    if not any("libcairn" in l or "cairn::" in l for l in frames):
        return False
    # The first library frame above the allocator tells who asked.
    for line in frames:
        if "mem_" in line or "alloc" in line or "operator new" in line:
            continue
        return not any(k in line for k in KEPT)
    return True


def library_records(path):
    """The loss records of `path` whose allocation stack passes through the library."""
    found, record = [], None
    with open(path, encoding="utf-8", errors="replace") as f:
        for line in f:
            if RECORD.match(line):
                record = [line.rstrip()]
            elif record is not None:
                body = line.split("== ", 1)[-1].strip() if "== " in line else ""
                if body:
                    record.append(line.rstrip())
                    continue
                if is_library(record):
                    found.append("\n".join(record))
                record = None
    if record and is_library(record):
        found.append("\n".join(record))
    return found


def main(logs):
    failed = False
    for log in logs:
        for record in library_records(log):
            print(f"{log}: the library still holds memory at exit:\n{record}\n", file=sys.stderr)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
