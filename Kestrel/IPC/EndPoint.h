#pragma once

#include <Kestrel/IPC/Communicator.h>
#include <Kestrel/IPC/SocketIChannel.h>
#include <Kestrel/IPC/SocketOChannel.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Text/String.h>

namespace IO::IPC {

/// One end of a connection: a socket with a channel for each direction.
///
/// Memory:  that of the channels; an end point that never sent or received has no buffers.
/// Threads: the one that drives the pool.
/// Failure: losing the peer throws nothing: IsOk becomes false, and the channels return the cause.
class KESTREL_API EndPoint : public Communicator {
public:
    /// While it exists, reads from the end point stop at the end of the current message; its
    /// destructor discards the rest of the message. Messages are always read under such a guard.
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

    /// True: waiting data is offered to the socket on every pass.
    bool AlwaysWrite() const override;
    void ProcessRead() override;
    void ProcessWrite() override;
    void ProcessError() override = 0;
    /// Called on each pass while a message is waiting. Does nothing here.
    virtual void SeparatorArrived();
    /// Called when a service selection reaches the read position, possibly in the middle of a read.
    /// Reading, skipping and pushing back bytes in the call returns Error. Does nothing here.
    virtual void LocationArrived(Location const & location);

    SocketIChannel & GetIChannel() { return input; }
    SocketOChannel & GetOChannel() { return output; }
    /// Number of messages waiting to be read.
    unsigned int GetISeparatorCount() const { return input.GetSeparatorCount(); }
    /// Number of messages that are not completely sent.
    unsigned int GetOSeparatorCount() const { return output.GetSeparatorCount(); }
    /// Whether neither channel has failed.
    bool IsOk() const {
        return input.GetInputStatus() == NoError && output.GetOutputStatus() == NoError;
    }

    /// The peer's address in dotted form. Error if there is none.
    MuErrCode GetPeer(Mu::String & host, unsigned int & port) const;
    /// host:port; the host is empty if there is no peer.
    Mu::String GetPeerString() const;

    /// Drives the pool until a message is waiting. Error: the connection is lost, or the time is
    /// over, even if a message arrived in the last moment; so always for 0 seconds. Waits in steps
    /// of 0.05 s, which end early if a socket of the pool becomes ready.
    MuErrCode WaitNextSeparator(double seconds);

protected:
    static constexpr unsigned int BlockSize = 508096;

    EndPoint();

    /// Whether SeparatorArrived would do anything with a waiting message. While it returns true,
    /// the pool does not sleep before the next pass.
    void SetTakesMessages(bool takes) { takesMessages = takes; }
    /// More data is unsent than CommunicatorPool::GetUnreadLimit, as the peer does not read it.
    bool IsPeerBehind() const;
    /// Called after a message was handled: removes an EOI that only the end of the message caused.
    void ForgetMessageEnd();
    /// The connection is over: closes the socket, or, if the pool has it, lets the next pass call
    /// ProcessError.
    void CloseAfterFailure(unsigned long long lost);
    /// Resets both channels for a new connection.
    void ResetChannels();

private:
    friend class CommunicatorPool;
    friend class SocketIChannel;
    friend class SocketOChannel;

    bool WantsRead() const;
    bool WantsPass() const;
    bool HasRest() const { return input.HasRest(); }
    /// There is nothing to send, deliver or check: only input can change that.
    bool IsIdle() const;
    /// Called before data is queued for sending.
    void Wake();

    SocketIChannel input;
    SocketOChannel output;
    bool takesMessages = false;
    bool isAwake = false; // the pool visits this on each pass
    bool isLost = false;  // the connection; the socket remains ours until ProcessError
};

} // namespace IO::IPC
