// Conversations over a network in memory on which everything goes wrong that can, drawn from a seed.
// KESTREL_IPC_SEED repeats one, and KESTREL_IPC_COUNT says how many to run.

#include <Kestrel/IPC/Client.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Connection.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Service.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/IPC/Network.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace IO::IPC;

constexpr unsigned int Port = 65000;

IO::Location MakePlace(std::string const & service) {
    return IO::Location(("ipc://localhost:65000/" + service).c_str());
}

/// What a message holds: who sent it, its number there, which service it is meant for, and bytes that
/// follow from these.
struct Message {
    unsigned int sender;
    unsigned int number;
    unsigned int service;
    unsigned int size;

    std::string GetBody() const {
        std::string body(size, 0);
        for (unsigned int i = 0; i < size; ++i)
            body[i] = static_cast<char>(sender * 7 + number * 13 + i * (i >> 8 | 1));
        return body;
    }
};

MuErrCode Write(SocketOChannel & channel, Message const & message) {
    channel.OpenBlock();
    channel.Write(message.sender);
    channel.Write(message.number);
    channel.Write(message.service);
    std::string const body = message.GetBody();
    channel.WriteBin(body.data(), message.size, nullptr);
    channel.CloseBlock();
    return channel.WriteSeparator();
}

/// All of one message and nothing else; expects the body to be what it must be.
bool Read(SocketIChannel & channel, Message * message) {
    unsigned int length = 0;
    if (channel.Read(length) != IO::NoError || channel.Read(message->sender) != IO::NoError ||
        channel.Read(message->number) != IO::NoError ||
        channel.Read(message->service) != IO::NoError)
        return false;
    message->size = length - 12;
    std::string body(message->size, 0);
    if (message->size != 0 && channel.ReadBin(body.data(), message->size, nullptr) != IO::NoError)
        return false;
    EXPECT_EQ(body, message->GetBody());
    EXPECT_EQ(channel.GetNearestSeparator(), 0) << "the message goes on behind its end";
    return true;
}

/// Answers each message with itself. The second kind asks the first one first, from inside its call.
class EchoService final : public Service {
public:
    EchoService(unsigned int number, std::map<unsigned int, unsigned int> & received)
        : number(number), received(received) {}

    void SeparatorArrived(Connection & connection) override {
        ++calls;
        EndPoint::InputSeparatorGuard const guard(connection);
        Message message;
        if (!Read(connection.GetIChannel(), &message)) {
            ADD_FAILURE() << "a message came in part";
            return;
        }
        EXPECT_EQ(message.service, number);
        if (message.sender != Inner) {
            EXPECT_EQ(message.number, received[message.sender]) << "lost, twice, or out of order";
            ++received[message.sender];
        }
        Life::Mark const mark(life);
        if (number == 1 && depth < 2)
            Ask(message);
        if (mark.IsOver() || !connection.IsOk())
            return;
        Write(connection.GetOChannel(), message);
    }

    static inline unsigned int calls = 0;

private:
    static constexpr unsigned int Inner = 99;

    void Ask(Message const & message) {
        ++depth;
        struct Down {
            ~Down() { --depth; }
        } const down;
        Client client;
        if (client.Connect(MakePlace("Echo0")) != IO::NoError)
            return;
        for (int i = 0; i < 40 && client.GetConnectState() == Client::Connecting; ++i) {
            CommunicatorPool::Instance().Process();
            CommunicatorPool::Instance().Wait(0.05);
        }
        Message const inner{Inner, message.number, 0, 5};
        if (Write(client.GetOChannel(), inner) != IO::NoError ||
            client.WaitNextSeparator(1.0) != IO::NoError)
            return;
        EndPoint::InputSeparatorGuard const guard(client);
        Message answer;
        EXPECT_TRUE(Read(client.GetIChannel(), &answer));
        EXPECT_EQ(answer.number, message.number);
    }

    static inline int depth = 0;
    unsigned int number;
    std::map<unsigned int, unsigned int> & received;
    Life life;
};

/// A client, and what it must get.
class Talker {
public:
    explicit Talker(unsigned int & lastSender) : lastSender(lastSender) {}

