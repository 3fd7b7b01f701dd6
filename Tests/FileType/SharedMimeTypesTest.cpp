#include <Kestrel/FileType/SharedMimeTypes.h>

#include "Tests/FileType/TablePeek.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"

#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/Internal/ContentRuleSlots.h>
#include <Kestrel/FileType/Internal/ContentRules.h>
#include <Kestrel/Location/Location.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace FTM;
using Manager = FileTypeManager;
using Reason = SharedMimeResult::Reason;

namespace {

std::string const head("MIME-Magic\0\n", 12);

std::string Rule(std::string const & place, std::string const & value, std::string const & rest) {
    return place + "=" + static_cast<char>(value.size() / 256) +
           static_cast<char>(value.size() % 256) + value + rest + "\n";
}

/// A small catalogue, and files for it.
struct Catalogue {
    Catalogue() {
        folder.Write("globs2", "# a comment\n50:application/zip:*.zip\n50:application/doc:*.doc\n"
                               "60:application/odt:*.odt\n50:application/odt:*.Doc\r\n"
                               "50:text/make:makefile\n50:text/c++:*.C:cs\n50:text/tgz:*.tar.gz\n"
                               "50:text/star:a*.b\n50:text/c++:*.cc\n");
        folder.Write("magic", head + "[50:application/zip]\n" + Rule(">0", "PK", "") +
                                  "[80:application/odt]\n" + Rule(">0", "PK", "") +
                                  Rule("1>30", "mime", "+4") + Rule("2>40", "x\1", "&\xFF\xF0") +
                                  "[50:application/doc]\n" +
                                  Rule(">0", std::string("\1\2", 2), "~2") + "[50:text/far]\n" +
                                  Rule(">70000", "x", ""));
        folder.Write("aliases", "application/x-zip application/zip\r\nx/y none/none\n"
                                "text/make application/zip\n");
        folder.Write("subclasses", "application/odt application/zip\r\ntext/make text/c++\n"
                                   "text/c++ text/make\n");
        folder.Write("icons", "application/zip:package\n");
    }
    IO::Location GetFolder() const { return IO::Location(folder.GetPortable().c_str()); }
    GeneralID Identify(std::string const & name, std::string const & content) const {
        folder.Write(name, content);
        return Manager::Identify(IO::Location(folder.GetPortable(name).c_str()), RootGroup,
                                 nullptr);
    }

    Tests::TempFolder folder;
};

GeneralID Named(char const * mime) {
    return Manager::SearchForMime(mime, nullptr);
}

bool LeftOut(SharedMimeResult const & result, Reason reason, std::string_view mime) {
    for (auto const & each : result.leftOut)
        if (each.reason == reason && std::string_view(each.mime) == mime)
            return true;
    return false;
}

} // namespace

