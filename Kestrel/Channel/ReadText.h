#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace Mu {
class IChannel;
} // namespace Mu

namespace IO {

/// Reads a text into a place of `capacity` bytes, its zero byte included; the one to take for bytes
/// from outside. Reads what Read(char *) of the channel's protocol reads, recoded alike.
///
/// `*length` (may be null) receives how long the text is, without its zero byte; 0 after a failure
/// other than a text that is too long. After any failure `text` is empty.
/// Error: the text does not fit, or the protocol is no binary one of the library's, or there is no
/// place at all; of a text that does not fit, the length was taken from the channel and the bytes
/// stay there, so that a reader may Skip them. Other failures go through ConvertObjectReadError.
KESTREL_API MuErrCode ReadText(Mu::IChannel & channel, char * text, unsigned int capacity,
                               unsigned int * length);

} // namespace IO
