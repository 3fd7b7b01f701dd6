// Questions and answers between two processes over the loopback interface, through the pool and through
// the blocking calls and poll of the system with the same buffers. By turns: each round runs every
// contender once and begins with another one, and what counts is the median over the rounds of the
// time by the clock, so that a machine which others use disturbs all alike. Needs Linux.
//
//     ConversationBench [ROUNDS [PARTS]]
//
// The parts: r, round trips; i, the same beside idle connections, too; c, many clients; l, large answers.

#include "Benchmarks/IPC/RawConversation.h"

#include <Kestrel/Kestrel.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <malloc.h>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace IO::IPC;
using Bench::Answer;
using Bench::Check;
using Bench::Child;
using Bench::RequestSize;

CommunicatorPool & GetPool() {
    return CommunicatorPool::Instance();
}

long long allocations = 0;
long long heldBytes = 0;

long long SizeOf(void * block) {
    return static_cast<long long>(malloc_usable_size(block));
}

// What this process takes from the heap through the library from now on.
void CountMemory() {
    Mu::SetMemoryCalls({[](std::size_t size) {
                            void * const block = std::malloc(size);
                            ++allocations;
                            heldBytes += SizeOf(block);
                            return block;
                        },
                        [](void * block, std::size_t size) {
                            heldBytes -= SizeOf(block);
                            void * const moved = std::realloc(block, size);
                            ++allocations;
                            heldBytes += SizeOf(moved);
                            return moved;
                        },
                        [](void * block) {
                            heldBytes -= SizeOf(block);
                            std::free(block);
                        }});
}

/// A request of 32 bytes begins with the size of the answer.
class Answerer final : public Service {
public:
    void SeparatorArrived(Connection & connection) override {
        EndPoint::InputSeparatorGuard const guard(connection);
        char request[RequestSize];
        Check(connection.GetIChannel().ReadBin(request, RequestSize, nullptr) == IO::NoError);
        connection.GetOChannel().WriteBin(answer.data(), Bench::GetSize(request), nullptr);
        connection.GetOChannel().WriteSeparator();
    }

private:
    std::vector<char> answer = std::vector<char>(Answer::Large, 'a');
};

/// What the server's process holds and has taken so far.
class Memory final : public Service {
public:
    void SeparatorArrived(Connection & connection) override {
        EndPoint::InputSeparatorGuard const guard(connection);
        connection.GetOChannel().Write(allocations);
        connection.GetOChannel().Write(heldBytes);
        connection.GetOChannel().WriteSeparator();
    }
};

void Serve(int bufferSize, std::function<void(unsigned int)> tellPort) {
    CountMemory();
    Setup::Instance().SetDataFolderLocation(IO::Location()); // nobody finds it
    Answerer answerer;
    Memory memory;
    Server server;
    server.SetLoopbackOnly(true);
    server.RegisterService(IO::Location("Answers"), &answerer);
    server.RegisterService(IO::Location("Memory"), &memory);
    Check(server.Start(65000, 65100) == IO::NoError);
    if (bufferSize != 0)
        Bench::SetBuffers(static_cast<int>(server.GetSocket()), bufferSize);
    tellPort(server.GetPort());
    for (;;) {
        GetPool().Process();
        GetPool().Wait(1.0);
    }
}

/// One client that asks and waits for the answer.
class Asker {
public:
    Asker(unsigned int port, char const * service, int bufferSize = 0) {
        IO::Location const place(
            ("ipc://127.0.0.1:" + std::to_string(port) + "/" + service).c_str());
        Check(client.Connect(place) == IO::NoError);
        while (client.GetConnectState() == Client::Connecting) {
            GetPool().Process();
            GetPool().Wait(CommunicatorPool::WaitStep);
        }
        if (bufferSize != 0)
            Bench::SetBuffers(static_cast<int>(client.GetSocket()), bufferSize);
    }
    void Ask(unsigned int size) {
        char request[RequestSize];
        Bench::PutSize(request, size);
        client.GetOChannel().WriteBin(request, RequestSize, nullptr);
        client.GetOChannel().WriteSeparator();
        Check(client.WaitNextSeparator(10) == IO::NoError);
        EndPoint::InputSeparatorGuard const guard(client);
        Check(client.GetIChannel().ReadBin(answer.data(), size, nullptr) == IO::NoError);
    }
    void GetMemory(long long * taken, long long * held) {
        client.GetOChannel().WriteSeparator();
        Check(client.WaitNextSeparator(10) == IO::NoError);
        EndPoint::InputSeparatorGuard const guard(client);
        Check(client.GetIChannel().Read(*taken) == IO::NoError);
        Check(client.GetIChannel().Read(*held) == IO::NoError);
    }

private:
    Client client;
    std::vector<char> answer = std::vector<char>(Answer::Large);
};

