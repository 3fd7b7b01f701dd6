// Levels of 10,000 names and their values over one connection of the loopback interface, from the service
// and from a thread that writes the same names and values by hand; a walk through the address tree, a node; and a
// block of memory while nobody counts and while all are counted.

#include <Kestrel/Kestrel.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using IO::Name;
using IO::Reflectable;
using IO::RelativeLocation;
using IO::Socket::InternetAddress;

constexpr unsigned int Count = 10000;

void Check(bool isGood) {
    if (!isGood)
        std::abort();
}

std::string NameOf(unsigned int i) {
    return "order number " + std::to_string(i);
}

struct Orders : Reflectable {
    CustomEntryGroup * group = CreateCustomEntryGroup();
    Mu::Array<Name> names;
    Orders() {
        for (unsigned int i = 0; i < Count; ++i)
            names.Push(Name(NameOf(i).c_str()));
        Connect(CreateRootEntry(), group);
        AddAttribute(group, "number", Attribute::Integer);
        IO::ReflectionManager::Register(RelativeLocation("orders"), this, false);
    }
    ~Orders() override { IO::ReflectionManager::Unregister(this); }
    bool GetEntries(CustomEntryGroup const *, Mu::Array<Entry const *> const &,
                    Mu::Array<Name> const &, Mu::Array<Name> *,
                    Mu::Array<Name> * files) const override {
        files->Append(names.GetData(), names.GetSize());
        return true;
    }
    bool GetEntryAttributeValues(CustomEntryGroup const *, Name const & name,
                                 Mu::Array<Entry const *> const &, Mu::Array<Name> const &,
                                 Mu::Array<AttributeValue> * values) const override {
        values->Push(name.ToString().GetLength());
        return true;
    }
};

void AppendNumber(std::string & bytes, unsigned int number) {
    for (unsigned int i = 0; i < 4; ++i)
        bytes.push_back(static_cast<char>(number >> 8 * i));
}

void AppendText(std::string & bytes, std::string const & text) {
    bytes.push_back(static_cast<char>(text.size()));
    bytes += text;
}

std::string MakeRequest(char const * name, bool hasNames) {
    std::string body;
    AppendText(body, "orders");
    if (hasNames)
        AppendNumber(body, Count);
    for (unsigned int i = 0; hasNames && i < Count; ++i)
        AppendText(body, NameOf(i));
    std::string request;
    AppendText(request, name);
    AppendNumber(request, static_cast<unsigned int>(body.size()));
    return request + body;
}

// Asks, and reads an answer with its size in front; how many bytes that were.
unsigned int AskRaw(IO::Socket::Socket & client, std::string const & request,
                    std::vector<char> & answer) {
    client.GetOutputChannel().Write(request.data(), static_cast<unsigned int>(request.size()));
    unsigned int size = 0;
    client.GetInputChannel().Read(reinterpret_cast<char *>(&size), 4, Mu::ReadAll);
    answer.resize(size);
    client.GetInputChannel().Read(answer.data(), size, Mu::ReadAll);
    return size;
}

// The twin: reads a request of a known length and writes the answer from the names that a host has.
// Those that are bytes already are the lower bound: no host keeps its names so.
template <typename Names>
std::string AnswerByHand(std::string const & request, Names const & names, bool hasNames) {
    std::string body;
    if (!hasNames) {
        AppendNumber(body, 0);
        AppendNumber(body, Count);
        for (auto const & name : names)
            if constexpr (std::is_same_v<decltype(name), Name const &>)
                AppendText(body, name.ToString().ToCStr().GetText());
            else
                AppendText(body, name);
    } else {
        std::size_t at =
            1 + std::strlen("Get attribute values") + 4 + 1 + std::strlen("orders") + 4;
        for (unsigned int i = 0; i < Count; ++i) {
            unsigned long long const length = static_cast<unsigned char>(request[at]);
            std::string const name = request.substr(at + 1, length);
            at += 1 + length;
            AppendNumber(body, 1);
            body.push_back(2);
            unsigned long long const value = name.size();
            body.append(reinterpret_cast<char const *>(&value), 8);
        }
    }
    std::string answer;
    AppendNumber(answer, static_cast<unsigned int>(body.size()));
    return answer + body;
}

template <bool hasNames>
void OverService(benchmark::State & state) {
    Orders const orders;
    IO::ReflectionService::SetLoopbackOnly(true);
    Check(IO::ReflectionService::Initialize("bench"));
    {
        IO::Socket::Socket client(InternetAddress::Loopback, IO::ReflectionService::GetPort());
        client.SetTCPNoDelay(true);
        std::string const request =
            MakeRequest(hasNames ? "Get attribute values" : "Get children", hasNames);
        std::vector<char> answer;
        for (auto _ : state)
            Check(AskRaw(client, request, answer) > Count);
    }
    IO::ReflectionService::Terminate();
}

