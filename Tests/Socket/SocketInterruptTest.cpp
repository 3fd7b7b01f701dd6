// A wait that another thread ends: never lost, never twice, never stuck.

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Socket/Internal/WinSocketImpl.h>

#include "Tests/Socket/Loopback.h"
#include "Tests/Support/Socket/ScriptedSocketCalls.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace IO::Socket;

class Task final : public Mu::Runnable {
public:
    explicit Task(std::function<void()> run) : run(std::move(run)) {}
    void Run() override { run(); }

private:
    std::function<void()> run;
};

// Each interruption ends one call, wherever that is: before its wait, in it, or behind it.
TEST(SocketInterrupt, EndsEveryRead) {
#if defined(_WIN32)
    constexpr unsigned int Interrupts = 200; // Wine's calls cost many times those of the system
#else
    constexpr unsigned int Interrupts = 5000;
#endif
    Tests::Connection connection;
    char byte = 0;
    std::mutex mutex;
    std::condition_variable raised; // a thread that looks again and again would starve the others
    unsigned int begun = 0;
    unsigned int ended = 0;
    unsigned int interrupted = 0;
    auto const raise = [&](unsigned int & count) {
        std::lock_guard const lock(mutex);
        ++count;
        raised.notify_all();
    };
    auto const waitFor = [&](unsigned int const & count, unsigned int wanted) {
        std::unique_lock lock(mutex);
        raised.wait(lock, [&] { return count >= wanted; });
    };
    Mu::Thread thread(Mu::RunnableTask(new Task([&] {
                          while (!Mu::Thread::GetCurrent().IsCanceled()) {
                              raise(begun);
                              interrupted += Tests::Describe([&] {
                                                 connection.server.GetInputChannel().Read(&byte, 1);
                                             }) == "InterruptedIOException: Socket interrupted.";
                              raise(ended);
                          }
                      })),
                      "reader");
    ASSERT_TRUE(thread.Start());
    std::mt19937 random(1);
    for (unsigned int i = 1; i <= Interrupts; ++i) {
        waitFor(begun, i);
        for (unsigned int volatile spins = random() % 3 * (random() % 20000); spins > 0;)
            spins = spins - 1;
        thread.Interrupt();
        waitFor(ended, i);
    }
    waitFor(begun, Interrupts + 1); // so that the end interrupts one call more
    thread.Cancel();
    thread.Join(false);
    EXPECT_EQ(ended, Interrupts + 1);
    EXPECT_EQ(interrupted, ended);
    connection.client.GetOutputChannel().Write("a", 1);
    EXPECT_EQ(connection.server.GetInputChannel().Read(&byte, 1), 1u);
    EXPECT_EQ(byte, 'a');
}

// The socket is interrupted, and not the thread that waits there.
TEST(SocketInterrupt, EndsTheWaitOfAnotherThread) {
    WinSocketImpl socket;
    socket.Create(true);
    socket.Bind(InternetAddress::Loopback, 0);
    socket.Listen(1);
    std::atomic<bool> isOver{false};
    std::string how;
    std::thread waiter([&] {
        how = Tests::Describe([&] { socket.Accept(); });
        isOver = true;
    });
    while (!isOver) {
        socket.Interrupt();
        std::this_thread::yield();
    }
    waiter.join();
    EXPECT_EQ(how, "SocketException: Socket internal error.");
}

// Another thread closes the socket before one of the calls of an operation at it, and opens others at
// once, which the system likes to give the number that has become free.
TEST(SocketInterrupt, ACloseEndsReadsAndWritesWhereverTheyAre) {
    using Tests::SocketCall;
    std::vector<char> const much(1 << 20);
    for (bool const isRead : {true, false})
        for (SocketCall const moment : {isRead ? SocketCall::Recv : SocketCall::Send,
                                        SocketCall::CreateSignal, SocketCall::Poll}) {
            Tests::Connection connection;
            Tests::ScriptedSocketCalls calls;
            std::vector<SocketHandle> others;
            calls.onCall = [&](SocketCall call) {
                if (call != moment || !others.empty())
                    return;
                connection.server.Close();
                EXPECT_EQ(calls.Count(SocketCall::CloseSocket), 0u) << "still in use";
                for (int i = 0; i < 3; ++i)
                    GetPlatformSocketCalls().Socket(SocketType::Stream, &others.emplace_back());
            };
            std::string const how = Tests::Describe([&] {
                char byte;
                while (!isRead)
                    connection.server.GetOutputChannel().Write(much.data(), 1 << 20);
                connection.server.GetInputChannel().Read(&byte, 1);
            });
            EXPECT_EQ(how.substr(0, how.find(" failed")),
                      isRead ? "SocketException: Socket read" : "SocketException: Socket write")
                << how;
            EXPECT_EQ(calls.Count(SocketCall::CloseSocket), 1u);
            for (SocketHandle const other : others)
                GetPlatformSocketCalls().CloseSocket(other);
        }
}

} // namespace
