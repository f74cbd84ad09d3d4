// Prints what a host sees of a parsed statement, through the public interfaces only:
// the statement type, every property of the statement object, every list, and every
// stack's items in order with AsString, ItemType and their own properties.
#pragma once

#include <string>

#include "interfaces/interfaces.h"

// Text (indented, one line per property or element) or JSON.
std::string PrintStatement(IParser* parser, bool json);
