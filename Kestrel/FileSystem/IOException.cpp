#include <Kestrel/FileSystem/IOException.h>

#include <Kestrel/Root/Errors/ErrorCodes.h>

namespace IO {

IOException::IOException(char const * message, char const * file, unsigned int line,
                         Mu::MuException const & cause) noexcept
    : MuException(message, file, line, cause, Error) {}

IOException::IOException(Mu::UniString const & message, char const * file, unsigned int line,
                         Mu::MuException const & cause) noexcept
    : MuException(message, file, line, cause, Error) {}

IOException::IOException(IOException const & other) noexcept = default;
IOException & IOException::operator=(IOException const & other) noexcept = default;
IOException::~IOException() = default;

char const * IOException::GetName() const noexcept {
    return "IOException";
}

IOException * IOException::Clone() const {
    return new IOException(*this);
}

} // namespace IO
