#!/usr/bin/env python3
"""Fault injection: how many small, realistic faults in the library does the native test suite catch?

Copies the tracked files of the tree it is run from into a scratch directory, builds them there
once (native, Release, no benchmarks) and checks that the unchanged suite passes. Then, one fault at
a time: applies the fault, rebuilds, runs ctest, restores the file. A fault is

  caught            the build succeeded and a test failed (or the tests hung past the time limit)
  survived          the build succeeded and every test passed
  did not apply     none of its snippets matched exactly once in the library sources
  did not compile   the build failed; not counted as caught

A fault names its place by text, not by file: every (find, replace) pair is searched in every
source of the library folders, and the first pair whose find matches exactly once is applied. A
find is a plain snippet or a regular expression (R(...)), so a fault survives files being moved,
renamed or rewritten as long as one of its snippets still names a single place.

  scripts/mutants.py                 every fault
  scripts/mutants.py --list          where each fault applies, without building
  scripts/mutants.py --only 3,7-9    some faults
"""
import argparse
import os
import re
import shutil
import signal
import subprocess
import sys
import time

LIBRARY = ("platform", "scanner", "parsetree", "interfaces", "objectmodel", "builder", "component", "tools")
SOURCES = (".cpp", ".h", ".hpp", ".inc", ".l", ".y", ".idl", ".rgs", ".rc", ".def")


def R(pattern):
    return re.compile(pattern)


def F(layer, kind, what, *places):
    return {"layer": layer, "kind": kind, "what": what, "places": places}


