// Shared helpers of the parser tests: token streams, parses and compact tree shapes.
#pragma once

#include <string>

#include "parsetree/parsetree.h"

// The token stream of text as "SYMBOL" or "SYMBOL 'text'" joined by " | ", followed by
// " || echo: <bytes>" when the scanner echoed uncovered bytes.
std::string Tokens(const std::string& text);

// Parses narrow text into tree; the echo is swallowed.
int ParseInto(CParseTree& tree, const std::string& text);

// The tree below node as a compact expression: leaves print their token text, a column
// prints "t.x" or "x", other nodes print "Name(left,right)" with "-" for a null link,
// "[A:...]" for the attachment chain and "; ..." for the rest of a next-chain.
std::string Shape(const CSQLNode* node);
