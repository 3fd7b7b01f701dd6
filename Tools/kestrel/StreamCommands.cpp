#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Streams.h"

#include <Kestrel/Channel/Code/Blowfish.h>
#include <Kestrel/Channel/Code/CodeIChannel.h>
#include <Kestrel/Channel/Code/CodeOChannel.h>
#include <Kestrel/Channel/MD5Channel.h>
#include <Kestrel/Channel/Zip/ZipIChannel.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>

#include <algorithm>
#include <memory>

namespace Tool {

namespace {

constexpr unsigned int PieceSize = 65536;

std::string NameSource(std::string const & path) {
    return IsStandard(path) ? "standard input" : path;
}

// Standard output is checked once more at the end of the program, which reports a failure.
int FailWriting(Options const & options, Console & console, MuErrCode written) {
    return IsStandard(options.target) ? 1 : console.Finish(written, options.target);
}

// After the whole input was read; an intact one ends with EOI.
int FinishBoth(Options const & options, Console & console, MuErrCode written, MuErrCode read) {
    if (written != IO::NoError)
        return FailWriting(options, console, written);
    return console.Finish(read == IO::EOI ? IO::NoError : read, NameSource(options.source));
}

/// Opens both ends and runs `work` between them; the output is kept if it succeeds.
template <typename Work>
int Between(Options const & options, Console & console, Work work) {
    Source source(options.source);
    if (source.GetStatus() != IO::NoError)
        return console.Finish(source.GetStatus(), NameSource(options.source));
    if (!IsStandard(options.target) &&
        !console.IsSpeltSo(ToLocation(options.target), options.target))
        return 1;
    Target target(options.target, options.force);
    if (target.GetStatus() == IO::ErrTargetExists)
        return console.Fail(options.target + " is there already; say -f to write over it");
    if (target.GetStatus() != IO::NoError)
        return console.Finish(target.GetStatus(), options.target);
    int const result = work(source, target);
    if (result != 0 && !options.recover)
        return result;
    int const kept = console.Finish(target.Keep(), options.target);
    return result != 0 ? result : kept;
}

// Appends all bytes of the key file to those of the command line. False, after a message: there is
// no key.
bool GetKey(Options const & options, Console & console, std::string * key) {
    *key = options.key;
    if (!options.keyFile.empty()) {
        Source file(options.keyFile);
        MuErrCode status = file.GetStatus();
        char piece[256];
        while (status == IO::NoError) {
            unsigned int read = 0;
            status = file.GetChannel().ReadBin(piece, sizeof piece, &read);
            key->append(piece, read);
        }
        if (status != IO::EOI)
            return console.Finish(status, NameSource(options.keyFile)) == 0;
    }
    return !key->empty() || console.Fail("no key; say -k KEY or -K FILE") == 0;
}

/// Reports a damaged input: the position, and with --recover what could be saved.
class Damage {
public:
    Damage(Console & console, Options const & options) : console(console), options(options) {}

