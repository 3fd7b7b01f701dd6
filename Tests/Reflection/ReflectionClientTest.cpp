#include <Kestrel/Reflection/ReflectionClient.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Reflection/Dialogues.h"
#include "Tests/Support/Reflection/Level.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/Threads/Process.h>

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
              "client test",
              {{"name", Attribute::String},
               {"real", Attribute::Real},
               {"", Attribute::Integer},
               {"", Attribute::UnsignedInteger},
               {"", Attribute::Boolean},
               {"", Attribute::Pointer},
               {"", Attribute::Undefined}},
              [](Names const &, Names & folders, Names & files) {
                  folders.Push("C:\\a/b");
                  files.Push("100%");
              },
              [](Name const & name, Values & values) {
                  for (Value const & value :
                       {Value(name.ToString()), Value(1.5), Value(-2), Value(258u), Value(true),
                        Value(reinterpret_cast<void *>(0x10)), Value()})
                      values.Push(value);
              }) {}
};

// Asks everything, and returns the first failure. What is asked is checked where all is well.
MuErrCode AskAll(ReflectionClient & client, bool checks) {
    Mu::UniString ident;
    Mu::UniString sign;
    unsigned int process = 0;
    RelativeLocation const place("client test");
    Mu::Array<Name> folders;
    Mu::Array<Name> files;
    Mu::Array<Reflectable::Attribute> attributes;
    Mu::Array<Mu::Array<Reflectable::AttributeValue>> values;
    Mu::Array<Name> const names{Name("C:\\a/b"), Name("100%")};
    Mu::UniString text;
    MuErrCode status = IO::NoError;
    std::function<MuErrCode()> const questions[] = {
        [&] { return client.GetIdent(&ident); },
        [&] { return client.GetOS(&sign); },
        [&] { return client.GetPid(&process); },
        [&] { return client.GetChildren(place, &folders, &files); },
        [&] { return client.GetAttributes(place, &attributes); },
        [&] { return client.GetAttributeValues(place, names, &values); },
        [&] { return client.GetContent(RelativeLocation(place, names[0]), &text); },
    };
    unsigned int answered = 0;
    while (answered < 7 && (status = questions[answered]()) == IO::NoError)
        ++answered;
    bool const isEmpty[] = {
        ident.IsEmpty(),      sign.IsEmpty(),   process == 0,  folders.IsEmpty() && files.IsEmpty(),
        attributes.IsEmpty(), values.IsEmpty(), text.IsEmpty()};
    for (unsigned int i = answered; i < 7; ++i)
        EXPECT_TRUE(isEmpty[i]) << i << " failed or was not asked";
    if (status != IO::NoError || !checks)
        return status;
    EXPECT_EQ(ident, "test");
    EXPECT_EQ(sign, "WIN");
    EXPECT_EQ(process, Mu::Process::GetCurrentProcessId());
    EXPECT_TRUE(folders == Mu::Array<Name>{names[0]});
    EXPECT_TRUE(files == Mu::Array<Name>{names[1]});
    std::string types;
    for (Reflectable::Attribute const & attribute : attributes)
        types += std::string(attribute.GetTypeString()) + " ";
    EXPECT_EQ(types, "String Real Integer UnsignedInteger Boolean Pointer  ");
    EXPECT_EQ(values.GetSize(), 2u);
    EXPECT_EQ(Tests::ToTexts(values[1]),
              (Tests::Texts{"100%", "1.5", "-2", "258", "true", "0x0000000000000010", ""}));
    EXPECT_EQ(text, "name: C:\\a/b\r\nreal: 1.5\r\n:     -2\r\n:     258\r\n:     true\r\n"
                    ":     0x0000000000000010\r\n:     \r\n");
    return status;
}

TEST(ReflectionClient, AsksEverythingOfADialogue) {
    Shown const shown;
    ReflectionClient client;
    std::string asked;
    EXPECT_EQ(AskAll(client, false), IO::EOI) << "not connected";
    Tests::ConnectTo(client, [&](std::string const & request) {
        asked = request;
        return Tests::Serve(request);
    });
    EXPECT_EQ(AskAll(client, true), IO::NoError);
    RelativeLocation const top;
    auto const & none = Tests::NullReference<RelativeLocation const>();
    Mu::Array<Name> names;
    Mu::UniString text;
    for (MuErrCode const status :
         {client.GetIdent(nullptr), client.GetOS(nullptr), client.GetPid(nullptr),
          client.GetChildren(top, &names, nullptr), client.GetChildren(top, nullptr, &names),
          client.GetAttributes(top, nullptr), client.GetAttributeValues(top, names, nullptr),
          client.GetContent(top, nullptr), client.GetContent(none, &text),
          client.GetContent(Tests::MakeInvalidRelative(), &text)})
        EXPECT_EQ(status, IO::Error);
    EXPECT_TRUE(client.IsConnected());
    client.Disconnect();
    EXPECT_EQ(asked, "\x0a"
                     "Disconnect");
    EXPECT_FALSE(client.IsConnected());
    EXPECT_EQ(client.Connect(nullptr, 1), IO::Error);
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
        unsigned int limit = ReflectionClient::DefaultAnswerLimit;
    };
    std::string const empty("\x08\0\0\0\0\0\0\0\0\0\0\0", 12);
    for (Row const & row : {Row{std::string("\xff\xff\xff\x03", 4), IO::EOI},
                            Row{std::string("\xff\xff\xff\x7f", 4), IO::Error},
                            Row{std::string("\x08\0\0\0\xff\xff\xff\x7f\0\0\0\0", 12), IO::Error},
                            Row{std::string("\x09\0\0\0\0\0\0\0\0\0\0\0\0", 13), IO::Error},
                            Row{empty, IO::NoError, 8}, Row{empty, IO::Error, 7}}) {
        ReflectionClient client;
        client.SetAnswerLimit(row.limit);
        Tests::ConnectTo(client, [&](std::string const &) { return row.answer; });
        Mu::Array<Name> folders;
        Mu::Array<Name> files;
        EXPECT_EQ(client.GetChildren(RelativeLocation(), &folders, &files), row.status);
    }
}

TEST(ReflectionClient, MeetsEveryFailedAllocation) {
    Tests::LogCapture const log;
    SweepAllocations([](bool failed) {
        Shown const shown;
        Shown copy(shown);
        copy = shown;
        ReflectionClient client;
        Tests::ConnectTo(client, [](std::string const & request) { return Tests::Serve(request); });
        MuErrCode const status = AskAll(client, !failed);
        EXPECT_TRUE(status == IO::NoError || failed);
    });
}

} // namespace
