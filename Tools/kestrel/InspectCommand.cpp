#include "Commands.h"
#include "Console.h"
#include "Inside.h"
#include "InspectShell.h"
#include "InspectedProcess.h"
#include "Json.h"
#include "LineReader.h"

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/ReflectionClient.h>
#include <Kestrel/Reflection/ReflectionService.h>

#include <algorithm>
#include <cmath>
#include <thread>

namespace Tool {

namespace {

using IO::Name;
using IO::ReflectionClient;
using IO::RelativeLocation;
using Attributes = Mu::Array<IO::Reflectable::Attribute>;
using Names = Mu::Array<Name>;
using Value = IO::Reflectable::AttributeValue;
using Values = Mu::Array<Value>;

std::string ToText(Name const & name) {
    return ToUtf8(name.ToString());
}

unsigned int ToMilliseconds(Options const & options) {
    return static_cast<unsigned int>(std::ceil(options.timeout * 1000));
}

// The processes of this machine.

struct Process {
    unsigned short port = 0;
    Json target;         // null: there is none
    std::string failure; // the cause, although a process listens there

    void Ask(unsigned int milliseconds) {
        try {
            InspectedProcess process({"127.0.0.1", port}, milliseconds);
            target = process.GetTarget();
        } catch (InspectedProcess::Nobody const &) {
        } catch (InspectedProcess::Unanswered const & unanswered) {
            failure = unanswered.what();
        }
    }
};

// In parallel: some systems take seconds to find that no process listens on a port.
std::vector<Process> FindProcesses(unsigned int milliseconds) {
    using Service = IO::ReflectionService;
    std::vector<Process> processes(Service::LastPort - Service::FirstPort + 1);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < processes.size(); ++i) {
        processes[i].port = static_cast<unsigned short>(Service::FirstPort + i);
        threads.emplace_back([&, i] { processes[i].Ask(milliseconds); });
    }
    for (std::thread & thread : threads)
        thread.join();
    return processes;
}

bool IsTalk() {
    return LineReader::IsTerminal() && Out().IsTerminal();
}

// On a terminal the only process found gets a shell.
int ListProcesses(Options const & options, Console & console) {
    int result = 0;
    std::string only;
    Json list = Json::array();
    std::vector<std::vector<std::string>> rows{{"PORT", "IDENT", "SYSTEM", "PROCESS"}};
    for (Process const & process : FindProcesses(ToMilliseconds(options))) {
        std::string const port = std::to_string(process.port);
        if (!process.failure.empty())
            result = Console::Fail("port " + port + ": " + process.failure);
        if (process.target.is_null())
            continue;
        only = port;
        std::string const ident = process.target["ident"];
        std::string const system = process.target["system"];
        unsigned int const number = process.target["process"];
        list.push_back(
            {{"port", process.port}, {"ident", ident}, {"system", system}, {"process", number}});
        rows.push_back({port, ident, system, std::to_string(number)});
    }
    if (options.json)
        ShowJson(list);
    else if (rows.size() > 1)
        ShowTable(rows);
    if (rows.size() == 2 && result == 0 && !options.json && IsTalk())
        return InspectShell(only, options, console).Run();
    return result;
}

// The inside of one.

/// The listing of a place.
struct Level {
    Names names; // folders first
    unsigned int folderCount = 0;
    Attributes attributes;
    Mu::Array<Values> values; // by names

    bool IsFolder(unsigned int index) const { return index < folderCount; }
};

// As text from which the place can be found again.
std::string ToText(RelativeLocation const & place) {
    std::string text;
    for (unsigned int i = 0; i < place.GetLength(); ++i) {
        std::string const name = ToText(IO::Reflectable::GetName(place, i));
        if (name.find_first_of("/\\:") != std::string::npos) {
            Mu::UniString url;
            return place.ToURL(&url) == IO::NoError ? ToUtf8(url) : "";
        }
        text += (i == 0 ? "" : "/") + name;
    }
    return text;
}

class Inspector {
public:
    explicit Inspector(Options const & options) : options(options) {}

