#include "helpers.h"

#include <gtest/gtest.h>

#include <sstream>

#include "parsetree/dump.h"

std::string Tokens(const std::string& text) {
    std::ostringstream echo;
    std::string dump = DumpTokens(text.data(), text.size(), &echo);
    std::string out;
    std::istringstream lines(dump);
    std::string line;
    while (std::getline(lines, line)) {
        if (!out.empty()) out += " | ";
        // DumpTokens quotes texts with double quotes; the tests read better with single.
        size_t q = line.find(" \"");
        if (q != std::string::npos) line = line.substr(0, q) + " '" + line.substr(q + 2, line.size() - q - 3) + "'";
        out += line;
    }
    if (!echo.str().empty()) out += " || echo: " + echo.str();
    return out;
}

int ParseInto(CParseTree& tree, const std::string& text) {
    std::ostringstream echo;
    tree.SetEchoStream(&echo);
    int result = tree.ParseNarrow(text.data(), text.size());
    tree.SetEchoStream(nullptr);
    return result;
}

std::string Shape(const CSQLNode* node) {
    if (!node) return "-";
    std::string s;
    if (node->m_nKind == NODE_KIND_COLUMN) {
        s = node->m_pLeft ? Shape(node->m_pLeft) + "." + Shape(node->m_pRight) : Shape(node->m_pRight);
    } else if (IsLeafKind(node->m_nKind)) {
        s = node->m_pToken ? node->m_pToken->Text() : std::string("<no token>");
        if (node->m_pLeft) s += ":" + Shape(node->m_pLeft); // a column definition's type
    } else if (node->m_nKind == NODE_KIND_STAR) {
        s = "*";
    } else {
        std::string name = node->GetName();
        while (!name.empty() && name.front() == ' ') name.erase(0, 1);
        while (!name.empty() && name.back() == ' ') name.pop_back();
        s = name;
        if (node->m_pLeft || node->m_pRight) s += "(" + Shape(node->m_pLeft) + "," + Shape(node->m_pRight) + ")";
    }
    if (node->m_pAttach) s += "[A:" + Shape(node->m_pAttach) + "]";
    if (node->m_pNext) s += "; " + Shape(node->m_pNext);
    return s;
}
