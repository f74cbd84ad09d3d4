#!/usr/bin/env python3
"""Reads the SQL grammar (scanner/sql.y), the one place where its rules, their order and
their tree-building actions are written, and writes what the build needs from it:

  plain    the grammar without its actions, for bison, which generates the parse tables
           in the scanner layer. Each action is blanked out in place, so every rule keeps
           its line and bison's messages and line table point into sql.y.
  symbols  a header and a source file for the scanner layer: the token code range, the
           symbol and rule counts, the symbol names the trace and the report print, and
           the left-hand symbol and length of every rule, all in our numbering.
  actions  an include for the parse tree layer: the action dispatch by rule number
           (TreeActions::Run) and the table of the values rules hand up unchanged
           (kHandedUpValue), which the driver takes without running an action.

An action is written at the end of its alternative, as `{ $$ = Expression; }`, where the
expression calls a TreeActions member (parsetree/actions.cpp) and $k is the value of the
k-th right-hand symbol. `{ $$ = $k; }` hands that value up unchanged and `{ $$ = nullptr; }`
hands up null; an alternative without an action hands up $1 (null when it is empty), as
bison's default action does. Terminals carry no value, so $k must name a nonterminal.

Rules are numbered from 1 in the order they are written, as bison numbers them; the
symbols are numbered as the parser driver numbers them: terminals as bison does (0 end of
input, 1 error, 2 undefined, then the tokens, which must be declared in code order with
consecutive codes), then the nonterminals in the order of their %nterm declarations.
The parse tree tests check these facts against bison's own tables.

usage: grammar.py plain   SQL.Y OUT.y
       grammar.py symbols SQL.Y OUT.h OUT.cpp
       grammar.py actions SQL.Y OUT.inc
"""
import os
import re
import sys

# Our names of bison's three built-in terminals and of every code beyond the last token.
BUILTIN_TERMINALS = ["$", "error", "$undefined."]
BEYOND_LAST_NAME = ""


class GrammarError(Exception):
    pass


def declared(declarations, keyword):
    """The text of every declaration line that starts with keyword, joined."""
    return " ".join(re.findall(r"^%s\b(.*)$" % keyword, declarations, re.M))


class Rule:
    def __init__(self, number, lhs, rhs, line):
        self.number = number
        self.lhs = lhs
        self.rhs = rhs
        self.line = line
        self.action = None  # the action's text between its braces
        self.span = None  # (start, end) offsets of the action in the file, braces included
        self.handed_up = None  # value position handed up, 0 for null, -1 for an action
        self.call = None  # the action's expression with $k replaced, when it has one


