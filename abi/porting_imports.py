#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""porting_imports.py - the list of platform symbols in docs/porting.md, made from the library.

The list stands between two marker lines of docs/porting.md and names, per platform header, the
symbols that `nm -D --undefined-only` finds undefined in libzorvdrel. --write rewrites it;
--check fails, showing both lists, when it differs from what the library imports.

    porting_imports.py --write|--check --src <tree> --lib <libzorvdrel.so>
"""
import argparse
import os
import re
import sys

sys.dont_write_bytecode = True  # nothing of the check lands in the source tree
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from check import platform_declarations, platform_imports  # noqa: E402

BEGIN = "<!-- platform imports: made by ./dev abi-update; the test docs_platform_imports checks it -->"
END = "<!-- end of platform imports -->"


def block(src, lib):
    declared = platform_declarations(src)
    groups = {}
    names = platform_imports(lib, src)
    for name in names:
        groups.setdefault(declared[name], []).append(name)
    lines = [BEGIN, "", f"The library imports these {len(names)} symbols:", "",
             "| Header | Symbols |", "|---|---|"]
    for header in sorted(groups):
        lines.append(f"| `{header}` | " + ", ".join(f"`{n}`" for n in groups[header]) + " |")
    return "\n".join(lines + ["", END])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    mode = parser.add_mutually_exclusive_group(required=True)
    mode.add_argument("--write", action="store_true")
    mode.add_argument("--check", action="store_true")
    parser.add_argument("--src", required=True)
    parser.add_argument("--lib", required=True)
    args = parser.parse_args()
    guide = os.path.join(args.src, "docs/porting.md")
    with open(guide) as f:
        text = f.read()
    found = re.search(re.escape(BEGIN) + ".*?" + re.escape(END), text, re.S)
    if not found:
        print(f"porting_imports: {guide} has no list between its markers", file=sys.stderr)
        return 2
    wanted = block(args.src, args.lib)
    if args.write:
        with open(guide, "w") as f:
            f.write(text[:found.start()] + wanted + text[found.end():])
        return 0
    if found.group(0) != wanted:
        print(f"porting_imports: the list in {guide} is not what {args.lib} imports.\n"
              f"In the guide:\n{found.group(0)}\nImported:\n{wanted}\nRun ./dev abi-update.",
              file=sys.stderr)
        return 1
    print(f"porting_imports: the guide lists the {len(platform_imports(args.lib, args.src))} "
          "imported symbols")
    return 0


if __name__ == "__main__":
    sys.exit(main())
