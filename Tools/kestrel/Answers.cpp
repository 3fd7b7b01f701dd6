#include "Answers.h"

#include "Values.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/IPC/ApplicationList.h>
#include <Kestrel/IPC/ProcessInfo.h>

namespace Tool {

namespace {

using namespace IO::IPC;

Json Explain(ProcessInfo const & process) {
    Json json = ToJson(process.GetDescriptor());
    if (!process.HasServerSet())
        return json;
    json["servers"] = Json::array();
    for (ServerInfo const & server : process.GetServerSet())
        json["servers"].push_back(ToJson(server));
    return json;
}

Json Explain(ApplicationInfo const & application) {
    return ToJson(application);
}

template <typename Table>
Json ExplainTable(Table const & table) {
    Json list = Json::array();
    for (auto const & [name, elements] : table)
        for (auto const & element : elements)
            list.push_back(Explain(element));
    return list;
}
Json Explain(ProcessList const & list) {
    return ExplainTable(list);
}
Json Explain(ApplicationList const & list) {
    return ExplainTable(list);
}

/// Reads the answer as one object. False: it is not one, or bytes are left after it.
template <typename Value>
bool ReadAll(std::string const & answer, Json * fields) {
    IO::MemoryIChannel in(answer.data(), static_cast<unsigned int>(answer.size()));
    Value value;
    unsigned long long position = 0;
    if (value.Read(static_cast<Mu::IChannel &>(in)) != IO::NoError ||
        in.GetInputPosition(&position) != IO::NoError || position != answer.size())
        return false;
    *fields = Explain(value);
    return true;
}

// The layout as text: consecutive field names and types.
struct Field {
    char const * name;
    char const * type;
};

template <std::size_t count>
bool ReadFields(Mu::IChannel & in, Field const (&layout)[count], Json * json) {
    for (Field const & field : layout)
        if (!ReadValue(in, field.type, &(*json)[field.name]))
            return false;
    return true;
}

bool ReadCommunicators(Mu::IChannel & in, Json * list) {
    unsigned int count = 0;
    if (in.Read(count) != IO::NoError)
        return false;
    *list = Json::array();
    for (; count > 0; --count) {
        Json one;
        constexpr Field start[] = {{"socket", "uint"}, {"kind", "char"}};
        if (!ReadFields(in, start, &one))
            return false;
        std::string const kind = one["kind"];
        constexpr Field server[] = {{"port", "uint"}};
        constexpr Field client[] = {{"host", "string"}, {"port", "uint"}};
        constexpr Field connection[] = {{"host", "string"}};
        bool const isRead = kind == "S"   ? ReadFields(in, server, &one)
                            : kind == "L" ? ReadFields(in, client, &one)
                            : kind == "C" ? ReadFields(in, connection, &one)
                                          : true;
        one["kind"] = kind == "S"   ? "server"
                      : kind == "L" ? "client"
                      : kind == "C" ? "connection"
                                    : "other";
        if (!isRead)
            return false;
        list->push_back(one);
    }
    return true;
}

bool ReadList(Mu::IChannel & in, Json * list, bool (*readOne)(Mu::IChannel &, Json *)) {
    unsigned int count = 0;
    if (in.Read(count) != IO::NoError)
        return false;
    *list = Json::array();
    for (; count > 0; --count) {
        Json one;
        if (!readOne(in, &one))
            return false;
        list->push_back(one);
    }
    return true;
}

bool ReadInputDetails(Mu::IChannel & in, Json * json) {
    constexpr Field layout[] = {
        {"position", "uint64"},    {"has receive buffer", "bool"}, {"receive buffer", "uint"},
        {"first offset", "uint"},  {"available", "uint64"},        {"frame state", "int"},
        {"frame length", "uint"},  {"has frame", "bool"},          {"status", "int"},
        {"location state", "int"}, {"location length", "uint"},    {"location", "string"},
    };
    constexpr Field rest[] = {{"last separator", "uint64"}};
    return ReadFields(in, layout, json) &&
           ReadList(in, &(*json)["blocks"],
                    [](Mu::IChannel & channel, Json * block) {
                        constexpr unsigned int LocationMark = 0xFFFFFFFFu;
                        return ReadValue(channel, "uint", block) &&
                               (*block != LocationMark || ReadValue(channel, "string", block));
                    }) &&
           ReadFields(in, rest, json) &&
           ReadList(in, &(*json)["separators"], [](Mu::IChannel & channel, Json * distance) {
               return ReadValue(channel, "uint64", distance);
           });
}

bool ReadOutputDetails(Mu::IChannel & in, Json * json) {
    constexpr Field layout[] = {
        {"separators", "uint"},  {"blocks", "uint"},      {"block size", "uint"},
        {"pending raw", "uint"}, {"first offset", "int"}, {"last free", "uint"},
        {"offset", "uint"},      {"status", "int"},       {"written", "uint"},
    };
    return ReadFields(in, layout, json) &&
           ReadList(in, &(*json)["marks"],
                    [](Mu::IChannel & channel, Json * mark) {
                        return ReadValue(channel, "uint", mark);
                    }) &&
           ReadList(in, &(*json)["tags"], [](Mu::IChannel & channel, Json * tag) {
               constexpr Field one[] = {{"offset", "uint"}, {"tag", "char"}};
               return ReadFields(channel, one, tag);
           });
}

bool Inspect(Mu::IChannel & in, std::string const & kind, Json * json) {
    bool const both = kind == "char:b";
    if (!both && kind != "char:i" && kind != "char:o")
        return false;
    return (kind == "char:o" || ReadInputDetails(in, &(*json)["input"])) &&
           (kind == "char:i" || ReadOutputDetails(in, &(*json)["output"]));
}

} // namespace

Json ExplainAnswer(std::string const & command, std::vector<std::string> const & arguments,
                   std::string const & answer) {
    Json fields;
    // Two services have a "GetList" and a "This"; only one of them matches the answer.
    if (command == "GetList" && !ReadAll<ProcessList>(answer, &fields))
        ReadAll<ApplicationList>(answer, &fields);
    if (command == "This" && !ReadAll<ProcessInfo>(answer, &fields))
        ReadAll<ApplicationInfo>(answer, &fields);
    IO::MemoryIChannel in(answer.data(), static_cast<unsigned int>(answer.size()));
    bool isRead = true;
    if (command == "Communicators")
        isRead = ReadCommunicators(in, &fields);
    else if (command == "Inspect" && arguments.size() > 1)
        isRead = Inspect(in, arguments[1], &fields);
    else if (command == "Launch")
        isRead = ReadValue(in, "int", &fields["status"]);
    return isRead ? fields : Json();
}

void ShowFields(Json const & fields, unsigned int depth) {
    std::string const indent(depth * 2, ' ');
    for (auto const & [name, value] : fields.items()) {
        bool const isNested = value.is_structured();
        std::string const label = fields.is_array() ? "-" : name + ":";
        std::string const text = value.is_string() ? value.get<std::string>() : value.dump();
        Out() << indent + label + (isNested ? "" : " " + text) << "\n";
        if (isNested)
            ShowFields(value, depth + 1);
    }
}

} // namespace Tool
