#!/usr/bin/env python3
# usage: test_grammar_generator.py GRAMMAR.PY SQL.Y. The plain grammar keeps every line and no
# action, and an edit of one action that the driver could not run as written fails with its reason.
import os, subprocess, sys, tempfile

generator, grammar = sys.argv[1], sys.argv[2]
text = open(grammar, encoding="utf-8").read()
rule, action = "SetOperand UNION SetOperand", "{ $$ = Union($1, $3); }"
cases = [
    (action.replace("$3", "$2"), "$2 is the terminal UNION, which has no value"),
    (action.replace("$3", "$4"), "$4 is beyond the rule's 3 symbols"),
    ("{ Union($1, $3); }", "an action must read { $$ = Expression; }"),
    ("{ $$ = Union($1, $-3); }", "only $$ and $k may appear in an action"),
    (action + " SetOperand", "an action must end its alternative"),
]
failures = 0
with tempfile.TemporaryDirectory() as tmp:
    edited, plain = os.path.join(tmp, "sql.y"), os.path.join(tmp, "plain.y")
    for replacement, reason in [(action, None)] + cases:
        open(edited, "w", encoding="utf-8").write(text.replace(action, replacement))
        run = subprocess.run([sys.executable, generator, "plain", edited, plain], capture_output=True,
                             text=True)
        if reason is None and run.returncode == 0:
            out = open(plain, encoding="utf-8").read()
            rules = out.split("\n%%\n")[1]
            ok = out.count("\n") == text.count("\n") and "$$" not in rules and rule in rules
        else:
            ok = reason is not None and run.returncode == 1 and reason in run.stderr
        if not ok:
            failures += 1
            print("FAILED: %s: expected %s, got %d %s"
                  % (replacement, reason or "success", run.returncode, run.stderr))
sys.exit(1 if failures else 0)
