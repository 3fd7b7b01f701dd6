#include <Kestrel/FileSystem/FolderEntry.h>

#include <Kestrel/FileSystem/Internal/NameGeneration.h>

#include "Tests/Support/FileSystem/DiskVFS.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <random>

namespace {

using ExchangeStatus = IO::FolderEntry::ExchangeStatus;
using GenUNStatus = IO::FolderEntry::GenUNStatus;
using GetTypeStatus = IO::FolderEntry::GetTypeStatus;
using MoveStatus = IO::FolderEntry::MoveStatus;

// A folder that is a list of names with a mark each, whose moves can be told to fail.
class ListFolder final : public Tests::TestFolder {
public:
    ListFolder() : TestFolder(*IO::NativeFileSystem::Get()) {}
    GetTypeStatus GetType(IO::Name const & name, EntryType * type) override {
        asked.push_back(ToUtf8(name));
        if (typeStatus != GetTypeStatus::Done)
            return typeStatus;
        *type = EntryType::File;
        return entries.count(ToUtf8(name)) != 0 ? GetTypeStatus::Done
                                                : GetTypeStatus::EntryNotFound;
    }
    MoveStatus Move(IO::Name const & from, FolderEntry &, IO::Name const & to, bool) override {
        if (!moveStatuses.empty()) {
            MoveStatus const status = moveStatuses.front();
            moveStatuses.pop_front();
            if (status != MoveStatus::Done)
                return status;
        }
        if (entries.count(ToUtf8(to)) != 0)
            return MoveStatus::TargetExists;
        auto node = entries.extract(ToUtf8(from));
        if (node.empty())
            return MoveStatus::EntryNotFound;
        node.key() = ToUtf8(to);
        entries.insert(std::move(node));
        return MoveStatus::Done;
    }

    std::map<std::string, char> entries;
    std::vector<std::string> asked;
    GetTypeStatus typeStatus = GetTypeStatus::Done;
    std::deque<MoveStatus> moveStatuses; // of the next moves; Done behind the last
};

std::string Generate(ListFolder & folder, std::string const & base) {
    IO::Name name;
    EXPECT_EQ(folder.GenerateUnusedName(&name, U(base)), GenUNStatus::Done);
    return ToUtf8(name);
}

} // namespace

// A base, and ten digits that begin far from those of another process.
TEST(FolderEntry, GeneratesTheNextNameThatIsFree) {
    Tests::HandClock const clock(0x12345678 * 1000ull);
    IO::StartNameGeneration();
    ListFolder folder;
    folder.entries["n2018915347"] = 'x';
    EXPECT_EQ(Generate(folder, ""), "GeneratedName_2018915346"); // 0x78563412
    EXPECT_EQ(Generate(folder, "n"), "n2018915348");
    EXPECT_EQ(Generate(folder, std::string(20, 'b')), std::string(15, 'b') + "2018915349");
}

TEST(FolderEntry, ReportsWhyNoNameCouldBeGenerated) {
    struct {
        GetTypeStatus met;
        GenUNStatus generated;
        ExchangeStatus exchanged; // which begins with a temporary name
    } const table[] = {
        {GetTypeStatus::AccessDenied, GenUNStatus::AccessDenied, ExchangeStatus::AccessDenied},
        {GetTypeStatus::Other, GenUNStatus::Other, ExchangeStatus::Other},
        {static_cast<GetTypeStatus>(77), GenUNStatus::Other, ExchangeStatus::Other},
    };
    for (auto const & row : table) {
        ListFolder folder;
        folder.typeStatus = row.met;
        IO::Name name("before"), outA, outB;
        unsigned int counter = 3;
        EXPECT_EQ(folder.GenerateUnusedName(&name, U("a")), row.generated);
        EXPECT_EQ(folder.GenerateUnusedNameFromString(&name, U("a"), U(""), 0, &counter),
                  row.generated);
        EXPECT_EQ(ToUtf8(name), "before");
        EXPECT_EQ(counter, 3u);
        EXPECT_EQ(folder.Exchange("a", "b", false, &outA, &outB), row.exchanged);
        EXPECT_EQ(ToUtf8(outA) + ToUtf8(outB), "ab");
        EXPECT_EQ(folder.asked.size(), 3u);
    }
}

TEST(FolderEntry, RefusesNulls) {
    ListFolder folder;
    IO::Name name;
    Mu::UniString const & none = Tests::NullReference<Mu::UniString const>();
    auto const generate = [&](IO::Name * result, Mu::UniString const & base,
                              Mu::UniString const & extension) {
        return folder.GenerateUnusedNameFromString(result, base, extension, 0, nullptr);
    };
    for (GenUNStatus const status :
         {folder.GenerateUnusedName(nullptr, U("a")), folder.GenerateUnusedName(&name, none),
          generate(nullptr, U("a"), U("b")), generate(&name, none, U("b")),
          generate(&name, U("a"), none)})
        EXPECT_EQ(status, GenUNStatus::Other);
    EXPECT_EQ(folder.Exchange("a", "b", false, nullptr, &name), ExchangeStatus::Other);
    EXPECT_EQ(folder.Exchange("a", "b", false, &name, nullptr), ExchangeStatus::Other);
}

