// Single bytes and small values through a file, beside what other hosts do with them. In a file of the
// working folder.

#include "Rounds.h"

#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Kestrel.h>

#if defined(KESTREL_HAS_QT)
#include <QFile>
#endif

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace Peers;

namespace {

void Require(bool holds) {
    if (!holds)
        std::abort(); // what fails costs nothing
}

struct Place {
    Place() : path(std::filesystem::absolute("kestrel byte peers").string()) {}
    ~Place() { std::filesystem::remove(path); }

    std::string const path;
    IO::Location const location{IO::FromNativePath(path)};
};

// A file of so many values, from its opening to its closing.

template <typename T>
void WriteOurs(Place const & place, unsigned int count) {
    IO::File file(place.location, IO::File::OnNotFound::Create);
    Require(file.Open(IO::File::OpenMode::WriteOnlyEmpty) == IO::NoError);
    for (unsigned int i = 0; i < count; ++i)
        if (file.Write(static_cast<T>(i)) != IO::NoError)
            std::abort();
    Require(file.Close() == IO::NoError);
}

template <typename T>
void ReadOurs(Place const & place, unsigned int count) {
    IO::File file(place.location);
    Require(file.Open(IO::File::OpenMode::ReadOnly) == IO::NoError);
    T value, sum = 0;
    unsigned int read = 0;
    for (; file.Read(value) == IO::NoError; ++read)
        sum = static_cast<T>(sum + value);
    T const result = sum; // of its own, so that the sum itself may stay in a register
    Keep(result);
    Require(read == count);
}

// What only knows that there is some channel, which may lie anywhere.
__attribute__((noinline)) void WriteBytes(Mu::OChannel & channel, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i)
        if (channel.Write(static_cast<char>(i)) != IO::NoError)
            std::abort();
}
__attribute__((noinline)) unsigned int ReadBytes(Mu::IChannel & channel) {
    char value, sum = 0;
    unsigned int read = 0;
    for (; channel.Read(value) == IO::NoError; ++read)
        sum = static_cast<char>(sum + value);
    char const result = sum; // of its own, so that the sum itself may stay in a register
    Keep(result);
    return read;
}

struct Stdio {
    Stdio(Place const & place, char const * mode) : file(std::fopen(place.path.c_str(), mode)) {
        Require(file != nullptr);
    }
    ~Stdio() { Require(std::fclose(file) == 0); }
    Stdio(Stdio const &) = delete;
    Stdio & operator=(Stdio const &) = delete;

    std::FILE * file;
};

template <typename T>
void WriteStdio(Place const & place, unsigned int count) {
    Stdio const out(place, "wb");
    for (unsigned int i = 0; i < count; ++i)
        if constexpr (sizeof(T) == 1) {
            if (putc_unlocked(static_cast<unsigned char>(i), out.file) == EOF)
                std::abort();
        } else {
            T const value = static_cast<T>(i);
            if (fwrite_unlocked(&value, sizeof value, 1, out.file) != 1)
                std::abort();
        }
}

template <typename T>
void ReadStdio(Place const & place, unsigned int count) {
    Stdio const in(place, "rb");
    T sum = 0;
    unsigned int read = 0;
    if constexpr (sizeof(T) == 1) {
        for (int c; (c = getc_unlocked(in.file)) != EOF; ++read)
            sum = static_cast<T>(sum + c);
    } else {
        for (T value; fread_unlocked(&value, sizeof value, 1, in.file) == 1; ++read)
            sum = static_cast<T>(sum + value);
    }
    T const result = sum; // of its own, so that the sum itself may stay in a register
    Keep(result);
    Require(read == count);
}

template <typename T>
void WriteStream(Place const & place, unsigned int count) {
    std::ofstream out(place.path, std::ios::binary);
    for (unsigned int i = 0; i < count; ++i) {
        T const value = static_cast<T>(i);
        if constexpr (sizeof(T) == 1)
            out.put(static_cast<char>(value));
        else
            out.write(reinterpret_cast<char const *>(&value), sizeof value);
    }
    out.close();
    Require(static_cast<bool>(out));
}

