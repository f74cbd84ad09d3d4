// LoadResourceText over the program's string table (strings.rc).
#include "common.h"

#include "objectmodel/resources.h"

namespace {

TEST(Resources, LoadsWholeEntriesOnly) {
    const struct {
        unsigned id;
        std::string text;
    } rows[] = {{101, "Parse error"},
                {105, " ------- Parse trace -------"},
                {110, "say \"hi\""},
                {200, std::string(300, 'x')},   // needs a second, larger buffer
                {202, std::string(1534, 'z')},  // fits the last buffer with its terminator
                {201, "unchanged"},             // fills it and might have been cut
                {103, "unchanged"},             // a missing entry of an existing block
                {999, "unchanged"},             // a block that does not exist
                {100, "Tarvolin"}};             // the first entry of the first block
    for (const auto& r : rows) {
        std::string text = "unchanged";
        LoadResourceText(text, r.id);
        EXPECT_EQ(text, r.text) << r.id;
    }
}

} // namespace
