#include <Kestrel/Channel/Code/Blowfish.h>
#include <Kestrel/Channel/Code/CodeIChannel.h>
#include <Kestrel/Channel/Code/CodeOChannel.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>

using IO::Blowfish;
using IO::CodeIChannel;
using IO::CodeOChannel;
using IO::MemoryIChannel;
using IO::MemoryOChannel;

namespace {

std::string FromHex(std::string const & hex) {
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string Count(int from, int count) {
    std::string bytes(static_cast<std::size_t>(count), '\0');
    std::iota(bytes.begin(), bytes.end(), static_cast<char>(from));
    return bytes;
}

std::string Encrypt(std::string const & key, std::string block) {
    Blowfish cipher;
    cipher.SetPassword(key.data(), static_cast<unsigned int>(key.size()));
    cipher.Encrypt(block.data(), static_cast<unsigned int>(block.size()));
    return block;
}

std::string const key = "a key";

std::string Encode(std::string const & text, unsigned int flushEvery = 0) {
    MemoryOChannel out;
    {
        CodeOChannel code(out, key.data(), static_cast<unsigned int>(key.size()));
        unsigned int const step = flushEvery != 0 ? flushEvery : 1000;
        for (std::size_t at = 0; at < text.size(); at += step) {
            std::string const piece = text.substr(at, step);
            EXPECT_EQ(code.WriteBin(piece.data(), static_cast<unsigned int>(piece.size()), nullptr),
                      IO::NoError);
            if (flushEvery != 0) {
                EXPECT_EQ(code.Flush(), IO::NoError);
            }
        }
    }
    char const * const bytes = out.GetDestination();
    return std::string(bytes, out.GetDataSize());
}

/// A code channel over bytes.
struct Decoder {
    explicit Decoder(std::string const & text, std::string const & withKey = key)
        : bytes(text), in(bytes.data(), static_cast<unsigned int>(bytes.size()),
                          MemoryIChannel::LeaveWithCaller),
          code(in, withKey.data(), static_cast<unsigned int>(withKey.size())) {}

    // Up to a status, or `limit` bytes.
    std::string Read(unsigned int pieceSize, std::size_t limit = 100000) {
        std::string text;
        std::string piece(pieceSize, '\0');
        while (status == IO::NoError && text.size() < limit) {
            unsigned int read = 0;
            status = code.ReadBin(piece.data(), pieceSize, &read);
            text.append(piece, 0, read);
        }
        return text;
    }

    std::string bytes;
    MemoryIChannel in;
    CodeIChannel code;
    MuErrCode status = IO::NoError;
};

} // namespace

// Worked out by another implementation, from digits of pi of its own.
TEST(Blowfish, GivesTheCiphertextOfItsVariant) {
    struct {
        std::string key;
        char const *zeros, *numbers, *ones;
    } const rows[] = {
        {"", "01f5d2a3c523d4b7", "e25187cd094aa630", "0b39a9c8439ed8f7"},
        {std::string(8, '\0'), "7a38eacf056d789a", "40ee733256bc4d31", "98d8249cea2427dc"},
        {"a", "1fa3889eb661aac6", "1ea8511158662c51", "841bbb15a7da8f32"},
        {"abc", "685ed99febc1e601", "e608c5334155f86c", "581c6f7296b4603d"},
        {"abcabc", "685ed99febc1e601", "e608c5334155f86c", "581c6f7296b4603d"},
        {Count(1, 56), "f27a742ee4a78aaa", "3d83cb5b765fe6a8", "7ec4151447cc85aa"},
        {Count(0, 100), "81272b446911ade7", "799cc7973ab9d0e8", "94c604f41d8b88ac"},
        {"\x80\xff\xfe", "1009403a48d2e1bd", "7a9ec26089b72f4f", "d2063dea2ddcdf6d"},
        {"Kestrel", "9d19dd14468d2a98", "afef10af315a578d", "f37f375c83a71093"},
    };
    for (auto const & row : rows) {
        SCOPED_TRACE(row.key);
        EXPECT_EQ(Encrypt(row.key, std::string(8, '\0')), FromHex(row.zeros));
        EXPECT_EQ(Encrypt(row.key, Count(0, 8)), FromHex(row.numbers));
        EXPECT_EQ(Encrypt(row.key, std::string(8, '\xFF')), FromHex(row.ones));
        EXPECT_EQ(Encrypt(row.key, Count(0, 8) + std::string(8, '\0')),
                  FromHex(std::string(row.numbers) + row.zeros))
            << "each block by itself";
    }
    EXPECT_NE(Encrypt(std::string(8, '\0'), std::string(8, '\0')), FromHex("4ef997456198dd78"))
        << "the published cipher is another";
}

TEST(Blowfish, DeciphersWithKeysOfAnyLength) {
    for (unsigned int length = 1; length <= 100; ++length) {
        std::string const password = Count(static_cast<int>(length) * 3, static_cast<int>(length));
        Blowfish cipher;
        cipher.SetPassword(password.data(), length);
        std::string text = Count(0, 64);
        cipher.Encrypt(text.data(), 64);
        EXPECT_NE(text, Count(0, 64));
        Blowfish const copy = cipher;
        copy.Decrypt(text.data(), 64);
        EXPECT_EQ(text, Count(0, 64));
    }
}

TEST(Blowfish, CiphersABlockByItsHalves) {
    Blowfish cipher;
    cipher.SetPassword("abc", 3);
    Blowfish::Word left{0x03020100};
    Blowfish::Word right{0x07060504};
    cipher.BF_En(&left, &right);
    EXPECT_EQ(left.word, 0x33C508E6u); // e608c533 and 4155f86c, low byte first
    EXPECT_EQ(right.word, 0x6CF85541u);
    cipher.BF_De(&left, &right);
    EXPECT_EQ(left.word, 0x03020100u);
    EXPECT_EQ(right.word, 0x07060504u);
}

TEST(Blowfish, LeavesAloneWhatIsNoBlock) {
    Blowfish cipher;
    cipher.SetPassword("key", 3);
    for (unsigned int size : {0u, 1u, 7u, 12u, 15u}) {
        std::string text(size, 'x');
        cipher.Encrypt(text.data(), size);
        EXPECT_EQ(text, std::string(size, 'x'));
    }
    std::string block(8, '\0');
    cipher.Encrypt(block.data(), 8);
    std::string const withKey = block;
    cipher.SetPassword(nullptr, 3);
    cipher.SetPassword("other", 0);
    std::string again(8, '\0');
    cipher.Encrypt(again.data(), 8);
    EXPECT_EQ(again, withKey) << "no key changes no key";
    cipher.Reset();
    again.assign(8, '\0');
    cipher.Encrypt(again.data(), 8);
    EXPECT_EQ(again, FromHex("01f5d2a3c523d4b7"));
}

TEST(CodeOChannel, WritesRecordsAndTheEnd) {
    std::string const end(19, '\0');
    EXPECT_EQ(Encode(""), end);
    std::string const text = Count(1, 17);
    std::string const first = std::string("\x7F\x7F\x10") + Encrypt(key, text.substr(0, 16));
    EXPECT_EQ(Encode(text.substr(0, 16)), first + end);
    std::string const second =
        std::string("\x7F\x7F\x01") + Encrypt(key, text.substr(16) + std::string(15, '\0'));
    EXPECT_EQ(Encode(text), first + second + end);
    MemoryOChannel out;
    CodeOChannel code(out, key.data(), 5);
    unsigned long long position = 0;
    (void)code.WriteBin("12345", 5, nullptr);
    (void)code.Flush();
    (void)code.GetOutputPosition(&position);
    EXPECT_EQ(position, 5u) << "plain bytes count";
}

TEST(CodeChannels, ReadBackInAnyPieces) {
    std::string const text = Count(0, 127) + Count(0, 127) + Count(5, 60);
    for (unsigned int flushEvery : {0u, 1u, 5u, 16u, 33u}) {
        std::string const bytes = Encode(text, flushEvery);
        for (unsigned int piece : {1u, 3u, 16u, 19u, 1000u}) {
            Decoder decoder(bytes);
            EXPECT_EQ(decoder.Read(piece), text);
            EXPECT_EQ(decoder.status, IO::EOI);
            unsigned long long position = 0;
            (void)decoder.code.GetInputPosition(&position);
            EXPECT_EQ(position, text.size());
        }
    }
    Tests::ForEachIChannel(Encode(text), [&](Mu::IChannel & source) {
        CodeIChannel code(source, key.data(), static_cast<unsigned int>(key.size()));
        std::string back(text.size(), '\0');
        unsigned int read = 0;
        (void)code.ReadBin(back.data(), static_cast<unsigned int>(back.size()), &read);
        EXPECT_EQ(read, text.size());
        EXPECT_EQ(back, text);
    });
}

TEST(CodeChannels, ReadTwoStreamsInARow) {
    Decoder decoder(Encode("first") + Encode("second"));
    EXPECT_EQ(decoder.Read(100), "first");
    EXPECT_EQ(decoder.status, IO::EOI);
    decoder.code.ResetInputStatus();
    decoder.status = IO::NoError;
    EXPECT_EQ(decoder.Read(100), "second");
}

TEST(CodeIChannel, TakesAWrongKeyForARightOne) {
    Decoder decoder(Encode(Count(0, 48)), "another key");
    std::string const text = decoder.Read(100);
    EXPECT_EQ(text.size(), 48u);
    EXPECT_NE(text, Count(0, 48));
    EXPECT_EQ(decoder.status, IO::EOI);
    EXPECT_EQ(decoder.code.GetCodeError(), IO::NoError);
}

TEST(CodeIChannel, GoesOnBehindALoss) {
    std::string const text = Count(0, 96);
    std::string bytes = Encode(text);
    bytes.erase(2 * 19, 2); // two bytes of the third record are gone
    Decoder decoder(bytes);
    EXPECT_EQ(decoder.Read(1), text.substr(0, 32));
    EXPECT_EQ(decoder.status, IO::InputFailure);
    EXPECT_EQ(decoder.code.GetCodeError(), IO::CodeDataError);
    // The broken record took two bytes of the next one with it. From there the record behind that
    // one stands at an odd distance, and the last one at an even.
    decoder.status = decoder.code.FindNextBlock();
    EXPECT_EQ(decoder.status, IO::NoError);
    EXPECT_EQ(decoder.code.GetCodeError(), IO::NoError);
    EXPECT_EQ(decoder.Read(100), text.substr(80));
}

TEST(CodeIChannel, TakesNoMarkerFromTwoPlaces) {
    Decoder decoder("x\x7F\x7F"); // the second half is the first of a pair that was cut
    EXPECT_EQ(decoder.code.FindNextBlock(), IO::EOI);
    EXPECT_EQ(decoder.code.GetCodeError(), IO::NoError) << "no record was read";
    EXPECT_EQ(decoder.code.PushBack("ab", 2), IO::NoError);
    unsigned long long position = 9;
    (void)decoder.code.GetInputPosition(&position);
    EXPECT_EQ(position, 0u) << "there is nothing in front of the start";
}

// Kept: the last record comes twice, the second time as rubbish.
TEST(CodeIChannel, EndsACutStreamWithRubbishAndTheStatusOfTheSource) {
    std::string const bytes = Encode(Count(0, 32));
    Decoder decoder(bytes.substr(0, 2 * 19));
    std::string const text = decoder.Read(48);
    EXPECT_EQ(decoder.status, IO::EOI);
    EXPECT_EQ(text.substr(0, 32), Count(0, 32));
    EXPECT_NE(text.substr(32), Count(16, 16));
}

TEST(CodeIChannel, SurvivesCutsFlipsAndRubbish) {
    std::string const bytes = Encode(Count(0, 50));
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        Decoder decoder(bytes.substr(0, size));
        decoder.Read(10, 1000);
    }
    for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
        std::string flipped = bytes;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        Decoder decoder(flipped); // counts up to 255 among them
        decoder.Read(7, 1000);
        EXPECT_NE(decoder.status, IO::NoError);
        while (decoder.code.FindNextBlock() == IO::NoError)
            decoder.Read(7, 1000);
    }
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        std::string rubbish(random() % 100, '\0');
        for (char & c : rubbish)
            c = random() % 3 == 0 ? '\x7F' : static_cast<char>(random());
        Decoder decoder(rubbish);
        decoder.Read(9, 1000);
    }
}

