#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Objects/ClassInfo.h>

namespace Mu {

class IChannel;
class OChannel;

// A frame surrounds the written form of an object and contains its class, version and length, so
// that a reader can reject other classes and skip what a newer writer added.
//
// The header has 16 bytes, the same under every protocol, with all numbers low byte first:
//
//     0  4  "KFrm"
//     4  4  hash of the class name
//     8  1  main version
//     9  1  sub-version
//    10  1  kind: 0 closed, 1 open
//    11  1  check byte over the other fifteen
//    12  4  closed: length of the data; open: a tag
//
// A closed frame is used on channels with marks. On a channel without marks the length cannot be
// filled in afterwards, so the frame is open: a trailer of 16 bytes follows the data, which is the
// header with "KEnd" at the start; a tag that is unique in the process distinguishes it from the
// trailers of inner frames.

/// Frames everything that is written to the channel during its lifetime.
///
///     Mu::OutputFrame frame(channel, GetClassInfo());
///     channel.Write(size);
///
/// Memory:  none of its own; the channel buffers the data until the frame ends.
/// Threads: as for the channel.
/// Failure: the channel's status.
class KESTREL_API OutputFrame {
public:
    OutputFrame(OChannel & channel, ClassInfo const & classInfo);
    /// Completes the frame. Does nothing after a failure of the channel.
    ~OutputFrame();
    OutputFrame(OutputFrame const &) = delete;
    OutputFrame & operator=(OutputFrame const &) = delete;

    /// The version to write: that of the class record, unless a FrameVersionScope replaces it.
    unsigned int GetMainVersion() const { return version.GetMainVersion(); }
    unsigned int GetSubVersion() const { return version.GetSubVersion(); }

private:
    void Finish();

    OChannel & channel;
    ClassInfo const & classInfo;
    ClassVersion version;
    bool marked = false;
    unsigned int tag = 0;
};

/// During its lifetime, this thread writes frames of the class with another version than that of
/// the class record, for an older reader. The innermost scope is used.
class KESTREL_API FrameVersionScope {
public:
    FrameVersionScope(ClassInfo const & classInfo, ClassVersion version);
    ~FrameVersionScope();
    FrameVersionScope(FrameVersionScope const &) = delete;
    FrameVersionScope & operator=(FrameVersionScope const &) = delete;

    /// The version of the frames of the class that this thread writes.
    static ClassVersion GetVersion(ClassInfo const & classInfo);

private:
    ClassInfo const & classInfo;
    ClassVersion version;
    FrameVersionScope const * outer;
};

/// Reads a frame header and, in its destructor, skips the rest of the frame.
///
/// Frames of one channel nest, and an inner frame that is longer than the rest of the outer one is
/// refused. Reads use the channel directly and do not stop at the end of the frame, so a reader
/// checks IChannel::GetReadLimit before it allocates memory for a length that it has read.
///
/// Memory:  none.
/// Threads: as for the channel.
/// Failure: GetStatus. EOI: the channel ended in front of the frame. Error: the frame is truncated,
///          of another class, broken, or longer than the frame around it, or the channel does not
///          know its position. Otherwise the status of the channel. Unless the status is NoError,
///          nothing is skipped, and versions and length are 0.
class KESTREL_API InputFrame {
public:
    InputFrame(IChannel & channel, ClassInfo const & classInfo);
    ~InputFrame();
    InputFrame(InputFrame const &) = delete;
    InputFrame & operator=(InputFrame const &) = delete;

    MuErrCode GetStatus() const { return status; }
    unsigned int GetMainVersion() const { return version.GetMainVersion(); }
    unsigned int GetSubVersion() const { return version.GetSubVersion(); }
    /// 0xFFFFFFFF for an open frame that is not empty, as its length follows the data.
    unsigned int GetDataLength() const { return dataLength; }
    /// The unread bytes of the frame; for an open frame an upper limit.
    unsigned long long GetRest() const;

private:
    static constexpr unsigned int OpenLength = 0xFFFFFFFFu;

    MuErrCode ReadHeader();
    MuErrCode TakeEmptyTrailer();
    void SkipToTrailer() const;

    IChannel & channel;
    ClassInfo const & classInfo;
    ClassVersion version;
    unsigned int dataLength = 0;
    unsigned int tag = 0;       // of an open frame
    unsigned long long end = 0; // of a closed frame: input position past its data
    InputFrame * outer = nullptr;
    MuErrCode status;
};

} // namespace Mu
