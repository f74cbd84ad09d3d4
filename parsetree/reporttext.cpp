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
    switch (id) {
    case IDS_PARSE_ERROR: return "Parse error";
    case IDS_EXPECTED_TOKENS: return "Expected tokens";
    case IDS_LAST_TOKEN: return "Last token";
    case IDS_LAST_NODE: return "Last node";
    case IDS_PARSE_TRACE: return " ------- Parse trace -------";
    default: return nullptr;
    }
}

void SetReportTextLoader(ReportTextLoader loader) { g_Loader.store(loader ? loader : &LoadDefault); }

void LoadReportText(std::string& target, unsigned id) {
    target.clear();
    g_Loader.load()(target, id);
}
