// tarvolin: parse SQL statements and print what a host sees of them. See kHelp below and
// tools/README.md.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>

#include <unistd.h>

#include <tarvolin/tarvolin.hpp>

#include "component/classfactory.h"
#include "parsetree/dump.h"
#include "parsetree/parsetree.h"
#include "platform/utf.h"
#include "tools/position.h"
#include "tools/printer.h"
#include "tools/rebuild.h"
#include "tools/script.h"

namespace {

// Exit statuses: every statement accepted, some rejected, the tool itself could not run.
constexpr int kExitAccepted = 0;
constexpr int kExitRejected = 1;
constexpr int kExitFailure = 2;

const char kHelp[] =
    "usage: tarvolin [OPTIONS] [STATEMENT]\n"
    "       tarvolin [OPTIONS] -f FILE\n"
    "Parses SQL and prints what a host of the parser sees: the statement type, every\n"
    "property of the statement object, every list and every stack's items in order.\n"
    "The statement is the argument, or standard input when there is none and no -f.\n"
    "\n"
    "  -f FILE   read a SQL script (\"-\": standard input): statements separated by\n"
    "            semicolons outside quotes, square brackets and braces, over any lines\n"
    "  --lines   with -f: one statement per non-empty line instead\n"
    "  --json    print the object model as JSON\n"
    "  --sql     print each accepted statement as SQL rebuilt from the object model\n"
    "  -q        print nothing for accepted statements\n"
    "  --tree    print the parser's tree instead\n"
    "  --tokens  print the scanner's tokens instead\n"
    "  --stats   at the end, print the counts of statements, accepted and rejected, the\n"
    "            bytes read and the time on standard error\n"
    "  --help    print this help\n"
    "  --        the next argument is the statement, even if it starts with \"-\"\n"
    "\n"
    "A rejected statement is reported on standard error as FILE:LINE:COLUMN: (LINE:COLUMN:\n"
    "for an argument) and the parser's error report, then the line with a caret under the\n"
    "token where parsing stopped.\n"
    "\n"
    "Exit status: 0 when every statement was accepted, 1 when any was rejected, 2 for\n"
    "usage and I/O errors.\n";

struct Options {
    bool json = false, quiet = false, tree = false, tokens = false, sql = false, lines = false, stats = false;
    const char* file = nullptr;
    std::string statement;
    bool haveStatement = false;
};

int Usage() {
    std::cerr << "usage: tarvolin [--json] [--sql] [-q] [--tree] [--tokens] [--stats] [-f FILE [--lines]] [STATEMENT]\n"
                 "       (tarvolin --help tells more)\n";
    return kExitFailure;
}

class CRun {
public:
    CRun(tarvolin::Parser& parser, const Options& options, const char* label)
        : m_Parser(parser), m_Options(options), m_pLabel(label), m_NoEcho(nullptr) {
        m_Locator.SetEchoStream(&m_NoEcho);
    }

    void Statement(const ScriptStatement& statement) {
        ++m_nStatements;
        if (Parse(statement)) ++m_nAccepted;
    }
    long Statements() const { return m_nStatements; }
    long Accepted() const { return m_nAccepted; }

private:
    bool Parse(const ScriptStatement& statement);
    void Reject(const ScriptStatement& statement, const std::string& report, size_t offset, bool ansi) {
        std::cerr << FormatRejection(m_pLabel, LocateError(statement, offset, ansi), report);
    }

