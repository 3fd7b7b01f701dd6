#include <Kestrel/Location/LocationValidator.h>

#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/MacLocationValidator.h>
#include <Kestrel/Location/WinLocationValidator.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/Locations.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Tests;
using IO::Location;

namespace {

IO::LocationValidator const & Windows() {
    return *IO::GetValidator(Mu::WindowsSign);
}
IO::LocationValidator const & Mac() {
    return *IO::GetValidator(Mu::BigEndianMacSign);
}

} // namespace

TEST(LocationValidator, StandsReadyForThreeSignsInOrder) {
    ASSERT_GE(IO::GetValidatorCount(), 3u);
    EXPECT_EQ(IO::GetValidatorAt(0), IO::GetValidator(Mu::WindowsSign));
    EXPECT_EQ(IO::GetValidatorAt(1), IO::GetValidator(Mu::BigEndianMacSign));
    EXPECT_EQ(IO::GetValidatorAt(2), IO::GetValidator(Mu::LittleEndianMacSign));
    EXPECT_NE(dynamic_cast<IO::WinLocationValidator const *>(IO::GetValidatorAt(0)), nullptr);
    EXPECT_NE(dynamic_cast<IO::MacLocationValidator const *>(IO::GetValidatorAt(1)), nullptr);
    EXPECT_NE(dynamic_cast<IO::MacLocationValidator const *>(IO::GetValidatorAt(2)), nullptr);
    EXPECT_EQ(IO::LocationValidator::Find(Mu::WindowsSign), IO::GetValidatorAt(0));
    EXPECT_EQ(IO::GetValidator(IO::LinuxSign) != nullptr, IO::IsOnLinux);
    EXPECT_EQ(IO::GetValidator(static_cast<Mu::PlatformSign>(1)), nullptr);
}

TEST(LocationValidator, JudgesNames) {
    std::string const n255(255, 'n');
    struct {
        bool onWindows, onMac, onLinux;
        Names names;
    } const rows[] = {
        {true,
         true,
         true,
         {"a", " ", "\x7F", "..", "CON.txt", "con1", "com0", "COM1", "LPT5", "lpt", "com10"}},
        {true, true, true, {"com1.x", "coma", "\xC3\xA4\xF0\x9F\x98\x80", n255}},
        {true, true, false, {n255.substr(1) + "\xC3\xA4"}},
        {false, true, false, {"a?b", "a\\b", "a/b", "a*", "a\"", "<", ">", "|", "\x1F", "\x01"}},
        {false, true, true, {"CON", "con", "AuX", "prn", "nul", "com1", "com9", "lpt5"}},
        {true, false, false, {n255 + "n", n255 + "nnnnn"}},
        {false, false, false, {"", "a:b", n255 + "nnnnnn"}},
    };
    for (auto const & row : rows)
        for (std::string const & text : row.names) {
            IO::Name const name(U(text));
            EXPECT_EQ(Windows().IsLegal(name), row.onWindows) << text;
            EXPECT_EQ(Mac().IsLegal(name), row.onMac) << text;
            EXPECT_EQ(name.IsLegal(), IO::IsOnLinux ? row.onLinux : row.onWindows) << text;
            EXPECT_EQ(name.IsMultiplatform(),
                      row.onWindows && row.onMac && (row.onLinux || !IO::IsOnLinux))
                << text;
        }
}

TEST(LocationValidator, JudgesEveryUnit) {
    std::u16string_view const reserved = u"\\/:*?\"<>|";
    for (unsigned int unit = 0; unit <= 0xFFFF; ++unit) {
        Mu::UniChar const c(static_cast<unsigned short>(unit));
        bool const expected =
            unit >= 32 && reserved.find(static_cast<char16_t>(unit)) == reserved.npos;
        ASSERT_EQ(Windows().IsLegalCharacter(c), expected) << unit;
        ASSERT_EQ(Mac().IsLegalCharacter(c), unit != ':') << unit;
    }
}

TEST(LocationValidator, JudgesLocations) {
    struct {
        bool onWindows, onMac;
        std::vector<std::pair<Names, Names>> places; // machine and path
    } const rows[] = {
        {true, true, {{{}, {}}, {{"h"}, {"share", "a"}}, {{"h"}, {}}}},
        {true, false, {{{}, {"C:"}}, {{}, {"C:", "a"}}}},
        {false, true, {{{}, {"C"}}, {{"h:1"}, {"s"}}, {{"localhost"}, {"con"}}}},
        {false, false, {{{}, {"CC:"}}, {{}, {"*:"}}, {{}, {"C:", "D:"}}, {{}, {"C:", ""}}}},
        {false, false, {{{"h"}, {"C:"}}, {{""}, {"s"}}, {{std::string(256, 'h')}, {"s"}}}},
    };
    for (auto const & row : rows)
        for (auto const & [network, local] : row.places) {
            Location const location = MakeLocation(network, local);
            SCOPED_TRACE(::testing::PrintToString(network) + ::testing::PrintToString(local));
            EXPECT_EQ(Windows().IsLegal(location), row.onWindows);
            bool const isWord = IO::IsOnLinux && !local.empty() && local[0] == "con";
            EXPECT_EQ(location.IsLegal(), row.onWindows || isWord);
            EXPECT_EQ(Mac().IsLegal(location), row.onMac);
            EXPECT_EQ(location.IsMultiplatform(), row.onWindows && row.onMac);
        }
}

