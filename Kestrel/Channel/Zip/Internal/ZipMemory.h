#pragma once

#include <Kestrel/Root/Memory/Memory.h>

#include <zlib.h>

namespace IO {

/// An empty stream that allocates from the root.
inline z_stream MakeZipStream() {
    z_stream stream{};
    stream.zalloc = [](void *, uInt count, uInt size) -> void * {
        return Mu::NewArrayOperator(static_cast<std::size_t>(count) * size);
    };
    stream.zfree = [](void *, void * block) { Mu::DeleteArrayOperator(block); };
    return stream;
}

} // namespace IO
