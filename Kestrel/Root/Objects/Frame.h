#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Objects/ClassInfo.h>

namespace Mu {

class IChannel;
class OChannel;

// A frame stands round the written form of an object and says of which class and version it is and
// how long, so that a reader refuses what is not its own and passes over what a newer writer added.
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
// A closed frame is what channels with marks get. On a channel that refuses marks the length
// cannot be put in afterwards, so the frame is open: a trailer of 16 bytes follows the data, the
// header once more with "KEnd" in front, and a tag that no other frame of the process has
// distinguishes it from the trailers of frames inside.

/// Frames everything that is written to the channel during its life.
///
///     Mu::OutputFrame frame(channel, GetClassInfo());
///     channel.Write(size);
///
/// Memory:  none of its own; the channel keeps the data back until the frame ends.
/// Threads: the channel's.
/// Failure: the channel's status.
class KESTREL_API OutputFrame {
public:
    OutputFrame(OChannel & channel, ClassInfo const & classInfo);
    /// Completes the frame. After a failure of the channel nothing is done.
    ~OutputFrame();
    OutputFrame(OutputFrame const &) = delete;
    OutputFrame & operator=(OutputFrame const &) = delete;

    /// The version to write: that of the class record, unless a FrameVersionScope says otherwise.
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

/// While it lives, frames of the class that this thread writes are of another version than the
/// class record says, for a reader that is older. The innermost scope counts.
class KESTREL_API FrameVersionScope {
public:
    FrameVersionScope(ClassInfo const & classInfo, ClassVersion version);
    ~FrameVersionScope();
    FrameVersionScope(FrameVersionScope const &) = delete;
    FrameVersionScope & operator=(FrameVersionScope const &) = delete;

    /// The version that a frame of the class is written with in this thread.
    static ClassVersion GetVersion(ClassInfo const & classInfo);

private:
    ClassInfo const & classInfo;
    ClassVersion version;
    FrameVersionScope const * outer;
};

/// Reads a frame header and, at its end, passes over what is left of the frame.
///
/// Frames of one channel nest, and an inner one that claims more than the outer one has left is
/// refused. Reads themselves go to the channel and are not stopped at the end of the frame, so a
/// reader asks IChannel::GetReadLimit before it takes memory for a length it has read.
///
/// Memory:  none.
/// Threads: the channel's.
/// Failure: GetStatus. EOI: the channel ended before the frame. Error: the frame is cut, of
///          another class, broken, or longer than the frame around it, or the channel does not
///          know its position. Else what the channel said. With a status other than NoError
///          nothing is passed over, and versions and length are 0.
class KESTREL_API InputFrame {
public:
    InputFrame(IChannel & channel, ClassInfo const & classInfo);
    ~InputFrame();
    InputFrame(InputFrame const &) = delete;
    InputFrame & operator=(InputFrame const &) = delete;

    MuErrCode GetStatus() const { return status; }
    unsigned int GetMainVersion() const { return version.GetMainVersion(); }
    unsigned int GetSubVersion() const { return version.GetSubVersion(); }
    /// 0xFFFFFFFF for an open frame that is not empty: its length stands behind it.
    unsigned int GetDataLength() const { return dataLength; }
    /// Bytes of the frame that are not read yet; the most that there can be in an open frame.
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
    unsigned long long end = 0; // of a closed frame: input position behind its data
    InputFrame * outer = nullptr;
    MuErrCode status;
};

} // namespace Mu
