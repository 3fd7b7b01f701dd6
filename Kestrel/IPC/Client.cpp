#include <Kestrel/IPC/Client.h>

#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Service.h>
#include <Kestrel/Root/Text/PlatformConversion.h>
#include <Kestrel/Root/Time/Time.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace IO::IPC {

Client::Client() {
    SetConnectTimeout(30);
}

Client::~Client() {
    Disconnect();
}

bool Client::AlwaysWrite() const {
    return mWritten;
}

void Client::ProcessWrite() {
    EndPoint::ProcessWrite();
    mWritten = true;
}

void Client::ProcessError() {
    Disconnect();
}

void Client::SetConnectTimeout(int seconds) {
    constexpr int Day = 86400;
    mConnectTimeout = std::min(seconds, Day); // the root's time counts seconds
}

MuErrCode Client::InterpretAddress(Location const & location, Mu::String & host, int & port) {
    Mu::UniString url;
    if (location.ToURL(&url) != NoError)
        return Error;
    auto const narrow = url.ToCStr();
    std::string_view text(static_cast<char const *>(narrow.GetText()));
    if (std::size_t const scheme = text.find("://"); scheme != text.npos)
        text.remove_prefix(scheme + 3);
    std::size_t const colon = text.find(':');
    if (colon == text.npos)
        return Error;
    host.Assign(text.data(), static_cast<unsigned int>(colon));
    port = static_cast<int>(std::strtol(text.data() + colon + 1, nullptr, 10));
    return NoError;
}

MuErrCode Client::Connect(Location const & location) {
    if (mState != NotConnected || InterpretAddress(location, mHost, mPort) != NoError)
        return Error;
    mLocation = location;
    socket = Socket::Create();
    if (Socket::InvalidSocket(socket))
        return Error;
    Socket::GetSocketCalls().SetSockOpt(socket, Socket::OptionLevel::TCP,
                                        Socket::OptionName::NoDelay, 1);
    mState = Connecting;
    mConnectStart = TIGetTime();
    Life::Mark const mark(life);
    ProcessPendingConnect();
    if (mark.IsOver())
        return Error;
    if (mState == Connecting) {
        try {
            CommunicatorPool::Instance().RegisterPendingConnect(this);
        } catch (Mu::OutOfMemoryException const &) {
            Disconnect();
            throw;
        }
    }
    return mState > NotConnected ? NoError : Error;
}

void Client::ProcessPendingConnect() {
    bool isUp = Socket::Connect(socket, mHost, static_cast<unsigned int>(mPort)) == NoError;
    if (!isUp) {
        Socket::SocketError const error = Socket::GetLastError();
        if (error == Socket::WouldBlock || error == Socket::InProgress) {
            if (TIGetTime() - mConnectStart > mConnectTimeout)
                Disconnect();
            return;
        }
        isUp = error == Socket::AlreadyConnected; // connected since the last call
    }
    CommunicatorPool::Instance().UnRegisterPendingConnect(this);
    if (!isUp) {
        Disconnect();
        return;
    }
    Life::Mark const mark(life);
    try {
        Greet();
    } catch (Mu::OutOfMemoryException const &) {
        if (!mark.IsOver())
            Disconnect();
        throw;
    }
    NotifyObservers(
        [this](ClientObserver & observer) { observer.ClientConnected(*this, mLocation); });
    if (!mark.IsOver() && mState == Connected)
        ProcessWrite();
}

void Client::Greet() {
    mState = Connected;
    ResetChannels();
    GetOChannel().Write(static_cast<short>(Mu::WindowsSign));
    GetOChannel().WriteSeparator();
    SelectService(mLocation);
    CommunicatorPool::Instance().Register(this);
}

MuErrCode Client::SelectService(Location const & location) {
    if (MuErrCode const status = location.GetStatus(); status != NoError)
        return status;
    Mu::UniString const name = Service::Loc2Name(location);
    auto const text = name.ToCStr();
    // Kept: the length counts characters, not bytes, so a name that is not ASCII is truncated.
    unsigned int const count = name.GetLength() + 1;
    unsigned int length = count;
    IVULong(Mu::WindowsSign, &length);
    char bytes[sizeof(length)];
    std::memcpy(bytes, &length, sizeof(length));
    GetOChannel().WriteServiceSign();
    GetOChannel().WriteBin(bytes, sizeof(bytes), nullptr);
    unsigned int const there = std::min(count, text.GetLength() + 1);
    GetOChannel().WriteBin(text.GetText(), there, nullptr);
    for (unsigned int i = there; i < count; ++i)
        GetOChannel().WriteBin("", 1, nullptr); // for codes that have one byte for two units
    return NoError;
}

void Client::Disconnect() {
    if (mState == NotConnected)
        return;
    bool const wasConnecting = mState == Connecting;
    if (wasConnecting)
        CommunicatorPool::Instance().UnRegisterPendingConnect(this);
    Socket::Close(socket);
    GetIChannel().GoToErrorState();
    GetOChannel().GoToErrorState(OutputClosed);
    if (!wasConnecting)
        CommunicatorPool::Instance().UnRegister(this);
    socket = ~0ull; // another socket may get the number from now on
    mState = NotConnected;
    mWritten = false;
    NotifyObservers([this, wasConnecting](ClientObserver & observer) {
        observer.ClientDisconnected(*this, wasConnecting);
    });
}

// On a copy of the list, so that an observer may detach itself; the round ends if one destroys the
// client.
template <typename Notify>
void Client::NotifyObservers(Notify notify) {
    Life::Mark const mark(life);
    Mu::Array<Mu::EventObserver *> const observers = EnumerateObservers();
    for (Mu::EventObserver * const observer : observers) {
        notify(static_cast<ClientObserver &>(*observer));
        if (mark.IsOver())
            return;
    }
}

} // namespace IO::IPC
