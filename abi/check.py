#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check.py - compares the ABI of a source tree and its built libzorvdrel with a stored baseline.

Three parts, each against its file in the baseline directory:
  exports          libzorvdrel.abi      abidw's view of the exported functions and variables and
                                        the records they reach; compared with abidiff
  headers          headers.txt          every record, field offset, typedef, enumerator, constant,
                                        prototype and variable of zorv_drel.h and the platform
                                        headers (header_table.py), wire records no function
                                        names and the platform's prototypes included
  platform imports platform_imports.txt the platform symbols the library needs: its undefined
                                        symbols (nm -D) that the platform headers declare

It ends with one line: "ABI check: no change", "ABI check: compatible addition" (or "compatible
change" when the library merely needs fewer platform symbols) or "ABI check: incompatible", and
exits 0, 3, 3 or 1 (2 when a tool fails). --update writes the baseline instead.

    check.py [--update] --src <tree> --lib <libzorvdrel.so> --baseline <dir> --work <dir>
             [--generated <the build's generated header directory>]
"""
import argparse
import os
import re
import shutil
import subprocess
import sys

sys.dont_write_bytecode = True  # nothing of the check lands in the source tree
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import header_table  # noqa: E402

NO_CHANGE, COMPATIBLE_CHANGE, ADDITION, INCOMPATIBLE = range(4)
VERDICT = {NO_CHANGE: "no change", COMPATIBLE_CHANGE: "compatible change",
           ADDITION: "compatible addition", INCOMPATIBLE: "incompatible"}
EXIT = {NO_CHANGE: 0, COMPATIBLE_CHANGE: 3, ADDITION: 3, INCOMPATIBLE: 1}
HEADERS = ["zorv_drel.h", "platform/platform.h"]


def run(cmd, ok=(0,)):
    done = subprocess.run(cmd, capture_output=True, text=True)
    if done.returncode not in ok:
        print(f"ABI check: {' '.join(cmd)} failed ({done.returncode}):\n{done.stdout}{done.stderr}")
        sys.exit(2)
    return done


def include_dirs(src):
    return [os.path.join(src, "feature/zorv/lib/drel"), os.path.join(src, "platform/include")]


def write_headers(src, generated, out):
    table = header_table.table(include_dirs(src), HEADERS, generated)
    with open(out, "w") as f:
        f.write(table)


def write_exports(src, lib, out):
    run(["abidw", "--exported-interfaces-only", "--drop-private-types",
         "--headers-dir", include_dirs(src)[0],
         "--headers-dir", os.path.join(include_dirs(src)[1], "platform"),
         "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--short-locs",
         "--no-parameter-names",
         "--type-id-style", "hash", "--out-file", out, lib])


def platform_declarations(src):
    """The functions the platform headers declare, each with its header (<platform/x.h>)."""
    folder = os.path.join(include_dirs(src)[1], "platform")
    declared = {}
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name)) as f:
            # declarations only: comments mention the calls of other headers
            text = re.sub(r"/\*.*?\*/|//[^\n]*", "", f.read(), flags=re.S)
        for function in re.findall(r"\b(\w+)\s*\(", text):
            declared.setdefault(function, f"<platform/{name}>")
    return declared


def platform_imports(lib, src):
    """The symbols the library needs (nm -D --undefined-only, symbol versions dropped) that the
    platform headers declare: the C and C++ runtimes', and a sanitizer's, are not the platform's."""
    declared = platform_declarations(src)
    names = set()
    for line in run(["nm", "-D", "--undefined-only", lib]).stdout.splitlines():
        fields = line.split()
        if len(fields) == 2 and fields[0] == "U":
            name = fields[1].split("@")[0]
            if name in declared:
                names.add(name)
    return sorted(names)


def write_imports(src, lib, out):
    with open(out, "w") as f:
        f.write("# The platform symbols libzorvdrel imports: written by ./dev abi-update.\n")
        f.writelines(f"import {n}\n" for n in platform_imports(lib, src))


def entries(path):
    table = {}
    with open(path) as f:
        for line in f:
            line = line.rstrip("\n")
            if line and not line.startswith("#"):
                key, _, value = line.partition(": ")
                table[key] = value
    return table


def compare_tables(old_path, new_path, added, removed):
    """Compares two tables; a changed entry is incompatible, an added or removed one counts as
    `added` or `removed` says."""
    old, new = entries(old_path), entries(new_path)
    verdict, lines = NO_CHANGE, []
    for key in sorted(old.keys() | new.keys()):
        if key not in new:
            verdict = max(verdict, removed)
            lines.append(f"  - {key}: {old[key]}" if old[key] else f"  - {key}")
        elif key not in old:
            verdict = max(verdict, added)
            lines.append(f"  + {key}: {new[key]}" if new[key] else f"  + {key}")
        elif old[key] != new[key]:
            verdict = INCOMPATIBLE
            lines.append(f"  ~ {key}: {old[key]}  ->  {new[key]}")
    return verdict, lines


SUMMARY = re.compile(r"(\d+) Removed(?: \(\d+ filtered out\))?, (?:(\d+) Changed(?: \(\d+ filtered "
                     r"out\))?, )?(\d+) Added")


def compare_exports(baseline, current, suppressions):
    """abidiff of the two dumps: a removed or changed function or variable is incompatible, an
    added one a compatible addition; any other difference abidiff reports counts as incompatible."""
    done = run(["abidiff", "--no-show-locs", "--suppressions", suppressions, baseline, current],
               ok=(0, 4, 12))
    if done.returncode == 0:
        return NO_CHANGE, []
    verdict = NO_CHANGE
    for m in SUMMARY.finditer(done.stdout):
        removed, changed, added = int(m.group(1)), int(m.group(2) or 0), int(m.group(3))
        if removed or changed:
            verdict = INCOMPATIBLE
        elif added:
            verdict = max(verdict, ADDITION)
    if done.returncode & 8 or verdict == NO_CHANGE:
        verdict = INCOMPATIBLE
    return verdict, ["  " + line for line in done.stdout.strip().splitlines() if line.strip()]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--src", required=True)
    parser.add_argument("--lib", required=True)
    parser.add_argument("--baseline", required=True)
    parser.add_argument("--work", required=True)
    parser.add_argument("--generated", action="append", default=[],
                        help="the build's generated headers (zorv_drel_version.h), not tabled")
    args = parser.parse_args()
    os.makedirs(args.work, exist_ok=True)
    here = os.path.dirname(os.path.abspath(__file__))

    made = {"headers.txt": os.path.join(args.work, "headers.txt"),
            "libzorvdrel.abi": os.path.join(args.work, "libzorvdrel.abi"),
            "platform_imports.txt": os.path.join(args.work, "platform_imports.txt")}
    write_headers(args.src, args.generated, made["headers.txt"])
    write_exports(args.src, args.lib, made["libzorvdrel.abi"])
    write_imports(args.src, args.lib, made["platform_imports.txt"])
    if args.update:
        for name, path in made.items():
            shutil.copyfile(path, os.path.join(args.baseline, name))
        print(f"ABI check: baseline written to {args.baseline}")
        return 0

    base = {name: os.path.join(args.baseline, name) for name in made}
    parts = [
        ("exports", compare_exports(base["libzorvdrel.abi"], made["libzorvdrel.abi"],
                                    os.path.join(here, "suppressions.abignore"))),
        ("headers", compare_tables(base["headers.txt"], made["headers.txt"],
                                   added=ADDITION, removed=INCOMPATIBLE)),
        # A platform symbol the library newly needs is missing from every existing port.
        ("platform imports", compare_tables(base["platform_imports.txt"],
                                            made["platform_imports.txt"],
                                            added=INCOMPATIBLE, removed=COMPATIBLE_CHANGE)),
    ]
    overall = NO_CHANGE
    for name, (verdict, lines) in parts:
        print(f"{name}: {VERDICT[verdict]}")
        for line in lines:
            print(line)
        overall = max(overall, verdict)
    print(f"ABI check: {VERDICT[overall]}")
    return EXIT[overall]


if __name__ == "__main__":
    sys.exit(main())
