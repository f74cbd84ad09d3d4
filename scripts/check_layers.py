#!/usr/bin/env python3
"""Checks that each layer depends only on itself and the layers below it, in this order:

  platform, scanner, parsetree, interfaces, objectmodel, builder, component, include, tools, fuzz

Every file under a layer's folder is read for what it takes from elsewhere:

  - the headers it includes (`#include "..."` and `#include <...>`, in C++, flex, bison and
    resource scripts), the files a resource script embeds (`1 TYPELIB "tarvolin.tlb"`) and
    the files an IDL imports;
  - in its CMakeLists.txt, the source paths of other folders and the libraries it links.

A header belongs to the layer whose folder it is in ("parsetree/parsetree.h", or a name
relative to the including file); files generated into the build tree belong to the layer
that generates them (the scanner's grammar.hpp, keywords.inc and its copy of FlexLexer.h;
the interfaces' tarvolin_h.h, tarvolin_i.c and tarvolin.tlb). Headers of no layer (the
system's, the libraries') are not checked.

  check_layers.py [ROOT]       checks the tree at ROOT (default: this repository); prints
                               each dependency on a higher layer and exits 1 if any
  check_layers.py --self-test  runs the check on small trees made for the purpose
"""
import os
import re
import sys
import tempfile

LAYERS = ["platform", "scanner", "parsetree", "interfaces", "objectmodel", "builder", "component", "include", "tools", "fuzz"]
RANK = {name: i for i, name in enumerate(LAYERS)}

GENERATED = {
    "grammar.hpp": "scanner",
    "keywords.inc": "scanner",
    "FlexLexer.h": "scanner",
    "tarvolin_h.h": "interfaces",
    "tarvolin_i.c": "interfaces",
    "tarvolin.tlb": "interfaces",
}

SOURCE_SUFFIXES = (".h", ".hpp", ".c", ".cpp", ".inc", ".l", ".y", ".rc", ".idl")

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.M)
RC_FILE = re.compile(r'^\s*\w+\s+\w+\s+"([^"]+)"', re.M)
IDL_IMPORT = re.compile(r'^\s*import\s+"([^"]+)"', re.M)
CMAKE_SOURCE_PATH = re.compile(r"\$\{(?:PROJECT_SOURCE_DIR|CMAKE_SOURCE_DIR)\}/(\w+)/")
CMAKE_TARGET = re.compile(r"\badd_(?:library|executable)\(\s*(\w+)")
CMAKE_LINK = re.compile(r"\b(?:target_link_libraries|add_dependencies)\(\s*\w+([^)]*)\)", re.S)


def layer_of_path(root, path):
    """The layer whose folder holds path (a path inside root), or None."""
    rel = os.path.relpath(path, root)
    head = rel.split(os.sep, 1)[0]
    return head if head in RANK else None


def layer_of_include(root, including_file, name):
    """The layer of the file that including_file names as name, or None for a file of no layer."""
    head = name.split("/", 1)[0]
    if head in RANK and "/" in name:
        return head
    base = name.rsplit("/", 1)[-1]
    if base in GENERATED:
        return GENERATED[base]
    beside = os.path.normpath(os.path.join(os.path.dirname(including_file), name))
    if os.path.exists(beside):
        return layer_of_path(root, beside)
    return None


def strip_comments(text):
    """Drops C and C++ comments (keeping line breaks, so line numbers stay right)."""
    text = re.sub(r"/\*.*?\*/", lambda m: "\n" * m.group(0).count("\n"), text, flags=re.S)
    return re.sub(r"//[^\n]*", "", text)


def line_of(text, offset):
    return text.count("\n", 0, offset) + 1


def layer_files(root):
    for layer in LAYERS:
        top = os.path.join(root, layer)
        for folder, dirs, files in os.walk(top):
            dirs.sort()
            for name in sorted(files):
                yield layer, os.path.join(folder, name)


def targets_by_layer(root):
    """Every library and program a layer's CMakeLists.txt files define, mapped to the layer."""
    owner = {}
    for layer, path in layer_files(root):
        if os.path.basename(path) == "CMakeLists.txt":
            with open(path, encoding="utf-8") as f:
                for m in CMAKE_TARGET.finditer(f.read()):
                    owner.setdefault(m.group(1), layer)
    return owner