FAULTS = [
    # platform/
    F("platform", "off-by-one", "SysStringLen counts the terminator",
      ("return SysStringByteLen(text) / UINT(sizeof(OLECHAR));",
       "return SysStringByteLen(text) / UINT(sizeof(OLECHAR)) + (text ? 1 : 0);")),
    F("platform", "skipped AddRef", "VariantCopy of an object takes no reference",
      ("if (source->punkVal) source->punkVal->AddRef();", "")),
    F("platform", "dropped statement", "VariantClear releases no object",
      ("if (v->punkVal) v->punkVal->Release();", "")),
    F("platform", "off-by-one", "code page 1252: byte 0x80 is not the euro sign",
      ("if (b < 0x80 || b >= 0xA0) return b;", "if (b <= 0x80 || b >= 0xA0) return b;")),
    F("platform", "off-by-one", "WideCharToMultiByte refuses a buffer of the exact size",
      ("if (narrowLen != 0 && narrowLen < wideLen) return 0;", "if (narrowLen != 0 && narrowLen <= wideLen) return 0;")),
    F("platform", "dropped statement", "RegDeleteKeyW deletes a key that has subkeys",
      ("if (target == r.root || !target->children.empty()) return ERROR_ACCESS_DENIED;",
       "if (target == r.root) return ERROR_ACCESS_DENIED;")),
    F("platform", "dropped statement", "GetErrorInfo leaves the error object in the thread's slot",
      ("    t_Slot.info = nullptr;\n    return *info ? S_OK : S_FALSE;", "    return *info ? S_OK : S_FALSE;")),
    # scanner/
    F("scanner", "rule's token", "ASC scans as DESC",
      (R(r"(\(\?i:ASC\)\s*\{\s*return )ASC;"), r"\1DESC;")),
    F("scanner", "rule's token", "LEFT scans as RIGHT",
      (R(r"(\(\?i:LEFT\)\s*\{\s*return )LEFT;"), r"\1RIGHT;")),
    F("scanner", "length check", "a single-quoted string keeps its closing quote",
      ("Record(STRING_VALUE, yytext + 1, yyleng - 2)", "Record(STRING_VALUE, yytext + 1, yyleng - 1)")),
    F("scanner", "dropped condition", "the fast path takes 1e5 for a whole number",
      ("if (*end == '.' || *end == 'e' || *end == 'E') return 0;", "if (*end == '.' || *end == 'E') return 0;")),
    F("scanner", "off-by-one", "the fast path takes the word CASESTATE for an identifier",
      ("if (n >= 9 && f.w[0] == kCaseState.w[0]", "if (n > 9 && f.w[0] == kCaseState.w[0]")),
    F("scanner", "off-by-one", "the longest keyword is looked up as an identifier",
      ("code = n <= kLongestKeyword ? FindKeyword(f) : 0;", "code = n < kLongestKeyword ? FindKeyword(f) : 0;")),
    # parsetree/
    F("parsetree", "off-by-one", "driver stack limit one lower",
      ("kMaxStackDepth = 10000;", "kMaxStackDepth = 9999;")),
    F("parsetree", "report text", "report names the expected tokens in the singular",
      (R(r'(IDS_EXPECTED_TOKENS\W+(?:return\s+)?)"Expected tokens"'), r'\1"Expected token"'),
      ('"Expected tokens",             // IDS_EXPECTED_TOKENS', '"Expected token",              // IDS_EXPECTED_TOKENS')),
    F("parsetree", "off-by-one", "report leaves out the last expected token",
      ("x < m_Tables.ntokens; ++x)", "x < m_Tables.ntokens - 1; ++x)")),
    F("parsetree", "report text", "report runs the trace section on without a blank line",
      ('report += "\\n" + word + "\\n" + trace;', 'report += word + "\\n" + trace;')),
    F("parsetree", "tree link", "a reduction hands up the value after the one it names",
      (R(r"(info\.length, m_Tree\)\s*: handedUp \? values\[first \+ static_cast<size_t>\(handedUp\)) - 1\]"), r"\1]"),
      ("stacks.values[first + static_cast<size_t>(handedUp) - 1]", "stacks.values[first + static_cast<size_t>(handedUp)]")),
    F("parsetree", "length check", "narrow text is parsed past an embedded NUL",
      ("        if (nul) length = static_cast<size_t>(static_cast<const char*>(nul) - text);\n", "")),
    # objectmodel/
    F("objectmodel", "off-by-one", "Item refuses the last element",
      ("if (static_cast<size_t>(index) > m_Elements.Size()) return E_FAIL;",
       "if (static_cast<size_t>(index) >= m_Elements.Size()) return E_FAIL;")),
    F("objectmodel", "wrong index", "Count ignores popped elements",
      ("size_t Size() const { return m_nEnd - m_nHead; }", "size_t Size() const { return m_nEnd; }")),
    F("objectmodel", "dropped statement", "Pop leaves the element on the stack",
      ("if (SUCCEEDED(hr)) m_Elements.RemoveFront();", "")),
    F("objectmodel", "wrong index", "Pop and Peek read the last pushed element",
      ("&m_Elements.At(0)", "&m_Elements.At(m_Elements.Size() - 1)")),
    F("objectmodel", "wrong HRESULT", "enumerator Next returns S_OK when short",
      ("return done == count ? S_OK : S_FALSE;", "return S_OK;")),
    F("objectmodel", "flipped comparison", "enumerator Skip moves past the end",
      ("if (m_nPosition >= m_pStore->Size()) return S_FALSE;", "if (m_nPosition > m_pStore->Size()) return S_FALSE;")),
    F("objectmodel", "skipped AddRef", "enumerator Clone hands out an object without a reference",
      ("    copy->AddRef();\n    *result = copy;", "    *result = copy;")),
    F("objectmodel", "skipped AddRef", "an enumerator does not hold its collection",
      ("    if (owner) owner->AddRef();\n    if (m_pOwner) m_pOwner->Release();", "    if (m_pOwner) m_pOwner->Release();")),
    F("objectmodel", "skipped AddRef", "QueryInterface hands out an interface without a reference",
      ("        found->AddRef();\n        *result = found;", "        *result = found;")),
    F("objectmodel", "missing Release", "a join stack is never released",
      ("    if (stack) stack->AddRef();\n    if (slot) slot->Release();", "    if (stack) stack->AddRef();")),
    F("objectmodel", "swapped enumeration", "AsString of the divide and multiply operators swapped",
      ('{"+", "-", "/", "*"}', '{"+", "-", "*", "/"}')),
    F("objectmodel", "boolean -1/0", "statement flags read as 1 for true",
      ("*value = flag ? -1 : 0;", "*value = flag ? 1 : 0;")),
    F("objectmodel", "AsString text", "a cross join reads CROSS JOIN NATURAL",
      ("else if (m_nType != JOIN_TYPE_CROSS)", "else")),
    F("objectmodel", "wrong HRESULT", "ISupportErrorInfo refuses other interfaces with E_NOINTERFACE",
      ("IsEqualGUID(iid, *ItfIID) ? S_OK : S_FALSE", "IsEqualGUID(iid, *ItfIID) ? S_OK : E_NOINTERFACE")),
    F("objectmodel", "dropped statement", "ReportError publishes no error object",
      ("        SetErrorInfo(0, info);\n", "")),
    # builder/
    F("builder", "swapped operands", "postfix order: right operand before the left one",
      ("        if (node->m_pRight) frames.Push(reinterpret_cast<uintptr_t>(node->m_pRight));\n"
       "        if (node->m_pLeft) frames.Push(reinterpret_cast<uintptr_t>(node->m_pLeft));\n",
       "        if (node->m_pLeft) frames.Push(reinterpret_cast<uintptr_t>(node->m_pLeft));\n"
       "        if (node->m_pRight) frames.Push(reinterpret_cast<uintptr_t>(node->m_pRight));\n")),
    F("builder", "swapped operands", "join stack: right table before the left one",
      ("        if (f.node->m_pRight) frames.push_back({f.node->m_pRight, nullptr});\n"
       "        if (f.node->m_pLeft) frames.push_back({f.node->m_pLeft, nullptr});\n",
       "        if (f.node->m_pLeft) frames.push_back({f.node->m_pLeft, nullptr});\n"
       "        if (f.node->m_pRight) frames.push_back({f.node->m_pRight, nullptr});\n")),
    F("builder", "clamp off by one", "TOP 0 is kept as 0",
      ("statement->m_nTop = n < 1 ? 1 : n;", "statement->m_nTop = n < 0 ? 1 : n;")),
    F("builder", "join type mapped wrongly", "LEFT JOIN maps to the right outer join",
      (R(r"(NODE_KIND_LEFT_JOIN\W+(?:return\s+)?)JOIN_TYPE_OUTER_LEFT"), r"\1JOIN_TYPE_OUTER_RIGHT")),
    F("builder", "off-by-one", "a FULL JOIN is not taken for a join",
      ("kind <= NODE_KIND_FULL_JOIN", "kind < NODE_KIND_FULL_JOIN")),
    F("builder", "swapped enumeration", "ORDER BY directions inverted",
      ("SetAsc(o->m_nKind != NODE_KIND_ORDER_DESC)", "SetAsc(o->m_nKind != NODE_KIND_ORDER_ASC)")),
    F("builder", "swapped enumeration", "INTERSECT builds the EXCEPT operator",
      (R(r"(NODE_KIND_INTERSECT\W+(?:return\s+)?)SET_OPERATOR_INTERSECT"), r"\1SET_OPERATOR_EXCEPT")),
    F("builder", "swapped enumeration", ">= builds the <= operator",
      (R(r"(NODE_KIND_MORE_EQUALS\b[^\n]*?)COMPARE_OPERATOR_MOREEQUALS"), r"\1COMPARE_OPERATOR_LESSEQUALS")),
    F("builder", "wrong value", "SMALLINT columns report four bytes",
      (R(r"(NODE_KIND_SMALLINT_TYPE\W[^\n]*?length = )2;"), r"\g<1>4;")),
    F("builder", "dropped statement", "a select item's alias is lost",
      ("        stack->SetName(NodeText(node->m_pRight));\n", "")),
    # component/
    F("component", "wrong HRESULT", "DllGetClassObject: unknown class gives E_NOINTERFACE",
      ("return CLASS_E_CLASSNOTAVAILABLE;", "return E_NOINTERFACE;")),
    F("component", "wrong HRESULT", "aggregation asking for another interface gives E_NOINTERFACE",
      ("return CLASS_E_NOAGGREGATION;", "return E_NOINTERFACE;")),
    F("component", "off-by-one", "DllCanUnloadNow with one lock left says yes",
      ("CModule::LockCount() == 0 ? S_OK : S_FALSE", "CModule::LockCount() <= 1 ? S_OK : S_FALSE")),
    F("component", "dropped statement", "a held class factory does not lock the module",
      ("if (n == 1) CModule::LockServer(true);", "")),
    F("component", "registry value", "ThreadingModel registered as Both",
      ("val ThreadingModel = s 'Apartment'", "val ThreadingModel = s 'Both'")),
    F("component", "wrong order", "unregistration removes parent keys before their subkeys",
      ("for (size_t i = keys.size(); i-- > 0;)", "for (size_t i = 0; i < keys.size(); ++i)")),
    F("component", "wrong value", "satellite library named .dll instead of .res.dll",
      ('OLESTR(".res.dll")', 'OLESTR(".dll")')),
]


