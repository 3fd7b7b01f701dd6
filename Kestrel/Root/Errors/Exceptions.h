#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/WindowsNames.h>

#include <exception>

namespace Mu {

class OChannel;
class UniString;

/// What everything thrown by the library derives from, so that a host catches it by one name, or
/// as a std::exception.
///
/// Memory:  the copies that Clone makes come from the root.
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

/// Stands for no cause; compared by its address. May be named from the first moment on.
KESTREL_API extern MuException const & NoCauseException;

/// An exception with a message, the place that threw it, a status and the exception that led to it.
///
/// Copies share message and cause, so copying takes no memory and cannot fail.
///
/// Memory:  one block for the message and one for the copy of the cause. Where they cannot be had,
///          a fixed text stands in for the message and the cause is left out: to report something
///          less is better than to report something else.
class KESTREL_API MuException : public virtual RootException {
public:
    /// The message is copied; `file` is a literal and is not.
    explicit MuException(char const * message, char const * file = "", unsigned int line = 0,
                         MuException const & cause = NoCauseException, int id = Error) noexcept;
    explicit MuException(UniString const & message, char const * file = "", unsigned int line = 0,
                         MuException const & cause = NoCauseException, int id = Error) noexcept;
    MuException(MuException const & other) noexcept;
    MuException & operator=(MuException const & other) noexcept;
    ~MuException() override;

    /// The status that says the same where statuses are used.
    int GetID() const noexcept { return id; }
    /// Narrow text as it was given; a UniString was turned into UTF-8. Never null.
    char const * GetMessage() const noexcept { return message; }
    char const * GetFileName() const noexcept { return file; }
    unsigned int GetLineNumber() const noexcept { return line; }
    /// A copy of what led to this one, alive as long as this one or a copy of it; NoCauseException
    /// when there is none.
    MuException const & GetCause() const noexcept;
    bool HasCause() const noexcept { return &GetCause() != &NoCauseException; }

    /// "Name: message"
    void Print(OChannel & channel) const;
    /// As Print, with file, line and id, and the causes on lines of their own.
    void Dump(OChannel & channel) const;

    /// A copy on the heap, owned by the caller. Throws OutOfMemoryException.
    virtual MuException * Clone() const;

    char const * GetName() const noexcept override;
    /// The message.
    char const * what() const noexcept override;

protected:
    struct Borrowed {};
    /// Keeps the pointer to a literal and no cause, and so takes no memory.
    MuException(Borrowed, char const * literal, char const * file, unsigned int line,
                int id) noexcept;

private:
    struct Shared;
    void Keep(char const * text, std::size_t length, MuException const & cause) noexcept;

    char const * message; // a literal, or inside shared
    char const * file;
    Shared * shared = nullptr; // counted; null when the message is a literal and no cause is kept
    unsigned int line;
    int id;
};

// Declares an exception class of the family: its two constructors, GetName and Clone. They differ
// in nothing but the name and the base.
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

// The definitions for it, in the namespace of the class.
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

/// Memory ran out; GetID is ErrMemoryFull. Made, copied and thrown without any memory: the message
/// must be a literal, and a cause is not kept.
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
