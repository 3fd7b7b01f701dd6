#include <Kestrel/Location/Location.h>

#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"
#include "Tests/Support/Root/Persisted.h"

#include <gtest/gtest.h>

#include <iterator>

using namespace Tests;
using namespace std::string_literals;
using IO::Location;

namespace {

// The parts of a persisted location, put together by hand.
struct Parts {
    Names network;
    Names local = {"C:"};
    unsigned int tailCount = 0xFFFFFFFF;
    std::string code = "\x02\0\0\0"s;
    std::string block = "\x57\x57\0\0\0\0"s;
    Names strings = {"", "", ""};
    std::string port = "\0\0"s;
};

void WriteBytes(Mu::OChannel & channel, std::string const & bytes) {
    (void)channel.WriteBin(bytes.data(), static_cast<unsigned int>(bytes.size()), nullptr);
}

IO::Address MakeAddress(Names const & names) {
    IO::Address address;
    for (std::string const & name : names)
        (void)address.Append(IO::Name(U(name)));
    return address;
}

std::string MakeBytes(unsigned char subVersion, Parts const & parts) {
    return MakeFrame(Location::GetClassInfoStatic(), {1, subVersion}, [&](Mu::OChannel & channel) {
        (void)MakeAddress(parts.network).Write(channel, parts.tailCount);
        (void)MakeAddress(parts.local).Write(channel);
        WriteBytes(channel, parts.code);
        WriteBytes(channel, parts.block);
        if (subVersion < 2)
            return;
        for (std::string const & text : parts.strings)
            (void)U(text).Write(channel);
        WriteBytes(channel, parts.port);
    });
}

using Tests::ToBytes;

template <typename T>
std::string ToBytes(T const & object, Mu::ClassVersion version) {
    Mu::FrameVersionScope const scope(T::GetClassInfoStatic(), version);
    return Tests::ToBytes(object);
}

Location MakeURL(char const * url) {
    Location location;
    EXPECT_EQ(location.Set(url), IO::NoError) << url;
    return location;
}

} // namespace

TEST(LocationPersistence, HasItsForm) {
    Parts parts;
    parts.network = {"com", "www"};
    parts.code = "\x07\0\0\0"s;
    parts.strings = {"http", "me", "pw"};
    parts.port = "\x90\x1F"s;
    EXPECT_EQ(ToBytes(MakeURL("http://me:pw@www.com:8080/C:")), MakeBytes(2, parts));
    EXPECT_EQ(ToBytes(MakeLocation({}, {"C:"})), MakeBytes(2, Parts()));
}

TEST(LocationPersistence, TellsOldReadersWhatTheyKnow) {
    Parts parts;
    parts.network = {"h"};
    EXPECT_EQ(ToBytes(MakeURL("http://me:pw@h:8080/C:"), {1, 1}), MakeBytes(1, parts));
    EXPECT_EQ(ToBytes(MakeURL("http://me:pw@h:8080/C:"), {1, 0}), MakeBytes(0, parts));
    // The oldest form of a local place has nothing of the platform.
    for (Names const & network : {Names{}, Names{"localhost"}}) {
        parts.network = network;
        parts.block = "";
        EXPECT_EQ(ToBytes(MakeLocation(network, {"C:"}), {1, 0}), MakeBytes(0, parts));
    }
    Parts unknown;
    unknown.code = "\x06\0\0\0"s;
    EXPECT_EQ(ToBytes(MakeURL("lan.unknown:///C:"), {1, 0}), MakeBytes(0, unknown));
}

TEST(LocationPersistence, PutsAFlatNameInFront) {
    for (char const * scheme : {"lan.flat", "lan.smb"}) {
        Parts parts;
        parts.network = {"a", "b"};
        parts.tailCount = 1;
        parts.code = scheme == "lan.flat"s ? "\0\0\0\0"s : "\x04\0\0\0"s;
        Location const location = MakeURL((scheme + "://b.a/C:"s).c_str());
        EXPECT_EQ(ToBytes(location), MakeBytes(2, parts));
        Location back;
        EXPECT_EQ(FromBytes(ToBytes(location), back), IO::NoError);
        EXPECT_EQ(GetNetwork(back), (Names{"a", "b"}));
    }
}

TEST(LocationPersistence, KnowsTheCodesOfModels) {
    Location::NetworkModel const models[] = {
        Location::FlatModel,    Location::FlatModel,   Location::HierarchicalModel,
        Location::SmbModel,     Location::SmbModel,    Location::NullModel,
        Location::UnknownModel, Location::SchemeModel, Location::UnknownModel,
    };
    for (unsigned int code = 0; code <= std::size(models); ++code) {
        Parts parts;
        parts.code[code < 9 ? 0 : 3] = static_cast<char>(code);
        Location back;
        EXPECT_EQ(FromBytes(MakeBytes(2, parts), back), IO::NoError);
        EXPECT_EQ(back.GetNetworkModel(), models[code < 9 ? code : 8]) << code;
    }
}

