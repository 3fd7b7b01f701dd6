#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

// The two ends of the dialogue with a ReflectionService: numbers low byte first, and texts with
// their length in front, one byte, or 255 and four more. Texts are in the default character code.
// To ask a service, use ReflectionClient.
//
// Memory:  texts take it as their bytes arrive, whatever length is announced.
// Threads: those of the channels.
// Failure: those of the channels; an end in the middle is Mu::IOException with the id EOI.

KESTREL_API void Read(Mu::IBinaryChannel & channel, unsigned int * number);
KESTREL_API void Read(Mu::IBinaryChannel & channel, Mu::UniString * text);
/// As many bytes as come before the end; returns how many.
KESTREL_API unsigned int Read(Mu::IBinaryChannel & channel, char * destination, unsigned int count);
KESTREL_API void Write(Mu::OBinaryChannel & channel, unsigned int number);
// Kept: the length is that of the text in code units, and as many bytes follow. In a code that
// needs more bytes than units the text is cut, in one that needs fewer it ends in zeros.
KESTREL_API void Write(Mu::OBinaryChannel & channel, Mu::UniString const & text);
KESTREL_API void Write(Mu::OBinaryChannel & channel, char const * source, unsigned int count);

} // namespace IO
