// Two programs that talk, in one file. Started with "serve" it computes for others; otherwise it finds
// the one that serves by its name, and asks it.
//
//     calculator serve &
//     calculator sum 1 2 3.5
//     calculator statistics 1 2 3.5
//     calculator end

#include <Kestrel/Kestrel.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace {

using namespace IO::IPC;

struct Statistics {
    unsigned int count = 0;
    double smallest = 0;
    double largest = 0;
    double mean = 0;
    double deviation = 0;
};

Statistics Compute(Mu::Array<double> const & numbers) {
    Statistics result;
    result.count = numbers.GetSize();
    if (result.count == 0)
        return result;
    result.smallest = *std::min_element(numbers.begin(), numbers.end());
    result.largest = *std::max_element(numbers.begin(), numbers.end());
    for (double const number : numbers)
        result.mean += number / result.count;
    for (double const number : numbers)
        result.deviation += (number - result.mean) * (number - result.mean) / result.count;
    result.deviation = std::sqrt(result.deviation);
    return result;
}

class Calculator final : public Service {
public:
    bool IsOver() const { return isOver; }

    void SeparatorArrived(Connection & connection) override {
        EndPoint::InputSeparatorGuard const guard(connection); // reads end with this message
        SocketIChannel & in = connection.GetIChannel();
        SocketOChannel & out = connection.GetOChannel();
        Mu::String command;
        Mu::Array<double> numbers;
        if (in.Read(command) != IO::NoError)
            command = "";
        if (command == "Sum" && numbers.Read(in) == IO::NoError) {
            double sum = 0;
            for (double const number : numbers)
                sum += number;
            out.Write(sum);
        } else if (command == "Statistics" && numbers.Read(in) == IO::NoError) {
            Statistics const result = Compute(numbers);
            out.Write(result.count);
            out.Write(result.smallest);
            out.Write(result.largest);
            out.Write(result.mean);
            out.Write(result.deviation);
        } else if (command == "End") {
            isOver = true;
        }
        out.WriteSeparator(); // in every case: the other side waits for it
    }

private:
    bool isOver = false;
};

int Serve() {
    Calculator calculator;
    Server server;
    server.SetLoopbackOnly(true); // nobody is asked who he is, so programs of this machine alone
    server.RegisterService(IO::Location("Calculator"), &calculator);
    Setup const & setup = Setup::Instance();
    if (server.Start(setup.GetPortBegin(), setup.GetPortEnd()) != IO::NoError) {
        std::cerr << "no port is free\n";
        return 1;
    }
    CommunicatorPool & pool = CommunicatorPool::Instance();
    while (!calculator.IsOver()) {
        pool.Process();
        pool.Wait(1.0);
    }
    pool.Process(); // the last answer leaves
    return 0;
}

/// The port of the calculator that runs; 0: none does.
unsigned int FindPort() {
    ProcessInfoProvider & processes = ProcessInfoProvider::Instance();
    processes.AddProcessName("calculator"); // other instances of a program are known anyway
    processes.Refresh();
    for (auto const & [name, list] : processes.GetList())
        for (ProcessInfo const & process : list)
            for (ServerInfo const & server : process.GetServerSet())
                if (server.GetServiceSet().Contains("Calculator"))
                    return server.GetPort();
    return 0;
}

bool Connect(Client & client) {
    unsigned int const port = FindPort();
    if (port == 0)
        return false;
    IO::Location const place(Mu::UniString::Printf("ipc://localhost:%lu/Calculator", port));
    if (client.Connect(place) != IO::NoError)
        return false;
    CommunicatorPool & pool = CommunicatorPool::Instance();
    while (client.GetConnectState() == Client::Connecting) {
        pool.Process();
        pool.Wait(CommunicatorPool::WaitStep);
    }
    return client.GetConnectState() == Client::Connected;
}

int Ask(char const * command, Mu::Array<double> const & numbers) {
    Client client;
    if (!Connect(client)) {
        std::cerr << "no calculator serves\n";
        return 1;
    }
    client.GetOChannel().Write(Mu::String(command));
    numbers.Write(client.GetOChannel());
    client.GetOChannel().WriteSeparator();
    if (client.WaitNextSeparator(10.0) != IO::NoError) {
        std::cerr << (client.IsOk() ? "no answer\n" : "the calculator has gone\n");
        return 1;
    }
    EndPoint::InputSeparatorGuard const guard(client);
    SocketIChannel & in = client.GetIChannel();
    double value = 0;
    if (std::string_view(command) == "Sum" && in.Read(value) == IO::NoError)
        std::cout << value << "\n";
    unsigned int count = 0;
    if (std::string_view(command) == "Statistics" && in.Read(count) == IO::NoError) {
        std::cout << "count " << count << "\n";
        for (char const * const name : {"smallest", "largest", "mean", "deviation"})
            if (in.Read(value) == IO::NoError)
                std::cout << name << " " << value << "\n";
    }
    return in.GetInputStatus() == IO::NoError ? 0 : 1;
}

} // namespace

int main(int argc, char ** argv) {
    std::string_view const command = argc > 1 ? argv[1] : "";
    Mu::Array<double> numbers;
    for (int i = 2; i < argc; ++i)
        numbers.Push(std::atof(argv[i]));
    if (command == "serve")
        return Serve();
    if (command == "sum")
        return Ask("Sum", numbers);
    if (command == "statistics")
        return Ask("Statistics", numbers);
    if (command == "end")
        return Ask("End", numbers);
    std::cerr << "usage: calculator serve | end | sum NUMBER... | statistics NUMBER...\n";
    return 2;
}
