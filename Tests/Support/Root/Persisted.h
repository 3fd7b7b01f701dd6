#pragma once

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <typeinfo>

// Objects as the bytes that they are written as.

namespace Tests {

template <typename T>
MuErrCode WriteTo(Mu::OChannel & channel, T const & object) {
    MuErrCode status;
    if constexpr (requires { object.Write(channel); })
        status = object.Write(channel);
    else
        status = object.WriteStructured(channel);
    return status != Mu::NoError ? status : channel.Flush();
}

template <typename T>
std::string ToBytes(T const & object) {
    ByteOChannel channel;
    (void)WriteTo(channel, object);
    return channel.GetBytes();
}

template <typename T>
MuErrCode FromBytes(std::string const & bytes, T & object) {
    ByteIChannel source(bytes);
    Mu::IChannel & channel = source;
    if constexpr (requires { object.Read(channel); })
        return object.Read(channel);
    else
        return object.ReadStructured(channel);
}

/// What may become of the bytes of an object on their way: cut, changed, or read without memory. It
/// is read whole or refused. `bytes` may be of an older form.
template <typename T>
void ExpectSafeReading(T const & object, std::string const & bytes) {
    SCOPED_TRACE(typeid(T).name());
    std::string const same = ToBytes(object);
    T whole;
    EXPECT_EQ(FromBytes(bytes, whole), Mu::NoError);
    EXPECT_EQ(ToBytes(whole), same);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        T back;
        MuErrCode const status = FromBytes(bytes.substr(0, size), back);
        EXPECT_TRUE(status == Mu::EOI || (status == Mu::Error && size != 0)) << size;
    }
    UnmarkedOChannel device;
    EXPECT_EQ(WriteTo(device, object), Mu::NoError);
    for (unsigned int room = 1; room < device.GetBytes().size(); ++room) {
        UnmarkedOChannel full(room);
        EXPECT_EQ(WriteTo(full, object), Mu::EOO) << room;
        ByteOChannel marked(room);
        EXPECT_EQ(WriteTo(marked, object), room < same.size() ? Mu::EOO : Mu::NoError) << room;
    }
    std::mt19937 random(6);
    unsigned long long most = 0;
    for (int i = 0; i < 4000; ++i) {
        std::string broken = bytes;
        for (unsigned int n = 1 + random() % 3; n != 0; --n)
            broken[random() % broken.size()] = static_cast<char>(random());
        if (i % 4 == 0)
            for (char & c : broken)
                c = static_cast<char>(random());
        unsigned long long const before = CountAllocations();
        T back;
        (void)FromBytes(broken, back);
        most = std::max(most, CountAllocations() - before);
        EXPECT_LE(ToBytes(back).size(), bytes.size() * 4);
    }
    EXPECT_LT(most, 200u) << "no length in the bytes is believed";
    SweepAllocations([&](bool failed) {
        T back;
        MuErrCode const status = FromBytes(bytes, back);
        EXPECT_TRUE(status == Mu::NoError || (failed && status == Mu::ErrMemoryFull)) << status;
        EXPECT_TRUE(failed || ToBytes(back) == same);
    });
}

template <typename T>
void ExpectSafeReading(T const & object) {
    ExpectSafeReading(object, ToBytes(object));
}

} // namespace Tests
