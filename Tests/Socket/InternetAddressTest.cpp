#include <Kestrel/Socket/InternetAddress.h>

#include <Kestrel/Socket/NetworkInterface.h>
#include <Kestrel/Socket/Platform/ForwardingSocketCalls.h>

#include <Kestrel/Root/Errors/Exceptions.h>

#include "Tests/Socket/Loopback.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Socket/MadeInterfaces.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

using namespace IO::Socket;
using Tests::MadeInterfaces;

namespace {

std::string T(Mu::String const & text) {
    return std::string(text.begin(), text.end());
}

/// A resolver without a network: knows what a test tells it, and counts the lists that it gave away.
class Resolver final : public ForwardingSocketCalls {
public:
    struct Entry {
        int family;
        unsigned char address[4];
        char const * name;
    };

    Resolver() : ForwardingSocketCalls(GetPlatformSocketCalls()) { SetSocketCalls(this); }
    ~Resolver() override {
        SetSocketCalls(nullptr);
        EXPECT_EQ(lists, 0) << "a list was not freed";
    }

    unsigned int GetHostName(char * name, unsigned int size) override {
        EXPECT_EQ(size, 1024u);
        machine.copy(name, machine.size() + 1);
        name[machine.size()] = 0;
        return machineError;
    }
    unsigned int GetAddrInfo(char const * name, AddressList * list) override {
        auto const found = hosts.find(name);
        *list = nullptr;
        if (found == hosts.end())
            return WSAError::HostNotFound;
        found->second.push_back({-1, {}, nullptr}); // the end
        *list = found->second.size() == 1 ? nullptr : found->second.data();
        lists += *list != nullptr;
        return WSAError::None;
    }
    void ReadAddrInfo(AddressList * place, AddressInfo * entry) override {
        auto const at = static_cast<Entry *>(*place);
        *entry = {at->family, {InternetFamily, 0, {}}, at->name};
        std::copy_n(at->address, 4, entry->address.address);
        *place = at[1].family == -1 ? nullptr : at + 1;
    }
    void FreeAddrInfo(AddressList) override { --lists; }
    unsigned int GetNameInfo(SocketAddress const & address, char * host, unsigned int hostSize,
                             char *, unsigned int serviceSize) override {
        EXPECT_EQ(hostSize, 1025u);
        EXPECT_EQ(serviceSize, 32u);
        EXPECT_EQ(address.port, 0);
        return Copy(reverse, host);
    }
    unsigned int GetHostByAddr(unsigned char const (&)[4], char * name, unsigned int) override {
        return Copy(olderReverse, name);
    }
    unsigned int FormatMessage(unsigned int, char16_t * text, unsigned int) override {
        *text = u'?';
        return hasMessages ? 1 : 0;
    }

    std::string machine = "machine";
    unsigned int machineError = 0;
    std::map<std::string, std::vector<Entry>> hosts;
    std::optional<std::string> reverse;
    std::optional<std::string> olderReverse;
    bool hasMessages = true;

private:
    static unsigned int Copy(std::optional<std::string> const & from, char * to) {
        if (!from)
            return WSAError::HostNotFound;
        to[from->copy(to, from->size())] = 0;
        return WSAError::None;
    }

    int lists = 0;
};

std::string Describe(InternetAddress address) {
    return T(address.GetHostAddress()) + "=" + T(address.GetHostName());
}

} // namespace

TEST(InternetAddress, KnowsItsRanges) {
    for (unsigned int first = 0; first < 256; ++first)
        for (unsigned int second = 0; second < 256; ++second) {
            InternetAddress const address(static_cast<unsigned char>(first),
                                          static_cast<unsigned char>(second), 0, 1);
            ASSERT_EQ(address.IsMulticastAddress(), first / 16 == 14 || first == 240) << first;
            ASSERT_EQ(address.IsLinkLocalAddress(), first * 256 + second == 0xA9FE);
            ASSERT_EQ(address.IsPrivateAddress(), first == 10 || first * 256 + second == 0xC0A8 ||
                                                      (first * 256 + second) / 16 == 0xAC1);
            ASSERT_EQ(address.IsLookbackAddress(), first * 256 + second == 0x7F00);
            ASSERT_FALSE(address.IsAnyAddress());
        }
    EXPECT_FALSE(InternetAddress(127, 0, 0, 2).IsLookbackAddress());
    EXPECT_TRUE(InternetAddress::Any.IsAnyAddress());
    EXPECT_EQ(Describe(InternetAddress::Any), "0.0.0.0=0.0.0.0");
}