    int Run() {
        ProcessAddress address;
        if (!ReadAddress(options.source, &address)) {
            Console::Fail(options.source + ": no PORT and no HOST:PORT; --help explains");
            return 2;
        }
        RelativeLocation const place(FromUtf8(options.target));
        if (place.GetStatus() != IO::NoError)
            return 1; // already logged
        if (client.Connect(address.host.c_str(), address.port, ToMilliseconds(options)) !=
            IO::NoError)
            return Console::Fail(options.source + ": nobody answers");
        return options.content ? ShowContent(place)
               : options.tree  ? ShowTree(place)
                               : ShowLevel(place);
    }

private:
    // A deeper tree is considered endless.
    static constexpr unsigned int DeepestTree = 200;
    static constexpr unsigned int NamesOfARequest = 1000;

    bool Succeeds(MuErrCode status) {
        if (status == IO::NoError && !IsInterrupted())
            return true;
        if (status != IO::NoError)
            Console::Fail(options.source + ": " + ExplainFailure(status));
        return false;
    }

    bool ReadNames(RelativeLocation const & place, Level * level) {
        Names files;
        if (!Succeeds(client.GetChildren(place, &level->names, &files)))
            return false;
        level->folderCount = level->names.GetSize();
        level->names.Append(files.GetData(), files.GetSize());
        return true;
    }

    // In several requests, so that a long level stays below the limits of servers and can be
    // interrupted.
    bool ReadTable(RelativeLocation const & place, Level * level) {
        if (!Succeeds(client.GetAttributes(place, &level->attributes)))
            return false;
        if (level->attributes.IsEmpty()) // no columns, no values to show
            return true;
        for (unsigned int from = 0; from < level->names.GetSize(); from += NamesOfARequest) {
            Names part;
            part.Append(level->names.GetData() + from,
                        std::min(NamesOfARequest, level->names.GetSize() - from));
            Mu::Array<Values> values;
            if (!Succeeds(client.GetAttributeValues(place, part, &values)))
                return false;
            for (Values const & row : values)
                level->values.Push(row);
        }
        return true;
    }

    // A place without a listing is an empty folder, a thing of the level above, or does not exist.
    bool Read(RelativeLocation place, Level * level) {
        if (!ReadNames(place, level))
            return false;
        if (!level->names.IsEmpty() || place.IsEmpty())
            return ReadTable(place, level);
        Name last;
        Level above;
        if (place.MoveLastName(&last) != IO::NoError || !ReadNames(place, &above))
            return false;
        unsigned int index = 0;
        while (index < above.names.GetSize() && above.names[index] != last)
            ++index;
        if (index == above.names.GetSize()) {
            Console::Fail(options.target + ": there is nothing of that name");
            return false;
        }
        if (above.IsFolder(index))
            return true;
        level->names.Push(last);
        return ReadTable(place, level);
    }

    int ShowLevel(RelativeLocation const & place) {
        Level level;
        if (!Read(place, &level))
            return 1;
        if (options.json) {
            Json columns = Json::array();
            for (auto const & attribute : level.attributes)
                columns.push_back(
                    {{"name", ToUtf8(attribute.name)}, {"type", attribute.GetTypeString()}});
            Json children = Json::array();
            for (unsigned int i = 0; i < level.names.GetSize(); ++i) {
                Json values = Json::array();
                for (unsigned int k = 0;
                     i < level.values.GetSize() && k < level.values[i].GetSize(); ++k)
                    values.push_back(ToJson(level.values[i][k]));
                children.push_back({{"name", ToText(level.names[i])},
                                    {"folder", level.IsFolder(i)},
                                    {"values", values}});
            }
            ShowJson({{"path", ToText(place)}, {"columns", columns}, {"children", children}});
            return 0;
        }
        std::vector<std::vector<std::string>> rows;
        if (!level.attributes.IsEmpty()) {
            rows.push_back({"NAME"});
            for (auto const & attribute : level.attributes)
                rows.back().push_back(ToUtf8(attribute.name));
        }
        for (unsigned int i = 0; i < level.names.GetSize(); ++i) {
            rows.push_back({ToText(level.names[i]) + (level.IsFolder(i) ? "/" : "")});
            for (unsigned int k = 0; i < level.values.GetSize() && k < level.values[i].GetSize();
                 ++k)
                rows.back().push_back(ToUtf8(level.values[i][k].ToString()));
        }
        ShowTable(std::move(rows));
        return 0;
    }