TEST(SharedMimeTypes, BecomeTypesAndGroups) {
    Catalogue catalogue;
    Manager manager("m");
    SharedMimeResult const result = LoadSharedMimeTypes(&manager, catalogue.GetFolder());
    ASSERT_EQ(result.status, Mu::NoError);
    EXPECT_EQ(result.typeCount, 8u);
    EXPECT_EQ(result.testCount, 3u);
    EXPECT_EQ(static_cast<int>(result.groupCount + result.typeCount),
              Manager::CountAllChild(RootGroup));
    EXPECT_EQ(TablePeek::Check(), "");
    EXPECT_EQ(Named("application/x-zip"), Named("application/zip"));
    GroupID const media = Manager::SearchForGroup("application", RootGroup);
    GroupID const zips = Manager::SearchForGroup("application/zip", media);
    ASSERT_NE(zips, UnknownGroup);
    EXPECT_TRUE(Manager::IsTypeInGroup(Named("application/zip"), zips));
    EXPECT_TRUE(Manager::IsTypeInGroup(Named("application/odt"), zips));
    EXPECT_FALSE(Manager::IsTypeInGroup(Named("application/doc"), zips));
    EXPECT_TRUE(
        Manager::IsTypeInGroup(Named("text/make"), Manager::SearchForGroup("text", RootGroup)));
    for (auto const & [reason, mime] : {std::pair(Reason::Weight, "application/odt"),
                                        {Reason::Literal, "text/make"},
                                        {Reason::CaseSensitive, "text/c++"},
                                        {Reason::Compound, "text/tgz"},
                                        {Reason::Pattern, "text/star"},
                                        {Reason::Icon, "application/zip"},
                                        {Reason::Unreachable, "none/none"},
                                        {Reason::Name, "application/zip"},
                                        {Reason::Test, "text/far"},
                                        {Reason::Circle, "text/c++"}})
        EXPECT_TRUE(LeftOut(result, reason, mime)) << mime << static_cast<int>(reason);

    // Both have the extension "doc"; masks, ranges, levels and words of this machine decide.
    GeneralID const odt = Named("application/odt");
    GeneralID const doc = Named("application/doc");
    std::string const pk = "PK" + std::string(30, ' ') + "mime    x";
    EXPECT_EQ(catalogue.Identify("a.doc", pk + "\x0F"), odt);
    EXPECT_EQ(catalogue.Identify("b.doc", pk + "\x1F"), media);
    EXPECT_EQ(catalogue.Identify("c.doc", "\2\1"), doc);
    EXPECT_EQ(catalogue.Identify("d.doc", ""), media);
    EXPECT_EQ(catalogue.Identify("e.doc", "PK   mime"), media);
    FileType record;
    ASSERT_EQ(Manager::GetType(Named("application/odt"), &record), Mu::NoError);
    EXPECT_EQ(manager.ReinsertType(Named("application/odt"), record), Mu::NoError);
    EXPECT_EQ(catalogue.Identify("f.doc", pk + "\x0F"), odt) << "with the same rules";
}

TEST(SharedMimeTypes, GoWithTheirManagerAndComeAgain) {
    Catalogue catalogue;
    std::vector<ContentTest *> others; // leave room for one load only
    auto * const rules = new ContentRules;
    for (unsigned int i = 3; i < ContentRuleSlots::SlotCount; ++i)
        others.push_back(ContentRuleSlots::Take(*rules, {}));
    ContentRules::Drop(rules);
    for (int round = 0; round < 3; ++round) {
        Manager manager("m");
        EXPECT_EQ(LoadSharedMimeTypes(&manager, catalogue.GetFolder()).testCount, 3u);
        Manager second("n");
        EXPECT_EQ(LoadSharedMimeTypes(&second, catalogue.GetFolder()).typeCount, 0u);
    }
    for (ContentTest * const other : others)
        ContentRuleSlots::Drop(other);
    EXPECT_EQ(Named("application/zip"), UnknownType);
    EXPECT_EQ(LoadSharedMimeTypes(nullptr, catalogue.GetFolder()).status, Mu::Error);
}

