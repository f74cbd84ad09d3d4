#!/usr/bin/env python3
"""Turns a resource script into C++ that registers its resources with the native platform
layer, so that FindResourceW, LoadResource and LoadStringA find what windres compiles into
the module in the Windows build:

  - the STRINGTABLE entries;
  - every single-line resource `<id> <TYPE> "<file>"` (TYPELIB, REGISTRY, RCDATA, ...),
    embedded byte for byte; the file is looked up next to the script, then in the include
    directories.

The generated code registers them under the module that contains it (the program, or the
shared library it is linked into) and removes them when that module is unloaded.

The script is read in code page 1252, or in UTF-8 after `#pragma code_page(65001)`, as windres
reads it. Of the preprocessor, comments, `#define NAME number`, `#include "header"` (for its defines;
system headers in <> are skipped), `#pragma`, and `#if 0`/`#if 1`/`#ifdef`/`#ifndef`/`#else`/
`#endif` are understood; statements with blocks (VERSIONINFO, DIALOG, ...) are skipped, since
the native build has no use for them. Resource types whose files windres converts (ICON,
BITMAP, CURSOR, FONT) are refused.

usage: rc_resources.py INPUT.rc OUTPUT.cpp [-I DIR]... [--depfile FILE]
"""
import argparse
import os
import re
import sys

# Predefined resource types stored as the file's bytes, by their numeric ids.
RAW_TYPES = {"RCDATA": 10, "MESSAGETABLE": 11, "DLGINCLUDE": 17, "PLUGPLAY": 19, "VXD": 20,
             "ANICURSOR": 21, "ANIICON": 22, "HTML": 23, "MANIFEST": 24}
CONVERTED_TYPES = {"ICON", "BITMAP", "CURSOR", "FONT"}
MEMORY_OPTIONS = {"PRELOAD", "LOADONCALL", "FIXED", "MOVEABLE", "DISCARDABLE", "PURE", "IMPURE",
                  "SHARED", "NONSHARED"}
SKIPPED_HEADER = {"LANGUAGE", "CHARACTERISTICS", "VERSION"}
BLOCK_STATEMENTS = {"ACCELERATORS", "DESIGNINFO", "DIALOG", "DIALOGEX", "MENU", "MENUEX", "TEXTINCLUDE",
                    "TOOLBAR", "VERSIONINFO"}


class RcError(Exception):
    pass