class Grammar:
    def __init__(self, path):
        self.path = path
        with open(path, encoding="utf-8") as f:
            self.text = f.read()
        marks = list(re.finditer(r"^%%[ \t]*$", self.text, flags=re.M))
        if len(marks) != 2:
            raise GrammarError("expected declarations, rules and epilogue separated by %% lines")
        declarations = self.text[:marks[0].start()]
        self.rules_offset = marks[0].end()
        self.tokens = self._tokens(declarations)
        self.nonterminals = re.findall(r"[A-Za-z_]\w*", declared(declarations, "%nterm"))
        self.rules = []
        self._parse_rules(self.text[marks[0].end():marks[1].start()])
        self._check()

    def error(self, offset, message):
        line = self.text.count("\n", 0, offset) + 1
        return GrammarError("%s:%d: %s" % (self.path, line, message))

    def _tokens(self, declarations):
        pairs = re.findall(r"([A-Za-z_]\w*)\s+(\d+)", declared(declarations, "%token"))
        tokens = [name for name, _ in pairs]
        codes = [int(code) for _, code in pairs]
        if not codes or codes != list(range(258, 258 + len(codes))):
            raise GrammarError("tokens must be declared in code order with consecutive codes from 258")
        self.first_code, self.last_code = codes[0], codes[-1]
        return tokens

    def _lex(self, text):
        """Yields (kind, value, offset) for the rules section."""
        i = 0
        while i < len(text):
            c = text[i]
            at = self.rules_offset + i
            if c.isspace():
                i += 1
            elif text.startswith("/*", i):
                end = text.find("*/", i + 2)
                if end < 0:
                    raise self.error(at, "unterminated comment")
                i = end + 2
            elif text.startswith("//", i):
                end = text.find("\n", i)
                i = len(text) if end < 0 else end
            elif c == "{":
                end = self._action_end(text, i)
                yield "action", text[i + 1:end - 1], at
                i = end
            elif c in ":|;":
                yield c, c, at
                i += 1
            else:
                m = re.compile(r"%?[A-Za-z_][\w.]*").match(text, i)
                if not m:
                    raise self.error(at, "unexpected %r" % c)
                yield "word", m.group(0), at
                i = m.end()

    def _action_end(self, text, i):
        depth = 0
        while i < len(text):
            c = text[i]
            if c in "\"'":
                m = re.compile(r"%s(?:\\.|[^\\%s\n])*%s" % (c, c, c)).match(text, i)
                if not m:
                    raise self.error(self.rules_offset + i, "unterminated literal in an action")
                i = m.end()
                continue
            if c == "{":
                depth += 1
            elif c == "}":
                depth -= 1
                if depth == 0:
                    return i + 1
            i += 1
        raise self.error(self.rules_offset + i, "unterminated action")

    def _parse_rules(self, text):
        lhs = None
        current = None
        expect_prec = False
        for kind, value, at in self._lex(text):
            if expect_prec:
                if kind != "word":
                    raise self.error(at, "%prec needs a symbol")
                expect_prec = False
                continue
            if kind == "word" and lhs is None:
                lhs = value
                continue
            if kind == ":" and lhs is not None and current is None:
                current = self._new_rule(lhs, at)
            elif current is None:
                raise self.error(at, "expected a rule")
            elif kind == "|":
                current = self._new_rule(lhs, at)
            elif kind == ";":
                lhs, current = None, None
            elif current.action is not None:
                raise self.error(at, "an action must end its alternative")
            elif kind == "action":
                current.action = value
                current.span = (at, at + len(value) + 2)
            elif value == "%empty":
                pass
            elif value == "%prec":
                expect_prec = True
            elif value.startswith("%"):
                raise self.error(at, "unexpected %s" % value)
            else:
                current.rhs.append(value)
        if lhs is not None:
            raise self.error(len(self.text), "the last rule has no closing ;")

    def _new_rule(self, lhs, at):
        rule = Rule(len(self.rules) + 1, lhs, [], self.text.count("\n", 0, at) + 1)
        self.rules.append(rule)
        return rule

    def _check(self):
        terminals = set(self.tokens) | {"error"}
        nonterminals = set(self.nonterminals)
        with_rules = set()
        for rule in self.rules:
            where = "%s:%d: " % (self.path, rule.line)
            if rule.lhs not in nonterminals:
                raise GrammarError(where + "%s is not declared with %%nterm" % rule.lhs)
            with_rules.add(rule.lhs)
            for symbol in rule.rhs:
                if symbol not in terminals and symbol not in nonterminals:
                    raise GrammarError(where + "undeclared symbol %s" % symbol)
            self._read_action(rule, terminals, where)
        missing = [n for n in self.nonterminals if n not in with_rules]
        if missing:
            raise GrammarError("nonterminals without rules: " + ", ".join(missing))

    def _read_action(self, rule, terminals, where):
        if rule.action is None:
            rule.handed_up = 1 if rule.rhs else 0
            return
        m = re.fullmatch(r"\s*\$\$\s*=\s*(.*?)\s*;\s*", rule.action, re.S)
        if not m:
            raise GrammarError(where + "an action must read { $$ = Expression; }")
        expression = m.group(1)

        def value(match):
            k = int(match.group(1))
            if k < 1 or k > len(rule.rhs):
                raise GrammarError(where + "$%d is beyond the rule's %d symbols" % (k, len(rule.rhs)))
            if rule.rhs[k - 1] in terminals:
                raise GrammarError(where + "$%d is the terminal %s, which has no value"
                                   % (k, rule.rhs[k - 1]))
            return "v[%d]" % (k - 1)

        handed = re.fullmatch(r"\$(\d+)", expression)
        if handed:
            value(handed)
            rule.handed_up = int(handed.group(1))
            return
        if expression == "nullptr":
            rule.handed_up = 0
            return
        rule.call = re.sub(r"\$(\d+)", value, expression)
        if "$" in rule.call:
            raise GrammarError(where + "only $$ and $k may appear in an action")
        rule.handed_up = -1

    def symbol_names(self):
        return BUILTIN_TERMINALS + self.tokens + self.nonterminals + [BEYOND_LAST_NAME]

    def symbol_number(self, name):
        return self.symbol_names().index(name)

    def describe(self, rule):
        return "%s: %s" % (rule.lhs, " ".join(rule.rhs) if rule.rhs else "%empty")


GENERATED = "// Generated by scanner/grammar.py from scanner/sql.y: edit the grammar, not this file.\n"


def plain(grammar):
    """The grammar with each action replaced by blanks (line breaks kept)."""
    text = grammar.text
    out = []
    last = 0
    for rule in grammar.rules:
        if rule.span:
            start, end = rule.span
            out.append(text[last:start])
            out.append(re.sub(r"[^\n]", " ", text[start:end]))
            last = end
    out.append(text[last:])
    return "".join(out)


