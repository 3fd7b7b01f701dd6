#include "Answers.h"
#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Interruption.h"
#include "Json.h"
#include "Values.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/IPC/Client.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/ProcessInfoProvider.h>
#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>

namespace Tool {

namespace {

using namespace IO::IPC;

constexpr double DefaultTimeout = 30;
constexpr unsigned long long LargestAnswer = 256ull << 20;

double GetNow() {
    return static_cast<double>(Mu::GetClock().GetMonotonicMicroseconds()) / 1e6;
}

bool IsPort(std::string const & text) {
    return !text.empty() && text.size() <= 5 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// The port of the only process of that name which offers the service; 0, after a message,
/// otherwise.
unsigned int FindPort(std::string const & program, std::string const & service) {
    ProcessInfoProvider & provider = ProcessInfoProvider::Instance();
    provider.AddProcessName(FromUtf8(program));
    provider.Refresh();
    IO::Name const wanted(FromUtf8(program));
    std::vector<unsigned int> ports;
    bool isRunning = false;
    bool isUnread = false;
    for (auto const & [name, processes] : provider.GetList())
        for (ProcessInfo const & found : processes) {
            IO::Name base(name);
            base.DeleteExtension();
            if (IO::Name(name) != wanted && base != wanted)
                continue; // another instance of this program
            isRunning = true;
            ProcessInfo process(found.GetDescriptor());
            isUnread = process.RefreshServerSet() != IO::NoError || isUnread;
            for (ServerInfo const & server : process.GetServerSet())
                if (server.GetServiceSet().Contains(FromUtf8(service)))
                    ports.push_back(server.GetPort());
        }
    if (ports.size() == 1)
        return ports[0];
    if (ports.size() > 1)
        Console::Fail(program + ": several offer \"" + service +
                      "\"; kestrel services shows their ports, for localhost:PORT/" + service);
    else if (isUnread)
        Console::Fail(program + ": what it serves cannot be read");
    else if (isRunning)
        Console::Fail(program + ": no service \"" + service + "\"");
    else
        Console::Fail(program + ": no such process");
    return 0;
}

/// The URL "ipc://host:port/service" of the target. Empty, after a message, when there is none.
std::string FindPlace(std::string const & target) {
    std::size_t const slash = target.find('/');
    if (slash == 0 || slash == target.npos || slash + 1 == target.size()) {
        Console::Fail(target + ": a target is HOST:PORT/SERVICE or PROGRAM/SERVICE");
        return "";
    }
    std::string const who = target.substr(0, slash);
    std::string const service = target.substr(slash + 1);
    std::size_t const colon = who.rfind(':');
    if (colon != who.npos && IsPort(who.substr(colon + 1)))
        return "ipc://" + target;
    unsigned int const port = FindPort(who, service);
    return port == 0 ? "" : "ipc://localhost:" + std::to_string(port) + "/" + service;
}

/// Polls until the condition holds. False: the time is up, or the user interrupted.
template <typename Condition>
bool DriveUntil(double end, Condition condition) {
    CommunicatorPool & pool = CommunicatorPool::Instance();
    while (!condition()) {
        double const left = end - GetNow();
        if (left <= 0 || IsInterrupted())
            return false;
        pool.Process();
        if (!condition())
            pool.Wait(std::min(left, CommunicatorPool::WaitStep));
    }
    return true;
}

std::string ToHex(std::string const & bytes) {
    static char const digits[] = "0123456789abcdef";
    std::string text;
    for (unsigned char const byte : bytes)
        (text += digits[byte >> 4]) += digits[byte & 15];
    return text;
}

/// Hexadecimal, sixteen bytes to a line.
void ShowHex(std::string const & bytes) {
    for (std::size_t i = 0; i < bytes.size(); i += 16) {
        std::string line;
        for (std::size_t j = i; j < std::min(i + 16, bytes.size()); ++j) {
            if (j > i)
                line += ' ';
            line += ToHex(bytes.substr(j, 1));
        }
        Out() << line << "\n";
    }
}

int ShowAs(Options const & options, std::string const & answer) {
    IO::MemoryIChannel in(answer.data(), static_cast<unsigned int>(answer.size()));
    Json values = Json::array();
    for (std::string const & type : options.answerTypes) {
        Json value;
        if (!ReadValue(in, type, &value))
            return Console::Fail("the answer does not begin with a " + type + " at that place");
        values.push_back(value);
    }
    if (options.json)
        ShowJson(values);
    else
        for (Json const & value : values)
            Out() << (value.is_string() ? value.get<std::string>() : value.dump()) << "\n";
    return 0;
}

} // namespace

std::string AskService(std::string const & place, std::string const & request, double timeout,
                       std::string * answer) {
    CommunicatorPool::Instance().SetMessageLimit(LargestAnswer);
    double const end = GetNow() + timeout;
    Client client;
    client.SetConnectTimeout(static_cast<int>(std::min(timeout + 1, 86400.0)));
    bool const isBegun = client.Connect(IO::Location(FromUtf8(place))) == IO::NoError;
    if (isBegun)
        DriveUntil(end, [&] { return client.GetConnectState() != Client::Connecting; });
    if (client.GetConnectState() != Client::Connected)
        return "no connection";
    client.GetOChannel().WriteBin(request.data(), static_cast<unsigned int>(request.size()),
                                  nullptr);
    client.GetOChannel().WriteSeparator();
    bool const isThere =
        DriveUntil(end, [&] { return client.GetISeparatorCount() > 0 || !client.IsOk(); });
    if (client.GetISeparatorCount() == 0)
        return isThere ? "the connection was lost" : "no answer";
    EndPoint::InputSeparatorGuard const guard(client);
    client.GetIChannel().ResetInputStatus(); // what arrived before a loss is complete
    answer->resize(static_cast<std::size_t>(client.GetIChannel().GetNearestSeparator()));
    client.GetIChannel().ReadBin(answer->data(), static_cast<unsigned int>(answer->size()),
                                 nullptr);
    return "";
}

int CallService(Options const & options, Console &) {
    for (std::string const & type : options.answerTypes)
        if (!IsType(type))
            return Console::Fail(type + ": no such type");
    IO::MemoryOChannel request;
    request.Write(
        Mu::String(options.source.data(), static_cast<unsigned int>(options.source.size())));
    for (std::string const & argument : options.paths)
        if (!WriteValue(request, argument))
            return Console::Fail(argument + ": an argument is TYPE:VALUE");
    if (request.GetOutputStatus() != IO::NoError)
        return Console::Fail("the request is too large");
    std::string const place = FindPlace(options.target);
    std::string answer;
    std::string const bytes(static_cast<IO::MemoryOChannel const &>(request).GetDestination(),
                            request.GetDataSize());
    if (place.empty())
        return 1;
    std::string const failure =
        AskService(place, bytes, options.timeout > 0 ? options.timeout : DefaultTimeout, &answer);
    if (!failure.empty())
        return Console::Fail(place + ": " + failure);
    if (!options.answerTypes.empty())
        return ShowAs(options, answer);
    Json const fields = ExplainAnswer(options.source, options.paths, answer);
    if (options.json)
        ShowJson({{"bytes", answer.size()}, {"hex", ToHex(answer)}, {"fields", fields}});
    else if (options.hex)
        ShowHex(answer);
    else if (!fields.is_null())
        ShowFields(fields, 0);
    else
        Out() << answer << "\n";
    return 0;
}

} // namespace Tool