// Whatever is drawn, the reading is what the numbers give that it was written from.
TEST(InternetAddress, ReadsTheFormsOfAnAddress) {
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        unsigned int const parts = 1 + random() % 4;
        unsigned long long number = 0;
        std::string text;
        for (unsigned int part = 0; part < parts; ++part) {
            unsigned int const bits = part + 1 < parts ? 8 : 8 * (5 - parts);
            unsigned long long const value =
                (random() | static_cast<unsigned long long>(random() % 2) << 32) &
                ((random() % 20 == 0 ? 1ull << (bits + 1) : 1ull << bits) - 1);
            if (value >> bits != 0)
                number |= 1ull << 40; // does not fit
            number |= value << (part + 1 < parts ? 24 - 8 * part : 0);
            char form[32];
            char const * const forms[] = {"%s%llu", "%s0%llo", "%s0x%llx", "%s0X%llX"};
            std::snprintf(form, sizeof(form), forms[random() % 4], part > 0 ? "." : "", value);
            text += form;
        }
        char const * const ends[] = {"", " x", "\n", "x", ".", "-1"};
        unsigned int const end = random() % 8 < 6 ? 0 : random() % 6;
        text += ends[end];
        bool const isRead = number < 0xFFFFFFFFull && end <= 2;
        SCOPED_TRACE(text);
        ASSERT_EQ(InternetAddress::IsHostAddress(text.c_str()), isRead);
        if (!isRead)
            continue;
        InternetAddress const read = InternetAddress::GetByAddress(text.c_str());
        for (int byte = 0; byte < 4; ++byte)
            ASSERT_EQ(read.GetAddress()[byte], number >> (24 - 8 * byte) & 0xFF);
    }
    for (char const * const text : {"08.1.1.1", "0x", "1..2", ".1", " 1.2.3.4", "+1.2.3.4", "a",
                                    "255.255.255.255", "1.2.3.4.5", "4294967296"})
        EXPECT_FALSE(InternetAddress::IsHostAddress(text)) << text;
    EXPECT_FALSE(InternetAddress::IsHostAddress(Mu::String("1.2.3.4\0x", 9)));
}

TEST(InternetAddress, ParsesLaxly) {
    unsigned char bytes[4] = {1, 2, 3, 4};
    EXPECT_FALSE(InternetAddress::ParseHostAddress(U("300.1.1"), bytes));
    EXPECT_FALSE(InternetAddress::ParseHostAddress(U("1.1.1.x"), bytes));
    EXPECT_EQ(bytes[0], 1) << "a text that is refused changes nothing";
    EXPECT_TRUE(InternetAddress::ParseHostAddress(U("300.-1.4294967551.007 and more"), bytes));
    EXPECT_EQ(InternetAddress(bytes), InternetAddress(44, 255, 255, 7));
}

TEST(InternetAddress, SaysWhatIsWrong) {
    Resolver resolver;
    auto const illegal = [](char const * text) {
        return std::string("IllegalArgumentException: ") + text;
    };
    unsigned char const * const wild = reinterpret_cast<unsigned char const *>(16);
    EXPECT_EQ(Tests::Describe([] { InternetAddress(static_cast<unsigned char const *>(nullptr)); }),
              illegal("Invalid IPv4 address: address in null."));
    EXPECT_EQ(Tests::Describe([&] { InternetAddress::GetByAddress(wild); }),
              illegal("Invalid IPv4 address: invalid memory address."));
    EXPECT_EQ(Tests::Describe([] { InternetAddress::IsHostAddress(""); }),
              illegal("Invalid host address: address is empty."));
    EXPECT_EQ(Tests::Describe([] { InternetAddress::GetByAddress(Mu::String("1.2.3.x")); }),
              "UnknownHostException: Invalid host address: '1.2.3.x'");
    std::string const unknown =
        "UnknownHostException: Failed to resolve host name with name service: ";
    auto const byName = [](Mu::String const & name) {
        return Tests::Describe([&] { InternetAddress::GetByName(name); });
    };
    EXPECT_EQ(byName("no.where"), unknown + "'no.where'. (Error code: 11001. Error message: ?.)");
    resolver.hasMessages = false;
    EXPECT_EQ(byName("no.where"), unknown + "'no.where'. (Error code: 11001.)");
    EXPECT_EQ(byName(std::string(10000, 'n').c_str()),
              unknown + "'" + std::string(10000, 'n') + "'. (Error code: 11001.)");
    resolver.hosts["local"] = {{InternetFamily, {1, 2, 3, 4}, nullptr}};
    EXPECT_NE(byName(Mu::String("local\0host", 10)), "") << "the name does not end at the zero";
    resolver.hosts["nothing"] = {};
    EXPECT_EQ(byName("nothing"), unknown + "'nothing'.");
    resolver.hosts["other"] = {{23, {}, "other"}};
    EXPECT_EQ(byName("other"), unknown + "'other'.");
}

