#!/usr/bin/env python3
"""Checks a Windows build of the component without running it: that a DLL is made for the
intended machine, exports what the module definition file names with the same ordinals and
nothing else, needs none of MinGW's runtime DLLs, carries the resources of its resource script, and that its type library
describes the intended platform.

  check_pe.py DLL --machine x86|x64 --rc RC [-I DIR]... [--def DEF]
      checks DLL; prints one line per check and exits 1 if any fails
  check_pe.py --self-test DLL --machine ... (as above)
      checks DLL, then copies of it with one fault each, which must all be found

Exports are compared by name and ordinal with the entries of DEF (`Name [= Symbol] @n`);
without --def the DLL must export nothing. Every resource of RC must be there byte for
byte: its string table (decoded from the string blocks) and each `<id> <TYPE> "<file>"`,
the file found next to RC or in the include directories. A TYPELIB resource must be a
type library for SYS_WIN32 (x86) or SYS_WIN64 (x64).
"""
import argparse
import os
import re
import struct
import sys

sys.dont_write_bytecode = True  # the tests run it from the source tree, which stays clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import rc_resources  # noqa: E402  (the resource script reader of the native build)

MACHINES = {"x86": (0x14C, 0x10B, 1), "x64": (0x8664, 0x20B, 3)}  # machine, optional magic, SYSKIND
SYSKIND_NAMES = {0: "SYS_WIN16", 1: "SYS_WIN32", 2: "SYS_MAC", 3: "SYS_WIN64"}
RT_STRING = 6
MINGW_RUNTIME = re.compile(r"^lib(gcc|stdc\+\+|winpthread)", re.I)


class PeError(Exception):
    pass


class Image:
    """The parts of a PE file that the checks read."""

    def __init__(self, data):
        self.data = data
        if data[:2] != b"MZ":
            raise PeError("no MZ header")
        pe = self.u32(0x3C)
        if data[pe:pe + 4] != b"PE\0\0":
            raise PeError("no PE signature")
        self.machine, sections, _, _, _, optional_size, _ = struct.unpack_from("<HHIIIHH", data, pe + 4)
        optional = pe + 24
        self.magic = self.u16(optional)
        directories = optional + (96 if self.magic == 0x10B else 112)
        count = self.u32(directories - 4)
        self.directories = [struct.unpack_from("<II", data, directories + 8 * i) for i in range(count)]
        table = optional + optional_size
        self.sections = [struct.unpack_from("<IIII", data, table + 40 * i + 8) for i in range(sections)]
        self.resource_offsets = {}  # where in the file each resource that resources() found starts

    def u16(self, offset):
        return struct.unpack_from("<H", self.data, offset)[0]

    def u32(self, offset):
        return struct.unpack_from("<I", self.data, offset)[0]

    def offset(self, rva):
        for virtual_size, address, raw_size, raw in self.sections:
            if address <= rva < address + max(virtual_size, raw_size):
                return raw + rva - address
        raise PeError("address 0x%x is in no section" % rva)

    def directory(self, index):
        rva, size = self.directories[index] if index < len(self.directories) else (0, 0)
        return (self.offset(rva), rva) if rva and size else (None, None)

    def c_string(self, rva):
        start = self.offset(rva)
        return self.data[start:self.data.index(b"\0", start)].decode("ascii")

    def exports(self):
        """{name: ordinal} of the export directory, and the number of exported addresses."""
        at, _ = self.directory(0)
        if at is None:
            return {}, 0
        base, functions, names, _, name_table, ordinal_table = struct.unpack_from("<IIIIII", self.data, at + 16)
        result = {}
        for i in range(names):
            name = self.c_string(self.u32(self.offset(name_table) + 4 * i))
            result[name] = base + self.u16(self.offset(ordinal_table) + 2 * i)
        return result, functions

    def imports(self):
        """The names of the DLLs the image imports from."""
        at, _ = self.directory(1)
        names = []
        while at is not None:
            name = self.u32(at + 12)
            if not name:
                break
            names.append(self.c_string(name))
            at += 20
        return names

    def resources(self):
        """{(type, name, language): bytes}; types and names are numbers or upper-case strings."""
        root, root_rva = self.directory(2)
        if root is None:
            return {}
        found = {}
        pending = [(root, ())]  # directories still to read, with the path of keys to them
        while pending:
            at, path = pending.pop()
            named, ids = struct.unpack_from("<HH", self.data, at + 12)
            for i in range(named + ids):
                name, target = struct.unpack_from("<II", self.data, at + 16 + 8 * i)
                if name & 0x80000000:
                    start = root + (name & 0x7FFFFFFF)
                    length = self.u16(start)
                    key = self.data[start + 2:start + 2 + 2 * length].decode("utf-16-le").upper()
                else:
                    key = name
                if target & 0x80000000:
                    if len(path) >= 2:
                        raise PeError("resource directory nested deeper than three levels")
                    pending.append((root + (target & 0x7FFFFFFF), path + (key,)))
                else:
                    rva, size = struct.unpack_from("<II", self.data, root + target)
                    start = self.offset(rva)
                    found[path + (key,)] = self.data[start:start + size]
                    self.resource_offsets[path + (key,)] = start
        return found


