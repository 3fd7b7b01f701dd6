// The classes round names and locations that stand beside those with sweeps of their own, while
// memory fails: an answer is the right one, or a status says that there is none.

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"

#include <Kestrel/Location/Address.h>
#include <Kestrel/Location/CLib.h>
#include <Kestrel/Location/MacLocationValidator.h>
#include <Kestrel/Location/NameComparer.h>
#include <Kestrel/Location/NameEnumerator.h>
#include <Kestrel/Location/WinLocationValidator.h>
#include <Kestrel/Root/Exceptions.h>

#include <gtest/gtest.h>

#include <string>

using IO::Location;

namespace {

std::string const longName = "a name that is longer than any place which a text has within";

class Joiner : public IO::NameEnumerator {
public:
    void NameFound(IO::Name const & name) override { text += ToUtf8(name) + "/"; }
    std::string text;
};

class Caseless : public IO::NameComparer {
public:
    Caseless() { IO::SetNameComparer(this); }
    ~Caseless() override { IO::SetNameComparer(nullptr); }
    bool IsSameName(Mu::UniString const & first, Mu::UniString const & second) override {
        return first.IsEqual(second, Mu::IgnoreCase);
    }
};

TEST(LocationSweep, NamesAreEnumeratedAllOrNotAtAll) {
    SweepAllocations([](bool failed) {
        Location location;
        bool const isMade = location.AppendToLocal(IO::Name("C:")) == IO::NoError &&
                            location.AppendToLocal(IO::Name(longName.c_str())) == IO::NoError;
        EXPECT_TRUE(isMade || failed);
        if (!isMade)
            return;
        Joiner joiner;
        MuErrCode const status = location.EnumerateLocalNames(&joiner);
        EXPECT_TRUE(status == IO::NoError || failed);
        if (status == IO::NoError) {
            EXPECT_EQ(joiner.text, "C:/" + longName + "/");
        }
    });
}

TEST(LocationSweep, ValidatorsRefuseAtMostTooMuch) {
    auto const * const onWindows = IO::LocationValidator::Find(Mu::WindowsSign);
    auto const * const onMac = IO::LocationValidator::Find(Mu::BigEndianMacSign);
    ASSERT_TRUE(onWindows != nullptr && onMac != nullptr);
    IO::LocationValidator const & windows = *onWindows;
    IO::LocationValidator const & mac = *onMac;
    IO::RelativeLocation const legal = Tests::MakeRelative({"folder", longName});
    IO::RelativeLocation const illegal = Tests::MakeRelative({"folder", longName + ":?*"});
    SweepAllocations([&](bool failed) {
        EXPECT_TRUE(windows.IsLegal(legal) || failed);
        EXPECT_FALSE(windows.IsLegal(illegal));
        EXPECT_FALSE(windows.IsLegalCharacter(Mu::UniChar('?')));
        EXPECT_TRUE(mac.IsLegalCharacter(Mu::UniChar('?')));
        EXPECT_TRUE(mac.IsLegal(IO::Name("name")) || failed);
    });
}

// The tree keeps what a name was compared with; a shortage must not make two of one.
TEST(LocationSweep, ComparersKeepNamesOne) {
    Caseless const comparer;
    int round = 0;
    SweepAllocations([&](bool failed) {
        std::string const name = longName + std::to_string(++round);
        std::string upper = name;
        upper[0] = 'A';
        IO::Address first;
        IO::Address second;
        bool const isMade = first.Append(IO::Name(name.c_str())) == IO::NoError &&
                            second.Append(IO::Name(upper.c_str())) == IO::NoError;
        EXPECT_TRUE(isMade || failed);
        if (isMade) {
            EXPECT_EQ(first, second);
        }
    });
}

TEST(LocationSweep, ResolversGiveBackTheText) {
    Tests::TestResolver resolver;
    Mu::UniString const text = U("C:\\folder\\" + longName);
    SweepAllocations([&](bool failed) {
        Location location;
        Mu::UniString path;
        Mu::UniString shown;
        Mu::UniString logged;
        if (!resolver.PathToLocation(text, &location) || location.GetStatus() != IO::NoError ||
            !resolver.LocationToPath(location, &path)) {
            EXPECT_TRUE(failed);
            return;
        }
        EXPECT_TRUE(path == text || failed);
        EXPECT_TRUE(resolver.LocationToDisplayText(location, &shown) || failed);
        EXPECT_TRUE(resolver.LocationToLogText(location, &logged) || failed);
    });
}

TEST(LocationSweep, LongTextsOfOldHostsAreWholeOrEmpty) {
    SweepAllocations([](bool failed) {
        char doubled[200];
        IO::CLib::StrCat(IO::CLib::StrCpy(doubled, longName.c_str()), longName.c_str());
        IO::CString<16> const text(doubled);
        EXPECT_TRUE(text.IsValid() || failed);
        EXPECT_EQ(std::string(text.ToCStr()), text.IsValid() ? longName + longName : "");
    });
}

} // namespace
