// The words of the parse-error report, loaded by string-table id. The parser has a
// compiled-in English table; the component installs a loader that reads its resources.
#pragma once

#include <string>

enum REPORT_TEXT_ID : unsigned {
    IDS_PARSE_ERROR = 101,
    IDS_EXPECTED_TOKENS = 102,
    IDS_LAST_TOKEN = 103,
    IDS_LAST_NODE = 104,
    IDS_PARSE_TRACE = 105,
};

// Replaces target with the text of the entry; a missing entry leaves target empty.
using ReportTextLoader = void (*)(std::string& target, unsigned id);

void SetReportTextLoader(ReportTextLoader loader);
void LoadReportText(std::string& target, unsigned id);
// The compiled-in English entry, or null.
const char* DefaultReportText(unsigned id);
