#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {
class IChannel;
}

namespace FTM {

// The content tests that the library brings along, each reading from the start of the channel.
//
// A content test says whether the bytes of a channel look like its type. It may read what it likes;
// the manager winds back behind it. `info` comes from the caller of FileTypeManager::Identify and may
// be null.
//
// Memory:  none of these takes any.
// Threads: any; one at a time on one channel.
// Failure: a failed read is false.

/// What a content test is.
using ContentTest = bool(Mu::IChannel & channel, void * info);

/// What the content tests of images fill in, when `info` points to one.
struct ImageTypeCallbackInfo {
    unsigned short depth;
    unsigned short width;
    unsigned short height;
};

// Kept: the values that the next two fill in are the same for every file. The image is not parsed;
// programs take them for "there is an image", and ask their own decoders for its size.

/// "BM"; fills in 16, 640, 480.
KESTREL_API bool BMPTypeCallback(Mu::IChannel & channel, void * info);
/// "GIF89", and so not the older signature; fills in 32, 320, 200.
KESTREL_API bool GIFTypeCallback(Mu::IChannel & channel, void * info);
/// "MZ".
KESTREL_API bool EXETypeCallback(Mu::IChannel & channel, void * info);

/// Reads nothing and is false: for a type that is known by its name alone.
KESTREL_API bool TextTypeCallback(Mu::IChannel & channel, void * info);
// The same function under the names of other types.
KESTREL_API extern ContentTest & TIFFTypeCallback;
KESTREL_API extern ContentTest & JPEGTypeCallback;
KESTREL_API extern ContentTest & EMFTypeCallback;
KESTREL_API extern ContentTest & WMFTypeCallback;
KESTREL_API extern ContentTest & HTMTypeCallback;
KESTREL_API extern ContentTest & PDFTypeCallback;

} // namespace FTM
