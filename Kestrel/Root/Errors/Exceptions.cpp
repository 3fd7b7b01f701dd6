#include <Kestrel/Root/Errors/Exceptions.h>

#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Text/UniString.h>

#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace Mu {

namespace {

constexpr char const * noMemoryText = "(there was no memory for the message)";

// Exists from before the first static object is constructed until after the last is destroyed:
// default arguments refer to it, and only its address has a meaning.
struct NoCause final : MuException {
    NoCause() noexcept : MuException(Borrowed(), "No cause.", "", 0, 0) {}
};

union NoCauseHolder {
    constexpr NoCauseHolder() : nothing() {}
    ~NoCauseHolder() {}
    char nothing;
    NoCause exception;
};
constinit NoCauseHolder noCause;

[[maybe_unused]] NoCause * const madeNoCause =
    ::new (static_cast<void *>(&noCause.exception)) NoCause;

} // namespace

constinit MuException const & NoCauseException = noCause.exception;

RootException::~RootException() = default;
char const * RootException::GetName() const noexcept {
    return "RootException";
}
char const * RootException::what() const noexcept {
    return GetName();
}

// State shared by the copies of an exception. A copied message follows it.
struct MuException::Shared {
    int count = 1;
    MuException const * cause = nullptr; // owned; null for none

    char * GetText() { return reinterpret_cast<char *>(this + 1); }
};

namespace {

MuException const * CloneCause(MuException const & cause) noexcept {
    if (&cause == &NoCauseException)
        return nullptr;
    try {
        return cause.Clone();
    } catch (OutOfMemoryException const &) {
        return nullptr; // reporting it without its cause is better than not at all
    }
}

} // namespace

void MuException::Keep(char const * text, std::size_t length, MuException const & cause) noexcept {
    void * const block = NewOperator(sizeof(Shared) + length + 1);
    if (block == nullptr) {
        message = noMemoryText;
        return;
    }
    shared = ::new (block) Shared;
    std::memcpy(shared->GetText(), text, length);
    shared->GetText()[length] = 0;
    message = shared->GetText();
    shared->cause = CloneCause(cause);
}

MuException::MuException(char const * message, char const * file, unsigned int line,
                         MuException const & cause, int id) noexcept
    : file(file == nullptr ? "" : file), line(line), id(id) {
    char const * const text = message == nullptr ? "" : message;
    Keep(text, std::strlen(text), cause);
}

MuException::MuException(UniString const & message, char const * file, unsigned int line,
                         MuException const & cause, int id) noexcept
    : message(noMemoryText), file(file == nullptr ? "" : file), line(line), id(id) {
    try {
        CStr const text = message.ToCStr(0, UniString::All, MuLogCharCode);
        Keep(text.GetText(), text.GetLength(), cause);
    } catch (OutOfMemoryException const &) {
        // The fixed text remains.
    }
}

MuException::MuException(Borrowed, char const * literal, char const * file, unsigned int line,
                         int id) noexcept
    : message(literal == nullptr ? "" : literal), file(file == nullptr ? "" : file), line(line),
      id(id) {}

MuException::MuException(MuException const & other) noexcept
    : RootException(other), message(other.message), file(other.file), shared(other.shared),
      line(other.line), id(other.id) {
    if (shared != nullptr)
        AtomicIncrement(&shared->count);
}

MuException & MuException::operator=(MuException const & other) noexcept {
    MuException copy(other);
    std::swap(message, copy.message);
    std::swap(file, copy.file);
    std::swap(shared, copy.shared);
    std::swap(line, copy.line);
    std::swap(id, copy.id);
    return *this;
}

MuException::~MuException() {
    if (shared == nullptr || AtomicDecrement(&shared->count) != 0)
        return;
    delete shared->cause;
    DeleteOperator(shared);
}

MuException const & MuException::GetCause() const noexcept {
    return shared == nullptr || shared->cause == nullptr ? NoCauseException : *shared->cause;
}

void MuException::Print(OChannel & channel) const {
    if (!IsNull(channel))
        channel << GetName() << ": " << message;
}

void MuException::Dump(OChannel & channel) const {
    if (IsNull(channel))
        return;
    for (MuException const * at = this;; at = &at->GetCause()) {
        at->Print(channel);
        channel << " (" << at->file << ":" << at->line << ", id ";
        if (at->id < 0)
            channel << "-" << (0u - static_cast<unsigned int>(at->id));
        else
            channel << static_cast<unsigned int>(at->id);
        channel << ")\n";
        if (!at->HasCause())
            return;
        channel << "caused by ";
    }
}

MuException * MuException::Clone() const {
    return new MuException(*this);
}
char const * MuException::GetName() const noexcept {
    return "MuException";
}
char const * MuException::what() const noexcept {
    return message;
}

KESTREL_DEFINE_EXCEPTION(GeneralException, MuException)
KESTREL_DEFINE_EXCEPTION(IOException, GeneralException)
KESTREL_DEFINE_EXCEPTION(InterruptedIOException, IOException)
KESTREL_DEFINE_EXCEPTION(LogicErrorException, GeneralException)
KESTREL_DEFINE_EXCEPTION(IllegalArgumentException, LogicErrorException)
KESTREL_DEFINE_EXCEPTION(IllegalReferenceException, LogicErrorException)
KESTREL_DEFINE_EXCEPTION(NullReferenceException, IllegalReferenceException)
KESTREL_DEFINE_EXCEPTION(PreconditionException, LogicErrorException)
KESTREL_DEFINE_EXCEPTION(RunTimeErrorException, GeneralException)
KESTREL_DEFINE_EXCEPTION(ConversionErrorException, RunTimeErrorException)
KESTREL_DEFINE_EXCEPTION(SynchronizationException, RunTimeErrorException)
KESTREL_DEFINE_EXCEPTION(ThreadingException, RunTimeErrorException)

OutOfMemoryException::OutOfMemoryException(char const * literal, char const * file,
                                           unsigned int line, MuException const &) noexcept
    : MuException(Borrowed(), literal, file, line, ErrMemoryFull) {}
OutOfMemoryException::~OutOfMemoryException() = default;
char const * OutOfMemoryException::GetName() const noexcept {
    return "OutOfMemoryException";
}
OutOfMemoryException * OutOfMemoryException::Clone() const {
    return new OutOfMemoryException(*this);
}

void ThrowOutOfMemory() {
    throw OutOfMemoryException();
}

} // namespace Mu
