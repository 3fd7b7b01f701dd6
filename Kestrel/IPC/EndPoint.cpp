#include <Kestrel/IPC/EndPoint.h>

#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Time/Timer.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include <cstdio>
#include <utility>

namespace IO::IPC {

namespace {
constexpr unsigned int FrameHeaderSize = 5;
}

Communicator::Communicator() {
    CommunicatorPool::Instance();
}

Communicator::~Communicator() = default;

bool Communicator::AlwaysWrite() const {
    return false;
}

EndPoint::InputSeparatorGuard::InputSeparatorGuard(EndPoint & endPoint)
    : channel(&endPoint.input), before(channel->SetSeparatorIsEOI(true)),
      mark(endPoint.input.mLife) {}

EndPoint::InputSeparatorGuard::~InputSeparatorGuard() {
    if (mark.IsOver())
        return;
    channel->SetSeparatorIsEOI(before);
    try {
        static_cast<void>(channel->EatSeparator()); // none if the connection was lost meanwhile
    } catch (Mu::OutOfMemoryException const &) {
        // The next message cannot be reached any more.
        channel->Lose(channel->mEndPoint.GetSocket());
    }
}

EndPoint::EndPoint() : input(*this, BlockSize + FrameHeaderSize), output(BlockSize) {
    output.mOwner = this;
}

EndPoint::~EndPoint() = default;

bool EndPoint::AlwaysWrite() const {
    return true;
}

void EndPoint::ProcessRead() {
    input.ProcessRead(socket);
}

void EndPoint::ProcessWrite() {
    output.ProcessWrite(socket);
}

void EndPoint::SeparatorArrived() {}

void EndPoint::LocationArrived(Location const &) {}

void EndPoint::ForgetMessageEnd() {
    if (!isLost)
        input.ResetInputStatus();
}

void EndPoint::ResetChannels() {
    input.Clear();
    input.ResetInputStatus();
    output.GoToErrorState(NoError);
    output.mMarks.clear(); // of blocks that were open when an earlier connection was lost
    isLost = false;
}

// The peer sees the end at once. The socket number remains in use until the pool finds this end
// point at its next pass: otherwise another connection might get it before.
void EndPoint::CloseAfterFailure(unsigned long long lost) {
    if (lost != socket || CommunicatorPool::Instance().GetCommunicator(lost) != this) {
        Socket::Close(lost);
        return;
    }
    isLost = true;
    Socket::GetSocketCalls().Shutdown(socket, Socket::ShutdownDirection::Both);
    CommunicatorPool::Instance().SomeoneIsLost();
}

bool EndPoint::WantsRead() const {
    return !isLost && input.GetInputStatus() == NoError && !input.IsHeldBack();
}

bool EndPoint::WantsPass() const {
    return isLost || input.HasRest() ||
           (takesMessages && input.GetSeparatorCount() > 0 && !IsPeerBehind());
}

bool EndPoint::IsPeerBehind() const {
    return output.GetUnsent() > CommunicatorPool::Instance().GetUnreadLimit();
}

bool EndPoint::IsIdle() const {
    return input.GetSeparatorCount() == 0 && !input.HasRest() && !output.HasUnsent() && IsOk() &&
           !isLost && AlwaysWrite();
}

void EndPoint::Wake() {
    if (!isAwake)
        CommunicatorPool::Instance().Wake(*this);
}

MuErrCode EndPoint::GetPeer(Mu::String & host, unsigned int & port) const {
    return Socket::GetPeer(socket, host, port);
}

Mu::String EndPoint::GetPeerString() const {
    Mu::String host;
    unsigned int port = 0;
    if (GetPeer(host, port) != NoError) {
        host.Clear();
        port = 0;
    }
    char text[16];
    std::snprintf(text, sizeof(text), ":%u", port);
    host.Append(text);
    return host;
}

MuErrCode EndPoint::WaitNextSeparator(double seconds) {
    CommunicatorPool & pool = CommunicatorPool::Instance();
    Mu::Timer timer;
    Mu::timerManager.Start(timer);
    if (!IsOk())
        return Error;
    Life::Mark const mark(input.mLife);
    double elapsed = Mu::timerManager.GetElapsedSeconds(timer);
    if (GetISeparatorCount() == 0) {
        // A caller that waits for a response has nothing to poll for before its request has been
        // sent.
        constexpr double LeastWait = 0.001;
        bool isAsking = output.mIsFresh && seconds >= LeastWait;
        isAsking ? pool.ProcessBeforeWait() : pool.Process();
        while (!mark.IsOver() && GetISeparatorCount() == 0 && IsOk()) {
            elapsed = Mu::timerManager.GetElapsedSeconds(timer);
            if (elapsed >= seconds)
                break;
            std::exchange(isAsking, false) ? pool.ProcessBeforeWait() : pool.Process();
            if (!mark.IsOver() && GetISeparatorCount() == 0 && IsOk())
                pool.Wait(CommunicatorPool::WaitStep);
        }
    }
    if (mark.IsOver() || elapsed >= seconds)
        return Error;
    return IsOk() ? NoError : Error;
}

} // namespace IO::IPC
