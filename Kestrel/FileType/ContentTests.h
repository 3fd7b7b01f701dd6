#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {
class IChannel;
}

namespace FTM {

// The built-in content tests, which read from the start of the channel.
//
// A content test returns whether the bytes of a channel look like its type. It may read any amount;
// the manager restores the position afterwards. `info` comes from the caller of
// FileTypeManager::Identify and may be null.
//
// Memory:  none.
// Threads: any; one at a time on one channel.
// Failure: a failed read returns false.

/// The type of a content test.
using ContentTest = bool(Mu::IChannel & channel, void * info);

/// Filled in by the content tests of images if `info` points to one.
struct ImageTypeCallbackInfo {
    unsigned short depth;
    unsigned short width;
    unsigned short height;
};

// Kept: the values that the next two store are the same for every file. The image is not parsed;
// programs interpret them as "this is an image", and get its size from their own decoders.

/// "BM"; stores 16, 640, 480.
KESTREL_API bool BMPTypeCallback(Mu::IChannel & channel, void * info);
/// "GIF89", but not the older signature; stores 32, 320, 200.
KESTREL_API bool GIFTypeCallback(Mu::IChannel & channel, void * info);
/// "MZ".
KESTREL_API bool EXETypeCallback(Mu::IChannel & channel, void * info);

/// Reads nothing and returns false: for a type that is identified by name alone.
KESTREL_API bool TextTypeCallback(Mu::IChannel & channel, void * info);
// The same function by the names of other types.
KESTREL_API extern ContentTest & TIFFTypeCallback;
KESTREL_API extern ContentTest & JPEGTypeCallback;
KESTREL_API extern ContentTest & EMFTypeCallback;
KESTREL_API extern ContentTest & WMFTypeCallback;
KESTREL_API extern ContentTest & HTMTypeCallback;
KESTREL_API extern ContentTest & PDFTypeCallback;

} // namespace FTM