// The first that is free of a bare name, where no counter is given, and of numbered ones, each with as
// much of the base as there is room for.
TEST(FolderEntry, NumbersABaseWithinTheLengthThatIsAllowed) {
    for (unsigned int seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::string const base = std::string("abcdefghij").substr(0, 1 + random() % 10);
        std::string const extension = random() % 3 == 0 ? "" : "tmp";
        std::string const end = extension.empty() ? "" : "." + extension;
        unsigned short const most = random() % 3 == 0 ? 0 : 1 + random() % 12;
        unsigned int const first = random() % 3 == 0 ? 0 : random() % 1500;
        bool const isCounted = first != 0;
        ListFolder folder;
        std::string expected;
        unsigned int number = first;
        GenUNStatus status = GenUNStatus::Done;
        for (bool isBare = !isCounted;; isBare = false) {
            std::string const tail = (isBare ? "" : "_" + std::to_string(number)) + end;
            if (most != 0 && (tail.size() > most || most <= end.size())) {
                status = most <= end.size() ? GenUNStatus::Other : GenUNStatus::NoNameFits;
                break;
            }
            expected = base.substr(0, most == 0 ? base.size() : most - tail.size()) + tail;
            number += !isBare;
            if (random() % 3 == 0)
                break;
            folder.entries.emplace(expected, 0);
        }
        unsigned int counter = first;
        IO::Name name("before");
        EXPECT_EQ(folder.GenerateUnusedNameFromString(&name, U(base), U(extension), most,
                                                      isCounted ? &counter : nullptr),
                  status);
        EXPECT_EQ(ToUtf8(name), status == GenUNStatus::Done ? expected : "before");
        EXPECT_EQ(counter, isCounted && status == GenUNStatus::Done ? number : first);
    }
}

TEST(FolderEntry, ReplacesWhatSomePlatformForbids) {
    ListFolder folder;
    IO::Name name;
    EXPECT_EQ(folder.GenerateUnusedNameFromString(&name, U("a:b*c?d|e\x1FGr\xC3\xBC\xC3\x9F"),
                                                  U("x/y\\"), 0, nullptr),
              GenUNStatus::Done);
    EXPECT_EQ(ToUtf8(name), "a_b_c_d_e_Gr\xC3\xBC\xC3\x9F.x_y_");
}

// Whatever fails, the outputs say where the entries are, and they are back where that worked.
TEST(FolderEntry, TakesABrokenExchangeBackAsFarAsItGoes) {
    ExchangeStatus const statuses[] = {
        ExchangeStatus::Done,       ExchangeStatus::EntryNotFound, ExchangeStatus::Other,
        ExchangeStatus::DeviceFull, ExchangeStatus::AccessDenied,  ExchangeStatus::Other,
        ExchangeStatus::Other}; // by that of the move; the last is of none that is known
    for (unsigned int status = 1; status < std::size(statuses); ++status)
        for (unsigned int moves = 0; moves < 4; ++moves)
            for (unsigned int round = 0; round < 4; ++round) {
                bool const staysB = (round & 1) != 0, staysA = (round & 2) != 0 || staysB;
                SCOPED_TRACE(testing::Message() << status << " " << moves << " " << round);
                ListFolder folder;
                folder.entries = {{"a", 'A'}, {"b", 'B'}};
                folder.moveStatuses.assign(moves, MoveStatus::Done);
                folder.moveStatuses.push_back(static_cast<MoveStatus>(status));
                if (moves == 2)
                    folder.moveStatuses.push_back(staysB ? MoveStatus::Other : MoveStatus::Done);
                folder.moveStatuses.push_back(staysA ? MoveStatus::Other : MoveStatus::Done);
                IO::Name a("a"), b("b");
                EXPECT_EQ(folder.Exchange(a, b, false, &a, &b), statuses[moves == 3 ? 0 : status]);
                ASSERT_EQ(folder.entries.size(), 2u);
                EXPECT_EQ(folder.entries[ToUtf8(a)], 'A');
                EXPECT_EQ(folder.entries[ToUtf8(b)], 'B');
                bool const isParked = staysA && (moves == 1 || moves == 2);
                EXPECT_EQ(ToUtf8(a).substr(0, 9), isParked ? "Generated" : moves == 3 ? "b" : "a");
                EXPECT_EQ(ToUtf8(b), moves == 3 || (moves == 2 && staysB) ? "a" : "b");
            }
}