template <typename Kind, bool hasNames>
void ByHand(benchmark::State & state) {
    std::vector<Kind> names;
    for (unsigned int i = 0; i < Count; ++i)
        names.emplace_back(NameOf(i).c_str());
    std::string const request =
        MakeRequest(hasNames ? "Get attribute values" : "Get children", hasNames);
    IO::Socket::ServerSocket listening(0, 1, InternetAddress::Loopback);
    std::thread server([&] {
        auto const peer = listening.Accept();
        peer->SetTCPNoDelay(true);
        std::string asked(request.size(), ' ');
        try {
            for (;;) {
                peer->GetInputChannel().Read(asked.data(), static_cast<unsigned int>(asked.size()),
                                             Mu::ReadAll);
                std::string const answer = AnswerByHand(asked, names, hasNames);
                peer->GetOutputChannel().Write(answer.data(),
                                               static_cast<unsigned int>(answer.size()));
            }
        } catch (Mu::IOException const &) { // the client's end
        }
    });
    {
        IO::Socket::Socket client(InternetAddress::Loopback, listening.GetLocalPort());
        client.SetTCPNoDelay(true);
        std::vector<char> answer;
        for (auto _ : state)
            Check(AskRaw(client, request, answer) > Count);
    }
    server.join();
}

// All nodes by the client class, in folders of 100; the time is that of a node.
void WalkAddressTree(benchmark::State & state) {
    unsigned int const nodes = static_cast<unsigned int>(state.range(0));
    std::vector<RelativeLocation> held;
    for (unsigned int i = 0; i < nodes; ++i) {
        RelativeLocation location(Reflectable::ToName(i / 10000));
        Check(location.Append(Reflectable::ToName(i / 100)) == IO::NoError);
        Check(location.Append(Reflectable::ToName(i)) == IO::NoError);
        held.push_back(location);
    }
    IO::ReflectionService::SetLoopbackOnly(true);
    Check(IO::ReflectionService::Initialize("bench"));
    unsigned long long visited = 0;
    {
        IO::ReflectionClient client;
        Check(client.Connect("localhost", IO::ReflectionService::GetPort()) == IO::NoError);
        for (auto _ : state) {
            Mu::Array<Name> next;
            next.Push(Name("0"));
            while (!next.IsEmpty()) {
                Mu::Array<Name> folders;
                Mu::Array<Name> files;
                RelativeLocation const place(RelativeLocation("Kestrel/AddressTree"), next.Pop());
                Check(client.GetChildren(place, &folders, &files) == IO::NoError);
                visited += folders.GetSize() + files.GetSize();
                next.Append(folders.GetData(), folders.GetSize());
            }
        }
    }
    IO::ReflectionService::Terminate();
    state.counters["node"] = benchmark::Counter(
        static_cast<double>(visited), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    Check(visited >= nodes);
}

// What inspection costs where it is not used: the allocation tree off, and on.
template <bool isCounted>
void Block(benchmark::State & state) {
    Check(!isCounted || AllocationTree::Start());
    for (auto _ : state) {
        char * block = BMAllocatePtr(64, 0, 0);
        benchmark::DoNotOptimize(block);
        BMKillPtr(&block);
    }
    Check(!isCounted || AllocationTree::Stop());
}

void BlockOfTheSystem(benchmark::State & state) {
    for (auto _ : state) {
        void * block = std::malloc(64);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
}

BENCHMARK_TEMPLATE(OverService, false)->Name("GetChildren/Service")->MeasureProcessCPUTime();
BENCHMARK_TEMPLATE(ByHand, Name, false)->Name("GetChildren/ByHand")->MeasureProcessCPUTime();
BENCHMARK_TEMPLATE(ByHand, std::string, false)
    ->Name("GetChildren/BytesByHand")
    ->MeasureProcessCPUTime();
BENCHMARK_TEMPLATE(OverService, true)->Name("GetAttributeValues/Service")->MeasureProcessCPUTime();
BENCHMARK_TEMPLATE(ByHand, Name, true)->Name("GetAttributeValues/ByHand")->MeasureProcessCPUTime();
BENCHMARK(WalkAddressTree)->Arg(10000)->Arg(1000000)->MeasureProcessCPUTime();
BENCHMARK_TEMPLATE(Block, false)->Name("Block/NotCounted");
BENCHMARK_TEMPLATE(Block, true)->Name("Block/Counted");
BENCHMARK(BlockOfTheSystem)->Name("Block/System");

} // namespace

BENCHMARK_MAIN();