def count(find, text):
    return len(find.findall(text)) if isinstance(find, re.Pattern) else text.count(find)


def substitute(find, replace, text):
    return find.sub(replace, text, count=1) if isinstance(find, re.Pattern) else text.replace(find, replace, 1)


def library_files(src):
    files = {}
    for folder in LIBRARY:
        for dirpath, _, names in os.walk(os.path.join(src, folder)):
            for name in sorted(names):
                if name.endswith(SOURCES):
                    path = os.path.join(dirpath, name)
                    with open(path, "rb") as f:
                        files[os.path.relpath(path, src)] = f.read().decode("utf-8", "surrogateescape")
    return files


def locate(fault, files):
    """The (file, find, replace) of the first place that matches exactly once, or None and why."""
    counts = []
    for find, replace in fault["places"]:
        hits = [(path, count(find, text)) for path, text in files.items()]
        hits = [(path, n) for path, n in hits if n]
        total = sum(n for _, n in hits)
        if total == 1:
            return (hits[0][0], find, replace), ""
        counts.append(str(total))
    return None, "matches: " + "/".join(counts)


def run(command, log, timeout=None, cwd=None):
    """Runs command with its output in log; returns (exit code, seconds); a timeout kills it and gives None."""
    start = time.time()
    with open(log, "w") as out:
        process = subprocess.Popen(command, stdout=out, stderr=subprocess.STDOUT, cwd=cwd, start_new_session=True)
        try:
            code = process.wait(timeout=timeout)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            code = None
    return code, time.time() - start


