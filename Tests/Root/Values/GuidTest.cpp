#include <Kestrel/Root/Values/Guid.h>
#include <gtest/gtest.h>

#include <string>

namespace {

Mu::Guid const sample{0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};

TEST(Guid, IsPrintedInItsUsualForm) {
    char text[Mu::Guid::TextSize + 1];
    text[Mu::Guid::TextSize] = '!';
    sample.ConvertToString(text);
    EXPECT_STREQ(text, "00112233-4455-6677-8899-aabbccddeeff");
    EXPECT_EQ(text[Mu::Guid::TextSize], '!');
    EXPECT_EQ(sizeof(Mu::Guid), 16u);
}

} // namespace
