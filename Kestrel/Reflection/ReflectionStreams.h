#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

// Encoding of the dialogue with a ReflectionService: numbers with the low byte first, and texts
// after their length, which is one byte, or 255 and four more. Texts are in the default character
// code. ReflectionClient is the client of a service.
//
// Memory:  a text grows as its bytes arrive, whatever length is announced.
// Threads: as for the channels.
// Failure: as for the channels; an end within a value is Mu::IOException with the id EOI.

KESTREL_API void Read(Mu::IBinaryChannel & channel, unsigned int * number);
KESTREL_API void Read(Mu::IBinaryChannel & channel, Mu::UniString * text);
/// Reads up to the end of the data; returns the number of bytes.
KESTREL_API unsigned int Read(Mu::IBinaryChannel & channel, char * destination, unsigned int count);
KESTREL_API void Write(Mu::OBinaryChannel & channel, unsigned int number);
// Kept: the length is that of the text in code units, and the same number of bytes follows. In a
// code with more bytes than units the text is truncated, in one with fewer it is padded with zeros.
KESTREL_API void Write(Mu::OBinaryChannel & channel, Mu::UniString const & text);
KESTREL_API void Write(Mu::OBinaryChannel & channel, char const * source, unsigned int count);

} // namespace IO