def string_table(resources):
    """{id: text} of the RT_STRING blocks: block n holds ids 16(n-1) to 16(n-1)+15."""
    strings = {}
    for (kind, block, _), data in resources.items():
        if kind != RT_STRING:
            continue
        at = 0
        for i in range(16):
            length = struct.unpack_from("<H", data, at)[0]
            if length:
                strings[(block - 1) * 16 + i] = data[at + 2:at + 2 + 2 * length].decode("utf-16-le")
            at += 2 + 2 * length
    return strings


DEF_EXPORT = re.compile(r"^\s*(\w+)(?:\s*=\s*[\w@]+)?\s+@(\d+)")


def def_exports(path):
    """{name: ordinal} of the EXPORTS section of a module definition file."""
    exports, inside = {}, False
    with open(path) as f:
        for line in f:
            line = line.split(";", 1)[0]
            if re.match(r"^\s*EXPORTS\b", line):
                inside = True
            elif inside and (m := DEF_EXPORT.match(line)):
                exports[m.group(1)] = int(m.group(2))
    return exports


def check(data, args, quiet=False):
    """The failures of the checks, each a line of text; prints a line for each check that
    passes, unless quiet, and one for each failure."""
    failures = []

    def expect(what, got, expected):
        if got == expected:
            if not quiet:
                print("ok   %s" % what)
        else:
            failures.append("%s: got %s, expected %s" % (what, got, expected))

    try:
        image = Image(data)
        machine, magic, syskind = MACHINES[args.machine]
        expect("machine type", hex(image.machine), hex(machine))
        expect("optional header (PE32 or PE32+)", hex(image.magic), hex(magic))
        exports, functions = image.exports()
        expected = def_exports(args.def_file) if args.def_file else {}
        expect("exports by name and ordinal", sorted(exports.items()), sorted(expected.items()))
        expect("number of exported addresses", functions, len(expected))
        # The C++ runtime and its helpers are linked in: a DLL that needs MinGW's own DLLs
        # does not load on a machine without them.
        expect("no MinGW runtime DLL among the imports",
               [name for name in image.imports() if MINGW_RUNTIME.match(name)], [])

        resources = image.resources()
        script = rc_resources.Script(args.rc, args.include)
        strings, files = rc_resources.parse(script)
        expect("string table", string_table(resources), strings)
        by_key = {(kind, name): value for (kind, name, _), value in resources.items()}
        base = os.path.dirname(os.path.abspath(args.rc))
        for (_, kind), (_, name), file_name, _ in files:
            path = script.find(file_name, base)
            with open(path, "rb") as f:
                content = f.read()
            got = by_key.get((kind, name))
            expect("resource %s %s is %s" % (name, kind, file_name),
                   "missing" if got is None else "%d bytes%s" % (len(got), "" if got == content else ", different"),
                   "%d bytes" % len(content))
            if kind == "TYPELIB" and got is not None:
                kind_of_library = struct.unpack_from("<I", got, 20)[0] & 0xF if got[:4] == b"MSFT" else None
                expect("type library platform", SYSKIND_NAMES.get(kind_of_library, kind_of_library),
                       SYSKIND_NAMES[syskind])
    except (PeError, struct.error, ValueError, IndexError) as e:
        failures.append("not a readable PE file: %s" % e)
    for failure in failures:
        print("FAIL %s" % failure)
    return failures


def self_test(data, args):
    """The check passes on the DLL and finds each of a set of faults put into copies of it."""
    if check(data, args):
        return 1
    image = Image(data)
    pe = image.u32(0x3C)
    faults = []

    def fault(what, offset, value, size):
        copy = bytearray(data)
        struct.pack_into("<I" if size == 4 else "<H", copy, offset, value)
        faults.append((what, bytes(copy)))

    fault("another machine type", pe + 4, 0x14C if image.machine != 0x14C else 0x8664, 2)
    exports_at, _ = image.directory(0)
    if image.exports()[0]:
        fault("another ordinal base", exports_at + 16, image.u32(exports_at + 16) + 1, 4)
    imports_at, _ = image.directory(1)
    if image.imports():
        name = image.offset(image.u32(imports_at + 12))
        copy = bytearray(data)
        copy[name:name + 6] = b"libgcc"
        faults.append(("an import from libgcc", bytes(copy)))
    resources = image.resources()
    for key, value in resources.items():
        kind, start = key[0], image.resource_offsets[key]
        if kind == "TYPELIB":
            fault("a type library for another platform", start + 20, image.u32(start + 20) ^ 2, 4)
        elif kind == RT_STRING:
            # The first character of the first text: past the empty entries before it.
            first = next(i for i in range(0, len(value), 2) if value[i] or value[i + 1])
            fault("a changed string", start + first + 2, ord("#"), 2)
        else:
            fault("a changed %s resource" % kind, start, image.u16(start) ^ 0x20, 2)
    status = 0
    for what, copy in faults:
        print("== a copy with %s" % what)
        if check(copy, args, quiet=True):
            print("ok   found")
        else:
            print("FAIL not found: %s" % what)
            status = 1
    return status


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("dll")
    parser.add_argument("--machine", choices=sorted(MACHINES), required=True)
    parser.add_argument("--rc", required=True)
    parser.add_argument("-I", dest="include", action="append", default=[])
    parser.add_argument("--def", dest="def_file")
    parser.add_argument("--self-test", action="store_true")
    args = parser.parse_args()
    with open(args.dll, "rb") as f:
        data = f.read()
    print("== %s (%s)" % (args.dll, args.machine))
    if args.self_test:
        return self_test(data, args)
    return 1 if check(data, args) else 0


if __name__ == "__main__":
    sys.exit(main())
