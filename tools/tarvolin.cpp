// tarvolin: parse SQL statements and print what a host sees of them.
//
//   tarvolin [--json] [-q] [--tree] [--tokens] [-f FILE] [STATEMENT]
//
// The statement is the argument, or standard input; with -f FILE each non-empty line is
// one statement. The output lists the statement type, every property of the statement
// object, every list and every stack's items in order (--json: the same as JSON; -q:
// nothing for accepted statements). --tree and --tokens show the parser's own view
// instead. A rejected statement prints its error description to standard error, preceded
// by its line number with -f; the exit status is 1 when any statement was rejected.
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "component/classfactory.h"
#include "parsetree/parsetree.h"
#include "parsetree/dump.h"
#include "platform/utf.h"
#include "tools/printer.h"

namespace {

// Exit statuses: every statement accepted, some rejected, the tool itself could not run.
constexpr int kExitAccepted = 0;
constexpr int kExitRejected = 1;
constexpr int kExitFailure = 2;

struct Options {
    bool json = false, quiet = false, tree = false, tokens = false;
    const char* file = nullptr;
    std::string statement;
    bool haveStatement = false;
};

int Usage() {
    std::cerr << "usage: tarvolin [--json] [-q] [--tree] [--tokens] [-f FILE] [STATEMENT]\n";
    return kExitFailure;
}

std::string ErrorDescription() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || !info) return "error";
    BSTR text = nullptr;
    info->GetDescription(&text);
    std::string s;
    for (UINT i = 0; i < SysStringLen(text); ++i) s += static_cast<char>(text[i] < 0x80 ? text[i] : '?');
    SysFreeString(text);
    info->Release();
    return s;
}

bool ParseOne(IParser* parser, CParseTree& tree, const Options& options, const std::string& text, long line) {
    if (options.tokens) std::cout << DumpTokens(text.data(), text.size(), &std::cerr);
    if (options.tree) {
        tree.SetEchoStream(&std::cerr);
        if (tree.ParseNarrow(text.data(), text.size()) == PARSE_ACCEPTED) {
            std::cout << DumpTree(tree);
            return true;
        }
        if (line > 0) std::cerr << line << ": ";
        std::cerr << tree.GetErrorText() << "\n";
        return false;
    }
    if (options.tokens) return true;
    // Command lines and files are UTF-8 (bytes that are not are read as Latin-1, see
    // platform/utf.h); a host hands the parser UTF-16.
    const std::basic_string<OLECHAR> wide = Utf8ToUtf16(text);
    BSTR bstr = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    HRESULT hr = parser->ParseSQL(bstr);
    SysFreeString(bstr);
    if (FAILED(hr)) {
        if (line > 0) std::cerr << line << ": ";
        std::cerr << (hr == DISP_E_EXCEPTION ? ErrorDescription() : "out of memory") << "\n";
        return false;
    }
    if (!options.quiet) std::cout << PrintStatement(parser, options.json);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        if (!std::strcmp(a, "--json")) options.json = true;
        else if (!std::strcmp(a, "-q")) options.quiet = true;
        else if (!std::strcmp(a, "--tree")) options.tree = true;
        else if (!std::strcmp(a, "--tokens")) options.tokens = true;
        else if (!std::strcmp(a, "-f") && i + 1 < argc) options.file = argv[++i];
        else if (!std::strcmp(a, "--")) {
            if (++i < argc) options.statement = argv[i], options.haveStatement = true;
        } else if (a[0] == '-' && a[1]) return Usage();
        else if (!options.haveStatement) options.statement = a, options.haveStatement = true;
        else return Usage();
    }

    // The parser comes from the component's class factory, as any host gets it.
    IClassFactory* factory = nullptr;
    IParser* parser = nullptr;
    HRESULT hr = DllGetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (SUCCEEDED(hr)) {
        hr = factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&parser));
        factory->Release();
    }
    if (FAILED(hr)) {
        std::cerr << "tarvolin: cannot create the parser\n";
        return kExitFailure;
    }
    CParseTree tree;
    bool allAccepted = true;
    if (options.file) {
        std::ifstream in(options.file, std::ios::binary);
        if (!in) {
            std::cerr << "tarvolin: cannot open " << options.file << "\n";
            parser->Release();
            return kExitFailure;
        }
        std::string line;
        for (long n = 1; std::getline(in, line); ++n) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.find_first_not_of(" \t") == std::string::npos) continue;
            allAccepted = ParseOne(parser, tree, options, line, n) && allAccepted;
        }
    } else {
        if (!options.haveStatement) {
            std::ostringstream all;
            all << std::cin.rdbuf();
            options.statement = all.str();
        }
        allAccepted = ParseOne(parser, tree, options, options.statement, 0);
    }
    parser->Release();
    return allAccepted ? kExitAccepted : kExitRejected;
}
