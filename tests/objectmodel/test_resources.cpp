// LoadResourceText over the program's string table (strings.rc).
#include "common.h"

#include "objectmodel/resources.h"

namespace {

TEST(Resources, LoadsEntriesOfEveryLength) {
    std::string text = "unchanged";
    LoadResourceText(text, 101);
    EXPECT_EQ(text, "Parse error");
    LoadResourceText(text, 105);
    EXPECT_EQ(text, " ------- Parse trace -------");
    LoadResourceText(text, 110);
    EXPECT_EQ(text, "say \"hi\"");
    // 300 characters need a second, larger buffer.
    LoadResourceText(text, 200);
    EXPECT_EQ(text, std::string(300, 'x'));
    // 1534 characters fit the last buffer of 1536 with their terminator ...
    LoadResourceText(text, 202);
    EXPECT_EQ(text, std::string(1534, 'z'));
    // ... 1535 fill it and might have been cut, so they are not taken.
    text = "unchanged";
    LoadResourceText(text, 201);
    EXPECT_EQ(text, "unchanged");
}

TEST(Resources, MissingEntriesLeaveTheTarget) {
    std::string text = "unchanged";
    LoadResourceText(text, 103); // a missing entry of an existing block
    EXPECT_EQ(text, "unchanged");
    LoadResourceText(text, 999); // a block that does not exist
    EXPECT_EQ(text, "unchanged");
    LoadResourceText(text, 100); // the first entry of the first block
    EXPECT_EQ(text, "Tarvolin");
}

} // namespace
