#include <Kestrel/FileType/SharedMimeTypes.h>

#include "Tests/FileType/PlainType.h"
#include "Tests/FileType/TablePeek.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"

#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/Internal/ContentRuleSlots.h>
#include <Kestrel/FileType/Internal/ContentRules.h>
#include <Kestrel/FileType/Internal/SharedMimeFiles.h>
#include <Kestrel/Location/Location.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace FTM;
using Manager = FileTypeManager;

namespace {

std::string const head("MIME-Magic\0\n", 12);

std::string Rule(std::string const & place, std::string const & value, std::string const & rest) {
    return place + "=" + static_cast<char>(value.size() / 256) +
           static_cast<char>(value.size() % 256) + value + rest + "\n";
}

/// A small catalogue, and files for it.
struct Catalogue {
    Catalogue() {
        folder.Write("globs2", "# a comment\n\n50:application/zip:*.zip\n50:application/doc:*.doc\n"
                               "60:application/odt:*.odt\n50:application/odt:*.Doc\r\n"
                               "50:text/make:makefile\n50:text/c++:*.A:cs\n50:text/tgz:*.tar.gz\n"
                               "50:text/star:a*.b\n50:text/star:*.Z:cs\n50:text/star:*.zip\n"
                               "50:text/c++:*.cc:x,cs\n50:text/c++:*.h:x\n50:text/c++:*.cc\n");
        folder.Write("magic", head + "[50:application/zip]\n" + Rule(">0", "PK", "") +
                                  "[80:application/odt]\n" + Rule(">0", "PK", "") +
                                  Rule("1>30", "mime", "+4") + Rule("2>40", "x\1", "&\xFF\xF0") +
                                  "[50:application/doc]\n" + Rule(">0", "\1\2", "&\xFF\xF0~2") +
                                  Rule(">65534", "fa", "") +
                                  Rule(">0", std::string(36, 'w'), "+29127") + "[50:text/far]\n" +
                                  Rule(">65536", "x", "") + "[50:text/long]\n" +
                                  Rule(">0", std::string(37, 'w'), "+28340") +
                                  "[40:application/odt]\n" + Rule(">1", "odt", ""));
        folder.Write("aliases", "application/x-zip application/zip\r\nx/y none/none\n"
                                "text/make application/zip\nx/taken application/zip\n"
                                "application/x-zip text/star\n");
        folder.Write("subclasses", "application/odt application/zip\r\ntext/make text/c++\n"
                                   "text/c++ text/make\ntext/star application/zip\n"
                                   "text/star application/odt\ntext/star text/none\n");
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

std::string ListLeftOut(SharedMimeResult const & result) {
    std::string all;
    for (auto const & each : result.leftOut)
        all += std::to_string(static_cast<int>(each.reason)) + ' ' + each.mime.ToCStr() + ' ' +
               each.text.ToCStr() + '\n';
    return all;
}

/// Names, extensions, whether there is a test, and the groups, with those that they are in.
std::string ListTypes() {
    std::string all;
    for (int id = 1; id <= Manager::CountAllTypeChild(RootGroup); ++id) {
        FileType type;
        EXPECT_EQ(Manager::GetType(GeneralID(id), &type), Mu::NoError);
        Tests::PlainType const is(type);
        EXPECT_EQ(is.description, is.mimes[0]);
        EXPECT_EQ(is.icon, -1);
        for (std::string const & text : is.mimes)
            all += text + ' ';
        for (std::string const & text : is.extensions)
            all += '.' + text + ' ';
        all += is.test == nullptr ? "in" : "tested, in";
        for (GroupID group = Manager::GetFirstParent(GeneralID(id)); group != UnknownGroup;
             group = Manager::GetNextParent(GeneralID(id), group))
            for (GroupID each = group; each != RootGroup; each = Manager::GetParent(each)) {
                char text[64];
                Manager::GetGroupName(each, text, sizeof text);
                all += (each == group ? ' ' : '<') + std::string(text);
            }
        all += '\n';
    }
    return all;
}

} // namespace

TEST(SharedMimeTypes, BecomeTypesAndGroups) {
    Catalogue catalogue;
    Manager other("o");
    other.AddType(FileType("x/taken", "h;zip;hhhhhh", 0, 0, -1, nullptr, "x/taken"), RootGroup);
    other.AddType(FileType("text/tgz", "cc", 0, 0, -1, nullptr, "text/tgz"), RootGroup);
    Manager manager("m");
    SharedMimeResult const result = LoadSharedMimeTypes(&manager, catalogue.GetFolder());
    ASSERT_EQ(result.status, Mu::NoError);
    EXPECT_EQ(result.typeCount, 8u);
    EXPECT_EQ(result.testCount, 3u);
    EXPECT_EQ(static_cast<int>(result.groupCount) + 10, Manager::CountAllChild(RootGroup));
    EXPECT_EQ(TablePeek::Check(), "");
    EXPECT_EQ(ListLeftOut(result),
              "1 text/make makefile\n4 text/c++ *.A\n2 text/tgz *.tar.gz\n3 text/star a*.b\n"
              "4 text/star *.Z\n4 text/c++ *.cc\n8 none/none x/y\n"
              "7 application/zip text/make\n7 text/star application/x-zip\n"
              "8 text/star text/none\n5 application/zip package\n7 application/zip x/taken\n"
              "0 application/odt 60\n10 text/c++ text/make\n7 text/tgz text/tgz\n"
              "6 text/far \n6 text/long \n");
    EXPECT_EQ(
        ListTypes(),
        "x/taken .h .zip .hhhhhh in\ntext/tgz .cc in\n"
        "application/zip application/x-zip .zip tested, in application/zip<application\n"
        "application/doc .doc tested, in application\n"
        "application/odt .odt .doc tested, in application/odt<application/zip<application"
        "\ntext/make in text/make<text/c++<text\n"
        "text/c++ .cc .h in text/c++<text text/make<text/c++<text\n"
        "text/star .zip in application/zip<application "
        "application/odt<application/zip<application text\ntext/far in text\ntext/long in text\n");
    // Both have the extension "doc"; masks, ranges, levels and words of this machine decide.
    GeneralID const odt = Named("application/odt");
    GeneralID const media = Manager::SearchForGroup("application", RootGroup);
    std::string const pk = "PK" + std::string(30, ' ') + "mime    x";
    for (auto const & [content, expected] :
         {std::pair(pk + "\x0F", odt),
          {pk + "\x1F", media},
          {"", media},
          {"\5\1", Named("application/doc")},
          {std::string(65534, ' ') + "fa", Named("application/doc")},
          {" odt", odt},
          {"PK   mime", media}})
        EXPECT_EQ(catalogue.Identify("a.doc", content), expected) << content;
    FileType record;
    ASSERT_EQ(Manager::GetType(odt, &record), Mu::NoError);
    EXPECT_EQ(manager.ReinsertType(odt, record), Mu::NoError);
    EXPECT_EQ(catalogue.Identify("a.doc", pk + "\x0F"), odt) << "with the same rules";
}

TEST(SharedMimeTypes, GoWithTheirManagerAndComeAgain) {
    Catalogue catalogue;
    std::vector<ContentTest *> others; // leave room for one load only
    auto * const rules = new ContentRules;
    for (unsigned int i = 3; i < ContentRuleSlots::SlotCount; ++i)
        others.push_back(ContentRuleSlots::Take(*rules, {}));
    ContentRules::Drop(rules);
    IO::Location const folder = catalogue.GetFolder();
    unsigned int tests = 0;
    for (unsigned int n = 1; tests == 0; ++n) { // the first allocation without which it goes
        Manager manager("m");
        Tests::Shortage const shortage(n, false);
        tests = LoadSharedMimeTypes(&manager, folder).testCount;
        EXPECT_EQ(Manager::CountAllChild(RootGroup) == 0, tests == 0);
    }
    EXPECT_EQ(tests, 3u);
    for (ContentTest * const other : others)
        ContentRuleSlots::Drop(other);
    EXPECT_EQ(LoadSharedMimeTypes(nullptr, catalogue.GetFolder()).status, Mu::Error);
}

// The check takes eight bytes at a time.
TEST(SharedMimeTypes, HaveNamesOfVisibleAscii) {
    for (std::size_t at = 0; at < 253; ++at)
        for (int const c : {0, 0x20, 0x21, 0x7E, 0x7F, 0x80, 0xFF}) {
            std::string const text = "a/" + std::string(at, '~') + static_cast<char>(c);
            EXPECT_EQ(IsMimeName(text + std::string((252 - at) % 11, '!')), c > ' ' && c < 0x7F);
        }
    EXPECT_FALSE(IsMimeName("/a") || IsMimeName("a/"));
    EXPECT_FALSE(IsMimeName("a/" + std::string(254, 'x')));
}

TEST(SharedMimeTypes, RefuseWhatIsNoCatalogue) {
    Manager manager("m");
    auto const refuse = [&](char const * file, std::string const & content) {
        Catalogue catalogue;
        catalogue.folder.Write(file, content);
        EXPECT_EQ(LoadSharedMimeTypes(&manager, catalogue.GetFolder()).status, Mu::Error)
            << content.substr(0, 40);
    };
    std::string tooMany;
    for (int i = 0; i <= 5000; ++i)
        tooMany += "50:many/t" + std::to_string(i) + ":x\n";
    for (std::string const & globs :
         {tooMany, std::string((4 << 20) + 1, '\n'), std::string("50:a/b:*.a\0\n", 12),
          std::string("50:a/b:\0.a\n", 11), std::string("50:nothing:*.a\n"),
          std::string("x:a/b:*.a\n"), std::string("50:a/b\n"), std::string("9999999999:a/b:*.a\n")})
        refuse("globs2", globs);
    for (std::string const & rule :
         {std::string(">0=\xFF\xFFx\n"), Rule(">0", "", ""), Rule("1>0", "x", ""),
          Rule(">0", "xyz", "~2"), Rule(">0", "x", "+0"), Rule(">0", "x", "~0"),
          Rule(">4294967296", "x", ""), Rule("x>0", "x", ""), Rule("0", "x", ""),
          Rule(">0", "xyz", "&a"), Rule(">0", "xy", "&"), Rule(">0", "x", "+"), std::string(">0=")})
        refuse("magic", head + "[50:a/b]\n" + rule);
    refuse("magic", "MIME-magic" + head.substr(10) + "[50:a/b]\n" + Rule(">0", "x", ""));
    refuse("magic", head + Rule(">0", "x", ""));
    refuse("magic", head + "[50:a/bc\n"); // "a/b" would do
    refuse("aliases", "only/one\n");
    refuse("subclasses", "a b\n");
    Tests::TempFolder empty;
    IO::Location const place(empty.GetPortable().c_str());
    Tests::LogCapture log;
    EXPECT_EQ(LoadSharedMimeTypes(&manager, place).status, IO::ErrFileNotFound);
    EXPECT_EQ(Manager::CountAllChild(RootGroup), 0);
    empty.Write("globs2", "50:a/b:*.a\n");
    log.Clear();
    EXPECT_EQ(LoadSharedMimeTypes(&manager, place).typeCount, 1u);
    EXPECT_EQ(log.GetLines().size(), 2u) << "of the opened one; the others may be missing";
}

// All there is on a machine, and more than that: a chain of parents, one rule after another.
TEST(SharedMimeTypes, MayBeTooMany) {
    Catalogue catalogue;
    std::string globs;
    std::string parents;
    std::string aliases;
    std::string magic = head;
    for (int i = 0; i < 1100; ++i) {
        std::string const name = "many/t" + std::to_string(i);
        globs += "50:" + name + ":*.t" + std::to_string(i) + "\n50:many/t0:*.u" +
                 std::to_string(i) + "\n";
        parents += name + " many/t" + std::to_string((i + 1) % 1100) + "\nmany/t9 " + name + "\n";
        aliases += "alias" + name + " many/t0\n";
        magic += "[50:" + name + "]\n" + Rule(">0", "x", "");
    }
    catalogue.folder.Write("globs2", globs);
    catalogue.folder.Write("subclasses", parents);
    catalogue.folder.Write("aliases", aliases);
    catalogue.folder.Write("magic", magic);
    Manager manager("m");
    SharedMimeResult const result = LoadSharedMimeTypes(&manager, catalogue.GetFolder());
    EXPECT_EQ(result.status, Mu::NoError);
    EXPECT_EQ(result.typeCount, 1100u);
    EXPECT_EQ(result.testCount, ContentRuleSlots::SlotCount);
    FileType type;
    EXPECT_EQ(Manager::GetType(Named("many/t0"), &type), Mu::NoError);
    EXPECT_EQ(type.CountExtensions(), 250);
    EXPECT_EQ(type.CountMimeTypes(), 250);
    int depth = 0; // the circle is cut behind 16
    for (GroupID each = Manager::GetFirstParent(Named("many/t10")); each != RootGroup; ++depth)
        each = Manager::GetParent(each);
    EXPECT_EQ(depth, 17);
    EXPECT_EQ(TablePeek::Check(), "");
}

// A result is right, or the negative one when something failed.
TEST(SharedMimeTypes, AreLoadedAndIdentifiedThroughEveryFault) {
    Catalogue catalogue;
    catalogue.folder.Write("globs2", "60:application/zip:*.zip\n50:application/odt:*.odt\n"
                                     "50:application/odt:*.zip\n");
    catalogue.folder.Write("magic", head + "[50:application/zip]\n" + Rule(">0", "PK", ""));
    catalogue.folder.Write("subclasses", "application/odt application/zip\n");
    catalogue.folder.Write("aliases", "application/x-zip application/zip\n");
    catalogue.folder.Write("a.zip", "PK");
    catalogue.folder.Write("a.odt", "");
    auto const load = [&](bool failed, bool mayMiss = false) {
        Tests::LogCapture log;
        Manager manager("m");
        SharedMimeResult const result = LoadSharedMimeTypes(&manager, catalogue.GetFolder());
        EXPECT_TRUE(result.status == Mu::NoError || failed);
        EXPECT_EQ(TablePeek::Check(), "");
        if (result.status != Mu::NoError) {
            EXPECT_EQ(Manager::CountAllChild(RootGroup), 0);
            EXPECT_EQ(result.typeCount + result.groupCount + result.testCount, 0u);
            return;
        }
        // A file that the system does not find is one that the catalogue has not.
        EXPECT_TRUE(mayMiss || (result.testCount == 1 && result.leftOut.GetSize() == 2));
        EXPECT_EQ(Manager::CountAllTypeChild(RootGroup), 2);
        IO::Location const folder = catalogue.GetFolder();
        if (folder.GetStatus() != Mu::NoError || result.testCount == 0)
            return;
        IO::Location const file(folder, IO::Name("a.zip"));
        GeneralID const zip = GeneralID(1);
        GeneralID const odt = GeneralID(2);
        int info = 0;
        GeneralID const byContents = Manager::Identify(file, RootGroup, nullptr);
        EXPECT_TRUE(byContents == zip || (failed && byContents == UnknownType));
        GeneralID const byName =
            manager.IdentifyOwn(IO::Location(folder, IO::Name("a.odt")), RootGroup, &info);
        EXPECT_TRUE(byName == odt || (failed && byName == UnknownType));
        TypeID list[2];
        unsigned int const count = Manager::Identify(file, list, 2, RootGroup, nullptr);
        EXPECT_TRUE((count == 1 && list[0] == zip) || (failed && count == 0));
        EXPECT_TRUE(Manager::ExactMatch(file, zip, RootGroup) || failed);
        EXPECT_FALSE(Manager::Match(file, odt, RootGroup));
    };
    SweepAllocations([&](bool failed) { load(failed); });
    Tests::SweepFileCallsBriefly([&](bool failed) { load(failed, failed); });
    Tests::ScriptedFileCalls calls;
    for (unsigned int n = 1; n == 1 || calls.Clear(); ++n) {
        calls.Fail(Tests::FileCall::Any, n, IO::FileError::DiskFull);
        load(true);
    }
}