class Script:
    """The statements of a resource script after the small preprocessor."""

    def __init__(self, path, include_dirs):
        self.include_dirs = include_dirs
        self.defines = {"RC_INVOKED": "1"}
        self.depends = []
        self.lines = []  # (file, line number, text)
        self.read(path, top=True)

    def find(self, name, base_dir):
        for d in [base_dir] + self.include_dirs:
            candidate = os.path.join(d, name)
            if os.path.isfile(candidate):
                return os.path.abspath(candidate)
        return None

    def read(self, path, top):
        # Read as windres reads it: in code page 1252 unless the script says UTF-8.
        with open(path, "rb") as f:
            raw = f.read()
        utf8 = re.search(rb"^\s*#\s*pragma\s+code_page\s*\(\s*65001\s*\)", raw, re.M) is not None
        try:
            text = raw.decode("utf-8-sig" if utf8 else "cp1252")
        except UnicodeDecodeError as e:
            raise RcError("%s: %s" % (path, e))
        if not top:
            self.depends.append(os.path.abspath(path))
        text = strip_comments(text)
        active = [True]  # one entry per open conditional: whether its lines count
        taken = [True]   # whether a branch of it has been taken
        for number, line in enumerate(text.split("\n"), 1):
            stripped = line.strip()
            where = "%s:%d" % (path, number)
            if stripped.startswith("#"):
                directive = stripped[1:].strip()
                word = directive.split(None, 1)[0] if directive else ""
                rest = directive[len(word):].strip()
                if word in ("ifdef", "ifndef"):
                    value = (rest in self.defines) == (word == "ifdef")
                    active.append(active[-1] and value)
                    taken.append(value)
                elif word == "if":
                    if rest not in ("0", "1"):
                        raise RcError("%s: only #if 0 and #if 1 are understood" % where)
                    active.append(active[-1] and rest == "1")
                    taken.append(rest == "1")
                elif word == "else":
                    if len(active) == 1:
                        raise RcError("%s: #else without #if" % where)
                    active[-1] = active[-2] and not taken[-1]
                    taken[-1] = True
                elif word == "endif":
                    if len(active) == 1:
                        raise RcError("%s: #endif without #if" % where)
                    active.pop()
                    taken.pop()
                elif not active[-1] or word == "pragma":
                    pass
                elif word == "define":
                    m = re.match(r"^(\w+)(?:\s+(.*))?$", rest)
                    if not m:
                        raise RcError("%s: bad #define" % where)
                    self.defines[m.group(1)] = (m.group(2) or "").strip()
                elif word == "undef":
                    self.defines.pop(rest, None)
                elif word == "include":
                    m = re.match(r'^"([^"]+)"$', rest)
                    if m:
                        found = self.find(m.group(1), os.path.dirname(os.path.abspath(path)))
                        if not found:
                            raise RcError("%s: cannot find %s" % (where, m.group(1)))
                        self.read(found, top=False)
                    elif not re.match(r"^<[^>]+>$", rest):
                        raise RcError("%s: bad #include" % where)
                else:
                    raise RcError("%s: #%s is not understood" % (where, word))
            elif active[-1] and stripped:
                self.lines.append((path, number, stripped))
        if len(active) != 1:
            raise RcError("%s: #if without #endif" % path)

    def number(self, token, where):
        """The value of a numeric token or of a name defined as a number; None for a name."""
        seen = set()
        while token in self.defines and token not in seen:
            seen.add(token)
            token = self.defines[token].strip("() ")
        m = re.match(r"^(0[xX][0-9a-fA-F]+|\d+)[lLuU]*$", token)
        if m:
            return int(m.group(1), 0)
        if re.match(r"^[A-Za-z_]\w*$", token):
            return None
        raise RcError("%s: %r is neither a number nor a name" % (where, token))


def strip_comments(text):
    out, i, n = [], 0, len(text)
    while i < n:
        c = text[i]
        if c == '"':
            j = i + 1
            while j < n and text[j] != "\n":
                if text[j] == '"':
                    if j + 1 < n and text[j + 1] == '"':
                        j += 2
                        continue
                    break
                j += 2 if text[j] == "\\" else 1
            out.append(text[i:j + 1])
            i = j + 1
        elif text.startswith("//", i):
            while i < n and text[i] != "\n":
                i += 1
        elif text.startswith("/*", i):
            j = text.find("*/", i + 2)
            j = n if j < 0 else j + 2
            out.append("\n" * text.count("\n", i, j))  # keep line numbers
            i = j
        else:
            out.append(c)
            i += 1
    return "".join(out)


TOKEN = re.compile(r'\s*(L?"(?:[^"\\]|\\.|"")*"|[A-Za-z_][\w.]*|0[xX][0-9a-fA-F]+[lLuU]*|\d+[lLuU]*|\S)')


def tokens(script):
    for path, number, line in script.lines:
        at = 0
        while at < len(line):
            m = TOKEN.match(line, at)
            if not m:
                break
            yield m.group(1), "%s:%d" % (path, number)
            at = m.end()


def decode_string(token, where):
    """The characters of a resource-script string literal, escapes resolved as windres does."""
    body = token[2:-1] if token.startswith("L") else token[1:-1]
    out, i = [], 0
    simple = {"n": "\n", "t": "\t", "r": "\r", "a": "\a", "b": "\b", "f": "\f", "v": "\v",
              "\\": "\\", '"': '"', "'": "'", "?": "?"}
    while i < len(body):
        c = body[i]
        if c == '"' and body.startswith('""', i):
            out.append('"')
            i += 2
        elif c == "\\" and i + 1 < len(body):
            e = body[i + 1]
            if e in simple:
                out.append(simple[e])
                i += 2
            elif e in "xX":
                m = re.match(r"[0-9a-fA-F]{1,4}", body[i + 2:])
                if not m:
                    raise RcError("%s: bad \\x escape" % where)
                out.append(chr(int(m.group(0), 16)))
                i += 2 + len(m.group(0))
            elif e in "01234567":
                m = re.match(r"[0-7]{1,3}", body[i + 1:])
                out.append(chr(int(m.group(0), 8)))
                i += 1 + len(m.group(0))
            else:
                out.append(e)
                i += 2
        else:
            out.append(c)
            i += 1
    return "".join(out)