template <typename T>
void ReadStream(Place const & place, unsigned int count) {
    std::ifstream in(place.path, std::ios::binary);
    T value, sum = 0;
    unsigned int read = 0;
    for (; in.read(reinterpret_cast<char *>(&value), sizeof value); ++read)
        sum = static_cast<T>(sum + value);
    T const result = sum; // of its own, so that the sum itself may stay in a register
    Keep(result);
    Require(read == count);
}

// Blocks of 4 KiB, as one copies them.

std::string const block(4096, 'x');

void WriteBlocksOurs(Place const & place, unsigned int count) {
    IO::File file(place.location, IO::File::OnNotFound::Create);
    Require(file.Open(IO::File::OpenMode::WriteOnlyEmpty) == IO::NoError);
    for (; count != 0; --count)
        Require(file.WriteBin(block.data(), 4096, nullptr) == IO::NoError);
    Require(file.Close() == IO::NoError);
}

void WriteBlocksStdio(Place const & place, unsigned int count) {
    Stdio const out(place, "wb");
    for (; count != 0; --count)
        Require(fwrite_unlocked(block.data(), 1, 4096, out.file) == 4096);
}

#if defined(KESTREL_HAS_QT)
void WriteBlocksQt(Place const & place, unsigned int count) {
    QFile out(QString::fromStdString(place.path));
    Require(out.open(QIODevice::WriteOnly));
    for (; count != 0; --count)
        Require(out.write(block.data(), 4096) == 4096);
    out.close();
}
#define QT_NAME , "QFile"
#define QT_CALL(...) , __VA_ARGS__
#else
#define QT_NAME
#define QT_CALL(...)
#endif

template <typename T>
void Values(Place const & place, char const * what, char const * peer) {
    std::string const text(what);
    auto const with = [&](auto const & use) {
        return [&place, &use](unsigned int count) { use(place, count); };
    };
    Compare<1 << 20>(Row((text + " written").c_str(), "ns", 1), {"ours", peer, "fstream"},
                     with(WriteOurs<T>), with(WriteStdio<T>), with(WriteStream<T>));
    WriteStdio<T>(place, 1 << 20);
    Compare<1 << 20>(Row((text + " read").c_str(), "ns", 1), {"ours", peer, "fstream"},
                     with(ReadOurs<T>), with(ReadStdio<T>), with(ReadStream<T>));
}

} // namespace

int main() {
    Place const place;
    Values<char>(place, "single bytes", "unlocked stdio");
    Compare<1 << 20>(
        Row("single bytes through some channel, written", "ns", 1), {"ours", "unlocked stdio"},
        [&](unsigned int count) {
            IO::File file(place.location, IO::File::OnNotFound::Create);
            Require(file.Open(IO::File::OpenMode::WriteOnlyEmpty) == IO::NoError);
            WriteBytes(file, count);
            Require(file.Close() == IO::NoError);
        },
        [&](unsigned int count) { WriteStdio<char>(place, count); });
    Compare<1 << 20>(
        Row("single bytes through some channel, read", "ns", 1), {"ours", "unlocked stdio"},
        [&](unsigned int count) {
            IO::File file(place.location);
            Require(file.Open(IO::File::OpenMode::ReadOnly) == IO::NoError);
            Require(ReadBytes(file) == count);
        },
        [&](unsigned int count) { ReadStdio<char>(place, count); });
    Values<unsigned int>(place, "values of 4 bytes", "unlocked stdio");
    Values<unsigned long long>(place, "values of 8 bytes", "unlocked stdio");
    auto const with = [&](auto const & use) {
        return [&place, &use](unsigned int count) { use(place, count); };
    };
    Compare<4096>(Row("4 KiB written to a file", "ns", 1), {"ours", "unlocked stdio" QT_NAME},
                  with(WriteBlocksOurs), with(WriteBlocksStdio) QT_CALL(with(WriteBlocksQt)));
}
