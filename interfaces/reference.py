#!/usr/bin/env python3
"""Writes the object-model reference (Markdown) from the IDL.

    reference.py IDL OUT          write the reference to OUT
    reference.py --check IDL DOC  exit 1, with a diff, when DOC is not what IDL gives

The IDL is read with a small parser that knows the shapes this IDL uses: attribute lists
in brackets, enumerations as typedefs, interfaces with one base, the library and its
coclasses. Anything else at the top level is an error, so the reference cannot silently
miss a new kind of declaration.
"""
import difflib
import re
import sys

DISPIDS = {"DISPID_VALUE": 0, "DISPID_NEWENUM": -4}

# IDL types as an automation client sees them.
AUTOMATION_TYPES = {
    "BSTR": "String",
    "long": "Long",
    "int": "Long",
    "double": "Double",
    "short": "Integer (16-bit)",
    "VARIANT": "Variant",
    "IUnknown*": "IUnknown",
}


class IdlError(Exception):
    pass


def strip_comments(text):
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    return re.sub(r"//[^\n]*", " ", text)


class Reader:
    """A cursor over the IDL text with the few token shapes the grammar needs."""

    def __init__(self, text):
        self.text = text
        self.pos = 0

    def skip_space(self):
        while self.pos < len(self.text) and self.text[self.pos].isspace():
            self.pos += 1

    def at_end(self):
        self.skip_space()
        return self.pos >= len(self.text)

    def peek(self, literal):
        self.skip_space()
        return self.text.startswith(literal, self.pos)

    def expect(self, literal):
        if not self.peek(literal):
            raise IdlError("expected %r at offset %d: %r" % (literal, self.pos, self.text[self.pos:self.pos + 40]))
        self.pos += len(literal)

    def word(self):
        self.skip_space()
        m = re.compile(r"[A-Za-z_][A-Za-z0-9_]*").match(self.text, self.pos)
        if not m:
            raise IdlError("expected a name at offset %d: %r" % (self.pos, self.text[self.pos:self.pos + 40]))
        self.pos = m.end()
        return m.group(0)

    def until(self, stop):
        """The text up to the next `stop` that is outside brackets and quotes, consumed with it."""
        depth, start, i = 0, self.pos, self.pos
        while i < len(self.text):
            c = self.text[i]
            if c == stop and depth == 0:
                self.pos = i + 1
                return self.text[start:i]
            if c == '"':
                i = self.text.index('"', i + 1)
            elif c in "([":
                depth += 1
            elif c in ")]":
                depth -= 1
            i += 1
        raise IdlError("unterminated declaration before %r" % stop)

    def attributes(self):
        """An optional [ ... ] list, as (name, argument) pairs in order."""
        if not self.peek("["):
            return []
        self.expect("[")
        return [parse_attribute(a) for a in split_top(self.until("]"), ",")]


def split_top(text, sep):
    parts, depth, start, i = [], 0, 0, 0
    while i < len(text):
        c = text[i]
        if c == '"':
            i = text.index('"', i + 1)
        elif c in "([":
            depth += 1
        elif c in ")]":
            depth -= 1
        elif c == sep and depth == 0:
            parts.append(text[start:i])
            start = i + 1
        i += 1
    parts.append(text[start:])
    return [p.strip() for p in parts if p.strip()]


def parse_attribute(text):
    m = re.fullmatch(r"([A-Za-z_0-9]+)\s*(?:\((.*)\))?", text.strip(), re.S)
    if not m:
        raise IdlError("unreadable attribute %r" % text)
    arg = m.group(2)
    if arg is not None:
        arg = arg.strip()
        if arg.startswith('"') and arg.endswith('"'):
            arg = arg[1:-1]
    return m.group(1), arg


def attr(attrs, name, default=None):
    for key, value in attrs:
        if key == name:
            return value if value is not None else True
    return default


def parse_enum(r):
    r.expect("typedef")
    r.attributes()
    r.expect("enum")
    name = r.word()
    r.expect("{")
    values = []
    for item in split_top(r.until("}"), ","):
        m = re.fullmatch(r"([A-Za-z_0-9]+)\s*=\s*(-?\d+)", item)
        if not m:
            raise IdlError("enumerator without an explicit value in %s: %r" % (name, item))
        values.append((m.group(1), int(m.group(2))))
    if r.word() != name:
        raise IdlError("typedef name of enum %s differs" % name)
    r.expect(";")
    return {"name": name, "values": values}


