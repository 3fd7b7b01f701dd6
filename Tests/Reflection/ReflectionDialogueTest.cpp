#include <Kestrel/Reflection/Internal/ReflectionDialogue.h>

#include "Tests/Support/Hex.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Reflection/Dialogues.h"
#include "Tests/Support/Reflection/Level.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionStreams.h>
#include <Kestrel/Root/Threads/Process.h>
#include <Kestrel/Root/Threads/Thread.h>

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using IO::Name;
using IO::Reflectable;
using IO::RelativeLocation;
using Tests::FromHex;
using Tests::Serve;

// A thing "a" with a value of each kind.
struct Values : Tests::Level {
    Values()
        : Level(
              "dt/v", {{"i", Attribute::Integer}, {"p", Attribute::Pointer}},
              [](Names const &, Names & folders, Names & files) {
                  folders.Push("D");
                  files.Push("a");
                  files.Push("throws");
              },
              [](Name const & name, Level::Values & values) {
                  if (name == "throws")
                      throw std::runtime_error("from a hook");
                  if (name == "a")
                      for (Value const & value :
                           {Value(-2), Value(258u), Value(0.5), Value(true), Value("t"),
                            Value(reinterpret_cast<void *>(0x10)), Value()})
                          values.Push(value);
              }) {}
};

// Registered as what it is made of, with values that only it knows.
struct OwnValues : Values {
    bool GetAttributeValues(RelativeLocation const & location,
                            Mu::Array<AttributeValue> * values) const override {
        values->Push(location.GetLength());
        return true;
    }
};

struct Row {
    char const * what;
    std::string request;
    std::string answer;
};

// "Get children" and so on stand as text, what follows by hand.
std::vector<Row> MakeRows() {
    std::string const children = FromHex("0c") + "Get children";
    std::string const attributes = FromHex("0e") + "Get attributes";
    std::string const values = FromHex("14") + "Get attribute values";
    std::string const content = FromHex("0b") + "Get content";
    std::string const at = FromHex("04") + "dt/v";
    return {
        {"its name", FromHex("05") + "Ident", FromHex("04") + "test"},
        {"its name, asked with a long length", FromHex("ff 05000000") + "Ident",
         FromHex("04") + "test"},
        {"its system", FromHex("05") + "GetOS", FromHex("03") + "WIN"},
        {"the first level", children + FromHex("03000000 02") + "dt",
         FromHex("0a000000 01000000 01") + "v" + FromHex("00000000")},
        {"nothing there", children + FromHex("03000000 02") + "no",
         FromHex("08000000 00000000 00000000")},
        {"an object's level", children + FromHex("05000000") + at,
         FromHex("13000000 01000000 01") + "D" + FromHex("02000000 01") + "a" + FromHex("06") +
             "throws"},
        {"below what is not listed", children + FromHex("07000000 06") + "dt/v/x",
         FromHex("08000000 00000000 00000000")},
        {"columns", attributes + FromHex("05000000") + at,
         FromHex("18000000 02000000 01") + "i" + FromHex("07") + "Integer" + FromHex("01") + "p" +
             FromHex("07") + "Pointer"},
        {"values of two names, of which one is none",
         values + FromHex("0d000000") + at + FromHex("02000000 01") + "a" + FromHex("01") + "x",
         FromHex("32000000 07000000 01 feffffffffffffff 02 0201000000000000 "
                 "03 000000000000e03f 04 01 05 01") +
             "t" + FromHex("06 1000000000000000 07 00000000")},
        {"no names", values + FromHex("09000000") + at + FromHex("00000000"), FromHex("00000000")},
        {"an empty name", values + FromHex("0a000000") + at + FromHex("01000000 00"),
         FromHex("04000000 00000000")},
        {"more names than there are",
         values + FromHex("0b000000") + at + FromHex("02000000 01") + "a", FromHex("00000000")},
        {"the text of a thing", content + FromHex("07000000 06") + "dt/v/a",
         FromHex("10000000 0f") + "i: -2\r\np: 258\r\n"},
        {"the text of an object", content + FromHex("05000000") + at,
         FromHex("19000000 18") + "No content is available."},
        {"the text of nothing", content + FromHex("04000000 03") + "d/e",
         FromHex("19000000 18") + "No content is available."},
        {"a location that the body cuts", children + FromHex("02000000 04") + "d",
         FromHex("00000000")},
        {"no location at all", content + FromHex("00000000"), FromHex("00000000")},
        {"a location that is none", content + FromHex("05000000 04") + "a//b", FromHex("00000000")},
    };
}