    tarvolin::Parser& m_Parser;
    const Options& m_Options;
    const char* m_pLabel;
    CParseTree m_Tree;    // for --tree
    CParseTree m_Locator; // parses a rejected statement again for the place of its error
    std::ostream m_NoEcho;
    long m_nStatements = 0, m_nAccepted = 0;
};

bool CRun::Parse(const ScriptStatement& statement) {
    const std::string& text = statement.text;
    if (m_Options.tokens) std::cout << DumpTokens(text.data(), text.size(), &std::cerr);
    if (m_Options.tree) {
        m_Tree.SetEchoStream(&std::cerr);
        if (m_Tree.ParseNarrow(text.data(), text.size()) == PARSE_ACCEPTED) {
            std::cout << DumpTree(m_Tree);
            return true;
        }
        Reject(statement, m_Tree.GetErrorText(), m_Tree.GetErrorOffset(), false);
        return false;
    }
    if (m_Options.tokens) return true;
    // Command lines and files are UTF-8 (bytes that are not are read as Latin-1, see
    // platform/utf.h), as the C++ interface takes them.
    try {
        m_Parser.parse(text);
    } catch (const tarvolin::Error& e) {
        const std::string report = e.hresult() == DISP_E_EXCEPTION ? e.what() : "out of memory";
        // Where parsing stopped: the statement parsed again by a tree of the tool's own.
        size_t offset = 0;
        const std::basic_string<OLECHAR> wide = Utf8ToUtf16(text);
        BSTR bstr = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
        try {
            m_Locator.Parse(bstr);
            offset = m_Locator.GetErrorOffset();
        } catch (const std::bad_alloc&) {
        }
        SysFreeString(bstr);
        Reject(statement, report, offset, true);
        return false;
    }
    if (m_Options.quiet) return true;
    if (!m_Options.sql) {
        std::cout << PrintStatement(m_Parser.com().get(), m_Options.json);
        return true;
    }
    std::string sql, why;
    if (RebuildStatement(m_Parser.com().get(), sql, why)) {
        std::cout << sql << ";\n";
    } else {
        const ErrorPlace place = LocateError(statement, 0, false);
        if (m_pLabel) std::cerr << m_pLabel << ":";
        std::cerr << place.line << ":" << place.column << ": cannot rebuild the statement as SQL: " << why << "\n";
    }
    return true;
}

// A progress line on standard error while a large input is read, when that is a terminal.
class CProgress {
public:
    CProgress() : m_bShow(isatty(fileno(stderr)) != 0), m_Start(Clock::now()), m_Next(m_Start + kDelay) {}
    void Update(uint64_t bytes) {
        if (!m_bShow || (++m_nCalls & 63) != 0) return;
        const Clock::time_point now = Clock::now();
        if (now < m_Next) return;
        m_Next = now + kInterval;
        std::fprintf(stderr, "\rtarvolin: %.1f MB read", static_cast<double>(bytes) / 1e6);
        std::fflush(stderr);
        m_bShown = true;
    }
    void Done() {
        if (m_bShown) std::fprintf(stderr, "\r%40s\r", "");
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kDelay{1000}, kInterval{250};
    bool m_bShow, m_bShown = false;
    unsigned m_nCalls = 0;
    Clock::time_point m_Start, m_Next;
};

} // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        if (!std::strcmp(a, "--help")) {
            std::cout << kHelp;
            return kExitAccepted;
        }
        if (!std::strcmp(a, "--json")) options.json = true;
        else if (!std::strcmp(a, "-q")) options.quiet = true;
        else if (!std::strcmp(a, "--tree")) options.tree = true;
        else if (!std::strcmp(a, "--tokens")) options.tokens = true;
        else if (!std::strcmp(a, "--sql")) options.sql = true;
        else if (!std::strcmp(a, "--lines")) options.lines = true;
        else if (!std::strcmp(a, "--stats")) options.stats = true;
        else if (!std::strcmp(a, "-f") && i + 1 < argc) options.file = argv[++i];
        else if (!std::strcmp(a, "--")) {
            if (++i < argc && !options.haveStatement) options.statement = argv[i], options.haveStatement = true;
            else return Usage();
        } else if (a[0] == '-' && a[1]) return Usage();
        else if (!options.haveStatement) options.statement = a, options.haveStatement = true;
        else return Usage();
    }
    if ((options.file && options.haveStatement) || (options.lines && !options.file)) return Usage();

    const auto start = std::chrono::steady_clock::now();
    std::FILE* in = nullptr;
    const bool fromStdin = options.file && !std::strcmp(options.file, "-");
    if (options.file) {
        in = fromStdin ? stdin : std::fopen(options.file, "rb");
        if (!in) {
            std::cerr << "tarvolin: " << options.file << ": " << std::strerror(errno) << "\n";
            return kExitFailure;
        }
    }

    // The parser comes from the component's class factory (the component is linked in, not
    // registered), and is used through the C++ interface.
    IClassFactory* factory = nullptr;
    tarvolin::Ptr<IParser> created;
    HRESULT hr = DllGetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (SUCCEEDED(hr)) {
        hr = factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(created.put()));
        factory->Release();
    }
    if (FAILED(hr)) {
        std::cerr << "tarvolin: cannot create the parser\n";
        if (in && !fromStdin) std::fclose(in);
        return kExitFailure;
    }

    tarvolin::Parser parser(std::move(created));
    int status = kExitAccepted;
    uint64_t bytes = 0;
    {
        CRun run(parser, options, options.file ? (fromStdin ? "<stdin>" : options.file) : nullptr);
        if (in) {
            CScriptReader reader(in, options.lines);
            CProgress progress;
            ScriptStatement statement;
            while (reader.Next(statement)) {
                run.Statement(statement);
                progress.Update(reader.BytesRead());
            }
            progress.Done();
            bytes = reader.BytesRead();
            if (reader.Failed()) {
                std::cout.flush();
                std::cerr << "tarvolin: " << options.file << ": " << std::strerror(reader.Error()) << "\n";
                status = kExitFailure;
            }
            if (!fromStdin) std::fclose(in);
        } else {
            ScriptStatement statement;
            if (options.haveStatement) {
                statement.text = options.statement;
            } else {
                std::ostringstream all;
                all << std::cin.rdbuf();
                statement.text = all.str();
            }
            bytes = statement.text.size();
            run.Statement(statement);
        }
        if (status == kExitAccepted && run.Accepted() < run.Statements()) status = kExitRejected;
        if (options.stats) {
            std::cout.flush();
            const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            std::fprintf(stderr, "tarvolin: %ld statements, %ld accepted, %ld rejected, %llu bytes, %.3f s\n",
                         run.Statements(), run.Accepted(), run.Statements() - run.Accepted(),
                         static_cast<unsigned long long>(bytes), seconds);
        }
    }
    return status;
}
