#include <Kestrel/Reflection/ReflectionClient.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Reflection/Dialogues.h"
#include "Tests/Support/Reflection/Level.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Location/RelativeLocation.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using IO::Name;
using IO::Reflectable;
using IO::ReflectionClient;
using IO::RelativeLocation;

// One level with names that need care, and a value of each kind.
struct Shown : Tests::Level {
    Shown()
        : Level(
              "client test", {{"name", Attribute::String}, {"real", Attribute::Real}},
              [](Names const &, Names & folders, Names & files) {
                  folders.Push("C:\\a/b");
                  files.Push("100%");
              },
              [](Name const & name, Values & values) {
                  for (Value const & value :
                       {Value(name.ToString()), Value(1.5), Value(false), Value()})
                      values.Push(value);
              }) {}
};

// Asks everything, and returns the first failure. What is asked is checked where all is well.
MuErrCode AskAll(ReflectionClient & client, bool checks) {
    Mu::UniString text;
    unsigned int process = 0;
    RelativeLocation const place("client test");
    Mu::Array<Name> folders;
    Mu::Array<Name> files;
    Mu::Array<Reflectable::Attribute> attributes;
    Mu::Array<Mu::Array<Reflectable::AttributeValue>> values;
    Mu::Array<Name> const names{Name("C:\\a/b"), Name("100%")};
    MuErrCode status = IO::NoError;
    std::function<MuErrCode()> const questions[] = {
        [&] { return client.GetIdent(&text); },
        [&] { return client.GetOS(&text); },
        [&] { return client.GetPid(&process); },
        [&] { return client.GetChildren(place, &folders, &files); },
        [&] { return client.GetAttributes(place, &attributes); },
        [&] { return client.GetAttributeValues(place, names, &values); },
        [&] { return client.GetContent(RelativeLocation(place, names[0]), &text); },
    };
    for (auto const & ask : questions)
        status = status == IO::NoError ? ask() : status;
    if (status != IO::NoError || !checks)
        return status;
    EXPECT_TRUE(folders == Mu::Array<Name>{names[0]});
    EXPECT_TRUE(files == Mu::Array<Name>{names[1]});
    EXPECT_EQ(attributes.GetSize(), 2u);
    EXPECT_EQ(attributes[1].type, Reflectable::Attribute::Real);
    EXPECT_EQ(values.GetSize(), 2u);
    EXPECT_EQ(values[1].GetSize(), 4u);
    EXPECT_EQ(values[1][0].ToString(), "100%");
    EXPECT_EQ(values[1][1].ToString(), "1.5");
    EXPECT_EQ(values[1][3].tag, 7);
    EXPECT_EQ(text, "name: C:\\a/b\r\nreal: 1.5\r\n");
    return status;
}

TEST(ReflectionClient, AsksEverythingOfADialogue) {
    Shown const shown;
    ReflectionClient client;
    EXPECT_EQ(AskAll(client, false), IO::EOI) << "not connected";
    Tests::ConnectTo(client, [](std::string const & request) { return Tests::Serve(request); });
    EXPECT_EQ(AskAll(client, true), IO::NoError);
    Mu::Array<Name> names;
    EXPECT_EQ(client.GetChildren(RelativeLocation(), &names, nullptr), IO::Error);
    EXPECT_EQ(client.GetAttributes(RelativeLocation(), nullptr), IO::Error);
    EXPECT_EQ(client.GetAttributeValues(RelativeLocation(), names, nullptr), IO::Error);
    EXPECT_TRUE(client.IsConnected());
}

// The n-th answer is cut, or some byte of it is another, or there is more.
TEST(ReflectionClient, TakesAnswersCutAndChangedEverywhere) {
    Shown const shown;
    for (unsigned int seed = 1; seed <= 800; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        unsigned int left = random() % 7;
        bool isWhole = true;
        ReflectionClient client;
        Tests::ConnectTo(client, [&](std::string const & request) {
            std::string answer = Tests::Serve(request);
            if (left-- != 0 || answer.empty())
                return answer;
            std::size_t const at = random() % answer.size();
            switch (random() % 3) {
            case 0: answer.resize(at); break;
            case 1: answer[at] = static_cast<char>(random()); break;
            default: answer.insert(at, 1, static_cast<char>(random()));
            }
            isWhole = false;
            return answer;
        });
        MuErrCode const status = AskAll(client, false);
        EXPECT_TRUE(status == IO::NoError || !isWhole);
        EXPECT_TRUE(status == IO::NoError || status == IO::EOI || status == IO::Error);
        EXPECT_EQ(client.IsConnected(), status == IO::NoError);
    }
}

TEST(ReflectionClient, BelievesNoLength) {
    struct Row {
        std::string answer;
        MuErrCode status;
    };
    for (Row const & row : {Row{std::string("\xff\xff\xff\x03", 4), IO::EOI},
                            Row{std::string("\xff\xff\xff\x7f", 4), IO::Error},
                            Row{std::string("\x08\0\0\0\xff\xff\xff\x7f\0\0\0\0", 12), IO::Error},
                            Row{std::string("\x09\0\0\0\0\0\0\0\0\0\0\0\0", 13), IO::Error}}) {
        ReflectionClient client;
        Tests::ConnectTo(client, [&](std::string const &) { return row.answer; });
        Mu::Array<Name> folders;
        Mu::Array<Name> files;
        EXPECT_EQ(client.GetChildren(RelativeLocation(), &folders, &files), row.status);
    }
}

TEST(ReflectionClient, MeetsEveryFailedAllocation) {
    Shown const shown;
    Tests::LogCapture const log;
    SweepAllocations([](bool failed) {
        ReflectionClient client;
        Tests::ConnectTo(client, [](std::string const & request) { return Tests::Serve(request); });
        MuErrCode const status = AskAll(client, !failed);
        EXPECT_TRUE(status == IO::NoError || failed);
    });
}

} // namespace