def parse(script):
    """The string table entries {id: text} and the file resources [(type, name, path)]."""
    strings, resources = {}, []
    toks = list(tokens(script))
    i = 0

    def at(k):
        return toks[k][0] if k < len(toks) else None

    def skip_block(k):
        # From BEGIN/{ to the matching END/}.
        depth = 0
        while k < len(toks):
            word = toks[k][0].upper()
            if word in ("BEGIN", "{"):
                depth += 1
            elif word in ("END", "}"):
                depth -= 1
                if depth == 0:
                    return k + 1
            k += 1
        raise RcError("%s: block without END" % toks[-1][1])

    while i < len(toks):
        word, where = toks[i]
        upper = word.upper()
        if upper in SKIPPED_HEADER:
            # LANGUAGE x, y / CHARACTERISTICS n / VERSION n: one language natively.
            i += 1
            while at(i) is not None and at(i + 1) == ",":
                i += 2
            i += 1
        elif upper == "STRINGTABLE":
            i += 1
            while at(i) is not None and at(i).upper() not in ("BEGIN", "{"):
                i += 1
            i += 1
            while True:
                if at(i) is None:
                    raise RcError("%s: STRINGTABLE without END" % where)
                if at(i).upper() in ("END", "}"):
                    i += 1
                    break
                ident, where = toks[i]
                value = script.number(ident, where)
                if value is None or not 0 <= value <= 0xFFFF:
                    raise RcError("%s: string id %s is not a number from 0 to 65535" % (where, ident))
                i += 1
                if at(i) == ",":
                    i += 1
                text = ""
                if at(i) is None or not at(i).lstrip("L").startswith('"'):
                    raise RcError("%s: string %s has no text" % (where, ident))
                while at(i) is not None and at(i).lstrip("L").startswith('"'):
                    text += decode_string(at(i), where)
                    i += 1
                if value in strings:
                    raise RcError("%s: string %d is defined twice" % (where, value))
                strings[value] = text
        else:
            # <name> <type> [options] <file>, or a statement with a block, which is skipped.
            name = word
            kind = at(i + 1)
            if kind is None:
                raise RcError("%s: incomplete statement" % where)
            k = i + 2
            if kind.upper() in BLOCK_STATEMENTS:
                while at(k) is not None and at(k).upper() not in ("BEGIN", "{"):
                    k += 1
                i = skip_block(k)
                continue
            while at(k) is not None and at(k).upper() in MEMORY_OPTIONS:
                k += 1
            target = at(k)
            if target is None or target.upper() in ("BEGIN", "{"):
                raise RcError("%s: inline data of %s %s is not supported natively; name a file" % (where, name, kind))
            path = decode_string(target, where) if target.startswith('"') else target
            resources.append((resource_key(script, kind, where, is_type=True),
                              resource_key(script, name, where, is_type=False),
                              path.replace("\\", "/"), where))
            i = k + 1
    return strings, resources


def resource_key(script, token, where, is_type):
    """('id', n) or ('name', UPPER) as windres stores a resource name or type."""
    if token.startswith('"'):
        return ("name", decode_string(token, where).upper())
    if is_type:
        upper = token.upper()
        if upper in CONVERTED_TYPES:
            raise RcError("%s: %s resources are converted by windres; not supported natively" % (where, upper))
        if upper in RAW_TYPES:
            return ("id", RAW_TYPES[upper])
    value = script.number(token, where)
    if value is None:
        return ("name", token.upper())
    if not 0 < value <= 0xFFFF:
        raise RcError("%s: resource id %d is out of range" % (where, value))
    return ("id", value)


