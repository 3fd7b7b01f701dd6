// What the containers and texts of the root write, read from a cut channel and while memory fails.

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Text/UniString.h>
#include <Kestrel/Root/Values/Guid.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using Mu::NoError;

struct Values {
    Mu::Array<unsigned int> numbers;
    Mu::HashSet<Mu::UniString> names;
    Mu::HashTable<Mu::String, unsigned int> ages;
    Mu::UniString text;
    Mu::String narrow;
    Mu::ClassVersion version{0, 0};
    Mu::Guid guid;

    void Fill() {
        for (unsigned int i = 0; i < 40; ++i) {
            numbers.Push(i);
            names.Insert(Mu::UniString::Printf("name %d", i));
            ages.Set(Mu::String(std::to_string(i).c_str()), i);
        }
        text = U(std::string(300, 't')); // does not fit into the place for short ones
        narrow = "a\xC3\xA4";
        version = Mu::ClassVersion(3, 4);
        guid.data1 = 7;
    }

    // Up to the first status that `each` returns for one of them.
    template <typename Each>
    MuErrCode ForEach(Each const & each) {
        MuErrCode status = each(numbers);
        auto const next = [&](auto & value) { status = status != NoError ? status : each(value); };
        next(names);
        next(ages);
        next(text);
        next(narrow);
        next(version);
        next(guid);
        return status;
    }

    MuErrCode Read(Mu::IChannel & channel) {
        return ForEach([&](auto & value) {
            if constexpr (requires { value.Read(channel); })
                return value.Read(channel);
            else
                return value.ReadStructured(channel);
        });
    }
    // Notes where one ends and the next begins.
    MuErrCode Write(Tests::ByteOChannel & channel, std::set<std::size_t> * ends = nullptr) {
        return ForEach([&](auto & value) {
            if (ends != nullptr)
                ends->insert(channel.GetBytes().size());
            if constexpr (requires { value.Write(channel); })
                return value.Write(channel);
            else
                return value.WriteStructured(channel);
        });
    }
    std::string ToBytes(std::set<std::size_t> * ends = nullptr) {
        Tests::ByteOChannel channel;
        EXPECT_EQ(Write(channel, ends), NoError);
        return channel.GetBytes();
    }
};

TEST(RootSweep, ObjectsAreReadWholeOrRefused) {
    Values values;
    values.Fill();
    std::string const bytes = values.ToBytes();
    SweepAllocations([&](bool failed) {
        Tests::ByteIChannel input(bytes);
        Values read;
        MuErrCode const status = read.Read(input);
        EXPECT_TRUE(status == NoError || (failed && status == Mu::ErrMemoryFull)) << status;
        EXPECT_TRUE(status != NoError || failed || read.ToBytes() == bytes);
    });
}

// The channel ends clean between two objects only, for who reads as for who writes.
TEST(RootSweep, ObjectsThatAreCutAreBroken) {
    Values values;
    values.Fill();
    std::set<std::size_t> ends;
    std::string const bytes = values.ToBytes(&ends);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        Tests::ByteIChannel cut(bytes.substr(0, length));
        Values read;
        ASSERT_EQ(read.Read(cut), ends.count(length) != 0 ? Mu::EOI : Mu::Error) << length;
        ASSERT_EQ(read.text.CheckState(), NoError);
        ASSERT_TRUE(read.text.IsEmpty() || read.text == values.text);
        Tests::ByteOChannel full(length);
        ASSERT_EQ(values.Write(full), Mu::EOO) << length;
    }
}

} // namespace
