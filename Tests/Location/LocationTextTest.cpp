#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Log/LogLine.h>

#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"
#include "Tests/Support/LogCapture.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Tests;
using IO::Location;

TEST(LocationText, LogsWhatCannotBeUnderstood) {
    TestResolver const resolver;
    LogCapture log;
    IO::AddOSError("Call: 5");
    Location location;
    EXPECT_EQ(location.Set("X"), IO::ErrIllegalLocation);
    EXPECT_STREQ(IO::GetOSErrors(), "") << "they belonged to this line";
    EXPECT_EQ(location.Set(u"Bad\u00e4://x"), IO::ErrIllegalLocation);
    IO::RelativeLocation relative;
    EXPECT_EQ(relative.Set("rel:x"), IO::ErrIllegalRelativeLocation);
    char const * const expected[] = {
        "Resolvation of the target path \"X\" has failed (OS errors: Call: 5)",
        "Resolvation of the target path \"Bad\xC3\xA4://x\" has failed (OS errors: )",
        "Resolvation of the target path \"rel:x\" has failed (OS errors: )",
    };
    std::vector<LogCapture::Line> const lines = log.GetLines();
    ASSERT_EQ(lines.size(), std::size(expected));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].text, expected[i]);
        EXPECT_EQ(lines[i].severity, Mu::LogSeverity::Error);
        EXPECT_EQ(lines[i].domain, "IO");
    }
}

TEST(LocationText, IsRefusedWithoutResolver) {
    Mu::UniString text("left over");
    EXPECT_EQ(Location("C:\\a").GetStatus(), IO::ErrIllegalLocation);
    EXPECT_EQ(IO::RelativeLocation("a").GetStatus(), IO::ErrIllegalRelativeLocation);
    EXPECT_EQ(Location().ToPath(&text), IO::Error);
    Location().ToLogText(&text);
    EXPECT_EQ(text, "");
}

template <typename T>
static void ExpectAFailureIsForgotten(T invalid, MuErrCode refusal, char const * good) {
    T location("X");
    EXPECT_EQ(location.GetStatus(), refusal);
    EXPECT_TRUE(location.IsLegal()) << "the validator has nothing against no names";
    EXPECT_FALSE(location.IsMultiplatform());
    EXPECT_EQ(location.Set(good), IO::NoError);
    EXPECT_TRUE(location.IsValid());
    EXPECT_EQ(location.Set("X"), refusal);
    EXPECT_EQ(location.GetStatus(), IO::NoError) << "only constructors keep it";
    for (MuErrCode const status : {location.Set(NullReference<Mu::UniString const>()),
                                   location.Set(static_cast<char const *>(nullptr)),
                                   location.Set(static_cast<char16_t const *>(nullptr))})
        EXPECT_EQ(status, IO::Error);
    EXPECT_TRUE(location == T(good));
    EXPECT_EQ(invalid.Set(good), IO::ErrMemoryFull);
    EXPECT_FALSE(invalid.IsLegal());
    invalid.Clear();
    EXPECT_TRUE(invalid.IsValid());
}

TEST(LocationText, ForgetsAFailureAtTheNextText) {
    TestResolver const resolver;
    ExpectAFailureIsForgotten(MakeInvalidLocation(), IO::ErrIllegalLocation, "C:\\");
    ExpectAFailureIsForgotten(MakeInvalidRelative(), IO::ErrIllegalRelativeLocation, "a");
}

TEST(LocationText, BecomesANarrowPathOfAnyLength) {
    TestResolver const resolver;
    IO::CString<256> text;
    for (unsigned int length : {1u, 252u, 253u}) {
        std::string const name(length, 'n');
        EXPECT_EQ(MakeLocation({}, {"C:", name}).ToPath(&text), IO::NoError);
        EXPECT_EQ(text.ToCStr(), "C:\\" + name);
        EXPECT_EQ(MakeLocation({}, {"C:", name}).ToURL(&text), IO::NoError);
        EXPECT_EQ(text.ToCStr(), "lan.hierarchical:///C:/" + name);
    }
    EXPECT_EQ(MakeLocation({}, {"C:"}).ToDisplayText(&text), IO::NoError);
    EXPECT_STREQ(text.ToCStr(), "C:\\");
    EXPECT_EQ(MakeLocation({}, {"?"}).ToDisplayText(&text), IO::Error);
    EXPECT_EQ(Location().ToPath(static_cast<IO::CString<256> *>(nullptr)), IO::Error);
    EXPECT_EQ(Location().ToURL(static_cast<IO::CString<256> *>(nullptr)), IO::Error);
}

TEST(LocationText, AlwaysHasATextForLogs) {
    TestResolver const resolver;
    Mu::UniString text;
    MakeLocation({}, {"C:", "a"}).ToLogText(&text);
    EXPECT_EQ(text, "C:\\a");
    Location("X").ToLogText(&text);
    EXPECT_EQ(text, "Invalid location");
    MakeInvalidLocation().ToLogText(&text);
    EXPECT_EQ(text, "Invalid location");
    Location().ToLogText(nullptr);

    Mu::LogComposer composer;
    IO::Append(composer, MakeLocation({}, {"C:", "\xE4\xB8\xAD"})); // in no ANSI code page
    IO::Append(composer, Location("X"));
    unsigned int offset = 0;
    unsigned int length = 0;
    char const * value = nullptr;
    ASSERT_TRUE(composer.GetNext(&offset, &value, &length));
    EXPECT_EQ(std::string(value, length), "C:\\\xE4\xB8\xAD");
    ASSERT_TRUE(composer.GetNext(&offset, &value, &length));
    EXPECT_EQ(std::string(value, length), "Invalid location");
}

TEST(LocationText, IsPrintedWithoutTheMachineWhereThereIsAPath) {
    TestResolver const resolver;
    EXPECT_EQ(Print(MakeLocation({"h"}, {"C:", "\xC3\xA4"})), "C:\\\xC3\xA4");
    EXPECT_EQ(Print(MakeLocation({"h", "i"}, {"s", "x"})), "h/i|s/x") << "no drive, no path";
    EXPECT_EQ(Print(MakeLocation({"h"}, {})), "");
    EXPECT_EQ(Print(Location()), "");
    EXPECT_EQ(Print(Location("X")), "Error in Location state!");
    Location().Print(NullReference<Mu::OChannel>());
    std::ostringstream stream;
    stream << MakeLocation({}, {"C:", "\xC3\xA4"}) << ' ' << MakeInvalidLocation();
    EXPECT_EQ(stream.str(), "C:\\\xC3\xA4 Invalid location");
}
