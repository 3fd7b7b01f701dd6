#include <Kestrel/Socket/NetworkInterface.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Socket/Internal/FetchTable.h>
#include <Kestrel/Socket/Internal/MergeInterfaces.h>

#include "Tests/Socket/Loopback.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Socket/DrawnTables.h"
#include "Tests/Support/Socket/MadeInterfaces.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace IO::Socket;
using Interfaces = Mu::PagedArray<NetworkInterface>;
using Tests::MadeInterfaces;

namespace {

std::vector<std::string> DescribeAll(Interfaces const & interfaces) {
    std::vector<std::string> lines;
    for (NetworkInterface const & interface : interfaces)
        lines.push_back(Tests::Describe(interface));
    return lines;
}

NetworkInterface MakeInterface(char const * name, std::vector<InternetAddress> const & list) {
    Mu::PagedArray<NetworkInterfaceAddress> addresses;
    for (InternetAddress const & address : list)
        addresses.Emplace(address, 24u);
    return NetworkInterface(U(name), 1500, NetworkInterface::Up, addresses, {}, HardwareAddress());
}

} // namespace

TEST(NetworkInterface, IsMergedAsTheRulesSay) {
    for (unsigned int seed = 1; seed <= 3000; ++seed) {
        InterfaceTables const tables = Tests::DrawTables(seed);
        Interfaces result;
        MergeInterfaces(tables, result);
        ASSERT_EQ(DescribeAll(result), Tests::GetExpected(tables)) << "seed " << seed;
    }
}

TEST(NetworkInterface, ListsAllOrNothing) {
    MadeInterfaces made;
    made.Set({{}, {InternetAddress(5, 6, 7, 8)}});
    SweepAllocations([&](bool) {
        Interfaces first;
        Interfaces behind;
        behind.Push(MakeInterface("kept", {}));
        try {
            EXPECT_EQ(NetworkInterface::GetNetworkInterfaces(first), 2u);
            EXPECT_EQ(NetworkInterface::GetNetworkInterfaces(behind), 2u);
        } catch (Mu::OutOfMemoryException const &) {
            EXPECT_EQ(first.GetSize() % 2, 0u);
            EXPECT_EQ(behind.GetSize(), 1u);
            throw;
        }
        ASSERT_EQ(behind.GetSize(), 3u);
        EXPECT_EQ(behind[0], MakeInterface("kept", {}));
        EXPECT_EQ(behind[2], MakeInterface("eth1", {InternetAddress(5, 6, 7, 8)}));
    });
}

TEST(NetworkInterface, SaysWhichTableIsMissing) {
    char const * const what[] = {"interface table", "address table", "adapter addresses",
                                 "adapter infos"};
    for (int failing = 0; failing < 4; ++failing) {
        MadeInterfaces made;
        made.Set({{InternetAddress(1, 2, 3, 4)}});
        made.failing = failing;
        made.error = failing % 2 == 0 ? 10055 : InterfaceCalls::FailedWithoutCode;
        Interfaces result;
        result.Push(MakeInterface("kept", {}));
        EXPECT_EQ(
            Tests::Describe([&] { NetworkInterface::GetNetworkInterfaces(result); })
                .rfind("NetworkInterfaceException: Failed to get network interfaces: failed "
                       "to get " +
                           std::string(what[failing]) +
                           (failing % 2 == 0 ? ". (Error code: 10055." : ". (Error code: 0.)"),
                       0),
            0u);
        EXPECT_EQ(result.GetSize(), 1u);
        EXPECT_EQ(made.calls, failing + 1) << "stops there";
    }
}

TEST(NetworkInterface, IsEqualByNameAndAddresses) {
    InternetAddress const a(1, 1, 1, 1);
    InternetAddress const b(2, 2, 2, 2);
    NetworkInterface const both = MakeInterface("eth0", {a, b});
    Mu::PagedArray<NetworkInterfaceAddress> addresses;
    addresses.Emplace(b, 8u);
    addresses.Emplace(a, b, 9u);
    EXPECT_FALSE(addresses[0].HasBroadcastAddress());
    EXPECT_TRUE(addresses[1].HasBroadcastAddress());
    EXPECT_EQ(both, NetworkInterface(U("eth0"), 9, 0, addresses, {}, HardwareAddress("x", 1)));
    EXPECT_NE(both, MakeInterface("eth1", {a, b}));
    EXPECT_NE(both, MakeInterface("eth0", {a}));
    EXPECT_EQ(MakeInterface("eth0", {a, a}), both) << "each of the first is in the second";
    EXPECT_NE(both, MakeInterface("eth0", {a, a}));
}

// By the results of the two calls: a table that fits at once, needs more room, or grew in between.
TEST(NetworkInterface, AsksForEachTableTwice) {
    constexpr unsigned int tooSmall = 122;
    for (auto const mode : {SecondFailure::ItsOwn, SecondFailure::ThatOfTheFirst})
        for (unsigned int const first : {0u, tooSmall, 50u})
            for (unsigned int const second : {0u, tooSmall, 51u}) {
                SCOPED_TRACE(std::to_string(first) + ", " + std::to_string(second));
                std::vector<unsigned int> rooms;
                auto const call = [&](TableBlock & room, unsigned int * size, bool isSecond) {
                    std::fill_n(room.Get<char>(), *size, 'x');
                    rooms.push_back(*size);
                    *size = 1000;
                    return isSecond ? second : first;
                };
                TableBlock block;
                unsigned int expected = first == 50 ? first : second;
                if (mode == SecondFailure::ThatOfTheFirst && expected != 0)
                    expected = first != 0 ? first : InterfaceCalls::FailedWithoutCode;
                EXPECT_EQ(FetchTable(block, 28, tooSmall, mode, call), expected);
                EXPECT_EQ(rooms.size(), first == 50 ? 1u : 2u);
                EXPECT_EQ(rooms.back(), first == tooSmall ? 1000u : 28u);
            }
}
