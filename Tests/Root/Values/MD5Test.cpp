#include <Kestrel/Root/Values/MD5.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

std::string ToHex(MD5::FingerPrint const & digest) {
    std::string hex;
    for (unsigned char byte : digest.bytes) {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}

std::string DigestOf(std::string const & text) {
    MD5::Generator generator;
    MD5::FingerPrint digest;
    generator.Update(text.data(), static_cast<unsigned int>(text.size()));
    generator.Finish(digest);
    return ToHex(digest);
}

TEST(MD5, GivesThePublishedDigests) {
    EXPECT_EQ(DigestOf(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(DigestOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
              "d174ab98d277d9f5a5611c2c9f419d9f");
    // Round the place where the length no longer fits into the last block.
    EXPECT_EQ(DigestOf(std::string(55, 'a')), "ef1772b6dff9a122358552954ad0df65");
    EXPECT_EQ(DigestOf(std::string(56, 'a')), "3b0c8ac703f828b04c6c197006d17218");
    EXPECT_EQ(DigestOf(std::string(63, 'a')), "b06521f39153d618550606be297466d5");
    EXPECT_EQ(DigestOf(std::string(64, 'a')), "014842d480b571495a4a0363793f7367");
    EXPECT_EQ(DigestOf(std::string(1000000, 'a')), "7707d6ae4e027c70eea2a935c2296f21");
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