def parse_member(text):
    """One method declaration: [attrs] HRESULT Name(params)."""
    r = Reader(text)
    attrs = r.attributes()
    if r.word() != "HRESULT":
        raise IdlError("member not returning HRESULT: %r" % text)
    name = r.word()
    r.expect("(")
    params = []
    for p in split_top(r.until(")"), ","):
        pr = Reader(p)
        pattrs = pr.attributes()
        rest = p[pr.pos:].strip()
        m = re.fullmatch(r"(.+?)\s*(\**)\s*([A-Za-z_][A-Za-z0-9_]*)", rest)
        if not m:
            raise IdlError("unreadable parameter %r" % p)
        params.append({"attrs": [k for k, _ in pattrs], "type": m.group(1) + m.group(2), "name": m.group(3)})
    dispid = attr(attrs, "id")
    if dispid is None:
        raise IdlError("member %s without a dispid" % name)
    return {
        "name": name,
        "dispid": DISPIDS.get(dispid, None) if dispid in DISPIDS else int(dispid),
        "dispid_name": dispid if dispid in DISPIDS else None,
        "kind": "property" if attr(attrs, "propget") else "method",
        "hidden": bool(attr(attrs, "hidden")),
        "help": attr(attrs, "helpstring", ""),
        "params": params,
    }


def parse_interface(r, attrs):
    r.expect("interface")
    name = r.word()
    if r.peek(";"):  # forward declaration
        r.expect(";")
        return None
    r.expect(":")
    base = r.word()
    r.expect("{")
    body = r.until("}")
    r.expect(";")
    members = [parse_member(m) for m in split_top(body, ";")]
    return {"name": name, "base": base, "uuid": attr(attrs, "uuid"), "help": attr(attrs, "helpstring", ""),
            "dual": bool(attr(attrs, "dual")), "members": members}


def parse_library(r, attrs):
    r.expect("library")
    name = r.word()
    r.expect("{")
    lib = {"name": name, "uuid": attr(attrs, "uuid"), "version": attr(attrs, "version"),
           "help": attr(attrs, "helpstring", ""), "classes": []}
    while not r.peek("}"):
        if r.peek("importlib"):
            r.until(";")
            continue
        cattrs = r.attributes()
        r.expect("coclass")
        cname = r.word()
        r.expect("{")
        interfaces = []
        for decl in split_top(r.until("}"), ";"):
            dr = Reader(decl)
            iattrs = [k for k, _ in dr.attributes()]
            dr.expect("interface")
            interfaces.append((dr.word(), "default" in iattrs))
        r.expect(";")
        lib["classes"].append({"name": cname, "uuid": attr(cattrs, "uuid"), "help": attr(cattrs, "helpstring", ""),
                               "creatable": not attr(cattrs, "noncreatable", False), "interfaces": interfaces})
    r.expect("}")
    if r.peek(";"):
        r.expect(";")
    return lib


def parse_idl(text):
    r = Reader(strip_comments(text))
    enums, interfaces, library = [], [], None
    while not r.at_end():
        if r.peek("import"):
            r.until(";")
        elif r.peek("typedef"):
            enums.append(parse_enum(r))
        elif r.peek("interface"):
            parse_interface(r, [])
        elif r.peek("["):
            attrs = r.attributes()
            if r.peek("interface"):
                interfaces.append(parse_interface(r, attrs))
            elif r.peek("library"):
                library = parse_library(r, attrs)
            else:
                raise IdlError("unexpected declaration at offset %d" % r.pos)
        else:
            raise IdlError("unexpected text at offset %d: %r" % (r.pos, r.text[r.pos:r.pos + 40]))
    if library is None:
        raise IdlError("no library block")
    return enums, interfaces, library


def type_cell(t):
    t = t.strip()
    shown = AUTOMATION_TYPES.get(t)
    if shown is None and t.endswith("*") and t[:-1].strip().startswith("I"):
        shown = t[:-1].strip()  # an interface pointer reads as the object
    if shown is None:
        shown = t  # enumerations read as their own name
    return shown


