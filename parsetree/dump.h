// A developer's view of a parse, for tests and debugging: the token stream of a text and
// the parse tree with kinds, names, token texts and links.
#pragma once

#include <iosfwd>
#include <string>

class CParseTree;

// One line per token: the symbol name, and for value tokens the recorded text in quotes
// (">" marks the scanner's start condition change is not shown; only tokens are).
// Bytes that no rule covers are echoed to echo (standard output when null).
std::string DumpTokens(const char* text, size_t length, std::ostream* echo = nullptr);

// The tree below the root, one node per line, indented by depth: "#index kind name",
// the token text in quotes for leaves, and "-> #index" where a node shared by several
// parents is met again. Then the named-node map, then the error text if any.
std::string DumpTree(const CParseTree& tree);
