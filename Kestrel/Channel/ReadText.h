#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace Mu {
class IChannel;
} // namespace Mu

namespace IO {

/// Reads a text into a buffer of `capacity` bytes, including its terminating zero; to be used for
/// untrusted input. Reads the format of Read(char *) of the channel's protocol, with the same
/// conversion.
///
/// `*length` (may be null) receives the length of the text without its terminating zero; 0 after a
/// failure other than a text that is too long. After any failure `text` is empty. Error: the text
/// does not fit, the protocol is not one of the library's binary ones, or there is no buffer; if
/// the text does not fit, the length has been read and the bytes remain, so that they can be
/// skipped. Other failures are converted by ConvertObjectReadError.
KESTREL_API MuErrCode ReadText(Mu::IChannel & channel, char * text, unsigned int capacity,
                               unsigned int * length);

} // namespace IO