TEST(ReflectionDialogue, AnswersByteForByte) {
    Tests::LogCapture const log; // a refused location is reported
    Values const values;
    std::string all;
    std::string answers;
    for (Row const & row : MakeRows()) {
        unsigned int const size = static_cast<unsigned int>(row.answer.size());
        EXPECT_EQ(Serve(row.request, 1000, size), row.answer) << row.what;
        EXPECT_EQ(Serve(row.request, 1000, size - 1), "") << row.what << ", which is too long";
        // The limit holds for the name of the request and for its body.
        std::size_t const name = row.request[0] == '\xff' ? 5 : row.request[0];
        std::size_t const head = name + (row.request[0] == '\xff' ? 5 : 1) + 4;
        std::size_t const body = std::max(row.request.size(), head) - head;
        unsigned int const limit = static_cast<unsigned int>(std::max(name, body));
        EXPECT_EQ(Serve(row.request, limit), row.answer) << row.what;
        EXPECT_EQ(Serve(row.request, limit - 1), "") << row.what;
        for (std::size_t cut = 0; cut < body; ++cut) {
            std::string request = row.request.substr(0, head + cut);
            request[head - 4] = static_cast<char>(cut);
            EXPECT_EQ(Serve(request), FromHex("00000000")) << row.what << ", with a body cut";
        }
        all += row.request;
        answers += row.answer;
    }
    EXPECT_EQ(Serve(all), answers) << "one after the other";
    std::string const process = Serve(FromHex("06") + "GetPid");
    unsigned int number = 0;
    std::copy_n(process.begin(), 4, reinterpret_cast<char *>(&number));
    EXPECT_EQ(number, Mu::Process::GetCurrentProcessId());
    std::string const ident = FromHex("05") + "Ident";
    EXPECT_EQ(Serve(FromHex("0a") + "Disconnect" + ident), "");
    EXPECT_EQ(Serve(FromHex("04") + "Stop" + FromHex("00000000") + ident), "");
    EXPECT_EQ(Serve(FromHex("04") + "Sing" + FromHex("00000000") + ident), "");
    EXPECT_EQ(Serve(FromHex("04") + "Stop" + FromHex("00001000") + ident), "") << "its body first";
    EXPECT_EQ(Serve(FromHex("0b") + "Get content" + FromHex("00ffffff") + "x"), "") << "too long";
    EXPECT_EQ(Serve(FromHex("14") + "Get attribute values" + FromHex("10000000 04") + "dt/v" +
                    FromHex("01000000 06") + "throws" + ident),
              "")
        << "a hook's exception ends it";
}

TEST(ReflectionDialogue, FindsNothingAtALocationThatTakesTooLong) {
    OwnValues const values;
    std::string location = "dt/v";
    for (unsigned int names = 2; names <= 2049; ++names, (location += "/\\"[names % 2]) += "a") {
        if (names < 2048)
            continue;
        auto const ask = [&location](char const * request, std::string const & rest) {
            Tests::TextOutput text;
            IO::Write(text, U(request));
            IO::Write(text, static_cast<unsigned int>(location.size() + 5 + rest.size()));
            IO::Write(text, U(location));
            return Serve(text.bytes + rest);
        };
        bool const isFound = names == 2048;
        EXPECT_EQ(ask("Get attribute values", FromHex("01000000 01") + "a"),
                  FromHex(isFound ? "0d000000 01000000 02 ff07000000000000" : "04000000 00000000"));
        EXPECT_EQ(ask("Get children", ""), FromHex("08000000 00000000 00000000"));
        EXPECT_EQ(ask("Get attributes", ""), FromHex("04000000 00000000"));
        EXPECT_EQ(ask("Get content", ""),
                  FromHex("20000000 1f") + "Error in the GetContent method!");
    }
}

TEST(ReflectionDialogue, EndsInTheMiddleOfManyValuesWithItsThread) {
    unsigned int asked = 0;
    Tests::Level const slow(
        "dt/v", {}, [](auto const &, auto &, auto &) {},
        [&](auto const &, auto &) {
            ++asked;
            Mu::Thread::GetCurrent().Cancel();
        });
    std::thread([] { EXPECT_EQ(Serve(MakeRows()[8].request), ""); }).join();
    EXPECT_EQ(asked, 1u);
}

// Whatever comes, each answer is whole, and nothing but an end of the connection happens.
TEST(ReflectionDialogue, TakesRequestsCutAndChangedEverywhere) {
    Tests::LogCapture const log;
    Values const values;
    std::mt19937 random(11);
    for (Row const & row : MakeRows()) {
        for (std::size_t cut = 0; cut < row.request.size(); ++cut)
            EXPECT_EQ(Serve(row.request.substr(0, cut)), "") << row.what << ", cut at " << cut;
        for (std::size_t at = 0; at < row.request.size(); ++at)
            for (int change = 0; change < 4; ++change) {
                std::string changed = row.request + "more";
                changed[at] = static_cast<char>(random());
                static_cast<void>(Serve(changed, 1000));
                changed.insert(at, 1, '\xff');
                static_cast<void>(Serve(changed, 1000));
            }
    }
}

TEST(ReflectionStreams, ChooseTheFormByTheLength) {
    for (unsigned int length : {0u, 1u, 254u, 255u, 256u, 257u, 100000u}) {
        std::string const text(length, 'x');
        Tests::TextOutput output;
        IO::Write(output, U(text));
        std::string head =
            length < 255 ? std::string(1, static_cast<char>(length)) : "\xff" + std::string(4, 0);
        for (unsigned int i = 0; length >= 255 && i < 4; ++i)
            head[1 + i] = static_cast<char>(length >> 8 * i);
        EXPECT_TRUE(output.bytes == head + text) << length;
        Tests::TextInput input;
        input.bytes = output.bytes;
        input.most = 1000;
        Mu::UniString read("old");
        IO::Read(input, &read);
        EXPECT_TRUE(read == U(text)) << length;
    }
    for (unsigned int length = 1; length < 10; ++length)
        for (char16_t const unit : {u'\x7f', u'\x80', u'\xe4', u'\x100', u'\x4e00'})
            for (unsigned int at = 0; at < length; ++at) {
                std::u16string text(length, u'x');
                text[at] = unit;
                Mu::UniString const wide{std::u16string_view(text)};
                Tests::TextOutput narrow;
                IO::Write(narrow, wide);
                std::string bytes = wide.ToCStr().GetText();
                bytes.resize(length);
                EXPECT_EQ(narrow.bytes, static_cast<char>(length) + bytes) << "a byte for a unit";
            }
}

} // namespace