// Each name counts with its separator, a machine with two in front.
TEST(LocationValidator, CountsAWindowsPath) {
    auto const isLegal = [](Names const & network, Names const & local) {
        return Windows().IsLegal(MakeLocation(network, local));
    };
    EXPECT_TRUE(isLegal({}, {"C:", std::string(256, 'x')}));
    EXPECT_FALSE(isLegal({}, {"C:", std::string(257, 'x')}));
    EXPECT_TRUE(isLegal({}, {"C:", std::string(127, 'x'), std::string(128, 'y')}));
    EXPECT_FALSE(isLegal({}, {"C:", std::string(128, 'x'), std::string(128, 'y')}));
    EXPECT_TRUE(isLegal({"host"}, {std::string(252, 's')}));
    EXPECT_FALSE(isLegal({"host"}, {std::string(253, 's')}));
    EXPECT_FALSE(isLegal({std::string(200, 'a'), std::string(60, 'b')}, {}));
    EXPECT_FALSE(isLegal({}, Names(10000, "C:")));
}

TEST(LocationValidator, CountsTheBytesOfALinuxPath) {
    if (!IO::IsOnLinux)
        GTEST_SKIP() << "the rules of Linux are there alone";
    Names names(16, std::string(254, 'n')); // 16 times 255 bytes with the separators
    names[0] = "C:";
    names.push_back(std::string(254, 'n'));
    names.push_back(std::string(4, '\n') + std::string(9, 'n'));
    Location location = MakeLocation({}, names);
    EXPECT_FALSE(location.IsLegal()) << "a control character";
    names.back() = "\xEF\x80\x8A" + std::string(13, 'n'); // which stands for one byte
    EXPECT_TRUE(MakeLocation({}, names).IsLegal());
    EXPECT_FALSE(MakeLocation({}, names).IsMultiplatform());
    names.back() += "n";
    EXPECT_FALSE(MakeLocation({}, names).IsLegal());
}

TEST(LocationValidator, AsksForAFittingModelAndUser) {
    auto const isLegal = [](char const * url) {
        Location location = MakeLocation({"h"}, {"s"});
        EXPECT_EQ(location.Set(url), IO::NoError);
        return location.IsLegal();
    };
    for (char const * url : {"lan.flat://h/s", "lan://h/s", "lan.smb://h/s",
                             "lan.null:///C:", "lan.unknown://h/s", "http://h/s", "lan://u:p@h/s"})
        EXPECT_TRUE(isLegal(url)) << url;
    for (char const * url :
         {"lan.null://h/s", "lan://:p@h/s", "lan.null://localhost.x/s", "http://"})
        EXPECT_FALSE(isLegal(url)) << url;
}

namespace {

class StrictValidator : public IO::LocationValidator {
public:
    explicit StrictValidator(unsigned short sign)
        : LocationValidator(static_cast<Mu::PlatformSign>(sign)) {}
    using LocationValidator::IsLegal;
    bool IsLegal(IO::Name const & name) const override { return name != "refused by all others"; }
    bool IsLegalCharacter(Mu::UniChar) const override { return true; }
};

} // namespace

// There is no way out of the table, so these stay; they take all names but one.
TEST(LocationValidator, JoinsTheOthers) {
    unsigned int const count = IO::GetValidatorCount();
    if (count > (IO::IsOnLinux ? 4 : 3))
        GTEST_SKIP() << "the table of this process has been grown already";
    std::unique_ptr<StrictValidator> made[7];
    for (unsigned short sign = 0; sign < 7; ++sign) {
        made[sign] = std::make_unique<StrictValidator>(sign);
        EXPECT_EQ(IO::GetValidatorCount(), count + sign + 1);
        EXPECT_EQ(IO::GetValidator(static_cast<Mu::PlatformSign>(sign)), made[sign].get());
    }
    EXPECT_EQ(IO::GetValidatorAt(0), &Windows()) << "growing keeps what was there";
    StrictValidator const & own = *made[0];
    EXPECT_TRUE(own.IsLegal(MakeLocation({"h"}, {"?"})));
    EXPECT_FALSE(own.IsLegal(MakeLocation({"refused by all others"}, {"a"})));
    EXPECT_FALSE(own.IsLegal(MakeLocation({"h"}, {"refused by all others"})));
    EXPECT_FALSE(own.IsLegal(MakeRelative({"a", "refused by all others"})));
    EXPECT_FALSE(MakeRelative({"refused by all others"}).IsMultiplatform());
    for (auto & validator : made)
        (void)validator.release();
}
