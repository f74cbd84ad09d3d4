// The table-driven LALR(1) parser driver.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class CParseTree;
class CSQLNode;
class CSQLScanner;

// Runs the grammar over the scanner's tokens, building the tree through the actions of
// the reduced rules. Returns 0 (accepted), 1 (syntax error, report in the tree's error
// text) or 2 (parser stack exhausted).
int yyparse(CParseTree* tree, CSQLScanner* scanner);

// Non-zero writes the classic debug trace to standard error. Process-wide; nothing in the
// component sets it.
extern int yydebug;

// Initial and largest number of stacked states.
constexpr int kInitialStackDepth = 200;
constexpr int kMaxStackDepth = 10000;

// Runs the tree-building action of a rule (by its number) over the values of its
// right-hand symbols; returns the rule's value. Defined in actions.cpp.
CSQLNode* RunAction(int rule, CSQLNode* const* rhs, CParseTree& tree);

// Per rule: which right-hand value the rule hands up without an action of its own (from
// 1; 0 for null), or -1 when RunAction must run. Generated from scanner/sql.y with the
// actions' dispatch.
extern const int8_t kHandedUpValue[];

// Turns a recorded trace into the text of the report's trace section.
std::string FormatTrace(const std::vector<int32_t>& trace);
