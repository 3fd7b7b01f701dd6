#pragma once

#include <Kestrel/IPC/Communicator.h>
#include <Kestrel/IPC/SocketIChannel.h>
#include <Kestrel/IPC/SocketOChannel.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Text/String.h>

namespace IO::IPC {

/// One end of a connection: a socket with a channel for each direction.
///
/// Memory:  that of the channels; an end that never sent or received holds no buffer.
/// Threads: the one that drives the pool.
/// Failure: nothing throws because a peer is lost: IsOk becomes false, and the channels say why.
class KESTREL_API EndPoint : public Communicator {
public:
    /// While it lives, reads from the end point stop at the end of the present message; its end
    /// throws away what was left of it. Everybody reads messages under such a guard.
    class KESTREL_API InputSeparatorGuard {
    public:
        explicit InputSeparatorGuard(EndPoint & endPoint);
        ~InputSeparatorGuard();
        InputSeparatorGuard(InputSeparatorGuard const &) = delete;
        InputSeparatorGuard & operator=(InputSeparatorGuard const &) = delete;

    private:
        SocketIChannel * channel;
        bool before;
        Life::Mark mark; // the service may have ended the connection
    };

    ~EndPoint() override;

    /// True: what waits is offered to the socket at every pass.
    bool AlwaysWrite() const override;
    void ProcessRead() override;
    void ProcessWrite() override;
    void ProcessError() override = 0;
    /// A message waits. Once a pass, as long as one does. Does nothing here.
    virtual void SeparatorArrived();
    /// A service selection has reached the read position, perhaps in the middle of a read. What takes
    /// bytes or pushes them back fails from inside, with Error. Does nothing here.
    virtual void LocationArrived(Location const & location);

    SocketIChannel & GetIChannel() { return input; }
    SocketOChannel & GetOChannel() { return output; }
    /// Messages that wait to be read.
    unsigned int GetISeparatorCount() const { return input.GetSeparatorCount(); }
    /// Messages whose ends have not left yet.
    unsigned int GetOSeparatorCount() const { return output.GetSeparatorCount(); }
    /// Neither channel has failed.
    bool IsOk() const {
        return input.GetInputStatus() == NoError && output.GetOutputStatus() == NoError;
    }

    /// The other end, in dotted form. Error when there is none.
    MuErrCode GetPeer(Mu::String & host, unsigned int & port) const;
    /// host:port, with an empty host when there is none.
    Mu::String GetPeerString() const;

    /// Drives the pool until a message waits. Error: the connection is lost, or the time was over,
    /// even if a message came just then; so with 0 seconds always. Waits in steps of 0.05 s, which
    /// end early when a socket of the pool is ready.
    MuErrCode WaitNextSeparator(double seconds);

protected:
    static constexpr unsigned int BlockSize = 508096;

    EndPoint();

    /// Whether SeparatorArrived would do something with a message that waits. While it says so, the
    /// pool does not sleep before the next pass.
    void SetTakesMessages(bool takes) { takesMessages = takes; }
    /// More waits to be sent than CommunicatorPool::GetUnreadLimit: the peer does not read it.
    bool IsPeerBehind() const;
    /// After the handling of a message: an EOI that only its end has made goes.
    void ForgetMessageEnd();
    /// The connection is over: closes the socket, or, where the pool knows it, lets the next pass
    /// call ProcessError.
    void CloseAfterFailure(unsigned long long lost);
    /// Both channels as new, for a new connection.
    void ResetChannels();

private:
    friend class CommunicatorPool;
    friend class SocketIChannel;
    friend class SocketOChannel;

    bool WantsRead() const;
    bool WantsPass() const;
    bool HasRest() const { return input.HasRest(); }
    /// Nothing to send, to hand over or to find out: only what comes can change that.
    bool IsIdle() const;
    /// Called before there is something to send.
    void Wake();

    SocketIChannel input;
    SocketOChannel output;
    bool takesMessages = false;
    bool isAwake = false; // the pool looks here at each pass
    bool isLost = false;  // the connection; the socket stays ours until ProcessError
};

} // namespace IO::IPC
