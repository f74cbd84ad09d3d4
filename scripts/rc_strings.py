#!/usr/bin/env python3
"""Turns the STRINGTABLE entries of a resource script into C++ that registers them with
the native platform layer's string tables, so that LoadStringA finds the same texts as
it does in the Windows build (where windres compiles the script itself).

usage: rc_strings.py INPUT.rc OUTPUT.cpp
"""
import re
import sys


def entries(text):
    in_table = False
    for line in text.splitlines():
        line = line.strip()
        if line.upper().startswith("STRINGTABLE"):
            in_table = True
        elif in_table and line.upper() in ("END", "}"):
            in_table = False
        elif in_table:
            m = re.match(r'^(\d+)\s*,?\s*"((?:[^"]|"")*)"\s*$', line)
            if m:
                yield int(m.group(1)), m.group(2).replace('""', '"')


def c_string(s):
    out = ['"']
    for ch in s:
        if ch == '\\':
            out.append('\\\\')  # an escape of the resource script stays an escape in C
        elif ch == '"':
            out.append('\\"')
        else:
            out.append(ch)
    out.append('"')
    # Resource scripts and C share the backslash escapes (\n, \t, \\, \x..), so undo the
    # doubling for those.
    return "".join(out).replace('\\\\\\\\', '\\\\').replace('\\\\n', '\\n').replace('\\\\t', '\\t')


def main():
    src, dst = sys.argv[1], sys.argv[2]
    with open(src, encoding="ascii") as f:
        table = list(entries(f.read()))
    with open(dst, "w", encoding="ascii") as f:
        f.write("// Generated from %s by rc_strings.py. Do not edit.\n" % src.replace("\\", "/").split("/")[-1])
        f.write('#include "platform/platform.h"\n\nnamespace {\n\nconst StringTableEntry kEntries[] = {\n')
        for ident, text in table:
            f.write("    {%d, %s},\n" % (ident, c_string(text)))
        f.write("};\n\nconst bool kRegistered = RegisterStringTable(GetModuleHandleW(nullptr), kEntries,\n"
                "                                               sizeof kEntries / sizeof kEntries[0]);\n\n"
                "} // namespace\n")


if __name__ == "__main__":
    main()
