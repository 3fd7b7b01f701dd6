#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {

/// Selects the read that waits for all bytes.
enum ReadAllModeSelector { ReadAll };

/// A raw source of bytes, such as a socket: no buffer, no protocol.
///
/// Threads: one at a time.
/// Failure: exceptions; MuException::GetID returns the status.
class KESTREL_API IBinaryChannel {
public:
    IBinaryChannel() = default;
    virtual ~IBinaryChannel();
    IBinaryChannel(IBinaryChannel const &) = delete;
    IBinaryChannel & operator=(IBinaryChannel const &) = delete;

    /// Waits for at least one byte and returns how many were read, up to `count`; 0 at the end.
    virtual unsigned int Read(char * destination, unsigned int count) = 0;
    /// How many bytes can be read without waiting.
    virtual unsigned int GetAvailable() = 0;
    virtual void Close() = 0;

    /// Reads all `count` bytes; an earlier end throws IOException with the id EOI.
    void Read(char * destination, unsigned int count, ReadAllModeSelector);
};

/// A raw sink of bytes.
///
/// Threads: one at a time.
/// Failure: exceptions; MuException::GetID returns the status.
class KESTREL_API OBinaryChannel {
public:
    OBinaryChannel() = default;
    OBinaryChannel(OBinaryChannel const &) = delete;
    OBinaryChannel & operator=(OBinaryChannel const &) = delete;

    /// Writes all bytes or throws.
    virtual void Write(char const * source, unsigned int count) = 0;
    virtual void Flush() = 0;
    virtual void Close() = 0;
    virtual ~OBinaryChannel();
};

/// Helper for readers of a binary channel.
class KESTREL_API IBinaryChannelUtilities {
public:
    /// Reads until the count or the end, and returns how many bytes were read.
    static unsigned int ReadFully(IBinaryChannel & channel, char * destination, unsigned int count);
};

} // namespace Mu