TEST(InternetAddress, AppendsWhatTheResolverHas) {
    Resolver resolver;
    resolver.hosts["host"] = {{InternetFamily, {1, 2, 3, 4}, "real.host"},
                              {23, {9, 9, 9, 9}, nullptr},
                              {InternetFamily, {5, 6, 7, 8}, nullptr}};
    SweepAllocations([&](bool) {
        resolver.hosts["host"].resize(3);
        Mu::PagedArray<InternetAddress> found;
        found.Push(InternetAddress(1, 1, 1, 1));
        try {
            EXPECT_EQ(InternetAddress::GetAllByName("", found), 1u);
            EXPECT_EQ(InternetAddress::GetAllByName("host", found), 2u);
        } catch (Mu::OutOfMemoryException const &) {
            EXPECT_LE(found.GetSize(), 2u) << "all of a name or nothing";
            throw;
        }
        ASSERT_EQ(found.GetSize(), 4u);
        EXPECT_EQ(Describe(found[1]), "127.0.0.1=localhost");
        EXPECT_EQ(Describe(found[2]), "1.2.3.4=real.host");
        EXPECT_EQ(Describe(found[3]), "5.6.7.8=5.6.7.8") << "only the first has a name";
    });
}

TEST(InternetAddress, KeepsTheNameThatItFound) {
    Resolver resolver;
    InternetAddress address(9, 8, 7, 6);
    EXPECT_EQ(T(address.GetHostName()), "9.8.7.6");
    resolver.olderReverse = "older";
    InternetAddress const copy = address;
    EXPECT_EQ(T(address.GetHostName()), "older") << "a failure is not kept";
    resolver.reverse = "newer";
    EXPECT_EQ(T(address.GetHostName()), "older");
    EXPECT_EQ(Describe(copy), "9.8.7.6=newer");
    EXPECT_EQ(copy, address) << "names do not count";
    resolver.machineError = WSAError::Fault;
    EXPECT_EQ(T(InternetAddress::GetLocalHostName()), "localhost");
    EXPECT_EQ(InternetAddress::GetLocalHost(), InternetAddress::Loopback);
    resolver.machineError = 0;
    EXPECT_EQ(T(InternetAddress::GetLocalHostName()), "machine");
}

TEST(InternetAddress, FindsThisMachineAmongItsInterfaces) {
    Resolver resolver;
    MadeInterfaces interfaces;
    auto const local = [&](std::vector<std::vector<InternetAddress>> const & addresses) {
        interfaces.Set(addresses);
        std::string description;
        std::string const thrown =
            Tests::Describe([&] { description = Describe(InternetAddress::GetLocalHost()); });
        return thrown + description;
    };
    InternetAddress const quad(8, 8, 4, 4);
    InternetAddress const other(8, 8, 8, 8);
    InternetAddress const ten(10, 0, 0, 9);
    InternetAddress const home(192, 168, 1, 5);
    EXPECT_EQ(local({{InternetAddress::Loopback}, {home}}), "192.168.1.5=machine");
    EXPECT_EQ(local({{quad}, {ten, home}}), "10.0.0.9=machine");
    EXPECT_EQ(local({{InternetAddress::Any}, {quad, other}}), "8.8.4.4=machine");
    EXPECT_EQ(local({{InternetAddress::Loopback}, {}}), "127.0.0.1=machine");
    std::string const unknown =
        "UnknownHostException: Failed to resolve host name with name service: 'machine'.";
    EXPECT_EQ(local({}), unknown + " Network interfaces not found.");
    interfaces.failing = 2;
    EXPECT_EQ(local({{home}}), unknown);
    resolver.machine = "localhost";
    EXPECT_EQ(local({{home}}), "127.0.0.1=localhost");
    resolver.hosts["localhost"] = {{InternetFamily, {7, 7, 7, 7}, nullptr}};
    resolver.reverse = "seven";
    EXPECT_EQ(local({{home}}), "7.7.7.7=seven");
}
