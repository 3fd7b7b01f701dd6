#include <Kestrel/Socket/Internal/ErrorText.h>

#include <Kestrel/Socket/Platform/SocketCalls.h>

namespace IO::Socket {

Mu::UniString GetErrorText(Mu::UniString const & text, unsigned int error) {
    char16_t message[512];
    unsigned int const length =
        error != 0 ? GetSocketCalls().FormatMessage(error, message, std::size(message)) : 0;
    if (length == 0)
        return Mu::UniString::Printf("%ls (Error code: %d.)", text, error);
    return Mu::UniString::Printf("%ls (Error code: %d. Error message: %ls.)", text, error,
                                 std::u16string_view(message, length));
}

} // namespace IO::Socket
