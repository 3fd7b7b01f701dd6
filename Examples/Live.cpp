// A process that works and lets itself be looked into: it writes files, has a file system of its own
// mounted, logs into files, and talks to itself over a connection.
//
//     live            # until a line is entered
//     live 5          # for so many seconds

#include <Kestrel/Comfort.h>
#include <Kestrel/Kestrel.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <map>
#include <mutex>
#include <thread>

namespace {

using namespace IO::IPC;

/// What the process has done, for inspectors.
class Jobs final : public IO::Reflectable {
public:
    Jobs() {
        StaticEntry * const list = CreateStaticEntry("Jobs");
        jobs = CreateCustomEntryGroup();
        AddAttribute(jobs, "rounds", Attribute::UnsignedInteger);
        AddAttribute(jobs, "bytes", Attribute::UnsignedInteger);
        Connect(CreateRootEntry(), list);
        Connect(list, jobs);
        IO::ReflectionManager::Register(IO::RelativeLocation("Live"), this, true);
    }
    ~Jobs() override { IO::ReflectionManager::Unregister(this); }

    void Count(char const * job, unsigned long long bytes) {
        std::lock_guard const guard(mutex);
        Done & now = done[job];
        ++now.rounds;
        now.bytes += bytes;
    }

private:
    struct Done {
        unsigned long long rounds = 0;
        unsigned long long bytes = 0;
    };

    bool GetEntries(CustomEntryGroup const *, Mu::Array<Entry const *> const &,
                    Mu::Array<IO::Name> const &, Mu::Array<IO::Name> *,
                    Mu::Array<IO::Name> * files) const override {
        std::lock_guard const guard(mutex);
        for (auto const & [job, work] : done)
            files->Push(IO::Name(job));
        return true;
    }
    bool GetEntryAttributeValues(CustomEntryGroup const *, IO::Name const & name,
                                 Mu::Array<Entry const *> const &, Mu::Array<IO::Name> const &,
                                 Mu::Array<AttributeValue> * values) const override {
        std::lock_guard const guard(mutex);
        auto const found = done.find(Mu::ToUtf8(name));
        if (found == done.end())
            return false;
        values->Push(found->second.rounds);
        values->Push(found->second.bytes);
        return true;
    }

    CustomEntryGroup * jobs;
    mutable std::mutex mutex;
    std::map<std::string, Done> done;
};

/// Sends back what it is sent.
class Echo final : public Service {
public:
    void SeparatorArrived(Connection & connection) override {
        EndPoint::InputSeparatorGuard const guard(connection);
        Mu::String text;
        if (connection.GetIChannel().Read(text) == IO::NoError)
            connection.GetOChannel().Write(text);
        connection.GetOChannel().WriteSeparator();
    }
};

/// All that is done over and over, on one thread.
class Work {
public:
    explicit Work(IO::Location const & place) : place(place), log(place / "logs", 8, 1, 10) {
        Mu::logger.SetOutput(&log, &log);
        isReady = IO::fileSystem.Mount(inside, place / "inside") == IO::NoError;
        server.SetLoopbackOnly(true);
        server.RegisterService(IO::Location("Echo"), &echo);
        Setup const & setup = Setup::Instance();
        isReady &= server.Start(setup.GetPortBegin(), setup.GetPortEnd()) == IO::NoError;
        isReady &= client.Connect(IO::Location(Mu::UniString::Printf(
                       "ipc://localhost:%lu/Echo", server.GetPort()))) == IO::NoError;
    }
    ~Work() {
        Mu::logger.SetOutput(nullptr, nullptr);
        static_cast<void>(IO::fileSystem.Unmount(inside)); // it is mounted, or never was
    }

    bool IsReady() const { return isReady; }

    void Do(unsigned int round) {
        std::string const number = std::to_string(round % 50);
        std::string const text(100 * (round % 50 + 1), 'x');
        if (IO::WriteAll(place / ("file " + number), text) == IO::NoError)
            jobs.Count("files", text.size());
        IO::Folder mounted(place / "inside");
        if (round < 50 && mounted.CreateFolder(IO::Name("folder " + number)) == IO::NoError)
            jobs.Count("folders", 0);
        for (int pass = 0; pass < 10; ++pass)
            CommunicatorPool::Instance().Process();
        if (client.GetConnectState() != Client::Connected)
            return;
        client.GetOChannel().Write(Mu::String("how is it going?"));
        client.GetOChannel().WriteSeparator();
        if (client.WaitNextSeparator(5.0) != IO::NoError)
            return;
        EndPoint::InputSeparatorGuard const guard(client);
        Mu::String answer;
        if (client.GetIChannel().Read(answer) == IO::NoError)
            jobs.Count("messages", answer.GetLength());
    }

private:
    IO::Location const place;
    IO::FileLogOutput log;
    Jobs jobs;
    IO::MemoryVFS inside;
    Echo echo;
    Server server;
    Client client;
    bool isReady = false;
};

int Run(IO::Location const & place, double seconds) {
    if (IO::fileSystem.CreateFolder(place) != IO::NoError)
        return 1;
    std::atomic<bool> isOver = false;
    Work work(place);
    if (!work.IsReady())
        return 1;
    unsigned short const port = IO::ReflectionService::GetPort();
    std::cout << "\nThis process works, and can be looked into from another terminal:\n\n"
              << "    kestrel inspect " << port << "\n"
              << "    kestrel inspect --web " << port << "\n\n"
              << (seconds > 0 ? "It ends by itself.\n" : "Enter a line to end it.\n") << std::flush;
    std::thread input;
    if (seconds <= 0)
        input = std::thread([&isOver] {
            std::string line;
            std::getline(std::cin, line);
            isOver = true;
        });
    Mu::Clock & clock = Mu::GetClock();
    unsigned long long const begin = clock.GetMonotonicMicroseconds();
    for (unsigned int round = 0; !isOver; ++round) {
        work.Do(round);
        Mu::clockManager.Sleep(0.1);
        auto const passed = static_cast<double>(clock.GetMonotonicMicroseconds() - begin);
        isOver = isOver || (seconds > 0 && passed > seconds * 1e6);
    }
    if (input.joinable())
        input.join();
    return 0;
}

} // namespace

int main(int argc, char ** argv) {
    IO::ReflectionService::SetLoopbackOnly(true); // who is not on this machine stays out
    if (!AllocationTree::Start() || IO::Init(true, "the live demonstration") != 0)
        return 1;
    IO::Location place;
    int result = 1;
    if (IO::ReflectionService::GetPort() == 0)
        std::cerr << "no port is free\n";
    else if (IO::fileSystem.GetSpecialLocation(IO::SpecLocId::TemporaryFolder, &place) ==
             IO::NoError) {
        place /= "kestrel-live-" + std::to_string(Mu::Process::GetCurrentProcessId());
        result = Run(place, argc > 1 ? std::atof(argv[1]) : 0);
        static_cast<void>(IO::fileSystem.Delete(place, IO::DataSafety::IgnoreProtection,
                                                IO::AccessDeniedTreatment::Fail));
    }
    IO::End();
    return result;
}