def check(root):
    """The list of violations in the tree at root, as 'file:line: message' strings."""
    problems = []
    owner = targets_by_layer(root)

    def report(path, text, offset, layer, used, what):
        if RANK[used] > RANK[layer]:
            problems.append(
                f"{os.path.relpath(path, root)}:{line_of(text, offset)}: {what} is of layer {used}, above {layer}"
            )

    for layer, path in layer_files(root):
        name = os.path.basename(path)
        if name == "CMakeLists.txt":
            with open(path, encoding="utf-8") as f:
                text = re.sub(r"#[^\n]*", "", f.read())
            for m in CMAKE_SOURCE_PATH.finditer(text):
                if m.group(1) in RANK:
                    report(path, text, m.start(), layer, m.group(1), f"source path {m.group(1)}/")
            for m in CMAKE_LINK.finditer(text):
                for t in re.finditer(r"[\w:]+", m.group(1)):
                    if t.group(0) in owner:
                        report(path, text, m.start(1) + t.start(), layer, owner[t.group(0)], f"target {t.group(0)}")
            continue
        if not name.endswith(SOURCE_SUFFIXES):
            continue
        with open(path, encoding="utf-8", errors="replace") as f:
            text = strip_comments(f.read())
        patterns = [INCLUDE]
        if name.endswith(".rc"):
            patterns.append(RC_FILE)
        if name.endswith(".idl"):
            patterns.append(IDL_IMPORT)
        for pattern in patterns:
            for m in pattern.finditer(text):
                used = layer_of_include(root, path, m.group(1))
                if used:
                    report(path, text, m.start(1), layer, used, m.group(1))
    return problems


def self_test():
    """Runs the check on made-up trees: one that keeps the order, one that breaks it in
    every way the check knows. Returns the list of failures."""
    def write(root, files):
        for rel, text in files.items():
            path = os.path.join(root, rel)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as f:
                f.write(text)

    clean = {
        "platform/platform.h": '#include <cstddef>\n#include "posix/oletypes.h"\n',
        "platform/posix/oletypes.h": "// nothing\n",
        "platform/CMakeLists.txt": "add_library(low STATIC a.cpp)\n",
        "scanner/sql.l": '%{\n#include "scanner/scanner.h"\n#include "scanner/grammar.hpp"\n%}\n',
        "parsetree/tree.h": '#include "scanner/scansink.h"\n#include <FlexLexer.h>\n',
        "interfaces/interfaces.h": '#include "platform/platform.h"\n#include "tarvolin_h.h"\n',
        "interfaces/tarvolin.idl": 'import "oaidl.idl";\n',
        "objectmodel/items.h": '#include "interfaces/interfaces.h"\n// #include "builder/parser.h"\n'
        '/* #include "component/server.h" */\n',
        "objectmodel/CMakeLists.txt": "add_library(mid STATIC items.cpp)\ntarget_link_libraries(mid PUBLIC low)\n",
        "component/tarvolin.rc": '1 TYPELIB "tarvolin.tlb"\n',
        "component/CMakeLists.txt": "add_library(high STATIC x.cpp ${PROJECT_SOURCE_DIR}/objectmodel/y.cpp)\n"
        "target_link_libraries(high PUBLIC\n  mid low)\n",
        "tests/any.cpp": '#include "tools/printer.h"\n',
    }
    broken = dict(clean)
    broken.update({
        "scanner/sql.l": '%{\n#include "scanner/scanner.h"\n\n#include "parsetree/parsetree.h"\n%}\n',
        "parsetree/tree.h": '#include "scanner/scansink.h"\n#include "tarvolin_h.h"\n',
        "platform/posix/oletypes.h": "#include <keywords.inc>\n",
        "interfaces/tarvolin.rc": '1 REGISTRY "component/parser.rgs"\n',
        "objectmodel/CMakeLists.txt": "add_library(mid STATIC items.cpp\n  ${PROJECT_SOURCE_DIR}/component/e.cpp)\n"
        "target_link_libraries(mid PUBLIC low\n  high)\n",
    })
    expected = [
        "interfaces/tarvolin.rc:1: component/parser.rgs is of layer component, above interfaces",
        "objectmodel/CMakeLists.txt:2: source path component/ is of layer component, above objectmodel",
        "objectmodel/CMakeLists.txt:4: target high is of layer component, above objectmodel",
        "parsetree/tree.h:2: tarvolin_h.h is of layer interfaces, above parsetree",
        "platform/posix/oletypes.h:1: keywords.inc is of layer scanner, above platform",
        "scanner/sql.l:4: parsetree/parsetree.h is of layer parsetree, above scanner",
    ]
    failures = []
    with tempfile.TemporaryDirectory() as tmp:
        write(os.path.join(tmp, "clean"), clean)
        write(os.path.join(tmp, "broken"), broken)
        found = check(os.path.join(tmp, "clean"))
        if found:
            failures.append("a tree that keeps the order was reported:\n  " + "\n  ".join(found))
        found = sorted(p.replace(os.sep, "/") for p in check(os.path.join(tmp, "broken")))
        if found != expected:
            failures.append(
                "a tree that breaks the order was reported as:\n  "
                + "\n  ".join(found)
                + "\ninstead of:\n  "
                + "\n  ".join(expected)
            )
    return failures


def main(argv):
    if argv[1:] == ["--self-test"]:
        failures = self_test()
        for f in failures:
            print(f)
        return 1 if failures else 0
    root = argv[1] if len(argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    problems = check(os.path.abspath(root))
    for p in problems:
        print(p)
    if problems:
        print(f"dependencies on higher layers: {len(problems)} (order: {', '.join(LAYERS)})")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
