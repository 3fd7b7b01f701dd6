#include <Kestrel/Reflection/Reflectable.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Reflection/Level.h"

#include <Kestrel/Location/RelativeLocation.h>

#include <gtest/gtest.h>

#include <limits>

namespace {

using IO::Name;
using IO::Reflectable;
using IO::RelativeLocation;
using Value = Reflectable::AttributeValue;

TEST(AttributeValue, ReadsAlikeOnAllPlatforms) {
    struct Row {
        Value value;
        int tag;
        char const * text;
    };
    Row const rows[] = {
        {Value(), 7, ""},
        {Value(short{-1}), 1, "-1"},
        {Value(std::numeric_limits<long long>::min()), 1, "-9223372036854775808"},
        {Value(-5L), 1, "-5"},
        {Value(~0ull), 2, "18446744073709551615"},
        {Value(7u), 2, "7"},
        {Value(0.5f), 3, "0.5"},
        {Value(1e20), 3, "1e+20"},
        {Value(0.1), 3, "0.1"},
        {Value(1.0 / 3), 3, "0.3333333333333333"},
        {Value(true), 4, "true"},
        {Value(false), 4, "false"},
        {Value("text"), 5, "text"},
        {Value(static_cast<void *>(nullptr)), 6, "NULL"},
        {Value(reinterpret_cast<void *>(0xabcdef)), 6, "0x0000000000ABCDEF"},
    };
    for (Row const & row : rows) {
        Value const copy(row.value);
        EXPECT_EQ(copy.tag, row.tag) << row.text;
        EXPECT_EQ(copy.ToString(), row.text);
        EXPECT_EQ(copy.value.integer, row.value.value.integer);
    }
    EXPECT_STREQ(Reflectable::Attribute().GetTypeString(), "");
}

TEST(Reflectable, ReadsItsNamesBack) {
    for (unsigned long long bits :
         {0ull, 1ull, 0x7fffffffull, 0x80000000ull, 0xffffffffull, 0x123456789abcdefull, ~0ull}) {
        void const * const pointer = reinterpret_cast<void const *>(bits);
        EXPECT_EQ(Reflectable::ToPointer(Reflectable::ToName(pointer)), pointer);
        unsigned int const word = static_cast<unsigned int>(bits);
        EXPECT_EQ(Reflectable::ToULong(Reflectable::ToName(word)), word);
        int const number = static_cast<int>(word);
        EXPECT_EQ(Reflectable::ToSLong(Reflectable::ToName(number)), number);
    }
    EXPECT_EQ(Reflectable::ToName(0.25), "0.250000");
    double const largest = std::numeric_limits<double>::max();
    EXPECT_EQ(Reflectable::ToDouble(Reflectable::ToName(-largest)), -largest);
}

TEST(Reflectable, ReadsNumbersFromNamesOfAnyForm) {
    struct Row {
        char const * text;
        unsigned int asUnsigned;
        int asSigned;
        double asReal;
        unsigned long long asPointer;
    };
    Row const rows[] = {
        {"", 0, 0, 0, 0},
        {"0x -1234567890ABCDEF0", 0, 0, 0, 0xfedcba9876f54322},
        {" +12 a", 12, 12, 12, 0},
        {"-1", 0xffffffffu, -1, -1, 0},
        {"010", 10, 8, 10, 0},
        {"0x1F", 0, 31, 31, 31},
        {"- 1", 0, 0, 0, 0},
        {"--1", 0, 0, 0, 0},
        {"99999999999999999999", 0xffffffffu, 0x7fffffff, 1e20, 0},
        {"-99999999999", 1, std::numeric_limits<int>::min(), -99999999999.0, 0},
        {"0x00000000000000FF00", 0, 0xff00, 0xff00, 0xff},
        {"0X1", 0, 1, 1, 0},
        {"0xinf", 0, 0, 0, 0},
    };
    for (Row const & row : rows) {
        Name const name(row.text);
        EXPECT_EQ(Reflectable::ToULong(name), row.asUnsigned) << row.text;
        EXPECT_EQ(Reflectable::ToSLong(name), row.asSigned) << row.text;
        EXPECT_EQ(Reflectable::ToDouble(name), row.asReal) << row.text;
        EXPECT_EQ(reinterpret_cast<unsigned long long>(Reflectable::ToPointer(name)), row.asPointer)
            << row.text;
    }
}

TEST(Reflectable, MatchesPatternsOfNames) {
    struct Row {
        char const * location;
        char const * pattern;
        bool fits;
    };
    Row const rows[] = {
        {"", "", true},          {"a/b", "?/b", true},    {"a/b", "a|c/b", true},
        {"a/b", "?", false},     {"a/b", "?/?/?", false}, {"a", "b|A", false},
        {"a", "|a", true},       {"c", "a|b", false},     {"a", "ab|", false},
        {"why?", "wh??", false}, {"a/x", "a/y", false},   {"a", "b|c|a", true},
    };
    for (Row const & row : rows)
        EXPECT_EQ(Reflectable::Matches(RelativeLocation(row.location), row.pattern), row.fits)
            << row.location << " and " << row.pattern;
    // Where the platform takes two spellings for one name, so does a name of a pattern.
    EXPECT_EQ(Reflectable::Matches(RelativeLocation("A"), "a"), Name("A") == "a");
    char const * const none = nullptr;
    auto const & nowhere = Tests::NullReference<RelativeLocation const>();
    EXPECT_FALSE(Reflectable::Matches(RelativeLocation("A"), none));
    EXPECT_FALSE(Reflectable::Matches(RelativeLocation("A"), nowhere));
    EXPECT_FALSE(Reflectable::Matches(nowhere, RelativeLocation("A")));
    EXPECT_EQ(Reflectable::GetName(nowhere, 0), Name());
    EXPECT_EQ(Reflectable::GetLastName(nowhere), Name());
}

struct Small : Reflectable {
    RootEntry * root = CreateRootEntry();
    StaticEntry * leaf = CreateStaticEntry("leaf");
    CustomEntryGroup * group = CreateCustomEntryGroup();
    Small() {
        Connect(root, leaf);
        Connect(group, group);
        Connect(root, nullptr);
        AddAttribute(nullptr, "none", Attribute::Real);
        AddAttribute(nullptr, Mu::UniString("none"), Attribute::Real);
        AddAttribute(leaf, static_cast<char const *>(nullptr), Attribute::Real);
        CopyAttributes(nullptr, leaf);
        CopyAttributes(leaf, nullptr);
    }
};

TEST(Reflectable, SharesItsEntriesWithItsCopies) {
    Small * const first = new Small;
    EXPECT_EQ(first->CreateRootEntry(), first->root);
    EXPECT_EQ(first->CreateCollectorEntry("c", nullptr, first->leaf), nullptr);
    Small second(*first);
    Reflectable third;
    third = second;
    second = second;
    third.CreateStaticEntry("alone");
    delete first;
    Mu::Array<Name> folders;
    Mu::Array<Name> files;
    EXPECT_TRUE(third.GetChildren(RelativeLocation(), &folders, &files));
    EXPECT_TRUE(folders == (Mu::Array<Name>{Name("leaf")}));
    third = Reflectable();
    Mu::Array<Reflectable::Attribute> attributes{Reflectable::Attribute()};
    Mu::Array<Value> values{Value()};
    EXPECT_TRUE(third.GetChildren(RelativeLocation("leaf"), &folders, &files)) << "no tree now";
    EXPECT_TRUE(third.GetAttributes(RelativeLocation("leaf"), &attributes));
    EXPECT_TRUE(third.GetAttributeValues(RelativeLocation("leaf"), &values));
    EXPECT_TRUE(folders.IsEmpty() && attributes.IsEmpty() && values.IsEmpty());
    EXPECT_FALSE(second.GetChildren(RelativeLocation("leaf/further"), &folders, &files));
    Tests::ByteOChannel channel;
    EXPECT_FALSE(second.GetContent(Tests::MakeInvalidRelative(), channel));
    Tests::ExpectRefusesNulls(second);
    folders = files = {Name("old")};
    values.Emplace(1);
    EXPECT_FALSE(second.GetEntries(second.group, {}, {}, &folders, &files));
    EXPECT_FALSE(second.GetEntryAttributeValues(second.group, "x", {}, {}, &values));
    EXPECT_TRUE(folders.IsEmpty() && files.IsEmpty() && values.IsEmpty()) << "nothing, by default";
}

TEST(Reflectable, EndsTheSearchInATreeWithoutEnd) {
    unsigned int lists = 0;
    Tests::Level tree(
        nullptr, {},
        [&](auto const &, auto & folders, auto &) {
            ++lists;
            folders.Emplace();
        },
        [](auto const &, auto &) {}, "leaf");
    Reflectable::Connect(tree.group, tree.group);
    Reflectable::StaticEntry * const fork = tree.CreateStaticEntry("fork");
    Reflectable::Connect(fork, tree.group);
    Reflectable::Connect(fork, tree.group);
    Reflectable::Connect(tree.CreateRootEntry(),
                         tree.CreateCollectorEntry("all", fork, tree.CreateRootEntry()));
    Mu::Array<Name> folders;
    Mu::Array<Name> files;
    EXPECT_TRUE(tree.GetChildren(RelativeLocation("all"), &folders, &files));
    EXPECT_TRUE(folders.IsEmpty() && files.IsEmpty());
    EXPECT_EQ(lists, 2 * 999u) << "either way as deep as trees may be";
}

// Only the names that it reads and lists take memory, one block each.
TEST(Reflectable, TakesNoMemoryForWhatItWorksWith) {
    Tests::Level tree(
        nullptr, {},
        [](auto const &, auto & folders, auto &) {
            for (int i = 0; i < 256; ++i)
                folders.Emplace(); // an empty name takes none
            folders.GetLast() = "x";
        },
        [](auto const &, auto &) {}, "leaf");
    Reflectable::Connect(tree.group, tree.group);
    RelativeLocation location("leaf");
    unsigned int const depth = 30;
    for (unsigned int i = 0; i < depth; ++i)
        ASSERT_EQ(location.Append("x"), IO::NoError);
    Mu::ArrayFB<Name, 256> folders;
    Mu::ArrayFB<Name, 256> files;
    unsigned long long const before = Tests::CountAllocations();
    ASSERT_TRUE(tree.GetChildren(location, &folders, &files));
    // The name that is read, its copies on the stack, and the last of every list.
    EXPECT_LE(Tests::CountAllocations() - before, 1 + depth + depth + 1);
}

} // namespace
