#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""header_table.py - the binary contract of the public headers as one sorted text table.

Every record (size, alignment, each field's offset and type), typedef, enumeration and
enumerator value, integer constant (#define), function prototype and variable declared in the
headers under the given include directories, one line each: "<kind> <name>: <description>".
The compiler reads the headers (clang's syntax tree for the declarations, a probe program built
and run for sizes, offsets and values), so the table shows what a consumer compiles against,
without file names or line numbers.

    header_table.py -I <dir> [-I <dir>...] [--generated <dir>] <header>... > table

--generated names the build's generated headers (zorv_drel_version.h): found, never tabled.
"""
import argparse
import json
import os
import re
import subprocess
import sys
import tempfile

CLANG = os.environ.get("CLANG", "clang")


def run(cmd, **kw):
    done = subprocess.run(cmd, capture_output=True, text=True, **kw)
    if done.returncode != 0:
        print(f"header_table: {' '.join(cmd)} failed:\n{done.stderr}", file=sys.stderr)
        sys.exit(2)
    return done.stdout


def public(path, dirs):
    path = os.path.realpath(path)
    return any(path.startswith(d + os.sep) for d in dirs)


def declarations(ast, dirs):
    """Top-level declarations of the public headers, with the file each lies in.

    Clang's JSON names a location's file only when it differs from the last one printed, so the
    walk follows the document order and remembers it (an includedFrom names the includer)."""
    state = {"file": ""}

    def track(node):
        if isinstance(node, dict):
            for key, value in node.items():
                if key == "file":
                    state["file"] = value
                elif key != "includedFrom":
                    track(value)
        elif isinstance(node, list):
            for value in node:
                track(value)

    found = []
    for decl in ast.get("inner", []):
        track(decl.get("loc", {}))
        here = state["file"]
        track({k: v for k, v in decl.items() if k != "loc"})
        if not decl.get("isImplicit") and public(here, dirs):
            found.append(decl)
    return found


def macros(text, dirs):
    """Object-like macros defined in the public headers, from `clang -E -dD` output."""
    found, current = {}, ""
    for line in text.splitlines():
        marker = re.match(r'# \d+ "([^"]*)"', line)
        if marker:
            current = marker.group(1)
            continue
        define = re.match(r"#define (\w+)(\(?)\s*(.*)$", line)
        # The release number changes with every release by design: it is not part of the contract.
        if define and re.search(r"_VERSION(_MAJOR|_MINOR|_PATCH)?$", define.group(1)):
            continue
        if define and public(current, dirs) and define.group(2) == "":
            found[define.group(1)] = " ".join(define.group(3).split())
    return found


def integer_macros(defs, enumerators):
    """Names of the macros whose body is an integer constant expression of literals, other such
    macros and enumerators."""
    token = re.compile(r"[A-Za-z_]\w*|0[xX][0-9a-fA-F]+[uUlL]*|\d+[uUlL]*|[-+*/%<>&|^~!?:()]+|\s+")
    ints = set()
    changed = True
    while changed:
        changed = False
        for name, body in defs.items():
            if name in ints or not body:
                continue
            parts = token.findall(body)
            if "".join(parts) != body:
                continue
            words = [p for p in parts if re.match(r"[A-Za-z_]", p)]
            if all(w in ints or w in enumerators for w in words):
                ints.add(name)
                changed = True
    return ints


def c_string(text):
    return json.dumps(text)


def probe_source(headers, decls, int_macros):
    """A C11 program that prints the lines whose values only the compiler knows."""
    out = ["#include <stddef.h>", "#include <stdio.h>"]
    out += [f"#include <{h}>" for h in headers]
    out += [
        "#define ZT_SIGNED(x) _Generic((x), int: 1, long: 1, long long: 1, default: 0)",
        "#define ZT_TYPE(x) _Generic((x), int: \"int\", unsigned int: \"unsigned int\", "
        "long: \"long\", unsigned long: \"unsigned long\", long long: \"long long\", "
        "unsigned long long: \"unsigned long long\", default: \"other\")",
        "static void value(const char *kind, const char *name, long long s, unsigned long long u,",
        "                  int is_signed, const char *type) {",
        "    if (is_signed && s < 0) printf(\"%s %s: %lld %s\\n\", kind, name, s, type);",
        "    else printf(\"%s %s: 0x%llx %s\\n\", kind, name, u, type);",
        "}",
        "int main(void) {",
    ]
    for d in decls:
        if d["kind"] == "RecordDecl" and d.get("completeDefinition"):
            tag = f"{d['tagUsed']} {d['name']}"
            out.append(f'    printf("record %s: size %zu, align %zu\\n", {c_string(tag)}, '
                       f"sizeof({tag}), _Alignof({tag}));")
            for f in d.get("inner", []):
                if f["kind"] == "FieldDecl":
                    fmt = f"field {tag}.{f['name']}: offset %zu, {f['type']['qualType']}\n"
                    out.append(f"    printf({c_string(fmt)}, offsetof({tag}, {f['name']}));")
        elif d["kind"] == "EnumDecl":
            tag = f"enum {d['name']}" if d.get("name") else "an unnamed enum"
            if d.get("name"):
                out.append(f'    printf("enum %s: size %zu\\n", {c_string(d["name"])}, sizeof({tag}));')
            for e in d.get("inner", []):
                if e["kind"] == "EnumConstantDecl":
                    out.append(f"    value(\"enumerator\", {c_string(e['name'])}, (long long){e['name']}, "
                               f"(unsigned long long){e['name']}, 1, {c_string('in ' + tag)});")
    for name in sorted(int_macros):
        out.append(f"    value(\"const\", {c_string(name)}, (long long)({name}), "
                   f"(unsigned long long)({name}), ZT_SIGNED({name}), ZT_TYPE({name}));")
    out += ["    return 0;", "}"]
    return "\n".join(out) + "\n"


def table(dirs, headers, generated=()):
    """The table of the headers (include names) found under the include directories dirs; the
    directories `generated` are searched too, but what they declare is not tabled."""
    dirs = [os.path.realpath(d) for d in dirs]
    includes = [f"-I{d}" for d in dirs] + [f"-I{os.path.realpath(d)}" for d in generated]
    with tempfile.TemporaryDirectory() as tmp:
        tu = os.path.join(tmp, "headers.c")
        with open(tu, "w") as f:
            f.writelines(f"#include <{h}>\n" for h in headers)
        ast = json.loads(run([CLANG, "-x", "c", "-std=c11", *includes, "-Xclang", "-ast-dump=json",
                              "-fsyntax-only", tu]))
        decls = declarations(ast, dirs)
        defs = macros(run([CLANG, "-x", "c", "-std=c11", *includes, "-E", "-dD", tu]), dirs)

        lines = []
        enumerators = set()
        for d in decls:
            kind = d["kind"]
            if kind in ("RecordDecl", "EnumDecl") and not d.get("name"):
                print(f"header_table: an unnamed {kind} in the headers; give it a tag", file=sys.stderr)
                sys.exit(2)
            if kind == "EnumDecl":
                enumerators |= {e["name"] for e in d.get("inner", []) if e["kind"] == "EnumConstantDecl"}
            elif kind in ("TypedefDecl", "FunctionDecl", "VarDecl"):
                what = {"TypedefDecl": "typedef", "FunctionDecl": "function", "VarDecl": "variable"}
                lines.append(f"{what[kind]} {d['name']}: {d['type']['qualType']}")
        ints = integer_macros(defs, enumerators)
        lines += [f"macro {name}: {body}" for name, body in defs.items() if name not in ints and body]

        probe = os.path.join(tmp, "probe.c")
        with open(probe, "w") as f:
            f.write(probe_source(headers, decls, ints))
        exe = os.path.join(tmp, "probe")
        run([CLANG, "-std=c11", "-w", *includes, probe, "-o", exe])
        lines += run([exe]).splitlines()

    head = "# The binary contract of the public headers: written by ./dev abi-update (abi/header_table.py).\n"
    return head + "".join(line + "\n" for line in sorted(set(lines)))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("-I", dest="dirs", action="append", required=True)
    parser.add_argument("--generated", action="append", default=[])
    parser.add_argument("headers", nargs="+")
    args = parser.parse_args()
    sys.stdout.write(table(args.dirs, args.headers, args.generated))


if __name__ == "__main__":
    main()
