#include "parsetree/dump.h"

#include <unordered_map>
#include <vector>

#include "parsetree/parsetree.h"
#include "scanner/scanner.h"
#include "scanner/symbols.h"

namespace {

// Token texts may hold line feeds and other control bytes; show them escaped.
std::string Escaped(std::string_view text) {
    std::string out;
    for (unsigned char c : text) {
        if (c == '\n') out += "\\n";
        else if (c == '\t') out += "\\t";
        else if (c == '\r') out += "\\r";
        else if (c == '\\') out += "\\\\";
        else out += static_cast<char>(c);
    }
    return out;
}

} // namespace

std::string DumpTokens(const char* text, size_t length, std::ostream* echo) {
    CParseTree tree;
    CSQLScanner scanner(text ? text : "", text ? length : 0, &tree, echo);
    std::string out;
    for (;;) {
        const size_t before = tree.Tokens().GetSize();
        const int code = scanner.yylex();
        if (code <= 0) break;
        out += kSymbolNames[SymbolOfTokenCode(code)];
        if (tree.Tokens().GetSize() != before) {
            out += " \"";
            out += Escaped(tree.GetCurrentToken()->Text());
            out += "\"";
        }
        out += "\n";
    }
    return out;
}

namespace {

struct Frame {
    const CSQLNode* node;
    int depth;
    const char* link;
};

} // namespace

std::string DumpTree(const CParseTree& tree) {
    std::unordered_map<const CSQLNode*, size_t> index;
    for (size_t i = 0; i < tree.Nodes().GetSize(); ++i) index[tree.Nodes().GetAt(i)] = i;
    auto id = [&](const CSQLNode* n) { return "#" + std::to_string(index.count(n) ? index[n] : 0); };

    std::string out;
    std::vector<bool> seen(tree.Nodes().GetSize(), false);
    std::vector<Frame> stack;
    if (tree.GetRoot()) stack.push_back({tree.GetRoot(), 0, "root"});
    // Depth-first, iterative: pushed in reverse so that L, R, A, N print in that order.
    while (!stack.empty()) {
        Frame f = stack.back();
        stack.pop_back();
        out.append(static_cast<size_t>(f.depth) * 2, ' ');
        out += f.link;
        out += ": ";
        const size_t i = index.count(f.node) ? index[f.node] : 0;
        if (seen[i]) {
            out += "-> " + id(f.node) + "\n";
            continue;
        }
        seen[i] = true;
        out += id(f.node) + " " + std::to_string(f.node->m_nKind) + " " + f.node->GetName();
        if (f.node->m_pToken) {
            out += " \"" + Escaped(f.node->m_pToken->Text()) + "\"";
            if (f.node->m_pToken->m_nCode == kMadeUpTokenCode) out += " (made up)";
        }
        out += "\n";
        if (f.node->m_pNext) stack.push_back({f.node->m_pNext, f.depth, "N"});
        if (f.node->m_pAttach) stack.push_back({f.node->m_pAttach, f.depth + 1, "A"});
        if (f.node->m_pRight) stack.push_back({f.node->m_pRight, f.depth + 1, "R"});
        if (f.node->m_pLeft) stack.push_back({f.node->m_pLeft, f.depth + 1, "L"});
    }
    for (const auto& entry : tree.NamedNodes().Entries())
        out += "[" + entry.first + "] = " + (entry.second ? id(entry.second) : std::string("null")) + "\n";
    if (!tree.GetErrorText().empty()) out += "error: " + tree.GetErrorText() + "\n";
    return out;
}