TEST(SharedMimeTypes, RefuseWhatIsNoCatalogue) {
    struct {
        char const * file;
        std::string content;
    } const rows[] = {
        {"globs2", "50:nothing:*.a\n"},
        {"globs2", "50:nothing/:*.a\n"},
        {"globs2", "x:a/b:*.a\n"},
        {"globs2", "50:a/b\n"},
        {"globs2", "99999999999:a/b:*.a\n"},
        {"magic", "MIME-Magic"},
        {"magic", std::string("MIME-magic\0\n[50:a/b]\n", 21) + Rule(">0", "x", "")},
        {"magic", head + Rule(">0", "x", "")},
        {"magic", head + "[50:a/b\n"},
        {"magic", head + "[50:a/b]\n>0=\xFF\xFFx\n"},
        {"magic", head + "[50:a/b]\n" + Rule(">0", "", "")},
        {"magic", head + "[50:a/b]\n" + Rule("1>0", "x", "")},
        {"magic", head + "[50:a/b]\n" + Rule(">0", "xyz", "~2")},
        {"magic", head + "[50:a/b]\n" + Rule(">0", "x", "+0")},
        {"magic", head + "[50:a/b]\n" + Rule(">0", "x", "~0")},
        {"magic", head + "[50:a/b]\n" + Rule(">4294967296", "x", "")},
        {"aliases", "only/one\n"},
        {"subclasses", "a b\n"},
    };
    Manager manager("m");
    for (auto const & row : rows) {
        Catalogue catalogue;
        catalogue.folder.Write(row.file, row.content);
        EXPECT_EQ(LoadSharedMimeTypes(&manager, catalogue.GetFolder()).status, Mu::Error)
            << row.content;
    }
    Tests::TempFolder empty;
    Tests::LogCapture log;
    EXPECT_EQ(LoadSharedMimeTypes(&manager, IO::Location(empty.GetPortable().c_str())).status,
              IO::ErrFileNotFound);
    EXPECT_EQ(Manager::CountAllChild(RootGroup), 0);
}

// All there is on a machine, and more than that: a chain of parents, one rule after another.
TEST(SharedMimeTypes, MayBeTooMany) {
    Catalogue catalogue;
    std::string globs;
    std::string parents;
    std::string magic = head;
    for (int i = 0; i < 1100; ++i) {
        std::string const name = "many/t" + std::to_string(i);
        globs += "50:" + name + ":*.t" + std::to_string(i) + "\n50:many/t0:*.u" +
                 std::to_string(i) + "\n";
        parents += name + " many/t" + std::to_string((i + 1) % 1100) + "\nmany/t9 " + name + "\n";
        magic += "[50:" + name + "]\n" + Rule(">0", "x", "");
    }
    catalogue.folder.Write("globs2", globs);
    catalogue.folder.Write("subclasses", parents);
    catalogue.folder.Write("magic", magic);
    Manager manager("m");
    SharedMimeResult const result = LoadSharedMimeTypes(&manager, catalogue.GetFolder());
    EXPECT_EQ(result.status, Mu::NoError);
    EXPECT_EQ(result.typeCount, 1100u);
    EXPECT_EQ(result.testCount, ContentRuleSlots::SlotCount);
    EXPECT_TRUE(LeftOut(result, Reason::TooMany, "many/t0"));
    EXPECT_TRUE(LeftOut(result, Reason::TooMany, "many/t9"));
    EXPECT_EQ(TablePeek::Check(), "");
}

TEST(SharedMimeTypes, MeetEveryFault) {
    Catalogue catalogue;
    catalogue.folder.Write("globs2", "60:application/zip:*.zip\n50:application/odt:*.odt\n");
    catalogue.folder.Write("magic", head + "[50:application/zip]\n" + Rule(">0", "PK", ""));
    catalogue.folder.Write("subclasses", "application/odt application/zip\n");
    catalogue.folder.Write("aliases", "application/x-zip application/zip\n");
    auto const load = [&](bool failed, bool mayMiss) {
        Tests::LogCapture log;
        Manager manager("m");
        SharedMimeResult const result = LoadSharedMimeTypes(&manager, catalogue.GetFolder());
        EXPECT_TRUE(result.status == Mu::NoError || failed);
        if (result.status != Mu::NoError) {
            EXPECT_EQ(Manager::CountAllChild(RootGroup), 0);
        } else {
            // A file that is not there when it is asked for is one that the catalogue has not.
            EXPECT_TRUE(mayMiss || (result.testCount == 1 && result.leftOut.GetSize() == 2));
            EXPECT_EQ(Manager::CountAllTypeChild(RootGroup), 2);
        }
        EXPECT_EQ(TablePeek::Check(), "");
    };
    SweepAllocations([&](bool failed) { load(failed, false); });
    Tests::SweepFileCallsBriefly([&](bool failed) { load(failed, failed); });
}
