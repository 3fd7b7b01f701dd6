#include "InspectedProcess.h"

#include "Console.h"

#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cmath>
#include <exception>
#include <thread>

namespace Tool {

namespace {

using IO::Name;
using IO::RelativeLocation;
using Value = IO::Reflectable::AttributeValue;

constexpr std::size_t MostLevelsKept = 16;
constexpr unsigned long long MostNamesKept = 2000000;
constexpr std::size_t LargestContent = 4u << 20;
constexpr unsigned int NamesOfRequest = 5000;
constexpr unsigned long long LongestFresh = 500000;  // microseconds
constexpr unsigned long long LongestWalk = 20000000; // microseconds

RelativeLocation ToPlace(Json const & path) {
    RelativeLocation place;
    if (!path.is_array())
        throw InspectedProcess::Unanswered("a path is a list of names");
    for (Json const & name : path)
        if (!name.is_string() || place.Append(Name(FromUtf8(name))) != IO::NoError)
            throw InspectedProcess::Unanswered("there is no such place");
    return place;
}

// Numbers beyond what a script reads exactly are written as text.
Json ToPageJson(Value const & value) {
    constexpr long long Exact = 1ll << 53;
    Json const json = ToJson(value);
    bool const isExact = json.is_number_unsigned() ? json <= Exact
                         : json.is_number_integer()
                             ? json >= -Exact
                             : !json.is_number_float() || std::isfinite(value.value.real);
    return isExact ? json : Json(ToUtf8(value.ToString()));
}

constexpr std::size_t MostAtOnce = 8;

// Calls `work` with each number below `count`, some in parallel: most of the time is spent waiting
// for answers.
template <typename Work>
void DoAtOnce(std::size_t count, Work const & work) {
    std::atomic<std::size_t> next = 0;
    std::mutex turn;
    std::exception_ptr failure;
    auto const run = [&] {
        try {
            for (std::size_t i = next++; i < count; i = next++)
                work(i);
        } catch (...) {
            std::lock_guard const guard(turn);
            failure = std::current_exception();
            next = count;
        }
    };
    std::vector<std::thread> threads;
    try {
        while (threads.size() + 1 < std::min(MostAtOnce, count))
            threads.emplace_back(run);
    } catch (std::exception const &) { // fewer threads suffice
    }
    run();
    for (std::thread & thread : threads)
        thread.join();
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace

bool ReadAddress(std::string const & text, ProcessAddress * address) {
    std::size_t const colon = text.rfind(':');
    address->host = colon == text.npos ? "127.0.0.1" : text.substr(0, colon);
    char const * const number = text.data() + (colon == text.npos ? 0 : colon + 1);
    char const * const end = text.data() + text.size();
    auto const read = std::from_chars(number, end, address->port);
    return read.ec == std::errc() && read.ptr == end && address->port != 0 &&
           !address->host.empty();
}

char const * ExplainFailure(MuErrCode status) {
    switch (status) {
    case IO::EOI: return "the process closed the connection";
    case IO::InputFailure: return "the process does not answer";
    case IO::ErrMemoryFull: return "out of memory";
    default: return "what came is not the answer of an inspectable process";
    }
}

Json ToJson(Value const & value) {
    switch (value.tag) {
    case Value::IntegerTag: return value.value.integer;
    case Value::UnsignedIntegerTag: return value.value.unsignedInteger;
    case Value::RealTag: return value.value.real;
    case Value::BooleanTag: return value.value.boolean;
    case Value::NoValueTag: return nullptr;
    default: return ToUtf8(value.ToString());
    }
}

InspectedProcess::InspectedProcess(ProcessAddress address, unsigned int milliseconds)
    : address(std::move(address)), milliseconds(milliseconds) {}

// An earlier connection may belong to a process that has ended, while another one, or the same
// program again, listens there now. A second connection finds out.
template <typename Question>
void InspectedProcess::Ask(Question const & question) {
    std::unique_ptr<IO::ReflectionClient> client;
    {
        std::lock_guard const guard(turn);
        if (!idle.empty()) {
            client = std::move(idle.back());
            idle.pop_back();
        }
    }
    MuErrCode status = client != nullptr ? question(*client) : IO::EOI;
    if (status == IO::EOI) {
        client = std::make_unique<IO::ReflectionClient>();
        if (client->Connect(address.host.c_str(), address.port, milliseconds) != IO::NoError)
            throw Nobody("nobody answers at " + address.host + ":" + std::to_string(address.port));
        status = question(*client);
    }
    if (status != IO::NoError)
        throw Unanswered(ExplainFailure(status));
    std::lock_guard const guard(turn);
    idle.push_back(std::move(client));
}

Json InspectedProcess::GetTarget() {
    Mu::UniString ident;
    Mu::UniString system;
    unsigned int process = 0;
    Ask([&](IO::ReflectionClient & client) {
        MuErrCode status = client.GetIdent(&ident);
        if (status == IO::NoError)
            status = client.GetOS(&system);
        return status == IO::NoError ? client.GetPid(&process) : status;
    });
    return {{"name", address.host + ":" + std::to_string(address.port)},
            {"ident", ToUtf8(ident)},
            {"system", ToUtf8(system)},
            {"process", process}};
}

bool InspectedProcess::IsHere() const {
    return address.host == "localhost" || address.host.rfind("127.", 0) == 0;
}

void InspectedProcess::List(RelativeLocation const & place, Level * level) {
    Names files;
    Ask([&](IO::ReflectionClient & client) {
        return client.GetChildren(place, &level->names, &files);
    });
    level->folderCount = level->names.GetSize();
    level->names.Append(files.GetData(), files.GetSize());
}

InspectedProcess::KeptLevel InspectedProcess::FindLevel(Json const & path, unsigned int number) {
    std::lock_guard const guard(turn);
    unsigned long long const now = Mu::GetClock().GetMonotonicMicroseconds();
    for (auto level = kept.rbegin(); level != kept.rend(); ++level)
        if ((*level)->path == path &&
            (number == 0 ? now - (*level)->moment < LongestFresh : (*level)->number == number))
            return *level;
    return nullptr;
}

void InspectedProcess::Keep(KeptLevel const & level) {
    std::lock_guard const guard(turn);
    kept.push_back(level);
    unsigned long long count = 0;
    for (KeptLevel const & one : kept)
        count += one->names.GetSize();
    while (kept.size() > 1 && (kept.size() > MostLevelsKept || count > MostNamesKept)) {
        count -= kept.front()->names.GetSize();
        kept.pop_front();
    }
}

Json InspectedProcess::ReadColumns(RelativeLocation const & place) {
    Mu::Array<IO::ReflectionClient::Attribute> attributes;
    Ask([&](IO::ReflectionClient & client) { return client.GetAttributes(place, &attributes); });
    Json columns = Json::array();
    for (auto const & attribute : attributes)
        columns.push_back({{"name", ToUtf8(attribute.name)}, {"type", attribute.GetTypeString()}});
    return columns;
}

Json InspectedProcess::ReadRows(RelativeLocation const & place, Level const & level,
                                unsigned int from, unsigned int count, bool withValues) {
    Json rows = Json::array();
    unsigned int const size = level.names.GetSize();
    unsigned int const end = from < size ? from + std::min(count, size - from) : from;
    while (from < end) {
        Names part;
        part.Append(level.names.GetData() + from, std::min(NamesOfRequest, end - from));
        Mu::Array<Mu::Array<Value>> values;
        if (withValues)
            Ask([&](IO::ReflectionClient & client) {
                return client.GetAttributeValues(place, part, &values);
            });
        for (unsigned int i = 0; i < part.GetSize(); ++i) {
            Json row{ToUtf8(part[i].ToString()), from + i < level.folderCount};
            if (i < values.GetSize())
                for (Value const & value : values[i])
                    row.push_back(ToPageJson(value));
            rows.push_back(std::move(row));
        }
        from += part.GetSize();
    }
    return rows;
}

Json InspectedProcess::GetLevel(Json const & path, unsigned int from, unsigned int count,
                                unsigned int snapshot, bool withValues) {
    RelativeLocation const place = ToPlace(path);
    KeptLevel level = FindLevel(path, snapshot);
    if (level == nullptr) {
        auto const listed = std::make_shared<Level>();
        List(place, listed.get());
        listed->path = path;
        listed->moment = Mu::GetClock().GetMonotonicMicroseconds();
        {
            std::lock_guard const guard(turn);
            listed->number = ++lastNumber;
        }
        level = listed;
        Keep(level);
    }
    Json const columns = withValues ? ReadColumns(place) : Json::array();
    return {{"snapshot", level->number},
            {"total", level->names.GetSize()},
            {"columns", columns},
            {"rows", ReadRows(place, *level, from, std::min(count, RowsOfAnswer),
                              withValues && !columns.empty())}};
}

Json InspectedProcess::GetContent(Json const & path) {
    Mu::UniString content;
    Ask([&](IO::ReflectionClient & client) { return client.GetContent(ToPlace(path), &content); });
    std::string text = ToUtf8(content);
    bool const isWhole = text.size() <= LargestContent;
    if (!isWhole)
        text.resize(LargestContent); // a truncated character is replaced later
    return {{"text", text}, {"whole", isWhole}};
}

Json InspectedProcess::Walk(Json const & path, unsigned int most, unsigned int levels,
                            bool isFlat) {
    struct Place {
        RelativeLocation location;
        int index;
    };
    struct Found {
        bool isAsked = false;
        Level level;
        Json columns = Json::array();
        Json rows = Json::array();
    };
    most = std::min(most, MostNodes);
    unsigned long long const end = Mu::GetClock().GetMonotonicMicroseconds() + LongestWalk;
    bool isWhole = true;
    Json columns = Json::array();
    Json nodes = Json::array();
    RelativeLocation const top = ToPlace(path);
    std::vector<Place> places{{top, -1}};
    for (unsigned int depth = 1; !places.empty(); ++depth) {
        if (depth > levels || nodes.size() >= most) {
            isWhole = false;
            break;
        }
        auto const room = static_cast<unsigned int>(most - nodes.size());
        std::vector<Found> found(places.size());
        std::atomic<unsigned long long> known = 0;
        DoAtOnce(places.size(), [&](std::size_t i) {
            Found & here = found[i];
            if (known >= room || Mu::GetClock().GetMonotonicMicroseconds() > end)
                return;
            List(places[i].location, &here.level);
            here.isAsked = true;
            known += here.level.names.GetSize();
            if (isFlat || here.level.names.IsEmpty())
                return;
            here.columns = ReadColumns(places[i].location);
            here.rows = ReadRows(places[i].location, here.level, 0, room, !here.columns.empty());
        });
        if (isFlat) { // things of one kind, all of them, so that one request serves many
            Level all;
            for (Found const & here : found)
                all.names.Append(here.level.names.GetData(), here.level.names.GetSize());
            if (columns.empty() && !all.names.IsEmpty())
                columns = ReadColumns(top);
            Json rows = ReadRows(top, all, 0, room, !columns.empty());
            auto row = rows.begin();
            for (Found & here : found)
                for (unsigned int at = 0; at < here.level.names.GetSize() && row != rows.end();
                     ++at) {
                    (*row)[1] = at < here.level.folderCount;
                    here.rows.push_back(std::move(*row++));
                }
        }
        std::vector<Place> below;
        for (std::size_t i = 0; i < found.size(); ++i) {
            Found & here = found[i];
            isWhole = isWhole && here.isAsked && here.rows.size() == here.level.names.GetSize();
            if (columns.empty())
                columns = here.columns;
            for (unsigned int at = 0; at < here.rows.size(); ++at) {
                if (nodes.size() >= most) {
                    isWhole = false;
                    break;
                }
                if (at < here.level.folderCount)
                    below.push_back(
                        {RelativeLocation(isFlat ? top : places[i].location, here.level.names[at]),
                         static_cast<int>(nodes.size())});
                Json row = std::move(here.rows[at]);
                row.insert(row.begin(), places[i].index);
                nodes.push_back(std::move(row));
            }
        }
        places = std::move(below);
    }
    return {{"whole", isWhole}, {"columns", columns}, {"nodes", nodes}};
}

} // namespace Tool