TEST(LocationPersistence, ReadsEveryVersion) {
    Parts parts;
    parts.network = {"h"};
    parts.local = {"s", "x"};
    parts.strings = {"s", "u", "p"};
    parts.port = "\x01\x02"s;
    for (unsigned char subVersion : {0, 1, 2, 3}) {
        Location back = MakeURL("old://me:pw@old:7/old");
        EXPECT_EQ(FromBytes(MakeBytes(subVersion, parts), back), IO::NoError);
        EXPECT_EQ(GetNetwork(back), Names{"h"});
        EXPECT_EQ(GetLocal(back), (Names{"s", "x"}));
        EXPECT_EQ(back.GetScheme(), subVersion < 2 ? "" : "s");
        EXPECT_EQ(back.GetUserName(), subVersion < 2 ? "" : "u");
        EXPECT_EQ(back.GetPassword(), subVersion < 2 ? "" : "p");
        EXPECT_EQ(back.GetPort(), subVersion < 2 ? 0 : 0x201);
    }
    parts.network = {};
    parts.block = "";
    Location back;
    EXPECT_EQ(FromBytes(MakeBytes(0, parts), back), IO::NoError);
    EXPECT_EQ(GetLocal(back), (Names{"s", "x"}));
}

TEST(LocationPersistence, PassesOverForeignBlocks) {
    TestResolver const resolver;
    for (char const * sign : {"\x4D\x4D", "\x6D\x6D", "\x57\x57"}) {
        Parts parts;
        parts.block = sign + "\x03\0\0\0abc"s;
        parts.strings = {"", "u", ""};
        Location back;
        EXPECT_EQ(FromBytes(MakeBytes(2, parts), back), IO::NoError);
        EXPECT_EQ(back.GetUserName(), "u");
        EXPECT_EQ(TestResolver::GetPDI(back), nullptr);
        parts.block = sign + "\xFF\xFF\xFF\xFF"s;
        EXPECT_EQ(FromBytes(MakeBytes(2, parts), back), IO::Error) << "longer than the frame";
    }
}

namespace {

// Of a class whose first version had no such mark.
template <typename T>
void ExpectAnEmptyFrame(T const & refused, T const & invalid, unsigned char subVersion) {
    auto const makeEmpty = [](unsigned char version) {
        return MakeFrame(T::GetClassInfoStatic(), {1, version}, [](Mu::OChannel &) {});
    };
    EXPECT_EQ(ToBytes(refused), makeEmpty(subVersion));
    EXPECT_EQ(ToBytes(invalid), makeEmpty(subVersion));
    T back;
    EXPECT_EQ(FromBytes(makeEmpty(subVersion), back), IO::NoError);
    EXPECT_EQ(back.GetStatus(), IO::Error);
    EXPECT_EQ(FromBytes(makeEmpty(0), back), IO::Error);
    EXPECT_EQ(back.Read(NullReference<Mu::IChannel>()), IO::Error);
    EXPECT_EQ(back.Write(NullReference<Mu::OChannel>()), IO::Error);
}

} // namespace

TEST(LocationPersistence, WritesIllHealthAsAnEmptyFrame) {
    TestResolver const resolver;
    ExpectAnEmptyFrame(Location("X"), MakeInvalidLocation(), 2);
    ExpectAnEmptyFrame(IO::RelativeLocation("X"), MakeInvalidRelative(), 1);
}

TEST(LocationPersistence, ReadsOnlyWhatIsWhole) {
    Location const location = MakeURL("lan://u:p@h.i:7/a/b");
    for (unsigned char subVersion : {0, 1, 2})
        ExpectSafeReading(subVersion < 2 ? MakeURL("lan://h.i/a/b") : location,
                          ToBytes(location, {1, subVersion}));
    std::string const bytes = ToBytes(location);
    Location back;
    for (std::size_t missing = 1; missing <= 18; ++missing) // the texts and the port
        EXPECT_EQ(FromBytes(bytes.substr(0, bytes.size() - missing), back), IO::EOI) << missing;
    ByteOChannel turned;
    EXPECT_EQ(MakeAddress({"C:", "usr", "lib"}).Write(turned, 2), IO::NoError);
    ExpectSafeReading(MakeAddress({"C:", "usr", "lib"}), turned.GetBytes());
    ExpectSafeReading(MakeRelative({"a", "b"}), ToBytes(MakeRelative({"a", "b"})));
    for (IO::Name const & name : {IO::Name("abc.txt"), IO::Name(U(std::string(500, 'x')))})
        for (Mu::ClassVersion const version : {Mu::ClassVersion(1, 0), {1, 1}, {2, 0}})
            ExpectSafeReading(name, ToBytes(name, version));
}
