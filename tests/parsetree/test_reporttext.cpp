// The compiled-in words of the error report, read by string-table id.
#include <gtest/gtest.h>

#include <string>

#include "parsetree/reporttext.h"

namespace {

TEST(ReportText, EveryIdHasItsWordsAndNoOtherIdHasAny) {
    const struct {
        unsigned id;
        const char* text;
    } kWords[] = {
        {IDS_PARSE_ERROR, "Parse error"},
        {IDS_EXPECTED_TOKENS, "Expected tokens"},
        {IDS_LAST_TOKEN, "Last token"},
        {IDS_LAST_NODE, "Last node"},
        {IDS_PARSE_TRACE, " ------- Parse trace -------"},
    };
    for (const auto& word : kWords) {
        ASSERT_NE(DefaultReportText(word.id), nullptr) << word.id;
        EXPECT_STREQ(DefaultReportText(word.id), word.text) << word.id;
    }
    // Just outside the range, and ids that wrap around when the first id is subtracted.
    for (unsigned id : {0u, 1u, 100u, 106u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        EXPECT_EQ(DefaultReportText(id), nullptr) << id;
}

TEST(ReportText, TheDefaultLoaderEmptiesTheTargetForAMissingId) {
    SetReportTextLoader(nullptr);
    std::string text = "stale";
    LoadReportText(text, IDS_LAST_NODE);
    EXPECT_EQ(text, "Last node");
    LoadReportText(text, 106);
    EXPECT_EQ(text, "");
}

} // namespace
