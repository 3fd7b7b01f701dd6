// What the containers and texts of the root write, read while memory fails.

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Root/Array.h>
#include <Kestrel/Root/ErrorCodes.h>
#include <Kestrel/Root/Frame.h>
#include <Kestrel/Root/Guid.h>
#include <Kestrel/Root/HashSet.h>
#include <Kestrel/Root/HashTable.h>
#include <Kestrel/Root/String.h>
#include <Kestrel/Root/UniString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using Mu::NoError;

std::string const longText(300, 't'); // does not fit into the place that a text has for a short one

struct Values {
    Mu::Array<unsigned int> numbers;
    Mu::HashSet<Mu::UniString> names;
    Mu::HashTable<Mu::String, unsigned int> ages;
    Mu::UniString text;
    Mu::Guid guid;

    void Fill() {
        for (unsigned int i = 0; i < 40; ++i) {
            numbers.Push(i);
            names.Insert(Mu::UniString::Printf("name %d", i));
            ages.Set(Mu::String(std::to_string(i).c_str()), i);
        }
        text = U(longText);
        guid.data1 = 7;
    }

    MuErrCode Write(Mu::OChannel & channel) const {
        numbers.Write(channel);
        names.Write(channel);
        ages.Write(channel);
        text.Write(channel);
        guid.WriteStructured(channel);
        return channel.GetOutputStatus();
    }

    MuErrCode Read(Mu::IChannel & channel) {
        MuErrCode status = numbers.Read(channel);
        auto const take = [&](auto & value) {
            if (status == NoError)
                status = value.Read(channel);
        };
        take(names);
        take(ages);
        take(text);
        return status != NoError ? status : guid.ReadStructured(channel);
    }

    bool IsSame(Values const & other) const {
        auto const areSame = [](auto const & a, auto const & b) {
            return std::equal(a.begin(), a.end(), b.begin(), b.end());
        };
        return areSame(numbers, other.numbers) && areSame(names, other.names) &&
               std::equal(ages.begin(), ages.end(), other.ages.begin(), other.ages.end(),
                          [](auto const & a, auto const & b) {
                              return a.key == b.key && a.value == b.value;
                          }) &&
               text == other.text && guid == other.guid;
    }
};

// OutputFrame, InputFrame, FrameVersionScope, HashSet, HashTable, Guid.
TEST(RootSweep, ObjectsAreReadWholeOrRefused) {
    Values values;
    values.Fill();
    Tests::ByteOChannel output;
    ASSERT_EQ(values.Write(output), NoError);
    SweepAllocations([&](bool failed) {
        Tests::ByteIChannel input(output.GetBytes());
        Values read;
        MuErrCode const status = read.Read(input);
        EXPECT_TRUE(status == NoError || (failed && status == Mu::ErrMemoryFull)) << status;
        EXPECT_EQ(read.IsSame(values), status == NoError);
        Mu::FrameVersionScope const scope(Mu::ArrayPrivate::classInfo, Mu::ClassVersion(9, 1));
        Tests::ByteOChannel newer;
        EXPECT_EQ(values.numbers.Write(newer), NoError);
        Tests::ByteIChannel again(newer.GetBytes());
        Mu::InputFrame const frame(again, Mu::ArrayPrivate::classInfo);
        EXPECT_EQ(frame.GetMainVersion(), 9u);
    });
}

} // namespace
