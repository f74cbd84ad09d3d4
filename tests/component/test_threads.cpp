// Parsers on many threads at once, and objects released on threads other than the one
// that made them, as a free-threaded host would do by mistake. scripts/run-tests.sh also
// builds and runs this test under ThreadSanitizer, which reports any data race between
// the threads; the AddressSanitizer build reports leaks.
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <fstream>
#include <iostream>
#include <mutex>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include "component/classfactory.h"
#include "objectmodel/module.h"
#include "tests/platform/helpers.h"
#include "tools/printer.h"
#include "tools/walker.h"

namespace {

constexpr int kThreads = 8;

void ReadStatements(const std::string& path, std::vector<std::string>& statements) {
    std::ifstream in(path, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.find_first_not_of(" \t") != std::string::npos) statements.push_back(line);
    }
}

// Accepted and rejected statements of every kind: tests/sql, a slice of the benchmark
// corpus when it was generated, and a long one.
const std::vector<std::string>& Corpus() {
    static const std::vector<std::string> corpus = [] {
        std::vector<std::string> statements;
        for (const char* name : {"good", "bad", "select", "expressions", "dml", "json", "reuse", "tree"})
            ReadStatements(std::string(TARVOLIN_SQL_DIR) + "/" + name + ".sql", statements);
        for (const char* name : {"small", "large"})
            ReadStatements(std::string(TARVOLIN_CORPUS_SLICE_DIR) + "/" + name + ".sql", statements);
        std::string chain = "SELECT a FROM t WHERE a = 0";
        for (int i = 1; i < 2000; ++i)
            chain += " OR a = " + std::to_string(i);
        statements.push_back(chain);
        return statements;
    }();
    return corpus;
}

IParser* NewParser() {
    IClassFactory* factory = nullptr;
    IParser* parser = nullptr;
    if (DllGetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)) != S_OK)
        return nullptr;
    factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&parser));
    factory->Release();
    return parser;
}

// What a host sees of one statement: the printed object model, or the failure code and
// the error description of the calling thread's error information.
std::string Result(IParser* parser, const std::string& statement) {
    const HRESULT hr = platformtest::ParseText(parser, statement);
    if (hr == S_OK) return PrintStatement(parser, false);
    char code[32];
    std::snprintf(code, sizeof code, "0x%08lX ", static_cast<unsigned long>(hr));
    return code + platformtest::TakeError();
}

// The results of the whole corpus with one parser, starting at statement first and going
// round, so that each thread's parser passes through its states in another order.
std::vector<std::string> ParseAll(size_t first) {
    const auto& corpus = Corpus();
    std::vector<std::string> results(corpus.size());
    IParser* parser = NewParser();
    if (!parser) return results;
    for (size_t n = 0; n < corpus.size(); ++n) {
        const size_t i = (first + n) % corpus.size();
        results[i] = Result(parser, corpus[i]);
    }
    parser->Release();
    return results;
}

// Bytes that no scanner rule covers are echoed to standard output; the tests send them
// nowhere, for readable output.
class Threads : public ::testing::Test {
  protected:
    void SetUp() override { m_pOut = std::cout.rdbuf(&m_Discard); }
    void TearDown() override { std::cout.rdbuf(m_pOut); }

  private:
    struct Discard : std::streambuf {
        int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    } m_Discard;
    std::streambuf* m_pOut = nullptr;
};

TEST_F(Threads, EightParsersAtOnceSeeWhatOneThreadSees) {
    const std::vector<std::string> expected = ParseAll(0);
    ASSERT_GT(expected.size(), 200u);
    std::vector<std::vector<std::string>> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&results, t] { results[t] = ParseAll(static_cast<size_t>(t) * 41); });
    for (auto& thread : threads)
        thread.join();
    for (int t = 0; t < kThreads; ++t) {
        for (size_t i = 0; i < expected.size(); ++i) {
            if (results[t][i] != expected[i]) {
                ADD_FAILURE() << "thread " << t << ", statement " << i << ": " << Corpus()[i] << "\n  got:\n"
                              << results[t][i] << "\n  single-threaded:\n"
                              << expected[i];
                break;
            }
        }
    }
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

// Batches of objects passed from the threads that make them to the threads that release
// them. Reference counts are plain counters (the objects are apartment-threaded), so all
// objects of one parse travel together and one thread releases them.
using Batch = std::vector<IUnknown*>;

class Handoff {
  public:
    explicit Handoff(int producers) : m_nProducers(producers) {}
    void Put(Batch batch) {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Batches.push_back(std::move(batch));
        m_Ready.notify_one();
    }
    void ProducerDone() {
        std::lock_guard<std::mutex> lock(m_Mutex);
        --m_nProducers;
        m_Ready.notify_all();
    }
    // The next batch; false when every producer is done and nothing is left.
    bool Take(Batch& batch) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Ready.wait(lock, [this] { return !m_Batches.empty() || m_nProducers == 0; });
        if (m_Batches.empty()) return false;
        batch = std::move(m_Batches.front());
        m_Batches.pop_front();
        return true;
    }

  private:
    std::mutex m_Mutex;
    std::condition_variable m_Ready;
    std::deque<Batch> m_Batches;
    int m_nProducers;
};

// One reference to every object of the walked model: the parser, statements, stacks, items.
class CollectEveryObject : public CModelVisitor {
  public:
    void BeginObject(const char*, IDispatch* object) override {
        object->AddRef();
        batch.push_back(object);
    }
    void EndObject() override {}
    void BeginList(const char*, long) override {}
    void EndList() override {}
    void Text(const char*, const std::string&) override {}
    void Number(const char*, double) override {}
    void Enumeration(const char*, long, const char*) override {}

    Batch batch;
};

TEST_F(Threads, ObjectsMadeOnOneThreadAreReleasedOnAnother) {
    const size_t producers = kThreads / 2, consumers = kThreads / 2;
    Handoff handoff(producers);
    Batch kept; // made on a producer thread, released here at the end
    std::vector<std::thread> threads;
    for (size_t t = 0; t < producers; ++t) {
        threads.emplace_back([&handoff, &kept, t] {
            const auto& corpus = Corpus();
            for (size_t i = t; i < corpus.size(); i += producers) {
                IParser* parser = NewParser();
                if (!parser) break;
                Result(parser, corpus[i]);
                CollectEveryObject collect;
                WalkStatement(parser, collect);
                parser->Release(); // the batch holds the parser too, as its first object
                if (i == 0)
                    kept = std::move(collect.batch);
                else
                    handoff.Put(std::move(collect.batch));
            }
            handoff.ProducerDone();
        });
    }
    std::vector<size_t> released(consumers);
    for (size_t t = 0; t < consumers; ++t) {
        threads.emplace_back([&handoff, &released, t] {
            // Every other batch in reverse order: the parser first, so that the last
            // references go one by one, or the parser last, which then destroys them all.
            bool forward = t % 2 == 0;
            for (Batch batch; handoff.Take(batch); forward = !forward) {
                for (size_t n = 0; n < batch.size(); ++n)
                    batch[forward ? n : batch.size() - 1 - n]->Release();
                released[t] += batch.size();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    size_t total = 0;
    for (size_t n : released)
        total += n;
    EXPECT_GT(total, 10 * Corpus().size());
    ASSERT_FALSE(kept.empty());
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    for (IUnknown* object : kept)
        object->Release();
    EXPECT_EQ(CModule::LiveObjects(), 0);
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

} // namespace