    void Connect() {
        Expect();
        selected = 0;
        sender = ++lastSender;
        sent.clear();
        next = 0;
        client.Connect(MakePlace("Echo0"));
    }
    bool IsUp() const { return client.GetConnectState() == Client::Connected && client.IsOk(); }

    void Say(unsigned int toService, unsigned int size) {
        if (toService != selected &&
            client.SelectService(MakePlace(toService == 0 ? "Echo0" : "Echo1")) != IO::NoError)
            return;
        selected = toService;
        Message const message{sender, next++, toService, size};
        sent.push_back(message);
        Write(client.GetOChannel(), message);
    }
    void Listen(double seconds) {
        if (client.WaitNextSeparator(seconds) == IO::NoError)
            TakeAnswer();
    }
    void TakeAnswer() {
        EndPoint::InputSeparatorGuard const guard(client);
        Message answer;
        if (!Read(client.GetIChannel(), &answer)) {
            ADD_FAILURE() << "an answer came in part";
            return;
        }
        ASSERT_FALSE(sent.empty()) << "an answer to nothing";
        EXPECT_EQ(answer.sender, sender);
        EXPECT_EQ(answer.number, sent.front().number);
        EXPECT_EQ(answer.size, sent.front().size);
        sent.pop_front();
    }
    /// At the end: what is sent was answered, or the connection is known to be lost.
    void Expect() {
        EXPECT_TRUE(sent.empty() || !IsUp())
            << sent.size() << " answers are missing to " << sender << " from "
            << sent.front().number << ", unsent " << client.GetOSeparatorCount() << ", unread "
            << client.GetISeparatorCount();
    }
    void Break() { client.Disconnect(); }

    Client client;
    std::deque<Message> sent; // and not answered

private:
    unsigned int & lastSender;
    unsigned int sender = 0;
    unsigned int next = 0;
    unsigned int selected = 0;
};

/// Time that sleeps alone let pass. A wait of the pool is to sleep exactly where a pass would find
/// nothing to do.
class WakingClock final : public Mu::Clock {
public:
    explicit WakingClock(Tests::Network const & network) : network(network) { Mu::SetClock(this); }
    ~WakingClock() override { Mu::SetClock(&hand); }

    unsigned long long GetWallMilliseconds() override { return hand.GetWallMilliseconds(); }
    unsigned long long GetMonotonicMicroseconds() override {
        unsigned long long const now = hand.GetMonotonicMicroseconds();
        if (std::exchange(isBegun, false))
            hand.Advance(1); // a wait that takes no time is followed by many looks
        return now;
    }
    bool WaitFor(Mu::Parker & parker, unsigned long long microseconds) override {
        return hand.WaitFor(parker, microseconds);
    }
    bool WaitFor(Mu::Waker & waker, unsigned long long microseconds) override {
        isBegun = true;
        bool const isWoken = waker.Wait(microseconds);
        if (isChecking) {
            auto const before = CountDone();
            unsigned int const polls = network.polls;
            CommunicatorPool::Instance().Process();
            bool const isIdle = CountDone() == before;
            EXPECT_TRUE(isWoken || isIdle) << "sleeps over what there is to do";
            woken += isWoken;
            needless += isWoken && isIdle;
            polled += isWoken && network.polls != polls;
        }
        return isWoken || hand.WaitFor(waker, microseconds);
    }

    bool isChecking = true;
    static inline unsigned int needless = 0;
    static inline unsigned int woken = 0;
    static inline unsigned int polled = 0;

private:
    std::vector<std::size_t> CountDone() const {
        Mu::Array<SocketInterest> sockets;
        CommunicatorPool::Instance().ListSockets(sockets);
        return {network.sends, network.receives, network.CountSockets(), sockets.GetSize(),
                EchoService::calls};
    }

    Tests::HandClock hand;
    Tests::Network const & network;
    bool isBegun = false; // a wait
};

Tests::Weather DrawWeather(std::mt19937 & random) {
    Tests::Weather weather;
    weather.part = random() % 2 * 300;
    weather.delay = random() % 2 * 400;
    weather.full = random() % 2 * 100;
    weather.cut = random() % 3 == 0 ? 30 : 0;
    weather.reset = random() % 3 == 0 ? 20 : 0;
    weather.silent = random() % 4 == 0 ? 20 : 0;
    weather.window = random() % 3 == 0 ? 1 + random() % 50 : 65536;
    return weather;
}

