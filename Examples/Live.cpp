// A process that works and is worth looking into: it counts its memory, shows orders that come and go,
// writes files, has a file system of its own mounted, logs into files, and talks with itself over a
// connection.
//
//     live            # until a line is entered, or the end of the input
//     live 5          # for so many seconds
//     live FOLDER     # as the first, with the files in an existing folder, where they stay

#include <Kestrel/Comfort.h>
#include <Kestrel/Kestrel.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace {

using namespace IO;

/// Orders by number, and a long list of parts.
class Orders final : public Reflectable {
public:
    static constexpr unsigned int PartCount = 100000;

    Orders() {
        StaticEntry * const list = CreateStaticEntry("Orders");
        StaticEntry * const store = CreateStaticEntry("Parts");
        StaticEntry * const odd = CreateStaticEntry("Odd names");
        for (CustomEntryGroup ** group : {&orders, &parts, &oddNames})
            *group = CreateCustomEntryGroup();
        AddAttribute(orders, "customer", Attribute::String);
        AddAttribute(orders, "total", Attribute::Real);
        AddAttribute(orders, "steps", Attribute::UnsignedInteger);
        AddAttribute(parts, "left", Attribute::UnsignedInteger);
        AddAttribute(oddNames, "<b>note</b>", Attribute::String);
        RootEntry * const root = CreateRootEntry();
        for (auto const & [entry, group] :
             {std::pair(list, orders), std::pair(store, parts), std::pair(odd, oddNames)}) {
            Connect(root, entry);
            Connect(entry, group);
        }
        ReflectionManager::Register(RelativeLocation("Live"), this, true);
    }
    ~Orders() override { ReflectionManager::Unregister(this); }

    /// One more step of all, now and then a new one, and at last it goes. Returns one that is new, or 0.
    unsigned int Work() {
        static char const * const customers[] = {"Ada", "Grace", "Edsger", "Barbara"};
        std::lock_guard const guard(mutex);
        ++time;
        bool const isNew = open.size() < 20;
        if (isNew)
            open[++last] = {customers[last % 4], 2.5 * last, 0};
        for (auto & [number, order] : open)
            order.steps += (number + time) % 3;
        std::erase_if(open, [](auto const & one) { return one.second.steps > 60; });
        return isNew ? last : 0;
    }

private:
    struct Order {
        Mu::UniString customer;
        double total;
        unsigned int steps;
    };
    // Who shows them must not take them for anything but text.
    static constexpr char const * names[] = {"<script>document.title='taken'</script>",
                                             "\"><img src=x onerror=alert(1)>",
                                             "&amp; </script>",
                                             "two\nlines",
                                             "\x1b[31mred",
                                             "__proto__"};

    bool GetEntries(CustomEntryGroup const * group, Mu::Array<Entry const *> const &,
                    Mu::Array<Name> const &, Mu::Array<Name> *,
                    Mu::Array<Name> * files) const override {
        std::lock_guard const guard(mutex);
        if (group == orders)
            for (auto const & [number, order] : open)
                files->Push(ToName(number));
        if (group == parts)
            for (unsigned int i = 0; i < PartCount; ++i)
                files->Push(ToName(i));
        if (group == oddNames)
            for (char const * const name : names)
                files->Push(Name(name));
        return true;
    }
    bool GetEntryAttributeValues(CustomEntryGroup const * group, Name const & name,
                                 Mu::Array<Entry const *> const &, Mu::Array<Name> const &,
                                 Mu::Array<AttributeValue> * values) const override {
        std::lock_guard const guard(mutex);
        if (group == oddNames)
            values->Push(name.ToString());
        if (group == parts)
            values->Push(ToULong(name) * 7919 % 1000);
        if (group != orders)
            return true;
        auto const found = open.find(ToULong(name));
        if (found == open.end())
            return false;
        values->Push(found->second.customer);
        values->Push(found->second.total);
        values->Push(found->second.steps);
        return true;
    }

    CustomEntryGroup * orders;
    CustomEntryGroup * parts;
    CustomEntryGroup * oddNames;
    mutable std::mutex mutex;
    std::map<unsigned int, Order> open;
    unsigned int last = 0;
    unsigned int time = 0;
};

/// Takes what comes, but is always some messages behind, so that there is something in the queue.
class Counter final : public IPC::Service {
public:
    void SeparatorArrived(IPC::Connection & connection) override {
        while (connection.GetISeparatorCount() > 3)
            IPC::EndPoint::InputSeparatorGuard const guard(connection);
    }
};