    void Report(std::string const & what, unsigned long long position) {
        isDamaged = true;
        console.Fail(NameSource(options.source) + " " + what + " at byte " +
                     std::to_string(position));
    }
    int Finish(unsigned long long saved) {
        if (isDamaged && options.recover)
            console.Fail("saved " + std::to_string(saved) + " bytes");
        return isDamaged ? 1 : 0;
    }

private:
    Console & console;
    Options const & options;
    bool isDamaged = false;
};

int UnzipAll(Source & source, Target & target, Options const & options, Console & console) {
    IO::ZipIChannel zip(source.GetChannel());
    Progress progress("unzipping");
    Damage damage(console, options);
    for (;;) {
        MuErrCode read;
        MuErrCode const written = Pump(zip, target.GetChannel(), PieceSize, progress, &read);
        progress.Clear();
        if (written != IO::NoError)
            return FailWriting(options, console, written);
        if (read == IO::EOI)
            return damage.Finish(progress.GetCount());
        if (read != IO::InputFailure)
            return console.Finish(read, NameSource(options.source));
        MuErrCode const below = source.GetChannel().GetInputStatus();
        if (below != IO::NoError && below != IO::EOI) // it is not damaged, but cannot be read
            return console.Finish(below, NameSource(options.source));
        bool const isBroken = zip.GetZipError() == IO::ZipDataError;
        damage.Report(isBroken ? "is corrupt" : "is cut off", source.GetPosition());
        if (!options.recover || zip.FindNextFlushFlush(0) != IO::NoError)
            return damage.Finish(progress.GetCount());
    }
}

// Whether a block can be deciphered without coming near the end of the source, even if each record
// holds only one byte.
bool IsFarFromItsEnd(Source & source) {
    unsigned long long rest = 0;
    return source.GetChannel().GetAvailable(&rest) == IO::NoError && rest > 20ull * PieceSize;
}

// Near the end, or if its position is unknown, reads single bytes and does not read ahead, so that
// garbage at the end of a truncated stream is left out: the status of the truncation is returned
// with the last good byte.
MuErrCode PumpDeciphered(IO::CodeIChannel & code, Source & source, Target & target,
                         Progress & progress, MuErrCode * read) {
    std::vector<char> piece(PieceSize);
    *read = IO::NoError;
    MuErrCode written = IO::NoError;
    while (written == IO::NoError && *read == IO::NoError && IsFarFromItsEnd(source))
        written = MovePiece(code, target.GetChannel(), piece, progress, read);
    if (written == IO::NoError && *read == IO::NoError)
        written = Pump(code, target.GetChannel(), 1, progress, read);
    return written;
}

int DecryptAll(Source & source, Target & target, std::string const & key, Options const & options,
               Console & console) {
    IO::CodeIChannel code(source.GetChannel(), key.data(), static_cast<unsigned int>(key.size()));
    code.DisableInputBuffering();
    Progress progress("decrypting");
    Damage damage(console, options);
    for (;;) {
        MuErrCode read;
        MuErrCode const written = PumpDeciphered(code, source, target, progress, &read);
        progress.Clear();
        if (written != IO::NoError)
            return FailWriting(options, console, written);
        if (read == IO::EOI) {
            // The cipher ends in the same way for a complete source, a truncated one and one that
            // cannot be read.
            MuErrCode const below = source.GetChannel().GetInputStatus();
            if (below == IO::EOI)
                damage.Report("is cut off", source.GetPosition());
            else if (below != IO::NoError)
                return console.Finish(below, NameSource(options.source));
            return damage.Finish(progress.GetCount());
        }
        if (read != IO::InputFailure)
            return console.Finish(read, NameSource(options.source));
        damage.Report("is corrupt", source.GetPosition());
        if (!options.recover || code.FindNextBlock() != IO::NoError)
            return damage.Finish(progress.GetCount());
    }
}

// Checks the end of the file: the last record is padded with zeros, which another key does not
// produce. Cannot decide for standard input, truncated or longer data, and a full record.
bool IsKeyWrong(Source & source, std::string const & key) {
    constexpr unsigned int recordSize = 19;
    constexpr unsigned int dataSize = 16;
    IO::File * const file = source.GetFile();
    unsigned long long length = 0;
    if (file == nullptr || file->GetDataLength(&length) != IO::NoError || length < 2 * recordSize ||
        length % recordSize != 0)
        return false;
    char records[2 * recordSize] = {};
    bool const isRead = file->SetPosition(length - sizeof records) == IO::NoError &&
                        file->ReadBin(records, sizeof records, nullptr) == IO::NoError;
    file->ResetInputStatus();
    bool const isBack = file->SetPosition(0ull) == IO::NoError;
    unsigned int const count = static_cast<unsigned char>(records[2]);
    bool const isEnd =
        std::all_of(records + recordSize, std::end(records), [](char c) { return c == 0; });
    if (!isRead || !isBack || !isEnd || records[0] != '\x7F' || records[1] != '\x7F' ||
        count >= dataSize)
        return false;
    auto const cipher = std::make_unique<IO::Blowfish>();
    cipher->SetPassword(key.data(), static_cast<unsigned int>(key.size()));
    cipher->Decrypt(records + 3, dataSize);
    return !std::all_of(records + 3 + count, records + recordSize, [](char c) { return c == 0; });
}

int DigestOne(std::string const & path, Console & console) {
    Source source(path);
    MuErrCode read = source.GetStatus();
    IO::MD5Channel digest;
    Progress progress("reading");
    MuErrCode written = IO::NoError;
    if (read == IO::NoError)
        written = Pump(source.GetChannel(), digest, PieceSize, progress, &read);
    progress.Clear();
    if (written != IO::NoError || read != IO::EOI)
        return console.Finish(written != IO::NoError ? written : read, NameSource(path));
    MD5::FingerPrint print;
    digest.Finish(&print);
    std::string text;
    for (unsigned char byte : print.bytes)
        text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    Out() << text << "  " << path << "\n";
    return 0;
}

} // namespace

int Zip(Options const & options, Console & console) {
    return Between(options, console, [&](Source & source, Target & target) {
        MuErrCode read;
        MuErrCode written;
        {
            // In this thread: the target's device may be full, and a worker would not report it.
            IO::ZipOChannel zip(
                target.GetChannel(),
                IO::ZipOChannelOptions(
                    static_cast<IO::ZipOChannelOptions::CompressionLevel>(options.level), 1u << 20,
                    IO::ZipOChannelOptions::WritingThread));
            Progress progress("zipping");
            written = Pump(source.GetChannel(), zip, PieceSize, progress, &read);
            if (written == IO::NoError)
                written = zip.Flush(); // the destructor could not report a failure
        }
        if (written == IO::NoError)
            written = target.GetChannel().GetOutputStatus();
        return FinishBoth(options, console, written, read);
    });
}

int Unzip(Options const & options, Console & console) {
    return Between(options, console, [&](Source & source, Target & target) {
        return UnzipAll(source, target, options, console);
    });
}

int Encrypt(Options const & options, Console & console) {
    std::string key;
    if (!GetKey(options, console, &key))
        return 1;
    return Between(options, console, [&](Source & source, Target & target) {
        MuErrCode read;
        MuErrCode written;
        {
            IO::CodeOChannel code(target.GetChannel(), key.data(),
                                  static_cast<unsigned int>(key.size()));
            Progress progress("encrypting");
            written = Pump(source.GetChannel(), code, PieceSize, progress, &read);
        }
        if (written == IO::NoError)
            written = target.GetChannel().GetOutputStatus();
        return FinishBoth(options, console, written, read);
    });
}

int Decrypt(Options const & options, Console & console) {
    std::string key;
    if (!GetKey(options, console, &key))
        return 1;
    return Between(options, console, [&](Source & source, Target & target) {
        if (!options.recover && IsKeyWrong(source, key))
            return console.Fail(NameSource(options.source) + ": this is not its key");
        return DecryptAll(source, target, key, options, console);
    });
}

int Digest(Options const & options, Console & console) {
    int result = 0;
    for (std::string const & path : options.paths)
        result |= DigestOne(path, console);
    return result;
}

} // namespace Tool
