// A wait that another thread ends: never lost, never twice, never stuck.

#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Thread.h>

#include "Tests/Socket/Loopback.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace IO::Socket;

#if defined(_WIN32)
constexpr unsigned int Interrupts = 400; // Wine's calls cost many times those of the system
#else
constexpr unsigned int Interrupts = 2500; // of each kind, so that there are ten thousand
#endif

// Blocks again and again on a thread of its own, and counts how that ends.
class Blocker : public Mu::Runnable {
public:
    struct Counts {
        std::atomic<unsigned int> begun{0};
        std::atomic<unsigned int> interrupted{0};
        std::atomic<unsigned int> otherwise{0};
    };

    Blocker(Counts & counts, std::function<void()> block)
        : counts(counts), block(std::move(block)) {}

    void Run() override {
        while (!Mu::Thread::GetCurrent().IsCanceled()) {
            ++counts.begun;
            try {
                block();
                ++counts.otherwise;
            } catch (Mu::InterruptedIOException const & exception) {
                if (exception.what() != std::string("Socket interrupted."))
                    ++counts.otherwise;
                ++counts.interrupted;
            } catch (Mu::MuException const & exception) {
                ADD_FAILURE() << exception.GetName() << ": " << exception.what();
                ++counts.otherwise;
                return;
            }
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
        while (counts.begun < i && counts.otherwise == 0)
            std::this_thread::yield();
        for (unsigned int spins = random() % 3 * (random() % 20); spins > 0; --spins)
            std::this_thread::yield();
        thread.Interrupt();
        while (counts.interrupted < i && counts.otherwise == 0)
            std::this_thread::yield();
        ASSERT_EQ(counts.otherwise, 0u);
    }
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
    std::vector<Socket> queued;
    std::atomic<bool> isFull = false;
    while (!isFull) {
        Blocker::Counts counts;
        Mu::Thread thread(
            Mu::RunnableTask(new Blocker(
                counts,
                [&] { queued.emplace_back(InternetAddress::Loopback, server.GetLocalPort()); })),
            "filler");
        ASSERT_TRUE(thread.Start());
        unsigned int patience = 200; // milliseconds without a connection: the queue is full
        for (unsigned int seen = 0; patience > 0; --patience) {
            Mu::Thread::Sleep(1, false);
            if (counts.otherwise != seen) {
                seen = counts.otherwise;
                patience = 200;
            }
            if (seen > 100) {
                thread.Cancel();
                thread.Join(false);
                GTEST_SKIP() << "this system's queue has no end";
            }
        }
        thread.Cancel();
        thread.Join(false);
        isFull = true;
    }
    InterruptAgainAndAgain([&] { Socket(InternetAddress::Loopback, server.GetLocalPort()); });
}

// One reads and another one writes: an interruption ends both waits, and says whose it was.
TEST(SocketInterrupt, EndsTheOtherWaitAtTheSocketToo) {
    Tests::Connection connection;
    std::vector<char> const much(1 << 20);
    for (int i = 0; i < 20; ++i) {
        std::string written;
        std::atomic<bool> isWriting = false;
        std::thread writer([&] {
            written = Tests::Describe([&] {
                for (;;) {
                    isWriting = true;
                    connection.client.GetOutputChannel().Write(much.data(), 1 << 20);
                }
            });
        });
        Blocker::Counts counts;
        char byte;
        Mu::Thread reader(Mu::RunnableTask(new Blocker(
                              counts, [&] { connection.client.GetInputChannel().Read(&byte, 1); })),
                          "reader");
        ASSERT_TRUE(reader.Start());
        while (!isWriting || counts.begun == 0)
            std::this_thread::yield();
        // The writer may not have come to its wait yet; a later one finds it there.
        std::atomic<bool> isOver = false;
        std::thread joiner([&] {
            writer.join();
            isOver = true;
        });
        for (unsigned int n = 0; !isOver;) {
            reader.Interrupt();
            ++n;
            while (counts.interrupted < n)
                std::this_thread::yield();
            Mu::Thread::Sleep(1, false);
        }
        joiner.join();
        reader.Cancel();
        reader.Join(false);
        EXPECT_EQ(written, "SocketException: Socket internal error.");
        EXPECT_EQ(counts.otherwise, 0u);
    }
}

} // namespace
