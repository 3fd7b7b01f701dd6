// Standard input and output over one connection.

#include "Commands.h"
#include "Console.h"

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Log/Logger.h>
#include <Kestrel/Root/Time/Clock.h>
#include <Kestrel/Socket/SocketExceptions.h>
#include <Kestrel/Socket/SocketImplFactory.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace Tool {

namespace {

using IO::Socket::InternetAddress;
using IO::Socket::SocketImpl;

constexpr unsigned int PieceSize = 65536;
constexpr unsigned int ConnectTimeout = 30000; // milliseconds, without --timeout

// The standard streams by their descriptors: input is sent line by line, where buffered streams
// would hold it back.
#if defined(_WIN32)
int ReadInput(char * piece, unsigned int size) {
    return _read(0, piece, size);
}
int WriteOutput(char const * piece, unsigned int size) {
    return _write(1, piece, size);
}
bool IsInputTerminal() {
    return _isatty(0) != 0;
}
void MakeBinary() {
    _setmode(0, _O_BINARY);
    _setmode(1, _O_BINARY);
}
#else
template <typename Call>
int Retry(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return static_cast<int>(result);
}
int ReadInput(char * piece, unsigned int size) {
    return Retry([&] { return ::read(0, piece, size); });
}
int WriteOutput(char const * piece, unsigned int size) {
    return Retry([&] { return ::write(1, piece, size); });
}
bool IsInputTerminal() {
    return ::isatty(0) != 0;
}
void MakeBinary() {}
#endif

bool WriteAll(char const * piece, unsigned int size) {
    while (size > 0) {
        int const written = WriteOutput(piece, size);
        if (written <= 0)
            return false;
        piece += written;
        size -= static_cast<unsigned int>(written);
    }
    return true;
}

/// The two directions of a connection, each on a thread of its own.
class Exchange {
public:
    explicit Exchange(SocketImpl::Reference connection) : connection(std::move(connection)) {}

    /// On the sending thread: sends standard input to its end. A failure is kept and ends the other
    /// direction.
    void Send() {
        try {
            SendInput();
        } catch (std::exception const & e) {
            failure = e.what();
            hasFailed = true;
            EndReceiving();
        }
        {
            std::lock_guard const lock(mutex);
            isAllSent = true;
        }
        allSent.notify_all();
    }

    /// Writes what the peer sends to standard output, to its end. Throws on failure.
    void Receive() {
        std::vector<char> piece(PieceSize);
        for (;;) {
            unsigned long long const before = sent;
            unsigned int count = 0;
            try {
                count = connection->Read(piece.data(), PieceSize);
            } catch (IO::Socket::SocketTimeoutException const &) {
                if (isSending || sent != before)
                    continue; // the connection is not idle
                throw;
            }
            if (count == 0)
                return;
            if (!WriteAll(piece.data(), count))
                throw Mu::IOException("standard output: write error");
            received += count;
        }
    }

    bool HasSentAll() const { return isAllSent; }
    /// Throws when standard input is silent for as long as the connection's timeout.
    void WaitUntilSent() {
        std::unique_lock lock(mutex);
        auto const isOver = [this] { return isAllSent.load(); };
        std::chrono::milliseconds const timeout(connection->GetTimeout());
        if (timeout.count() == 0)
            return allSent.wait(lock, isOver);
        for (unsigned long long before = sent; !allSent.wait_for(lock, timeout, isOver);
             before = sent)
            if (!isSending && sent == before)
                throw Mu::IOException("standard input: timed out");
    }
    /// Empty without a failure. To be called after HasSentAll or HasFailed returned true.
    std::string const & GetFailure() const { return failure; }
    bool HasFailed() const { return hasFailed; }
    unsigned long long GetSent() const { return sent; }
    unsigned long long GetReceived() const { return received; }

private:
    void SendInput() {
        std::vector<char> piece(PieceSize);
        for (;;) {
            int const count = ReadInput(piece.data(), PieceSize);
            if (count < 0)
                throw Mu::IOException("standard input: read error");
            if (count == 0)
                break;
            isSending = true;
            connection->Write(piece.data(), static_cast<unsigned int>(count));
            sent += static_cast<unsigned int>(count);
            isSending = false;
        }
        connection->ShutdownOutput();
    }

    // The other thread then reads the end of the stream.
    void EndReceiving() {
        try {
            connection->ShutdownInput();
        } catch (IO::Socket::SocketException const &) { // it has already ended
        }
    }

