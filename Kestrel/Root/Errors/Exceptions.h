#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/WindowsNames.h>

#include <exception>

namespace Mu {

class OChannel;
class UniString;

/// The base of everything that the library throws, so that a host can catch it by one name, or as a
/// std::exception.
///
/// Memory:  Clone allocates from the root.
/// Threads: an exception may be read and copied in any thread.
/// Failure: none; nothing here throws.
class KESTREL_API RootException : public std::exception {
public:
    RootException() noexcept = default;
    RootException(RootException const &) noexcept = default;
    RootException & operator=(RootException const &) noexcept = default;
    ~RootException() override;

    /// The name of the class, without its namespace.
    virtual char const * GetName() const noexcept;
    char const * what() const noexcept override;

    static void * operator new(std::size_t size) { return NewOrThrow(size); }
    static void * operator new(std::size_t, void * place) noexcept { return place; }
    static void operator delete(void * block) noexcept { DeleteOperator(block); }
    static void operator delete(void *, void *) noexcept {}
};

class MuException;

/// Means no cause; compared by address. Usable before dynamic initialisation.
KESTREL_API extern MuException const & NoCauseException;

/// An exception with a message, the source location, a status and the exception that caused it.
///
/// Copies share message and cause, so copying allocates nothing and cannot fail.
///
/// Memory:  one block for the message and one for the copy of the cause. If they cannot be
///          allocated, a fixed text replaces the message and the cause is omitted: reporting less
///          is better than reporting something else.
class KESTREL_API MuException : public virtual RootException {
public:
    /// The message is copied; `file` is a literal and is not copied.
    explicit MuException(char const * message, char const * file = "", unsigned int line = 0,
                         MuException const & cause = NoCauseException, int id = Error) noexcept;
    explicit MuException(UniString const & message, char const * file = "", unsigned int line = 0,
                         MuException const & cause = NoCauseException, int id = Error) noexcept;
    MuException(MuException const & other) noexcept;
    MuException & operator=(MuException const & other) noexcept;
    ~MuException() override;

    /// The equivalent status.
    int GetID() const noexcept { return id; }
    /// Narrow text as it was passed; a UniString is converted to UTF-8. Never null.
    char const * GetMessage() const noexcept { return message; }
    char const * GetFileName() const noexcept { return file; }
    unsigned int GetLineNumber() const noexcept { return line; }
    /// A copy of the cause, valid as long as this exception or a copy of it; NoCauseException if
    /// there is none.
    MuException const & GetCause() const noexcept;
    bool HasCause() const noexcept { return &GetCause() != &NoCauseException; }

    /// "Name: message"
    void Print(OChannel & channel) const;
    /// Like Print, with file, line and id, and the causes on separate lines.
    void Dump(OChannel & channel) const;

    /// A copy on the heap, owned by the caller. Throws OutOfMemoryException.
    virtual MuException * Clone() const;

    char const * GetName() const noexcept override;
    /// The message.
    char const * what() const noexcept override;

protected:
    struct Borrowed {};
    /// Stores the pointer to a literal and no cause, and so allocates nothing.
    MuException(Borrowed, char const * literal, char const * file, unsigned int line,
                int id) noexcept;

private:
    struct Shared;
    void Keep(char const * text, std::size_t length, MuException const & cause) noexcept;

    char const * message; // a literal, or inside shared
    char const * file;
    Shared * shared = nullptr; // reference-counted; null for a literal message without a cause
    unsigned int line;
    int id;
};

// Declares an exception class of the family: its two constructors, GetName and Clone. The classes
// differ only in name and base.
#define KESTREL_DECLARE_EXCEPTION(Name, Base)                                                      \
    class KESTREL_API Name : public Base {                                                         \
    public:                                                                                        \
        explicit Name(char const * message, char const * file = "", unsigned int line = 0,         \
                      ::Mu::MuException const & cause = ::Mu::NoCauseException,                    \
                      int id = ::Mu::Error) noexcept;                                              \
        explicit Name(::Mu::UniString const & message, char const * file = "",                     \
                      unsigned int line = 0,                                                       \
                      ::Mu::MuException const & cause = ::Mu::NoCauseException,                    \
                      int id = ::Mu::Error) noexcept;                                              \
        Name(Name const &) noexcept = default;                                                     \
        Name & operator=(Name const &) noexcept = default;                                         \
        ~Name() override;                                                                          \
        char const * GetName() const noexcept override;                                            \
        Name * Clone() const override;                                                             \
    }

// Defines the class, in its namespace.
#define KESTREL_DEFINE_EXCEPTION(Name, Base)                                                       \
    Name::Name(char const * message, char const * file, unsigned int line,                         \
               ::Mu::MuException const & cause, int id) noexcept                                   \
        : Base(message, file, line, cause, id) {}                                                  \
    Name::Name(::Mu::UniString const & message, char const * file, unsigned int line,              \
               ::Mu::MuException const & cause, int id) noexcept                                   \
        : Base(message, file, line, cause, id) {}                                                  \
    Name::~Name() = default;                                                                       \
    char const * Name::GetName() const noexcept {                                                  \
        return #Name;                                                                              \
    }                                                                                              \
    Name * Name::Clone() const {                                                                   \
        return new Name(*this);                                                                    \
    }

KESTREL_DECLARE_EXCEPTION(GeneralException, MuException);
KESTREL_DECLARE_EXCEPTION(IOException, GeneralException);
KESTREL_DECLARE_EXCEPTION(InterruptedIOException, IOException);
KESTREL_DECLARE_EXCEPTION(LogicErrorException, GeneralException);
KESTREL_DECLARE_EXCEPTION(IllegalArgumentException, LogicErrorException);
KESTREL_DECLARE_EXCEPTION(IllegalReferenceException, LogicErrorException);
KESTREL_DECLARE_EXCEPTION(NullReferenceException, IllegalReferenceException);
KESTREL_DECLARE_EXCEPTION(PreconditionException, LogicErrorException);
KESTREL_DECLARE_EXCEPTION(RunTimeErrorException, GeneralException);
KESTREL_DECLARE_EXCEPTION(ConversionErrorException, RunTimeErrorException);
KESTREL_DECLARE_EXCEPTION(SynchronizationException, RunTimeErrorException);
KESTREL_DECLARE_EXCEPTION(ThreadingException, RunTimeErrorException);

/// Out of memory; GetID is ErrMemoryFull. Constructed, copied and thrown without allocating: the
/// message must be a literal, and a cause is not stored.
class KESTREL_API OutOfMemoryException : public MuException {
public:
    explicit OutOfMemoryException(char const * literal = "Out of memory.", char const * file = "",
                                  unsigned int line = 0,
                                  MuException const & cause = NoCauseException) noexcept;
    OutOfMemoryException(OutOfMemoryException const &) noexcept = default;
    OutOfMemoryException & operator=(OutOfMemoryException const &) noexcept = default;
    ~OutOfMemoryException() override;
    char const * GetName() const noexcept override;
    OutOfMemoryException * Clone() const override;
};

} // namespace Mu
