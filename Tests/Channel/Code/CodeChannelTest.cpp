#include <Kestrel/Channel/Code/Blowfish.h>
#include <Kestrel/Channel/Code/CodeIChannel.h>
#include <Kestrel/Channel/Code/CodeOChannel.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/Hex.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Channel/MemoryIChannel.h>

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>

using IO::Blowfish;
using IO::CodeIChannel;
using IO::CodeOChannel;
using IO::MemoryIChannel;
using Tests::FromHex;

namespace {

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
    Tests::ByteOChannel out;
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
    return out.GetBytes();
}

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
    Tests::ByteOChannel out;
    CodeOChannel code(out, key.data(), 5);
    unsigned long long position = 0;
    (void)code.WriteBin("12345", 5, nullptr);
    (void)code.Flush();
    (void)code.GetOutputPosition(&position);
    EXPECT_EQ(position, 5u) << "plain bytes count";
}

namespace {

/// The rules of reading: records are fetched one ahead, the status of a fetch counts only when the
/// request is filled, and a record that could not be fetched is deciphered and given once more.
class ReaderModel {
public:
    explicit ReaderModel(std::string const & stream) : stream(stream) {
        cipher.SetPassword(key.data(), static_cast<unsigned int>(key.size()));
    }

    std::string Read(unsigned int count) {
        std::string out;
        if (count == 0 || status != IO::NoError || (status = pending) != IO::NoError)
            return out;
        pending = Fill(count, &out);
        status = out.size() < count ? pending : IO::NoError;
        total += out.size();
        return out;
    }

    MuErrCode FindNextBlock() {
        status = pending = IO::NoError;
        for (;;) {
            std::string found(2, '\0');
            MuErrCode const fetched = Fetch(found.data(), 2);
            if (found == "\x7F\x7F")
                break;
            if (fetched != IO::NoError)
                return fetched;
        }
        record.replace(0, 2, "\x7F\x7F");
        codeError = Fetch(record.data() + 2, 17);
        cipher.Decrypt(record.data() + 3, 16);
        return codeError;
    }

    MuErrCode status = IO::NoError, pending = IO::NoError, codeError = IO::NoError;
    unsigned long long total = 0;

private:
    MuErrCode Fill(unsigned int count, std::string * out) {
        MuErrCode fetched = IO::NoError;
        for (;;) {
            std::size_t const here = static_cast<unsigned char>(record[2]);
            std::size_t const rest = count - out->size();
            out->append(record, 3, std::min(here, rest));
            if (here > rest) {
                record.erase(3, rest).insert(3 + here - rest, rest, '\0');
                record[2] = static_cast<char>(here - rest);
            } else {
                fetched = Fetch(record.data(), 19);
                if (record[2] != 0 && !record.starts_with("\x7F\x7F")) {
                    codeError = IO::CodeDataError;
                    return IO::InputFailure;
                }
                cipher.Decrypt(record.data() + 3, 16);
            }
            if (record[2] == 0)
                return IO::EOI;
            if (out->size() == count)
                return fetched;
        }
    }
    MuErrCode Fetch(char * to, std::size_t count) {
        std::size_t const there = stream.copy(to, count, at);
        at += there;
        return there == count ? IO::NoError : IO::EOI;
    }

    std::string const stream;
    std::size_t at = 0;
    Blowfish cipher;
    std::string record = std::string(3 + 255, '\0');
};

// One or two streams of many short records, some bytes of which are lost, changed or new.
std::string MakeStream(std::mt19937 & random) {
    std::string stream;
    for (unsigned int count = 1 + random() % 2; count != 0; --count)
        stream += Encode(Count(0, random() % 120), 1 + random() % 40);
    for (unsigned int damages = random() % 4; damages != 0 && !stream.empty(); --damages) {
        std::size_t const place = random() % stream.size();
        switch (random() % 4) {
        case 0: stream.erase(place, random() % 3 == 0 ? 1000 : 1 + random() % 30); break;
        case 1: stream.insert(place, 1 + random() % 3, '\x7F'); break;
        default: stream[place] = static_cast<char>(random());
        }
    }
    return stream;
}

} // namespace

TEST(CodeIChannel, KeepsTheRulesOfReadingOverAnyBytes) {
    for (unsigned int seed = 1; seed <= 1500; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::string const stream = MakeStream(random);
        ReaderModel model(stream);
        MemoryIChannel in(stream.data(), static_cast<unsigned int>(stream.size()),
                          MemoryIChannel::LeaveWithCaller);
        CodeIChannel code(in, key.data(), static_cast<unsigned int>(key.size()));
        code.DisableInputBuffering();
        for (int step = 0; step < 40; ++step) {
            if (unsigned int const choice = random() % 8; choice == 0) {
                ASSERT_EQ(code.FindNextBlock(), model.FindNextBlock());
            } else if (choice == 1) {
                code.ResetInputStatus();
                model.status = model.pending = IO::NoError;
            } else {
                std::string bytes(random() % 40, '?');
                unsigned int read = 99;
                (void)code.ReadBin(bytes.data(), static_cast<unsigned int>(bytes.size()), &read);
                ASSERT_EQ(bytes.substr(0, read),
                          model.Read(static_cast<unsigned int>(bytes.size())));
            }
            unsigned long long position = 0;
            (void)code.GetInputPosition(&position);
            ASSERT_EQ(position, model.total);
            ASSERT_EQ(code.GetInputStatus(), model.status);
            ASSERT_EQ(code.GetCodeError(), model.codeError);
        }
    }
}
