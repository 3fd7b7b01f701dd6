// A process that is worth looking into: it counts its memory, shows orders that come and go, mounts a
// file system, logs into files, and talks with itself over a connection. Ends at a line on standard
// input, or the end of it.
//
//     workshop FOLDER &
//     kestrel inspect --web --logs FOLDER 37770

#include <Kestrel/Comfort.h>
#include <Kestrel/Kestrel.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
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
        ReflectionManager::Register(RelativeLocation("Workshop"), this, true);
    }
    ~Orders() override { ReflectionManager::Unregister(this); }

    /// One more step of all, now and then a new one, and at last it goes.
    void Work() {
        static char const * const customers[] = {"Ada", "Grace", "Edsger", "Barbara"};
        std::lock_guard const guard(mutex);
        ++time;
        if (open.size() < 20)
            open[++last] = {customers[last % 4], 2.5 * last, 0};
        for (auto & [number, order] : open)
            order.steps += (number + time) % 3;
        std::erase_if(open, [](auto const & one) { return one.second.steps > 60; });
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
        orders.Work();
        talk.Say(turn);
        if (turn % 16 == 0) {
            Mu::Log(Mu::LogSeverity::Info, "Workshop", "turn % of the work", turn);
            Mu::logger.Flush(); // who watches need not wait for a full block
        }
        IPC::CommunicatorPool::Instance().Process();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (isMounted && fileSystem.Unmount(inside) != NoError)
        std::cerr << "somebody else unmounted it\n";
}

} // namespace

int main(int argc, char ** argv) {
    if (argc != 2) {
        std::cerr << "usage: workshop FOLDER\n";
        return 2;
    }
    AllocationTree::Start(); // before there is a second thread
    ReflectionService::SetLoopbackOnly(true);
    if (Init(true, "the workshop") != NoError)
        return 1;
    Location const folder(std::filesystem::absolute(argv[1]));
    FTM::FileTypeManager types("the workshop");
    FTM::LoadFTMDefaults(&types);
    {
        FileLogOutput log(folder, 64, 8, 20);
        Mu::logger.SetOutputLevel(Mu::LogSeverity::Info);
        Mu::logger.SetOutput(&log, &log);
        std::atomic<bool> isOver = false;
        std::thread worker([&] { Work(folder, isOver); });
        std::cout << "kestrel inspect --web --logs '" << argv[1] << "' "
                  << ReflectionService::GetPort() << std::endl;
        std::cin.get();
        isOver = true;
        worker.join();
    }
    End();
}