def wide_literal(text):
    """A C++ UTF-16 literal; characters other than printable ASCII become \\x escapes, each
    closing its piece of the literal so that no following character extends it."""
    out = ['u"']
    for ch in text:
        o = ord(ch)
        if o > 0xFFFF:
            raise RcError("character U+%X is outside the 16-bit range" % o)
        if ch in '"\\':
            out.append("\\" + ch)
        elif 0x20 <= o < 0x7F and ch != "?":  # "?" could start a trigraph
            out.append(ch)
        else:
            out.append('\\x%X" u"' % o)
    out.append('"')
    literal = "".join(out)
    return literal[:-4] if literal.endswith(' u""') and len(literal) > 4 else literal


def key_expression(key):
    kind, value = key
    return "MAKEINTRESOURCEW(%d)" % value if kind == "id" else wide_literal(value)


def generate(rc, strings, files, out):
    name = os.path.basename(rc)
    w = out.write
    w("// Generated from %s by rc_resources.py. Do not edit.\n" % name)
    w('#include "platform/platform.h"\n\nnamespace {\n\n')
    w("const StringTableEntry kStrings[] = {\n")
    for ident in sorted(strings):
        w("    {%d, %s},\n" % (ident, wide_literal(strings[ident])))
    if not strings:
        w("    {0, nullptr},\n")
    w("};\n\n")
    for index, (rtype, rname, path, data) in enumerate(files):
        w("// %s %s \"%s\"\n" % (rname[1], rtype[1], os.path.basename(path)))
        w("alignas(8) const unsigned char kData%d[] = {" % index)
        for at in range(0, len(data), 16):
            w("\n    " + ", ".join("0x%02x" % b for b in data[at:at + 16]) + ",")
        if not data:
            w("0")
        w("\n};\n\n")
    w("const ResourceEntry kResources[] = {\n")
    for index, (rtype, rname, path, data) in enumerate(files):
        w("    {%s, %s, kData%d, %d},\n" % (key_expression(rtype), key_expression(rname), index, len(data)))
    if not files:
        w("    {nullptr, nullptr, nullptr, 0},\n")
    w("};\n\n")
    w("const ResourceTable kTable = {kStrings, %d, kResources, %d};\n\n" % (len(strings), len(files)))
    w("// Registered under the module that holds this code, for as long as it is loaded.\n")
    w("struct Registration {\n")
    w("    HMODULE module = nullptr;\n")
    w("    Registration() {\n")
    w("        if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | "
      "GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,\n")
    w("                               reinterpret_cast<LPCWSTR>(&kTable), &module))\n")
    w("            RegisterResources(module, &kTable);\n")
    w("    }\n")
    w("    ~Registration() {\n")
    w("        if (module) UnregisterResources(module, &kTable);\n")
    w("    }\n")
    w("} const kRegistration;\n\n")
    w("} // namespace\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("rc")
    parser.add_argument("output")
    parser.add_argument("-I", dest="include", action="append", default=[])
    parser.add_argument("--depfile")
    args = parser.parse_args()
    try:
        script = Script(args.rc, args.include)
        strings, resources = parse(script)
        files = []
        seen = set()
        base = os.path.dirname(os.path.abspath(args.rc))
        for rtype, rname, name, where in resources:
            if (rtype, rname) in seen:
                raise RcError("%s: resource %s %s is defined twice" % (where, rname[1], rtype[1]))
            seen.add((rtype, rname))
            path = script.find(name, base)
            if not path:
                raise RcError("%s: cannot find %s next to the script or in %s" %
                              (where, name, ", ".join(args.include) or "no include directory"))
            with open(path, "rb") as f:
                files.append((rtype, rname, path, f.read()))
            script.depends.append(path)
        tmp = args.output + ".tmp"
        with open(tmp, "w", encoding="ascii") as out:
            generate(args.rc, strings, files, out)
        os.replace(tmp, args.output)
        if args.depfile:
            with open(args.depfile, "w") as dep:
                dep.write("%s: %s\n" % (args.output.replace(" ", "\\ "),
                                        " ".join(p.replace(" ", "\\ ") for p in script.depends)))
    except (RcError, OSError) as e:
        sys.stderr.write("rc_resources.py: %s\n" % e)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
