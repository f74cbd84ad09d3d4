// soak: millions of ParseSQL calls in one process, to show that memory does not creep.
//
//   soak [--calls N] [--warmup N]        defaults: 10,000,000 calls, 200,000 of them warm-up
//
// The statements are drawn at random (a fixed seed) from the benchmark corpus (small.sql and
// large.sql of TARVOLIN_CORPUS_DIR or the build tree); every 16th call parses only the first
// half of its statement, which is mostly rejected with an error report. A parser is
// replaced by a new one every 10,000 calls. The resident set (VmRSS) and its peak (VmHWM)
// are reported after the warm-up, at every tenth of the run and at the end; the exit status
// is 1 when the resident set or its peak grew by 1 MB or more after the warm-up, or when an
// object of the component is still alive at the end.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "component/classfactory.h"
#include "interfaces/interfaces.h"

namespace {

// kB of a line of /proc/self/status ("VmRSS:", "VmHWM:").
long StatusKb(const char* field) {
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.compare(0, std::strlen(field), field) == 0)
            return std::atol(line.c_str() + std::strlen(field));
    return -1;
}

void ReadStatements(const std::string& path, std::vector<BSTR>& statements) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "soak: cannot read %s\n", path.c_str());
        std::exit(2);
    }
    for (std::string line; std::getline(in, line);) {
        if (line.empty()) continue;
        std::basic_string<OLECHAR> wide;
        for (unsigned char c : line)
            wide.push_back(c);
        statements.push_back(SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size())));
        // The first half, as a second statement: mostly rejected.
        statements.push_back(SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size() / 2)));
    }
}

IParser* NewParser() {
    IClassFactory* factory = nullptr;
    IParser* parser = nullptr;
    if (DllGetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)) == S_OK) {
        factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&parser));
        factory->Release();
    }
    if (!parser) {
        std::fprintf(stderr, "soak: cannot create a parser\n");
        std::exit(2);
    }
    return parser;
}

struct Discard : std::streambuf {
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
};

} // namespace

int main(int argc, char** argv) {
    uint64_t calls = 10000000, warmup = 200000;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--calls"))
            calls = std::strtoull(argv[i + 1], nullptr, 10);
        else if (!std::strcmp(argv[i], "--warmup"))
            warmup = std::strtoull(argv[i + 1], nullptr, 10);
        else {
            std::fprintf(stderr, "usage: soak [--calls N] [--warmup N]\n");
            return 2;
        }
    }
    if (warmup >= calls) warmup = calls / 10;
    const char* dir = std::getenv("TARVOLIN_CORPUS_DIR");
    const std::string corpus = dir ? dir : TARVOLIN_CORPUS_DIR;
    std::vector<BSTR> statements;
    ReadStatements(corpus + "/small.sql", statements);
    ReadStatements(corpus + "/large.sql", statements);
    Discard discard;
    std::streambuf* out = std::cout.rdbuf(&discard); // bytes the scanner does not cover are echoed there

    const auto start = std::chrono::steady_clock::now();
    uint64_t state = 0x9E3779B97F4A7C15u, accepted = 0;
    long rssWarm = 0, peakWarm = 0, rssEnd = 0, peakEnd = 0;
    IParser* parser = nullptr;
    for (uint64_t call = 0; call < calls; ++call) {
        if (call % 10000 == 0) {
            if (parser) parser->Release();
            parser = NewParser();
        }
        state = state * 6364136223846793005u + 1442695040888963407u;
        const size_t pick = static_cast<size_t>(state >> 33) % (statements.size() / 2) * 2;
        const BSTR text = statements[pick + (call % 16 == 15 ? 1 : 0)];
        if (parser->ParseSQL(text) == S_OK) ++accepted;
        const uint64_t done = call + 1;
        if (done == warmup || (done > warmup && done % (calls / 10) == 0) || done == calls) {
            const long rss = StatusKb("VmRSS:"), peak = StatusKb("VmHWM:");
            if (done == warmup) rssWarm = rss, peakWarm = peak;
            rssEnd = rss, peakEnd = peak;
            const double seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            std::printf("%11llu calls  %7.1f s  RSS %7ld kB  peak RSS %7ld kB%s\n",
                        static_cast<unsigned long long>(done), seconds, rss, peak,
                        done == warmup ? "  (warm)" : "");
            std::fflush(stdout);
        }
    }
    parser->Release();
    for (BSTR s : statements)
        SysFreeString(s);
    std::cout.rdbuf(out);

    const long growth = rssEnd - rssWarm, peakGrowth = peakEnd - peakWarm;
    std::printf("accepted %llu of %llu; after warm-up: RSS grew by %ld kB, peak RSS by %ld kB\n",
                static_cast<unsigned long long>(accepted), static_cast<unsigned long long>(calls), growth,
                peakGrowth);
    bool ok = growth < 1024 && peakGrowth < 1024;
    if (DllCanUnloadNow() != S_OK) {
        std::printf("objects of the component are still alive\n");
        ok = false;
    }
    std::printf("soak: %s\n", ok ? "passed" : "FAILED");
    return ok ? 0 : 1;
}
