// A wait that another thread ends: never lost, never twice, never stuck.

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Socket/Platform/ForwardingSocketCalls.h>
#include <Kestrel/Socket/SocketImplFactory.h>

#include "Tests/Socket/Loopback.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace IO::Socket;

#if defined(_WIN32)
constexpr unsigned int Interrupts = 100; // Wine's calls cost many times those of the system
#else
constexpr unsigned int Interrupts = 2500; // of each kind, so that there are ten thousand
#endif

// Goes up only, and can be waited for; a thread that looks again and again would starve the others.
class Count {
public:
    void Raise() {
        std::lock_guard const lock(mutex);
        ++value;
        raised.notify_all();
    }
    void WaitFor(unsigned int wanted) const {
        std::unique_lock lock(mutex);
        raised.wait(lock, [&] { return value >= wanted; });
    }
    operator unsigned int() const {
        std::lock_guard const lock(mutex);
        return value;
    }

private:
    mutable std::mutex mutex;
    mutable std::condition_variable raised;
    unsigned int value = 0;
};

// Blocks again and again on a thread of its own, and counts how that ends.
class Blocker : public Mu::Runnable {
public:
    struct Counts {
        Count begun;
        Count ended;
        Count interrupted;
    };

    Blocker(Counts & counts, std::function<void()> block)
        : counts(counts), block(std::move(block)) {}

    void Run() override {
        while (!Mu::Thread::GetCurrent().IsCanceled()) {
            counts.begun.Raise();
            std::string const how = Tests::Describe(block);
            if (how == "InterruptedIOException: Socket interrupted.")
                counts.interrupted.Raise();
            else if (!how.empty())
                ADD_FAILURE() << how;
            counts.ended.Raise();
        }
    }

private:
    Counts & counts;
    std::function<void()> block;
};

// Each interruption ends one call, wherever that is: before its wait, in it, or behind it.
void InterruptAgainAndAgain(std::function<void()> block) {
    Blocker::Counts counts;
    Mu::Thread thread(Mu::RunnableTask(new Blocker(counts, std::move(block))), "blocker");
    ASSERT_TRUE(thread.Start());
    std::mt19937 random(1);
    for (unsigned int i = 1; i <= Interrupts; ++i) {
        counts.begun.WaitFor(i);
        for (unsigned int volatile spins = random() % 3 * (random() % 20000); spins > 0;)
            spins = spins - 1;
        thread.Interrupt();
        counts.ended.WaitFor(i);
        if (counts.interrupted != i)
            break;
    }
    counts.begun.WaitFor(counts.ended + 1); // so that the end interrupts one call more
    thread.Cancel();
    thread.Join(false);
    EXPECT_EQ(counts.interrupted, Interrupts + 1);
}

TEST(SocketInterrupt, EndsEveryAccept) {
    ServerSocket server(0, 5, InternetAddress::Loopback);
    InterruptAgainAndAgain([&] { server.Accept(); });
    Socket const client(InternetAddress::Loopback, server.GetLocalPort());
    EXPECT_FALSE(server.Accept(10000).IsNull()) << "as good as before";
}

TEST(SocketInterrupt, EndsEveryRead) {
    Tests::Connection connection;
    char byte = 0;
    InterruptAgainAndAgain([&] { connection.server.GetInputChannel().Read(&byte, 1); });
    connection.client.GetOutputChannel().Write("a", 1);
    EXPECT_EQ(connection.server.GetInputChannel().Read(&byte, 1), 1u);
    EXPECT_EQ(byte, 'a');
}

TEST(SocketInterrupt, EndsEveryWrite) {
    Tests::Connection connection;
    std::vector<char> const much(1 << 20);
    InterruptAgainAndAgain([&] {
        for (;;)
            connection.client.GetOutputChannel().Write(much.data(), 1 << 20);
    });
}

// With nobody accepting and no place left in the queue, a connection stays under way.
TEST(SocketInterrupt, EndsEveryConnect) {
    ServerSocket const server(0, 1, InternetAddress::Loopback);
    std::vector<SocketImpl::Reference> queued;
    std::string how;
    while (how.empty()) {
        if (queued.size() == 100)
            GTEST_SKIP() << "this system's queue has no end";
        queued.push_back(TCPIPSocketImplFactory::Get().Create(200));
        queued.back()->Create(true);
        how = Tests::Describe(
            [&] { queued.back()->Connect(InternetAddress::Loopback, server.GetLocalPort()); });
    }
    EXPECT_EQ(how, "SocketTimeoutException: Socked connect timed out.");
    InterruptAgainAndAgain([&] { Socket(InternetAddress::Loopback, server.GetLocalPort()); });
}

