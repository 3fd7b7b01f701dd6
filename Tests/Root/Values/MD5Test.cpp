#include <Kestrel/Root/Values/MD5.h>

#include "Tests/Support/Hex.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

std::string ToHex(MD5::FingerPrint const & digest) {
    return Tests::ToHex(std::string(std::begin(digest.bytes), std::end(digest.bytes)));
}

std::string DigestOf(std::string const & text) {
    MD5::Generator generator;
    MD5::FingerPrint digest;
    generator.Update(text.data(), static_cast<unsigned int>(text.size()));
    generator.Finish(digest);
    return ToHex(digest);
}

TEST(MD5, GivesThePublishedDigests) {
    EXPECT_EQ(DigestOf(""), "D41D8CD98F00B204E9800998ECF8427E");
    EXPECT_EQ(DigestOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
              "D174AB98D277D9F5A5611C2C9F419D9F");
    // Round the place where the length no longer fits into the last block.
    EXPECT_EQ(DigestOf(std::string(55, 'a')), "EF1772B6DFF9A122358552954AD0DF65");
    EXPECT_EQ(DigestOf(std::string(56, 'a')), "3B0C8AC703F828B04C6C197006D17218");
    EXPECT_EQ(DigestOf(std::string(63, 'a')), "B06521F39153D618550606BE297466D5");
    EXPECT_EQ(DigestOf(std::string(64, 'a')), "014842D480B571495A4A0363793F7367");
    EXPECT_EQ(DigestOf(std::string(1000000, 'a')), "7707D6AE4E027C70EEA2A935C2296F21");
}

// Every length round the ends of a block, in pieces of every kind.
TEST(MD5, DoesNotDependOnTheSplitting) {
    std::mt19937 random(1);
    for (unsigned int length = 0; length < 260; ++length) {
        std::string text(length, 0);
        for (char & c : text)
            c = static_cast<char>(random());
        MD5::Generator generator;
        for (unsigned int at = 0; at < length;) {
            unsigned int const piece = std::min<unsigned int>(length - at, random() % 130);
            generator.Update(text.data() + at, piece);
            at += piece;
        }
        MD5::FingerPrint digest;
        generator.Finish(digest);
        ASSERT_EQ(ToHex(digest), DigestOf(text)) << length;
        generator.Update("abc", 3);
        generator.Finish(digest);
        ASSERT_EQ(ToHex(digest), DigestOf("abc")) << "it began anew";
    }
}

} // namespace
