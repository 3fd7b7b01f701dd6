#include <Kestrel/FileSystem/Internal/Report.h>

#include <Kestrel/Location/Internal/OSErrors.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

using Level = IO::ReportLine::Level;

std::string OnlyLine(Tests::LogCapture const & log) {
    EXPECT_EQ(log.GetLines().size(), 1u);
    return log.GetLines().empty() ? "" : log.GetLines().back().text;
}

} // namespace

TEST(Report, TakesAnEntryApartIntoNameAndFolder) {
    static IO::ReportLine line(Level::Info, "\"%\" in \"%\"");
    struct {
        IO::Location location;
        char const * text;
    } const table[] = {
        {IO::Location("C:\\a\\b"), "\"b\" in \"C:\\a\""},
        {IO::Location("C:\\"), "\"C:\" in \"\""},
        {IO::Location(), "\"\" in \"\""},
        {IO::Location("\\\\host\\share\\x"), "\"x\" in \"\\\\host\\share\""},
        {IO::Location("C:\\\\"), "\"\" in \"Invalid location\""},
    };
    for (auto const & row : table) {
        Tests::LogCapture log;
        IO::Report(line, {IO::EntryOf{row.location}});
        EXPECT_EQ(OnlyLine(log), row.text);
    }
}

TEST(Report, WritesALineEvenWithoutMemory) {
    static IO::ReportLine line(Level::Error, "\"%\" in \"%\": broken (OS errors: %)");
    IO::Location const location("C:\\some folder with a name of some length\\file");
    SweepAllocations([&](bool failed) {
        Tests::LogCapture log;
        IO::AddOSError("reason");
        IO::Report(line, {IO::EntryOf{location}});
        std::string const text = OnlyLine(log);
        EXPECT_NE(text.find(": broken (OS errors: "), std::string::npos);
        EXPECT_TRUE(failed || text.ends_with("length\": broken (OS errors: reason)"));
        EXPECT_STREQ(IO::GetOSErrors(), "");
    });
}