/// One of many, which asks again whenever it has an answer.
class Crowd {
public:
    Crowd(unsigned int port, unsigned int count) {
        for (unsigned int i = 0; i < count; ++i) {
            members.push_back(std::make_unique<Member>(left));
            Member & member = *members.back();
            Check(member.Connect(IO::Location(
                      ("ipc://127.0.0.1:" + std::to_string(port) + "/Answers").c_str())) ==
                  IO::NoError);
            while (member.GetConnectState() == Client::Connecting)
                GetPool().Process();
        }
    }
    void Ask(unsigned int count) {
        left = count;
        unsigned int const first = std::min<unsigned int>(count, Count());
        for (unsigned int i = 0; i < first; ++i)
            members[i]->Ask();
        for (GetPool().Process(); IsAnyBusy(); GetPool().Process())
            GetPool().Wait(1.0);
    }

private:
    struct Member final : Client {
        explicit Member(unsigned int & left) : left(left) {}
        void Ask() {
            --left;
            isBusy = true;
            char request[RequestSize];
            Bench::PutSize(request, RequestSize);
            GetOChannel().WriteBin(request, RequestSize, nullptr);
            GetOChannel().WriteSeparator();
        }
        void SeparatorArrived() override {
            char answer[RequestSize];
            {
                InputSeparatorGuard const guard(*this);
                Check(GetIChannel().ReadBin(answer, RequestSize, nullptr) == IO::NoError);
            }
            isBusy = false;
            if (left > 0)
                Ask();
        }
        unsigned int & left;
        bool isBusy = false;
    };

    unsigned int Count() const { return static_cast<unsigned int>(members.size()); }
    bool IsAnyBusy() const {
        return std::any_of(members.begin(), members.end(),
                           [](auto const & member) { return member->isBusy; });
    }

    unsigned int left = 0;
    std::vector<std::unique_ptr<Member>> members;
};

double Seconds(std::function<void()> const & work) {
    auto const start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Contender {
    char const * name;
    std::function<void()> work;
    std::vector<double> times = {};

    double GetMedian() {
        std::sort(times.begin(), times.end());
        return times[times.size() / 2];
    }
};

// Microseconds of one of so many, each contender beside the first.
void Compare(char const * name, unsigned int rounds, unsigned int times,
             std::vector<Contender> contenders) {
    for (Contender & contender : contenders)
        contender.work();
    for (unsigned int round = 0; round < rounds; ++round)
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            Contender & contender = contenders[(turn + round) % contenders.size()];
            contender.times.push_back(Seconds(contender.work));
        }
    std::printf("%s, us:\n", name);
    double const first = contenders.front().GetMedian();
    for (Contender & contender : contenders)
        std::printf("  %-42s %10.2f  %.2f\n", contender.name, contender.GetMedian() / times * 1e6,
                    contender.GetMedian() / first);
    std::fflush(stdout);
}

std::function<void()> Times(unsigned int count, std::function<void()> work) {
    return [count, work = std::move(work)] {
        for (unsigned int i = 0; i < count; ++i)
            work();
    };
}

void CompareRoundTrips(char const * name, unsigned int rounds, Bench::RawAsker & raw,
                       Bench::RawAsker & rawPoll, Asker & ours) {
    constexpr unsigned int Trips = 1000;
    Compare(name, rounds, Trips,
            {{"raw, blocking", Times(Trips, [&] { raw.Ask(RequestSize); })},
             {"raw, the server by poll", Times(Trips, [&] { rawPoll.Ask(RequestSize); })},
             {"ours", Times(Trips, [&] { ours.Ask(RequestSize); })}});
}

} // namespace

