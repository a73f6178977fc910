#!/usr/bin/env python3
"""Check that the allocation-failure sweep names every exported function
whose name marks it as a constructor, a parser or an insertion.

A name counts as swept when it appears as a whole word in the sweep's test
source.  Names that match a pattern but allocate nothing are listed in
EXCLUDED with the reason.  Prints each name missing and exits 1 when there
is any."""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from check_exports import declared  # noqa: E402

# Constructors, insertions and parsers, as the headers name them.
PATTERNS = [
    r"_new$", r"_new_from", r"^val_new", r"_create(_|$)", r"_dup$", r"_copy$", r"alloc$",
    r"^x(malloc|calloc|strdup)$", r"_self$",
    r"(^|_)add(?!r|dirsep)", r"_append", r"_prepend$", r"_insert$", r"_push$", r"_replace$",
    r"_set$", r"_setlist", r"_setall$", r"_merge", r"_update$", r"_intersect$", r"_accrue$",
    r"_save$", r"_to_structext$", r"_to_stbuf$", r"_to_xmlstr$", r"_to_stxdrbuf$", r"_from_(file|csv|mlit|structext)$",
    r"_to_csv$", r"_to_argv$", r"_build", r"_render$", r"_populate$", r"_cmp$",
    r"ptime$", r"pton$", r"parse", r"^ox_get(addr|name|alias)info$", r"_ifaddresses$", r"_extract_val",
    r"^fullpath", r"^getpath(parent|child)", r"_basename$", r"_dirname$", r"widepath$",
    r"DriveToUpper$", r"^ox_str(append|replace|vcat)$", r"^i18n_vs", r"^ox_fgets$",
    r"_utf8_to_mbts$", r"_to_varp$", r"_settype$",
    r"^ox_(getenv|putenv|set_argv0|atexit)$",
]

# Matched by a pattern, but nothing to sweep: why.
EXCLUDED = {
    # Comparisons, not regex compilation.
    "attr_cmp": "compares", "val_cmp": "compares", "list_cmp": "compares",
    "ox_time_cmp": "compares", "vallist_cmp": "compares",
    "ox_inet_addrcmp": "compares",
    # The classic list toolkit only relinks records the caller made.
    "list_addelem": "relinks caller's records", "list_addlist": "relinks caller's records",
    "list_append": "relinks caller's records", "list_prepend": "relinks caller's records",
    "list_intersect": "relinks caller's records",
    "list_dup": "the caller's copy function makes every record",
    # Arithmetic on values held by the caller.
    "ox_atomic_exchange_add": "atomic arithmetic",
    "ox_inet_addrcmp_netmask": "compares", "ox_inet_addrcmp_prefix": "compares",
    "ox_inet_addrtohex": "writes the caller's buffer",
    "ox_inet_pton": "writes the caller's sockaddr",
    "ox_inet_parseipv6addr": "parses into a result code, no storage",
    "ox_8601ptime": "parses into a time value, no storage",
    # The ring's nodes are all made by ox_circularqueue_new.
    "ox_circularqueue_push": "allocates nothing", "ox_circularqueue_trypush": "allocates nothing",
    "ox_circularqueue_timedpush": "allocates nothing",
    "ox_threadqueue_push": "its worker threads allocate while the injection counts; "
                           "its list append is the one swept as ox_list_append",
    "ox_inet_getaddr": "copies into the caller's buffer",
    "msg_callback_set": "stores a function pointer",
}

WORD = re.compile(r"[A-Za-z_][A-Za-z0-9_]*")


def candidates(names):
    pattern = re.compile("|".join(PATTERNS))
    return sorted(n for n in names if pattern.search(n))


def main():
    include_dir, sweep_file = sys.argv[1], sys.argv[2]
    named = set(WORD.findall(pathlib.Path(sweep_file).read_text()))
    wanted = candidates(declared(include_dir))
    missing = [n for n in wanted if n not in named and n not in EXCLUDED]
    for name in missing:
        print(f"not swept: {name}")
    print(f"{len(wanted)} constructors, parsers and insertions; "
          f"{len(EXCLUDED)} excluded; {len(missing)} not swept", flush=True)
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
