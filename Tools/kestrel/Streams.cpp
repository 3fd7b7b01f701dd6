#include "Streams.h"

#include "Arguments.h"
#include "Console.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <vector>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace Tool {

bool IsStandard(std::string const & path) {
    return path.empty() || path == "-";
}

namespace {

void SetBinary(std::FILE * stream) {
#if defined(_WIN32)
    std::fflush(stream);
    _setmode(_fileno(stream), _O_BINARY);
#else
    static_cast<void>(stream);
#endif
}

} // namespace

Source::Source(std::string const & path) {
    if (IsStandard(path)) {
        SetBinary(stdin);
        standard.emplace(std::cin);
        return;
    }
    file.emplace(ToLocation(path));
    status = file->Open(IO::File::OpenMode::ReadOnlySharedToReadWrite,
                        IO::AccessDeniedTreatment::RetryAlways);
}

Mu::IChannel & Source::GetChannel() {
    if (file)
        return *file;
    return *standard;
}

unsigned long long Source::GetPosition() {
    unsigned long long position = 0;
    GetChannel().GetInputPosition(&position);
    return position;
}

Target::Target(std::string const & path, bool force) {
    if (IsStandard(path)) {
        SetBinary(stdout);
        standard.emplace(std::cout);
    } else
        OpenFile(path, force);
}

void Target::OpenFile(std::string const & path, bool force) {
    IO::Location const location = ToLocation(path);
    bool exists = false;
    status = IO::fileSystem.Contains(location, &exists);
    IO::EntryType type = IO::EntryType::File;
    if (status == IO::NoError && exists && !force) // or nobody may look
        status = IO::fileSystem.GetType(location, &type);
    if (status == IO::NoError && exists && !force)
        status = IO::ErrTargetExists;
    if (status != IO::NoError)
        return;
    half.emplace(location);
    file.emplace(location, IO::File::OnNotFound::Create);
    isMade = !exists && file->GetStatus() == IO::NoError;
    status = file->Open(IO::File::OpenMode::WriteOnlyEmpty, IO::AccessDeniedTreatment::RetryAlways);
}

Target::~Target() {
    if (!isMade)
        return;
    try {
        IO::Location location;
        file->GetLocation(&location);
        file.reset();
        IO::fileSystem.Delete(location, IO::DataSafety::KeepProtected,
                              IO::AccessDeniedTreatment::RetryAlways);
    } catch (Mu::OutOfMemoryException const &) {
        // Half of it is left; the command has already failed, and reports that.
    }
}

Mu::OChannel & Target::GetChannel() {
    if (file)
        return *file;
    return *standard;
}

MuErrCode Target::Keep() {
    isMade = false;
    return file ? file->Close() : standard->Flush();
}

namespace {

bool isProgressShown = false; // there is one terminal
std::size_t shownLength = 40;

unsigned long long GetStep(Progress::Unit unit) {
    return unit == Progress::Unit::Bytes ? 8u << 20 : 1000;
}

} // namespace

Progress::Progress(char const * verb, Unit unit)
    : verb(verb), unit(unit), isShown(IsTerminal(true)), next(GetStep(unit)) {}

void Progress::Add(unsigned int more) {
    count += more;
    if (!isShown || count < next)
        return;
    next = count + GetStep(unit);
    isProgressShown = true;
    std::cerr << '\r' << verb << ' ';
    if (unit == Unit::Bytes)
        std::cerr << (count >> 20) << " MiB " << std::flush;
    else
        std::cerr << count << " entries " << std::flush;
}

void Progress::Clear() {
    Hide();
}

void Progress::Show(std::string const & line) {
    Hide();
    shownLength = std::max<std::size_t>(line.size(), 40);
    isProgressShown = true;
    std::cerr << line << std::flush;
}

void Progress::Hide() {
    if (isProgressShown)
        std::cerr << '\r' << std::string(shownLength, ' ') << '\r' << std::flush;
    isProgressShown = false;
}

MuErrCode MovePiece(Mu::IChannel & in, Mu::OChannel & out, std::vector<char> & piece,
                    Progress & progress, MuErrCode * readStatus) {
    unsigned int read = 0;
    if (IsInterrupted())
        return IO::OutputClosed;
    *readStatus = in.ReadBin(piece.data(), static_cast<unsigned int>(piece.size()), &read);
    MuErrCode const written = out.WriteBin(piece.data(), read, nullptr);
    progress.Add(read);
    return written;
}

MuErrCode Pump(Mu::IChannel & in, Mu::OChannel & out, unsigned int pieceSize, Progress & progress,
               MuErrCode * readStatus) {
    std::vector<char> piece(pieceSize);
    MuErrCode written;
    do
        written = MovePiece(in, out, piece, progress, readStatus);
    while (written == IO::NoError && *readStatus == IO::NoError);
    return written;
}

} // namespace Tool