TEST(CodeOChannel, PassesOnWhatTheDestinationSays) {
    for (unsigned int n = 1; n < 8; ++n) {
        Tests::RecordingOChannel out;
        out.sink.failFrom = n;
        CodeOChannel code(out, key.data(), 5);
        MuErrCode status = IO::NoError;
        for (int i = 0; i < 200 && status == IO::NoError; ++i)
            status = code.WriteBin(std::string(1000, 'x').data(), 1000, nullptr);
        EXPECT_EQ(status, IO::EOO);
    }
}

TEST(CodeChannels, MeetEveryFailedAllocation) {
    std::string const text = Count(0, 100);
    SweepAllocations([&](bool failed) {
        MemoryOChannel out;
        {
            CodeOChannel code(out, key.data(), 5);
            if (code.WriteBin(text.data(), 100, nullptr) != IO::NoError) {
                EXPECT_TRUE(failed);
            }
        }
        char const * const bytes = out.GetDestination();
        MemoryIChannel in(bytes, out.GetDataSize(), MemoryIChannel::LeaveWithCaller);
        CodeIChannel code(in, key.data(), 5);
        std::string back(100, '\0');
        unsigned int read = 0;
        (void)code.ReadBin(back.data(), 100, &read);
        EXPECT_TRUE(failed || back == text);
    });
}