/// The server with the service that kestrel asks, and a client of it in the same process.
struct Talk {
    Counter counter;
    IPC::Server server;
    IPC::Client client;

    Talk() {
        server.SetLoopbackOnly(true);
        server.RegisterService(Location("Counter"), &counter);
        server.RegisterService(Location("Processes"),
                               IPC::ProcessInfoProvider::Instance().GetService());
        IPC::Setup const & setup = IPC::Setup::Instance();
        if (server.Start(setup.GetPortBegin(), setup.GetPortEnd()) != NoError)
            std::cerr << "no port is free\n";
        else
            static_cast<void>(client.Connect(Location(Mu::UniString::Printf(
                "ipc://localhost:%lu/Counter", static_cast<unsigned long>(server.GetPort())))));
    }
    void Say(unsigned int number) {
        if (client.GetConnectState() != IPC::Client::Connected)
            return;
        client.GetOChannel().Write(number);
        client.GetOChannel().WriteSeparator();
    }
};

void Work(Location const & folder, std::atomic<bool> const & isOver) {
    Orders orders;
    Talk talk;
    MemoryVFS inside;
    Location const place = folder / "inside";
    bool const isMounted = fileSystem.Mount(inside, place) == NoError;
    for (char const * const name : {"drawer", "shelf"})
        if (isMounted && Folder(place).CreateFolder(name) != NoError)
            std::cerr << "nothing can be created inside\n";
    for (unsigned int turn = 0; !isOver; ++turn) {
        if (unsigned int const order = orders.Work(); order != 0) {
            std::string const bill = "order " + std::to_string(order % 50);
            if (WriteAll(folder / bill, std::string(order % 50 + 1, '*')) != NoError)
                std::cerr << bill << " cannot be written\n";
        }
        talk.Say(turn);
        if (turn % 16 == 0) {
            Mu::Log(Mu::LogSeverity::Info, "Live", "turn % of the work", turn);
            Mu::logger.Flush(); // who watches need not wait for a full block
        }
        IPC::CommunicatorPool::Instance().Process();
        Mu::clockManager.Sleep(0.05);
    }
    if (isMounted && fileSystem.Unmount(inside) != NoError)
        std::cerr << "somebody else unmounted it\n";
}

/// Without seconds, until a line is entered.
void Run(Location const & folder, double seconds) {
    FTM::FileTypeManager types("the live process");
    FTM::LoadFTMDefaults(&types);
    FileLogOutput log(folder, 64, 8, 20);
    Mu::logger.SetOutputLevel(Mu::LogSeverity::Info);
    Mu::logger.SetOutput(&log, &log);
    std::atomic<bool> isOver = false;
    std::thread worker([&] { Work(folder, isOver); });
    unsigned short const port = ReflectionService::GetPort();
    std::cout << "\nThis process works, and can be looked into from another terminal:\n\n"
              << "    kestrel inspect " << port << "\n    kestrel inspect --web " << port << "\n\n"
              << (seconds > 0 ? "It ends by itself." : "Enter a line to end it.") << std::endl;
    if (seconds > 0)
        Mu::clockManager.Sleep(seconds);
    else
        std::cin.get();
    isOver = true;
    worker.join();
    Mu::logger.SetOutput(nullptr, nullptr);
}

} // namespace

int main(int argc, char ** argv) {
    std::string const argument = argc > 1 ? argv[1] : "";
    bool const isTime = argument.find_first_not_of("0123456789.") == argument.npos;
    ReflectionService::SetLoopbackOnly(true); // who is not on this machine stays out
    // The blocks are counted before there is a second thread.
    if (!AllocationTree::Start() || Init(true, "the live process") != NoError)
        return 1;
    Location folder;
    MuErrCode status = NoError;
    if (!isTime)
        folder = Location(std::filesystem::absolute(argument));
    else if ((status = fileSystem.GetSpecialLocation(SpecLocId::TemporaryFolder, &folder)) ==
             NoError) {
        folder /= "kestrel-live-" + std::to_string(Mu::Process::GetCurrentProcessId());
        status = fileSystem.CreateFolder(folder);
    }
    bool const isOwnFolder = isTime && status == NoError;
    if (status == NoError && ReflectionService::GetPort() == 0) {
        std::cerr << "no port is free\n";
        status = Error;
    }
    if (status == NoError)
        Run(folder, isTime ? std::atof(argument.c_str()) : 0);
    if (isOwnFolder)
        static_cast<void>(
            fileSystem.Delete(folder, DataSafety::IgnoreProtection, AccessDeniedTreatment::Fail));
    End();
    return status == NoError ? 0 : 1;
}