/// Whatever runs out of memory on the way has the connection given up by the host, who knows.
template <typename Step>
void Try(Talker & talker, unsigned int shortage, Step step) {
    try {
        Tests::Shortage const allocation(shortage, false);
        step();
    } catch (Mu::OutOfMemoryException const &) {
        talker.Break();
    }
}

void Converse(unsigned int seed) {
    std::mt19937 random(seed);
    Tests::Network network(seed, DrawWeather(random));
    WakingClock clock(network);
    bool const isShort = random() % 4 == 0;
    clock.isChecking = !isShort;
    {
        std::map<unsigned int, unsigned int> received;
        EchoService first(0, received);
        EchoService second(1, received);
        Server server;
        server.RegisterService(IO::Location("Echo0"), &first);
        server.RegisterService(IO::Location("Echo1"), &second);
        ASSERT_EQ(server.Start(Port, Port), IO::NoError);
        unsigned int senders = 0;
        Talker talkers[2] = {Talker(senders), Talker(senders)};
        unsigned int const steps = 4 + random() % 20;
        for (unsigned int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) {
            Talker & talker = talkers[random() % 2];
            unsigned int const what = random() % 10;
            unsigned int const service = random() % 8 == 0;
            unsigned int const size =
                random() % 60 == 0 ? 500000 + random() % 100000 : random() % 40;
            Try(talker, isShort ? random() % 60 : 0, [&] {
                if (talker.client.GetConnectState() == Client::NotConnected)
                    talker.Connect();
                else if (what < 5 && talker.IsUp())
                    talker.Say(service, network.weather.window < 100 ? size % 100 : size);
                else if (what < 8)
                    talker.Listen(0.3);
                else
                    CommunicatorPool::Instance().Process();
            });
            if (what == 9)
                CommunicatorPool::Instance().Wait(0.05);
        }
        // The sky clears, and everything must come to an end.
        network.weather = Tests::Weather();
        for (int turn = 0; turn < 90 && !::testing::Test::HasFailure(); ++turn) {
            CommunicatorPool::Instance().Process();
            for (Talker & talker : talkers)
                while (talker.client.GetISeparatorCount() > 0 && talker.IsUp())
                    talker.TakeAnswer();
            CommunicatorPool::Instance().Wait(0.05);
        }
        std::size_t up = 0;
        for (Talker & talker : talkers) {
            talker.Expect();
            up += talker.IsUp();
            EXPECT_NE(talker.client.GetConnectState(), Client::Connecting);
        }

        // Both sides.
        EXPECT_EQ(network.CountSockets(), 1 + 2 * up);
    }
    EXPECT_EQ(network.CountSockets(), 0u);
}

unsigned int GetNumber(char const * variable, unsigned int otherwise) {
    char const * const text = std::getenv(variable);
    return text != nullptr ? static_cast<unsigned int>(std::strtoul(text, nullptr, 10)) : otherwise;
}

} // namespace

TEST(Network, DeliversEachMessageWholeAndOnceOrReportsTheConnectionLost) {
#if defined(_WIN32)
    unsigned int const usual = 200;
#else
    unsigned int const usual = 1000;
#endif
    unsigned int const first = GetNumber("KESTREL_IPC_SEED", 1);
    unsigned int const count =
        GetNumber("KESTREL_IPC_COUNT", std::getenv("KESTREL_IPC_SEED") != nullptr ? 1 : usual);
    Converse(first);
    long long const blocks = Tests::CountLiveBlocks();
    for (unsigned int seed = first; seed - first < count; ++seed) {
        Converse(seed);
        ASSERT_FALSE(HasFailure()) << "repeat with KESTREL_IPC_SEED=" << seed;
    }
    EXPECT_LE(WakingClock::polled, WakingClock::woken / 3) << "what a wait has seen is lost";
    EXPECT_LE(WakingClock::needless, WakingClock::woken / 50);
    // Lists that are kept for the next time, but nothing for each conversation.
    EXPECT_LE(Tests::CountLiveBlocks(), blocks + 40);
}
