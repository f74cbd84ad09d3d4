#include "parsetree/reporttext.h"

#include <atomic>

namespace {

void LoadDefault(std::string& target, unsigned id) {
    const char* text = DefaultReportText(id);
    target = text ? text : "";
}

std::atomic<ReportTextLoader> g_Loader{&LoadDefault};

} // namespace

const char* DefaultReportText(unsigned id) {
    // The English words, indexed by id - IDS_PARSE_ERROR.
    static const char* const kTexts[] = {
        "Parse error",                 // IDS_PARSE_ERROR
        "Expected tokens",             // IDS_EXPECTED_TOKENS
        "Last token",                  // IDS_LAST_TOKEN
        "Last node",                   // IDS_LAST_NODE
        " ------- Parse trace -------", // IDS_PARSE_TRACE
    };
    static_assert(sizeof kTexts / sizeof kTexts[0] == IDS_PARSE_TRACE - IDS_PARSE_ERROR + 1,
                  "one text per report id");
    const unsigned index = id - IDS_PARSE_ERROR; // ids below the first wrap around to large values
    return index < sizeof kTexts / sizeof kTexts[0] ? kTexts[index] : nullptr;
}

void SetReportTextLoader(ReportTextLoader loader) { g_Loader.store(loader ? loader : &LoadDefault); }

void LoadReportText(std::string& target, unsigned id) {
    target.clear();
    g_Loader.load()(target, id);
}