// One reads and another one writes: an interruption ends both waits, and says whose it was.
TEST(SocketInterrupt, EndsTheOtherWaitAtTheSocketToo) {
    Tests::Connection connection;
    std::vector<char> const much(1 << 20);
    for (int i = 0; i < 20; ++i) {
        std::string written;
        Count hasWritten;
        std::thread writer([&] {
            written = Tests::Describe([&] {
                for (;;)
                    connection.client.GetOutputChannel().Write(much.data(), 1 << 20);
            });
            hasWritten.Raise();
        });
        Blocker::Counts counts;
        char byte;
        Mu::Thread reader(Mu::RunnableTask(new Blocker(
                              counts, [&] { connection.client.GetInputChannel().Read(&byte, 1); })),
                          "reader");
        ASSERT_TRUE(reader.Start());
        // The writer may not have come to its wait yet; a later one finds it there.
        for (unsigned int n = 1; hasWritten == 0; ++n) {
            counts.begun.WaitFor(n);
            reader.Interrupt();
            counts.ended.WaitFor(n);
            Mu::Thread::Sleep(1, false);
        }
        writer.join();
        reader.Cancel();
        reader.Join(false);
        EXPECT_EQ(written, "SocketException: Socket internal error.");
        EXPECT_EQ(counts.interrupted, counts.ended);
    }
}

// Closes a socket before or behind one of the calls of an operation at it, as another thread may, and
// opens others at once, which the system likes to give the number that has become free.
class ClosingCalls : public ForwardingSocketCalls {
public:
    enum Moment { BeforeTransfer, BehindTransfer, BeforePoll };

    ClosingCalls(IO::Socket::Socket & victim, Moment moment)
        : ForwardingSocketCalls(GetSocketCalls()), victim(victim), moment(moment) {
        SetSocketCalls(this);
    }
    ~ClosingCalls() override {
        SetSocketCalls(&GetBelow());
        for (SocketHandle const other : others)
            GetBelow().CloseSocket(other);
    }
    unsigned int Send(SocketHandle socket, char const * source, unsigned int count,
                      unsigned int * sent) override {
        CloseAt(BeforeTransfer, socket);
        unsigned int const error = GetBelow().Send(socket, source, count, sent);
        if (error == WSAError::WouldBlock)
            CloseAt(BehindTransfer, socket);
        return error;
    }
    unsigned int Recv(SocketHandle socket, char * destination, unsigned int count,
                      unsigned int * received) override {
        CloseAt(BeforeTransfer, socket);
        unsigned int const error = GetBelow().Recv(socket, destination, count, received);
        CloseAt(BehindTransfer, socket);
        return error;
    }
    unsigned int Poll(PollEntry * entries, unsigned int count, long long microseconds,
                      unsigned int * ready) override {
        CloseAt(BeforePoll, entries[0].socket);
        return GetBelow().Poll(entries, count, microseconds, ready);
    }

private:
    void CloseAt(Moment here, SocketHandle used) {
        if (here != moment)
            return;
        victim.Close();
        for (int i = 0; i < 3; ++i) {
            others.push_back(NoSocket);
            GetBelow().Socket(SocketType::Stream, &others.back());
            EXPECT_NE(others.back(), used) << "still in use";
        }
    }

    IO::Socket::Socket & victim;
    Moment const moment;
    std::vector<SocketHandle> others;
};

TEST(SocketInterrupt, ACloseEndsReadsAndWritesWhereverTheyAre) {
    std::vector<char> const much(1 << 20);
    for (ClosingCalls::Moment const moment :
         {ClosingCalls::BeforeTransfer, ClosingCalls::BehindTransfer, ClosingCalls::BeforePoll})
        for (bool const isRead : {true, false}) {
            Tests::Connection connection;
            std::string how;
            {
                ClosingCalls const calls(connection.client, moment);
                how = Tests::Describe([&] {
                    char byte;
                    while (!isRead)
                        connection.client.GetOutputChannel().Write(much.data(), 1 << 20);
                    connection.client.GetInputChannel().Read(&byte, 1);
                });
            }
            EXPECT_EQ(how.substr(0, how.find(" failed")),
                      isRead ? "SocketException: Socket read" : "SocketException: Socket write")
                << moment << how;
        }
}

} // namespace
