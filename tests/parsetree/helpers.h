// Shared helper of the parser tests.
#pragma once

#include <sstream>
#include <string>

#include "parsetree/parsetree.h"

// Parses narrow text into tree; the echo is swallowed.
inline int ParseInto(CParseTree& tree, const std::string& text) {
    std::ostringstream echo;
    tree.SetEchoStream(&echo);
    const int result = tree.ParseNarrow(text.data(), text.size());
    tree.SetEchoStream(nullptr);
    return result;
}
