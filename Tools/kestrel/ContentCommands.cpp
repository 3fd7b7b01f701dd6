#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Interruption.h"

#include <Kestrel/FileSystem/File.h>

#include <cstdio>
#include <vector>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace Tool {

namespace {

constexpr unsigned int PieceSize = 65536;

void SetBinary(std::FILE * stream) {
#if defined(_WIN32)
    _setmode(_fileno(stream), _O_BINARY);
#else
    static_cast<void>(stream);
#endif
}

MuErrCode CatOne(std::string const & path) {
    IO::File file(ToLocation(path));
    MuErrCode status = file.Open(IO::File::OpenMode::ReadOnlySharedToReadWrite,
                                 IO::AccessDeniedTreatment::RetryAlways);
    std::vector<char> piece(PieceSize);
    while (status == IO::NoError) {
        unsigned int read = 0;
        status = file.ReadBin(piece.data(), PieceSize, &read);
        if (std::fwrite(piece.data(), 1, read, stdout) != read)
            return IO::OutputClosed;
    }
    return status == IO::EOI ? IO::NoError : status;
}

MuErrCode Pour(std::FILE * from, IO::File & file) {
    std::vector<char> piece(PieceSize);
    MuErrCode status = IO::NoError;
    std::size_t read;
    while (status == IO::NoError && !IsInterrupted() &&
           (read = std::fread(piece.data(), 1, PieceSize, from)) > 0)
        status = file.WriteBin(piece.data(), static_cast<unsigned int>(read), nullptr);
    if (status == IO::NoError && std::ferror(from))
        status = IO::InputFailure;
    // Close writes the last block, and its failure is one of writing.
    MuErrCode const closed = file.Close();
    return status != IO::NoError ? status : closed;
}

} // namespace

int Cat(Options const & options, Console & console) {
    SetBinary(stdout);
    int result = 0;
    for (std::string const & path : options.paths)
        result |= console.Finish(CatOne(path), path);
    if (std::fflush(stdout) != 0)
        return console.Fail("standard output: write error");
    return result;
}

int Write(Options const & options, Console & console) {
    SetBinary(stdin);
    IO::Location const location = ToLocation(options.target);
    if (!console.IsSpeltSo(location, options.target))
        return 1;
    HalfMade const made(location);
    IO::File file(location, IO::File::OnNotFound::Create);
    MuErrCode const opened =
        file.Open(options.append ? IO::File::OpenMode::Append : IO::File::OpenMode::WriteOnlyEmpty,
                  IO::AccessDeniedTreatment::RetryAlways);
    return console.Finish(opened != IO::NoError ? opened : Pour(stdin, file), options.target);
}

} // namespace Tool
