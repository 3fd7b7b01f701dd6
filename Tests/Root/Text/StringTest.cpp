#include <Kestrel/Root/Text/String.h>

#include <Kestrel/Root/Errors/Exceptions.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

using Mu::String;

TEST(String, IsMadeComparedAndPrinted) {
    unsigned long long const before = Tests::CountAllocations();
    String const empty;
    String const copy(empty);
    EXPECT_TRUE(copy == "" && String(static_cast<char const *>(nullptr)) == copy);
    EXPECT_EQ(Tests::CountAllocations(), before);
    EXPECT_TRUE(String("GetInfo") == "GetInfo" && String("a") != "b" && String("a") != "ab");
    EXPECT_FALSE(empty == static_cast<char const *>(nullptr));
    EXPECT_TRUE(String("a") < String("\xC3") && String("a") < String("ab"));
    EXPECT_FALSE(String("a\0b", 3) == String("a\0c", 3));
    EXPECT_EQ(std::hash<String>()(String("ab")), String("ab").GenerateHashValue());
    EXPECT_NE(String("ab").GenerateHashValue(), String("ba").GenerateHashValue());
    std::ostringstream stream;
    stream << String("a\xC3\xA4");
    EXPECT_EQ(stream.str(), "a\xC3\xA4");
}

TEST(String, RefusesMoreThanItCanHold) {
    String text("abc");
    EXPECT_THROW(text.SetLength(0xFFFFFFFF), Mu::OutOfMemoryException);
    EXPECT_THROW(text.Append("x", 0xFFFFFFFF), Mu::OutOfMemoryException);
    EXPECT_TRUE(text == "abc");
}

TEST(String, IsAStandardString) {
    for (unsigned int seed = 1; seed <= 50; ++seed) {
        std::mt19937 random(seed);
        String text;
        std::string model;
        for (int step = 0; step < 200; ++step) {
            unsigned int const place = random() % (text.GetLength() + 1);
            try {
                Tests::Shortage const shortage(random() % 10 == 0 ? 1 : 0);
                switch (random() % 5) {
                case 0:
                    text.Append("abc", random() % 4);
                    model.append("abc", text.GetLength() - model.size());
                    break;
                case 1: // a part of itself
                    text.Append(text.ToCStr() + place);
                    model += std::string(model.c_str() + place);
                    break;
                case 2:
                    text.SetLength(2 * place);
                    model.resize(2 * place);
                    break;
                case 3:
                    text.Assign(text.ToCStr() + place, text.GetLength() - place);
                    model = model.substr(place);
                    break;
                default: text.SetCapacity(place);
                }
            } catch (Mu::OutOfMemoryException const &) { // it is as it was
            }
            if (model.size() > 300) {
                text.SetLength(5);
                model.resize(5);
            }
            ASSERT_EQ(std::string(text.begin(), text.end()), model) << seed;
            ASSERT_EQ(text.ToCStr()[text.GetLength()], 0);
        }
    }
}