def member_row(m):
    ins = [p for p in m["params"] if "retval" not in p["attrs"]]
    ret = [p for p in m["params"] if "retval" in p["attrs"]]
    args = ", ".join("%s As %s" % (p["name"], type_cell(p["type"])) for p in ins)
    returns = type_cell(ret[0]["type"][:-1]) if ret else "(none)"  # a retval is always a pointer
    dispid = "%d (%s)" % (m["dispid"], m["dispid_name"]) if m["dispid_name"] else str(m["dispid"])
    kind = "read-only property" if m["kind"] == "property" else "method"
    if m["hidden"]:
        kind += ", hidden"
    call = "%s(%s)" % (m["name"], args) if (args or m["kind"] == "method") else m["name"]
    return "| %s | `%s` | %s | %s | %s |" % (dispid, call, kind, returns, m["help"])


def render(enums, interfaces, library, source_name):
    by_name = {i["name"]: i for i in interfaces}
    out = []
    w = out.append
    w("# Object model reference")
    w("")
    w("Generated from `%s` at build time; do not edit by hand (a test fails when the two differ)." % source_name)
    w("")
    w("Type library `%s`, version %s, LIBID `{%s}`: \"%s\"." % (library["name"], library["version"],
                                                               library["uuid"], library["help"]))
    w("")
    w("Types are shown as an automation client sees them: `String` is a BSTR, `Long` a "
      "32-bit signed integer (IDL `long` or `int`), an interface name an object reference. Every interface is dual: "
      "C++ hosts call it through its vtable, script and late-bound hosts through IDispatch with "
      "the dispids shown.")
    w("")
    w("## Classes")
    w("")
    w("| Class | CLSID | Interfaces | Created by |")
    w("|---|---|---|---|")
    for c in library["classes"]:
        ifaces = ", ".join(("**%s** (default)" % n) if d else n for n, d in c["interfaces"])
        w("| %s | `{%s}` | %s | %s |" % (c["name"], c["uuid"], ifaces,
                                          "the host (`CoCreateInstance`, `CreateObject`)" if c["creatable"]
                                          else "the parser only"))
    w("")
    w("## Interfaces")
    for i in interfaces:
        w("")
        w("### %s" % i["name"])
        w("")
        w("IID `{%s}`, derives from `%s`. \"%s\"" % (i["uuid"], i["base"], i["help"]))
        w("")
        chain, base = [], by_name.get(i["base"])
        while base is not None:  # the IDL's single inheritance, one level in practice
            chain.append(base)
            base = by_name.get(base["base"])
        for b in chain:
            w("Inherits from `%s`: %s." % (b["name"], ", ".join("`%s` (%s)" % (m["name"], m["dispid"])
                                                                for m in b["members"])))
            w("")
        if not i["members"]:
            w("No members of its own: the item type alone tells this item apart.")
            continue
        w("| DispID | Member | Kind | Returns | Help |")
        w("|---|---|---|---|---|")
        for m in i["members"]:
            w(member_row(m))
    w("")
    w("## Enumerations")
    w("")
    w("Enumerations are 32-bit integers in both the vtable and IDispatch.")
    for e in enums:
        w("")
        w("### %s" % e["name"])
        w("")
        w("| Name | Value |")
        w("|---|---|")
        for n, v in e["values"]:
            w("| `%s` | %d |" % (n, v))
    return "\n".join(out) + "\n"


def main(argv):
    check = len(argv) > 1 and argv[1] == "--check"
    args = argv[2:] if check else argv[1:]
    if len(args) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    idl, target = args
    with open(idl, encoding="utf-8") as f:
        text = render(*parse_idl(f.read()), source_name="interfaces/tarvolin.idl")
    if not check:
        with open(target, "w", encoding="utf-8", newline="\n") as f:
            f.write(text)
        return 0
    try:
        with open(target, encoding="utf-8") as f:
            current = f.read()
    except OSError as e:
        print("%s: %s" % (target, e.strerror), file=sys.stderr)
        return 1
    if current == text:
        return 0
    sys.stdout.writelines(difflib.unified_diff(current.splitlines(True), text.splitlines(True),
                                               target, "generated from " + idl))
    print("%s is out of date: regenerate it with interfaces/reference.py" % target, file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
