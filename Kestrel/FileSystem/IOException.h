#pragma once

#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO {

/// For hosts that would rather throw than return a status. The library never throws it; its id is
/// always that of IO::Error.
class KESTREL_API IOException : public Mu::MuException {
public:
    IOException(char const * message, char const * file, unsigned int line,
                Mu::MuException const & cause = Mu::NoCauseException) noexcept;
    IOException(Mu::UniString const & message, char const * file, unsigned int line,
                Mu::MuException const & cause = Mu::NoCauseException) noexcept;
    IOException(IOException const & other) noexcept;
    IOException & operator=(IOException const & other) noexcept;
    ~IOException() override;

    char const * GetName() const noexcept override;
    /// A copy on the heap, owned by the caller.
    IOException * Clone() const override;
};

} // namespace IO