def failed_tests(log):
    with open(log, errors="replace") as f:
        names = re.findall(r"^\s*\d+ - (\S+) \((.+)\)\s*$", f.read(), re.M)
    return ", ".join(f"{name} ({why})" for name, why in names)


def parse_only(text, n):
    chosen = set()
    for part in text.split(","):
        low, _, high = part.partition("-")
        chosen.update(range(int(low), int(high or low) + 1))
    bad = [i for i in chosen if not 1 <= i <= n]
    if bad:
        sys.exit(f"--only: no fault {bad[0]} (1 to {n})")
    return sorted(chosen)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--list", action="store_true", help="show the faults and where each applies, then stop")
    parser.add_argument("--only", help="fault numbers to run, such as 3,7-9")
    parser.add_argument("--jobs", type=int, default=2, help="parallel build and test jobs (2)")
    parser.add_argument("--keep", action="store_true", help="keep the scratch directory afterwards")
    parser.add_argument("--scratch", help="scratch directory (build/mutants under the tree)")
    parser.add_argument("--timeout", type=int, help="seconds a test run may take before it counts as hung "
                        "(10 times the unchanged run, at least 120)")
    args = parser.parse_args()

    root = subprocess.run(["git", "rev-parse", "--show-toplevel"], cwd=os.path.dirname(os.path.abspath(__file__)),
                          check=True, capture_output=True, text=True).stdout.strip()
    numbers = parse_only(args.only, len(FAULTS)) if args.only else list(range(1, len(FAULTS) + 1))

    if args.list:
        files = library_files(root)
        for i in numbers:
            fault = FAULTS[i - 1]
            place, why = locate(fault, files)
            where = place[0] if place else "did not apply (" + why + ")"
            print(f"{i:3}  {fault['layer']:<11} {fault['kind']:<24} {fault['what']}  [{where}]")
        return 0

    scratch = os.path.abspath(args.scratch or os.path.join(root, "build", "mutants"))
    src, bld, logs = (os.path.join(scratch, d) for d in ("src", "build", "logs"))
    if os.path.commonpath([scratch, root]) == root and not scratch.startswith(os.path.join(root, "build")):
        sys.exit("the scratch directory must lie outside the tree or under its build/")
    marker = os.path.join(scratch, ".mutants-scratch")
    if os.path.isdir(scratch) and os.listdir(scratch) and not os.path.exists(marker):
        sys.exit(f"{scratch} is not empty and was not made by this script: give another --scratch")
    shutil.rmtree(scratch, ignore_errors=True)
    os.makedirs(logs)
    open(marker, "w").close()
    tracked = subprocess.run(["git", "ls-files", "-z"], cwd=root, check=True, capture_output=True).stdout
    for name in tracked.decode().split("\0"):
        if name and os.path.isfile(os.path.join(root, name)):
            os.makedirs(os.path.dirname(os.path.join(src, name)), exist_ok=True)
            shutil.copy2(os.path.join(root, name), os.path.join(src, name))

    started = time.time()
    configure = ["cmake", "-S", src, "-B", bld, "-DCMAKE_BUILD_TYPE=Release", "-DTARVOLIN_BUILD_BENCH=OFF"]
    if shutil.which("ccache"):
        configure += ["-DCMAKE_C_COMPILER_LAUNCHER=ccache", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
    else:
        print("ccache not found: every restore is a full recompile of the file", flush=True)
    build = ["cmake", "--build", bld, "-j", str(args.jobs)]
    test = ["ctest", "--test-dir", bld, "--stop-on-failure", "--output-on-failure", "-j", str(args.jobs)]

    print(f"scratch: {scratch}", flush=True)
    for step, command in (("configure", configure), ("build", build)):
        code, seconds = run(command, os.path.join(logs, f"baseline-{step}.log"))
        if code != 0:
            sys.exit(f"the unchanged tree does not {step}: see {logs}/baseline-{step}.log")
        print(f"unchanged tree: {step} {seconds:.0f} s", flush=True)
    code, seconds = run(test, os.path.join(logs, "baseline-test.log"))
    if code != 0:
        sys.exit(f"the unchanged suite fails: see {logs}/baseline-test.log")
    timeout = args.timeout or max(120, int(10 * seconds))
    print(f"unchanged tree: tests pass in {seconds:.0f} s; a test run over {timeout} s counts as hung", flush=True)

    files = library_files(src)
    results = {}
    for i in numbers:
        fault = FAULTS[i - 1]
        place, why = locate(fault, files)
        detail = why
        if not place:
            status = "did not apply"
        else:
            path, find, replace = place
            full = os.path.join(src, path)
            original = files[path]
            with open(full, "wb") as f:
                f.write(substitute(find, replace, original).encode("utf-8", "surrogateescape"))
            try:
                code, build_seconds = run(build, os.path.join(logs, f"{i:02}-build.log"))
                if code != 0:
                    status, detail = "did not compile", f"see logs/{i:02}-build.log"
                else:
                    code, test_seconds = run(test, os.path.join(logs, f"{i:02}-test.log"), timeout)
                    if code is None:
                        status, detail = "caught", f"hung past {timeout} s"
                    elif code != 0:
                        status, detail = "caught", failed_tests(os.path.join(logs, f"{i:02}-test.log"))
                    else:
                        status, detail = "survived", ""
                    detail += f" (build {build_seconds:.0f} s, tests {test_seconds:.0f} s)"
            finally:
                # Back to the original bytes, dated now so the next build recompiles the file.
                with open(full, "wb") as f:
                    f.write(original.encode("utf-8", "surrogateescape"))
                now = time.time()
                os.utime(full, (now, now))
            detail = f"[{path}] {detail}"
        results[i] = status
        print(f"{i:3}  {status:<16} {fault['layer']:<11} {fault['kind']:<24} {fault['what']}  {detail}", flush=True)

    tally = {s: sum(1 for r in results.values() if r == s)
             for s in ("caught", "survived", "did not apply", "did not compile")}
    counted = tally["caught"] + tally["survived"]
    minutes = (time.time() - started) / 60
    print(f"\ncaught {tally['caught']} of {counted} faults that applied and compiled; "
          f"{tally['survived']} survived, {tally['did not apply']} did not apply, "
          f"{tally['did not compile']} did not compile ({minutes:.1f} min)")
    if not args.keep:
        shutil.rmtree(scratch, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
