#!/usr/bin/env python3
"""Manifests for registration-free use of the component.

  component_manifest.py component RGS IDL DLLNAME ARCH OUT
      The component's assembly manifest (Tarvolin.manifest): the DLL with its class
      (CLSID, threading model, ProgIDs, description) and its type library. Every fact comes
      from the registry script the DLL registers itself with and from the IDL, so the two ways
      of installing cannot drift apart; the build fails when script and IDL disagree.
  component_manifest.py application NAME ARCH OUT
      An application manifest (NAME.exe.manifest) that depends on the component's assembly.

ARCH is the processor architecture of the build: amd64 or x86.
"""
import re
import sys
from xml.sax.saxutils import quoteattr

# The identity of the component's assembly, the one both manifests name.
ASSEMBLY_NAME = "Tarvolin"


def parse_rgs(text):
    """The keys of a registry script as a tree: {name: {"default": str, "values": {}, "keys": {}}}.

    The script's form is the one component/registrar.h describes; names compare without
    regard to case, as registry names do."""
    tokens = re.findall(r"'(?:[^']|'')*'|=|[^\s=']+", text)
    root = {"default": None, "values": {}, "keys": {}}
    stack = []
    current = None
    pending = None  # the last key named, whose block may follow
    i = 0
    while i < len(tokens):
        t = tokens[i]
        if current is None:
            if t.upper() not in ("HKCR", "HKEY_CLASSES_ROOT") or tokens[i + 1] != "{":
                raise ValueError("only HKCR roots are understood, not %r" % t)
            current, pending, i = root, None, i + 2
            continue
        if t == "{":
            if pending is None:
                raise ValueError("a block without its key")
            stack.append(current)
            current, pending = pending, None
        elif t == "}":
            current = stack.pop() if stack else None
            pending = None
        elif t.lower() == "val":
            name, value = unquote(tokens[i + 1]), unquote(tokens[i + 4])
            current["values"][name.lower()] = value
            i += 4
        elif t.lower() in ("noremove", "forceremove"):
            pass
        else:
            key = current["keys"].setdefault(unquote(t).lower(), {"default": None, "values": {}, "keys": {}})
            if i + 1 < len(tokens) and tokens[i + 1] == "=":
                key["default"] = unquote(tokens[i + 3])
                i += 3
            pending = key
        i += 1
    return root


def unquote(token):
    return token[1:-1].replace("''", "'") if token.startswith("'") else token


def idl_facts(text):
    """The library's GUID, version and the uuid of coclass Parser, from the IDL."""
    # The rest of an attribute list up to its end; strings may hold brackets.
    rest = r'(?:[^\]"]|"[^"]*")*\]\s*'
    library = re.search(r"uuid\(([0-9A-Fa-f-]+)\)\s*,\s*version\((\d+)\.(\d+)\)" + rest + r"library\s", text)
    parser = re.search(r"uuid\(([0-9A-Fa-f-]+)\)" + rest + r"coclass\s+Parser\b", text)
    if not library or not parser:
        raise ValueError("the IDL names no library or no coclass Parser")
    return ("{%s}" % library.group(1).upper(), "%s.%s" % (library.group(2), library.group(3)),
            "{%s}" % parser.group(1).upper())


def identity(arch):
    return ('<assemblyIdentity type="win32" name="%s" version="1.0.0.0" processorArchitecture=%s/>'
            % (ASSEMBLY_NAME, quoteattr(arch)))


def component_manifest(rgs_text, idl_text, dll_name, arch):
    libid, version, parser_clsid = idl_facts(idl_text)
    tree = parse_rgs(rgs_text)
    classes = tree["keys"].get("clsid", {"keys": {}})["keys"]
    if list(classes) != [parser_clsid.lower()]:
        raise ValueError("the registry script registers %s, the IDL's Parser is %s" % (list(classes), parser_clsid))
    cls = classes[parser_clsid.lower()]
    keys = cls["keys"]
    progid = keys["progid"]["default"]
    independent = keys["versionindependentprogid"]["default"]
    threading = keys["inprocserver32"]["values"]["threadingmodel"]
    tlbid = keys["typelib"]["default"]
    if tlbid.upper() != libid:
        raise ValueError("the registry script names type library %s, the IDL's is %s" % (tlbid, libid))
    for name in (progid, independent):
        leads_to = tree["keys"].get(name.lower(), {}).get("keys", {}).get("clsid", {}).get("default", "")
        if leads_to.upper() != parser_clsid:
            raise ValueError("ProgID %s does not lead to %s in the registry script" % (name, parser_clsid))
    return "\n".join([
        '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>',
        '<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">',
        "  " + identity(arch),
        "  <file name=%s>" % quoteattr(dll_name),
        "    <comClass clsid=%s threadingModel=%s progid=%s tlbid=%s description=%s>" % (
            quoteattr(parser_clsid), quoteattr(threading), quoteattr(progid), quoteattr(libid),
            quoteattr(cls["default"])),
        "      <progid>%s</progid>" % independent,
        "    </comClass>",
        '    <typelib tlbid=%s version=%s helpdir=""/>' % (quoteattr(libid), quoteattr(version)),
        "  </file>",
        "</assembly>",
        ""])


def application_manifest(name, arch):
    return "\n".join([
        '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>',
        '<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">',
        '  <assemblyIdentity type="win32" name=%s version="1.0.0.0" processorArchitecture=%s/>' % (
            quoteattr(name), quoteattr(arch)),
        "  <dependency>",
        "    <dependentAssembly>",
        "      " + identity(arch),
        "    </dependentAssembly>",
        "  </dependency>",
        "</assembly>",
        ""])


def write_if_changed(path, text):
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return
    except OSError:
        pass
    with open(path, "w", encoding="utf-8", newline="\r\n") as f:
        f.write(text)


def main(argv):
    if len(argv) == 7 and argv[1] == "component":
        rgs, idl, dll, arch, out = argv[2:]
        with open(rgs, encoding="latin-1") as f:
            rgs_text = f.read()
        with open(idl, encoding="latin-1") as f:
            idl_text = f.read()
        text = component_manifest(rgs_text, idl_text, dll, arch)
    elif len(argv) == 5 and argv[1] == "application":
        name, arch, out = argv[2:]
        text = application_manifest(name, arch)
    else:
        sys.stderr.write(__doc__)
        return 2
    if arch not in ("amd64", "x86"):
        sys.stderr.write("unknown architecture %r\n" % arch)
        return 2
    write_if_changed(out, text)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv))
    except (ValueError, KeyError) as error:
        sys.stderr.write("component_manifest.py: %s\n" % error)
        sys.exit(1)