    SocketImpl::Reference connection;
    std::atomic<unsigned long long> sent = 0;
    std::atomic<unsigned long long> received = 0;
    std::atomic<bool> isSending = false; // a write is blocked on the peer
    std::atomic<bool> isAllSent = false; // set under the mutex
    std::mutex mutex;
    std::condition_variable allSent;
    std::atomic<bool> hasFailed = false;
    std::string failure; // written before hasFailed is set
};

std::string ToAmount(double bytes) {
    static constexpr char const * units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    unsigned int unit = 0;
    for (; bytes >= 1000 && unit + 1 < std::size(units); ++unit)
        bytes /= 1024;
    char text[32];
    std::snprintf(text, sizeof(text), unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}

// For people only, so that scripts find nothing but failures on standard error.
void ShowThroughput(Exchange const & exchange, unsigned long long microseconds) {
    if (!IsTerminal(true))
        return;
    double const seconds = std::max(static_cast<double>(microseconds), 1.0) / 1e6;
    double const bytes = static_cast<double>(exchange.GetSent() + exchange.GetReceived());
    char time[32];
    std::snprintf(time, sizeof(time), "%.1f", seconds);
    std::cerr << "sent " << ToAmount(static_cast<double>(exchange.GetSent())) << ", received "
              << ToAmount(static_cast<double>(exchange.GetReceived())) << " in " << time << " s, "
              << ToAmount(bytes / seconds) << "/s\n";
}

// The thread may be blocked in reading standard input for ever, so what it uses must not be
// destroyed.
[[noreturn]] void Leave(int result) {
    Mu::logger.Flush();
    std::_Exit(result);
}

/// Runs both directions to their ends. At a terminal the exchange ends when the peer has
/// disconnected, without an end of the input; a file or a pipe is sent to its end.
int Talk(SocketImpl::Reference const & connection) {
    MakeBinary();
    auto const exchange = std::make_shared<Exchange>(connection);
    unsigned long long const start = Mu::GetClock().GetMonotonicMicroseconds();
    std::thread sender([exchange] { exchange->Send(); });
    std::string failure;
    try {
        exchange->Receive();
        if (!exchange->HasFailed() && !IsInputTerminal())
            exchange->WaitUntilSent();
    } catch (std::exception const & e) {
        failure = e.what();
    }
    if (exchange->HasFailed()) // it failed first, and thereby ended the other
        failure = exchange->GetFailure();
    bool const hasSentAll = exchange->HasSentAll();
    if (hasSentAll) // or else the thread might drop the connection after the end of the library
        sender.join();
    else
        sender.detach();
    ShowThroughput(*exchange, Mu::GetClock().GetMonotonicMicroseconds() - start);
    int const result = failure.empty() ? 0 : Console::Fail(failure);
    if (!hasSentAll)
        Leave(result);
    return result;
}

SocketImpl::Reference MakeSocket() {
    SocketImpl::Reference const socket = IO::Socket::TCPIPSocketImplFactory::Get().Create(0);
    socket->Create(true);
    return socket;
}

unsigned int ToMilliseconds(double seconds) {
    // Also for text that is not a number.
    return seconds > 0 ? std::max(1u, static_cast<unsigned int>(seconds * 1000)) : 0;
}

Mu::String ToName(std::string const & text) {
    return Mu::String(text.data(), static_cast<unsigned int>(text.size()));
}

} // namespace

int Serve(Options const & options, Console &) {
    unsigned int const timeout = ToMilliseconds(options.timeout);
    SocketImpl::Reference listener = MakeSocket();
    listener->Bind(InternetAddress::GetByName(ToName(options.address)),
                   static_cast<unsigned short>(options.port));
    listener->Listen(1);
    std::cerr << "listening on port " << listener->GetLocalPort() << std::endl;
    listener->SetTimeout(timeout);
    SocketImpl::Reference const connection = listener->Accept();
    listener.Clear(); // one connection: further clients are refused
    connection->SetTimeout(timeout);
    return Talk(connection);
}

int Connect(Options const & options, Console &) {
    unsigned int const timeout = ToMilliseconds(options.timeout);
    SocketImpl::Reference const connection = MakeSocket();
    connection->SetTimeout(timeout != 0 ? timeout : ConnectTimeout);
    connection->Connect(ToName(options.source), static_cast<unsigned short>(options.port));
    connection->SetTimeout(timeout);
    return Talk(connection);
}

} // namespace Tool