def c_string(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def symbols_header(g):
    names = g.symbol_names()
    terminals = len(BUILTIN_TERMINALS) + len(g.tokens)
    facts = dict(terminals=terminals, last_terminal=terminals - 1,
                 offset=g.first_code - len(BUILTIN_TERMINALS),
                 last_nonterminal=len(names) - 2, beyond=len(names) - 1, first_symbol=len(BUILTIN_TERMINALS),
                 first_code=g.first_code, last_code=g.last_code, nonterminals=len(g.nonterminals),
                 symbols=len(names), rules=len(g.rules))
    return GENERATED + """// The symbol numbering and the rules of the grammar as the parser driver,
// the trace and the error report use them: terminals 0 to %(last_terminal)d (token code - %(offset)d
// for the tokens), nonterminals %(terminals)d to %(last_nonterminal)d, and %(beyond)d, the empty name of
// codes beyond the last token.
#pragma once

#include <cstdint>

constexpr int kFirstTokenSymbol = %(first_symbol)d;
constexpr int kFirstTokenCode = %(first_code)d;
constexpr int kLastTokenCode = %(last_code)d;
constexpr int kTerminalCount = %(terminals)d;
constexpr int kFirstNonterminal = %(terminals)d;
constexpr int kNonterminalCount = %(nonterminals)d;
constexpr int kSymbolCount = %(symbols)d;
constexpr int kRuleCount = %(rules)d;

extern const char* const kSymbolNames[kSymbolCount];
// Per rule number (index 0 unused): the left-hand symbol and the number of right-hand symbols.
extern const int16_t kRuleLeftSide[kRuleCount + 1];
extern const int8_t kRuleLength[kRuleCount + 1];
""" % facts


def symbols_source(g, header):
    lines = [GENERATED, '#include "scanner/%s"\n\n' % header,
             "const char* const kSymbolNames[kSymbolCount] = {\n"]
    for number, name in enumerate(g.symbol_names()):
        lines.append("    %s, // %d\n" % (c_string(name), number))
    lines.append("};\n\nconst int16_t kRuleLeftSide[kRuleCount + 1] = {\n    0,\n")
    for rule in g.rules:
        lines.append("    %d, // %d %s\n" % (g.symbol_number(rule.lhs), rule.number, g.describe(rule)))
    lines.append("};\n\nconst int8_t kRuleLength[kRuleCount + 1] = {\n    0,\n")
    for rule in g.rules:
        lines.append("    %d, // %d\n" % (len(rule.rhs), rule.number))
    lines.append("};\n")
    return "".join(lines)


def actions(g):
    lines = [GENERATED,
             "// The tree-building action of each rule by its number, and per rule the value it hands up\n",
             "// without one (the position of a right-hand value from 1, 0 for null, -1 when its\n",
             "// action runs).\n\n",
             'static_assert(kRuleCount == %d, "the scanner layer was generated from another grammar");\n\n'
             % len(g.rules),
             "CSQLNode* TreeActions::Run(int rule, CSQLNode* const* v) {\n",
             "    switch (rule) {\n"]
    for rule in g.rules:
        if rule.call is not None:
            lines.append("    case %d: return %s; // %s\n" % (rule.number, rule.call, g.describe(rule)))
    lines.append("    default: return nullptr; // the driver hands these rules' values up itself\n")
    lines.append("    }\n}\n\nconst int8_t kHandedUpValue[kRuleCount + 1] = {\n    -1,\n")
    for rule in g.rules:
        lines.append("    %d, // %d %s\n" % (rule.handed_up, rule.number, g.describe(rule)))
    lines.append("};\n")
    return "".join(lines)


def write(path, text):
    """Writes only when the text changed, so that what depends on the file is not rebuilt."""
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return
    except OSError:
        pass
    with open(path + ".tmp", "w", encoding="utf-8") as f:
        f.write(text)
    os.replace(path + ".tmp", path)


def main(argv):
    if len(argv) < 4 or argv[1] not in ("plain", "symbols", "actions"):
        sys.stderr.write(__doc__.split("usage:")[1])
        return 2
    try:
        grammar = Grammar(argv[2])
    except GrammarError as e:
        sys.stderr.write("grammar.py: %s\n" % e)
        return 1
    if argv[1] == "plain":
        write(argv[3], plain(grammar))
    elif argv[1] == "symbols":
        write(argv[3], symbols_header(grammar))
        write(argv[4], symbols_source(grammar, os.path.basename(argv[3])))
    else:
        write(argv[3], actions(grammar))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
