// Parser throughput over the generated corpus: the scanner alone, CParseTree::Parse (with
// and without the UTF-16 conversion), and ParseSQL end to end with the statement object
// released each time. Counters: statements/s and bytes/s. The statements of the huge
// corpus are also measured one by one (ParseSQLEach/huge/<line>), since each of them
// stresses a different shape: a long OR chain, a long select list, a long IN list, one
// long arithmetic expression, a CASE with many branches.
//
//   bench_parse [--benchmark_filter=...]       corpus from TARVOLIN_CORPUS_DIR or the build tree
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "builder/parser.h"
#include "parsetree/parsetree.h"
#include "scanner/scanner.h"

namespace {

struct Corpus {
    std::vector<std::string> narrow;
    std::vector<BSTR> wide;
    size_t bytes = 0;
};

const Corpus& Load(const char* name) {
    static std::vector<std::pair<std::string, Corpus*>> cache;
    for (auto& c : cache)
        if (c.first == name) return *c.second;
    const char* dir = std::getenv("TARVOLIN_CORPUS_DIR");
    std::string path = std::string(dir ? dir : TARVOLIN_CORPUS_DIR) + "/" + name;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        std::exit(2);
    }
    auto* corpus = new Corpus();
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        std::vector<OLECHAR> wide;
        for (unsigned char c : line) {
            if (c >= 0x80) {
                std::fprintf(stderr, "%s: corpus is not ASCII\n", name);
                std::exit(2);
            }
            wide.push_back(c);
        }
        corpus->wide.push_back(SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size())));
        corpus->bytes += line.size();
        corpus->narrow.push_back(std::move(line));
    }
    cache.emplace_back(name, corpus);
    return *corpus;
}

void Count(benchmark::State& state, const Corpus& corpus) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * corpus.narrow.size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * corpus.bytes));
}

void Fail(const char* what, const std::string& statement, const std::string& error) {
    std::fprintf(stderr, "%s rejected a corpus statement:\n%.200s\n%s\n", what, statement.c_str(), error.c_str());
    std::exit(1);
}

void Scanner(benchmark::State& state, const char* file) {
    const Corpus& corpus = Load(file);
    CParseTree tree;
    for (auto _ : state) {
        for (const std::string& s : corpus.narrow) {
            tree.Reset();
            CSQLScanner scanner(s.data(), s.size(), &tree);
            while (scanner.yylex() > 0) {
            }
        }
    }
    Count(state, corpus);
}

void ParseTree(benchmark::State& state, const char* file) {
    const Corpus& corpus = Load(file);
    CParseTree tree;
    for (auto _ : state) {
        for (size_t i = 0; i < corpus.wide.size(); ++i)
            if (tree.Parse(corpus.wide[i]) != PARSE_ACCEPTED) Fail("Parse", corpus.narrow[i], tree.GetErrorText());
    }
    Count(state, corpus);
}

void ParseTreeNarrow(benchmark::State& state, const char* file) {
    const Corpus& corpus = Load(file);
    CParseTree tree;
    for (auto _ : state) {
        for (const std::string& s : corpus.narrow)
            if (tree.ParseNarrow(s.data(), s.size()) != PARSE_ACCEPTED) Fail("ParseNarrow", s, tree.GetErrorText());
    }
    Count(state, corpus);
}

void ParseSQL(benchmark::State& state, const char* file) {
    const Corpus& corpus = Load(file);
    cParser* parser = nullptr;
    cParser::CreateInstance(&parser);
    parser->AddRef();
    for (auto _ : state) {
        for (size_t i = 0; i < corpus.wide.size(); ++i)
            if (parser->ParseSQL(corpus.wide[i]) != S_OK) Fail("ParseSQL", corpus.narrow[i], parser->Tree().GetErrorText());
    }
    parser->Release();
    Count(state, corpus);
}

// ParseSQL over the statement of the corpus given by the benchmark's argument.
void ParseSQLEach(benchmark::State& state, const char* file) {
    const Corpus& corpus = Load(file);
    const size_t i = static_cast<size_t>(state.range(0));
    if (i >= corpus.wide.size()) {
        state.SkipWithError("no such statement");
        return;
    }
    cParser* parser = nullptr;
    cParser::CreateInstance(&parser);
    parser->AddRef();
    for (auto _ : state)
        if (parser->ParseSQL(corpus.wide[i]) != S_OK) Fail("ParseSQL", corpus.narrow[i], parser->Tree().GetErrorText());
    parser->Release();
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * corpus.narrow[i].size()));
}

BENCHMARK_CAPTURE(Scanner, small, "small.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Scanner, large, "large.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Scanner, huge, "huge.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseTreeNarrow, small, "small.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseTreeNarrow, large, "large.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseTreeNarrow, huge, "huge.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseTree, small, "small.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseTree, large, "large.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseTree, huge, "huge.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseSQL, small, "small.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseSQL, large, "large.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseSQL, huge, "huge.sql")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ParseSQLEach, huge, "huge.sql")->DenseRange(0, 4)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
