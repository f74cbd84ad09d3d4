// tarvolin: parse one SQL statement and show what the parser made of it.
//
//   tarvolin [--tokens] [--tree] [-f FILE] [STATEMENT]
//
// Without STATEMENT and -f the statement is read from standard input. With -f each line
// of FILE is one statement. A rejected statement prints its error report to standard
// error; the exit status is 1 when any statement was rejected, 0 otherwise.
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>

#include "parsetree/dump.h"
#include "parsetree/parsetree.h"

namespace {

struct Options {
    bool tokens = false;
    bool tree = true;
    const char* file = nullptr;
    std::string statement;
    bool haveStatement = false;
};

int Usage() {
    std::cerr << "usage: tarvolin [--tokens] [--tree] [-f FILE] [STATEMENT]\n";
    return 2;
}

bool ParseOne(CParseTree& tree, const Options& options, const std::string& text, long line) {
    if (options.tokens) std::cout << DumpTokens(text.data(), text.size(), &std::cerr);
    int result = tree.ParseNarrow(text.data(), text.size());
    if (result != PARSE_ACCEPTED) {
        if (line > 0) std::cerr << line << ": ";
        std::cerr << tree.GetErrorText() << "\n";
        return false;
    }
    if (options.tree) std::cout << DumpTree(tree);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    bool explicitView = false;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--tokens")) {
            options.tokens = true;
            if (!explicitView) options.tree = false;
            explicitView = true;
        } else if (!std::strcmp(argv[i], "--tree")) {
            options.tree = true;
            explicitView = true;
        } else if (!std::strcmp(argv[i], "-f") && i + 1 < argc) {
            options.file = argv[++i];
        } else if (argv[i][0] == '-' && argv[i][1] && !options.haveStatement) {
            return Usage();
        } else if (!options.haveStatement) {
            options.statement = argv[i];
            options.haveStatement = true;
        } else {
            return Usage();
        }
    }

    CParseTree tree;
    tree.SetEchoStream(&std::cerr);
    bool allAccepted = true;
    if (options.file) {
        std::ifstream in(options.file, std::ios::binary);
        if (!in) {
            std::cerr << "tarvolin: cannot open " << options.file << "\n";
            return 2;
        }
        std::string line;
        for (long n = 1; std::getline(in, line); ++n) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty()) continue;
            allAccepted &= ParseOne(tree, options, line, n);
        }
    } else {
        if (!options.haveStatement) {
            std::ostringstream all;
            all << std::cin.rdbuf();
            options.statement = all.str();
        }
        allAccepted = ParseOne(tree, options, options.statement, 0);
    }
    return allAccepted ? 0 : 1;
}