    int ShowContent(RelativeLocation const & place) {
        Mu::UniString content;
        if (!Succeeds(client.GetContent(place, &content)))
            return 1;
        std::string const text = ToUtf8(content);
        if (text == "No content is available." || text == "Error in the GetContent method!")
            return Console::Fail(options.target + ": " + text);
        if (options.json) {
            ShowJson({{"path", ToText(place)}, {"content", text}});
            return 0;
        }
        for (std::size_t from = 0; from < text.size();) {
            std::size_t const end = std::min(text.find("\r\n", from), text.size());
            Out() << text.substr(from, end - from) << "\n";
            from = end + 2;
        }
        return 0;
    }

    int ShowTree(RelativeLocation const & place) {
        Level level;
        if (!Read(place, &level))
            return 1;
        Json json{{"path", ToText(place)}};
        if (!options.json)
            Out() << (place.IsEmpty() ? options.source : ToText(place)) << "\n";
        bool const isWhole = ShowBelow(place, level, "", 1, &json);
        if (options.json)
            ShowJson(json);
        return isWhole ? 0 : 1;
    }

    // Draws what is below a level, or adds it to the JSON. False: some of it could not be read.
    bool ShowBelow(RelativeLocation const & place, Level const & level, std::string const & indent,
                   unsigned int depth, Json * json) {
        bool isWhole = true;
        if (options.json)
            (*json)["children"] = Json::array();
        for (unsigned int i = 0; i < level.names.GetSize(); ++i) {
            bool const isLast = i + 1 == level.names.GetSize();
            bool const isFolder = level.IsFolder(i);
            std::string const name = ToText(level.names[i]);
            Json child{{"name", name}, {"folder", isFolder}};
            if (!options.json)
                Out() << indent.c_str() << (isLast ? "└── " : "├── ") << name
                      << (isFolder ? "/\n" : "\n");
            if (isFolder && GoesDeeper(depth, &isWhole)) {
                RelativeLocation const deeper(place, level.names[i]);
                Level below;
                if (!ReadNames(deeper, &below))
                    return false;
                isWhole &= ShowBelow(deeper, below, indent + (isLast ? "    " : "│   "), depth + 1,
                                     &child);
            }
            if (options.json)
                (*json)["children"].push_back(std::move(child));
            if (!client.IsConnected() || IsInterrupted())
                return false;
        }
        return isWhole;
    }

    bool GoesDeeper(unsigned int depth, bool * isWhole) {
        if (options.depth >= 0 && depth >= static_cast<unsigned int>(options.depth))
            return false;
        if (depth < DeepestTree)
            return true;
        if (*isWhole)
            Console::Fail("what is deeper than " + std::to_string(DeepestTree) +
                          " levels is not shown");
        return *isWhole = false;
    }

    Options const & options;
    ReflectionClient client;
};

} // namespace

int Inspect(Options const & options, Console & console) {
    if (!options.webPort.empty() || !options.page.empty())
        return ShowPage(options, console);
    if (options.source.empty())
        return ListProcesses(options, console);
    bool const isPlain =
        options.target.empty() && !options.json && !options.tree && !options.content;
    if (!options.execute.empty() || (isPlain && IsTalk())) {
        InspectShell shell(options.source, options, console);
        return options.execute.empty() ? shell.Run() : shell.Execute(options.execute);
    }
    return Inspector(options).Run();
}

} // namespace Tool