int main(int count, char ** arguments) {
    unsigned int const rounds =
        count > 1 ? static_cast<unsigned int>(std::stoul(arguments[1])) : 51;
    std::string const parts = count > 2 ? arguments[2] : "ricl";
    constexpr int Large = 1 << 20;
    Child const ours([](auto tellPort) { Serve(0, tellPort); });
    Child const oursLarge([](auto tellPort) { Serve(Large, tellPort); });
    Child const raw([](auto tellPort) { Bench::ServeBlocking(Bench::BufferSize, tellPort); });
    Child const rawLarge([](auto tellPort) { Bench::ServeBlocking(Large, tellPort); });
    Child const rawPoll([](auto tellPort) { Bench::ServeByPoll(tellPort); });
    CountMemory();
    Setup::Instance().SetDataFolderLocation(IO::Location());
    if (parts.find('r') != parts.npos) {
        Bench::RawAsker rawAsker(raw.port, Bench::BufferSize);
        Bench::RawAsker rawPollAsker(rawPoll.port, Bench::BufferSize);
        Asker asker(ours.port, "Answers");
        CompareRoundTrips("32 bytes there and back", rounds, rawAsker, rawPollAsker, asker);
        {
            constexpr unsigned int Idle = 1000;
            Asker memory(ours.port, "Memory");
            long long taken, before, held;
            memory.GetMemory(&taken, &before);
            Bench::IdleCrowd const idle(ours.port, Idle);
            Bench::IdleCrowd const idleAtRaw(rawPoll.port, Idle);
            asker.Ask(RequestSize);
            memory.GetMemory(&taken, &held);
            std::printf("an idle connection: %lld bytes\n", (held - before) / Idle);
            if (parts.find("i") != parts.npos)
                CompareRoundTrips("the same beside 1000 idle connections", rounds, rawAsker,
                                  rawPollAsker, asker);
        }
        long long before, after, held;
        {
            Asker memory(ours.port, "Memory");
            memory.GetMemory(&before, &held);
            memory.GetMemory(&before, &held);
            long long const own = allocations;
            for (int i = 0; i < 1000; ++i)
                asker.Ask(RequestSize);
            std::printf("allocations in 1000 round trips: %lld here", allocations - own);
            memory.GetMemory(&after, &held);
            std::printf(", %lld at the server\n", after - before);
        }
    }
    if (parts.find('c') != parts.npos) {
        constexpr unsigned int Clients = 64;
        constexpr unsigned int Calls = 64 * 100;
        Bench::RawCrowd rawCrowd(rawPoll.port, Clients);
        Bench::RawCrowd rawAtOurs(ours.port, Clients, true);
        Crowd crowd(ours.port, Clients);
        Compare("a call of 64 clients at once", rounds, Calls,
                {{"raw, by poll on both sides", [&] { rawCrowd.Ask(Calls); }},
                 {"ours, asked by poll", [&] { rawAtOurs.Ask(Calls); }},
                 {"ours on both sides", [&] { crowd.Ask(Calls); }}});
    }
    if (parts.find('l') != parts.npos) {
        Bench::RawAsker rawAsker(raw.port, Bench::BufferSize);
        Bench::RawAsker rawLargeAsker(rawLarge.port, Large);
        Asker asker(ours.port, "Answers");
        Asker largeAsker(oursLarge.port, "Answers", Large);
        constexpr unsigned int Trips = 10;
        Compare("an answer of 1 MiB", rounds, Trips,
                {{"raw, 32768 bytes of buffer", Times(Trips, [&] { rawAsker.Ask(Large); })},
                 {"ours", Times(Trips, [&] { asker.Ask(Large); })},
                 {"raw, 1 MiB of buffer", Times(Trips, [&] { rawLargeAsker.Ask(Large); })},
                 {"ours, 1 MiB of buffer", Times(Trips, [&] { largeAsker.Ask(Large); })}});
    }
}
