// SQL text rebuilt from what a host sees of a parsed statement, through the public
// interfaces only: the statement object's properties and lists, and the expression stacks
// read front to back with an operand stack, as a host evaluates them. Postfix stacks become
// infix with only the parentheses that precedence needs; names are quoted when they need
// it; keywords are upper case. IN and BETWEEN come back from the comparisons they were
// turned into, CASE, IF, NULLIF and COALESCE from their marker items.
//
// Parsing the rebuilt text gives the same object model. The few models that no text gives
// (README.md, "SQL rebuilt from the object model") are refused with a reason.
#pragma once

#include <string>

#include "interfaces/interfaces.h"

// The statement the parser holds as one line of SQL (UTF-8, no closing semicolon); false,
// with why set, when it cannot be rebuilt.
bool RebuildStatement(IParser* parser, std::string& sql, std::string& why);
