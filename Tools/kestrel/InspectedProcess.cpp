#include "InspectedProcess.h"

#include "Console.h"

#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>
#include <charconv>
#include <cmath>

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

// Beyond what a script reads exactly, numbers go as text.
Json ToPageJson(Value const & value) {
    constexpr long long Exact = 1ll << 53;
    Json const json = ToJson(value);
    bool const isExact = json.is_number_unsigned() ? json <= Exact
                         : json.is_number_integer()
                             ? json >= -Exact
                             : !json.is_number_float() || std::isfinite(value.value.real);
    return isExact ? json : Json(ToUtf8(value.ToString()));
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

// A connection of earlier may be that of a process which has ended, and another one, or the same
// program again, listens there now: that is found out with a second one.
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
        text.resize(LargestContent); // a character that is cut is replaced on the way
    return {{"text", text}, {"whole", isWhole}};
}

Json InspectedProcess::Walk(Json const & path, unsigned int most, unsigned int levels,
                            bool isFlat) {
    struct Place {
        RelativeLocation location;
        int index;
        unsigned int depth;
    };
    most = std::min(most, MostNodes);
    unsigned long long const end = Mu::GetClock().GetMonotonicMicroseconds() + LongestWalk;
    bool isWhole = true;
    Json columns = Json::array();
    Json nodes = Json::array();
    RelativeLocation const top = ToPlace(path);
    std::deque<Place> ahead{{top, -1, 1}};
    for (; !ahead.empty(); ahead.pop_front()) {
        Place const & here = ahead.front();
        if (here.depth > levels || nodes.size() >= most ||
            Mu::GetClock().GetMonotonicMicroseconds() > end) {
            isWhole = false;
            break;
        }
        Level level;
        List(here.location, &level);
        if (level.names.IsEmpty())
            continue;
        bool const isKnown = isFlat && !columns.empty(); // things of one kind, all of them
        Json const columnsHere = isKnown ? columns : ReadColumns(here.location);
        if (columns.empty())
            columns = columnsHere;
        unsigned int const room = most - static_cast<unsigned int>(nodes.size());
        isWhole = isWhole && level.names.GetSize() <= room;
        unsigned int at = 0;
        for (Json & row : ReadRows(here.location, level, 0, room, !columnsHere.empty())) {
            if (at < level.folderCount)
                ahead.push_back({RelativeLocation(isFlat ? top : here.location, level.names[at]),
                                 static_cast<int>(nodes.size()), here.depth + 1});
            row.insert(row.begin(), here.index);
            nodes.push_back(std::move(row));
            ++at;
        }
    }
    return {{"whole", isWhole}, {"columns", columns}, {"nodes", nodes}};
}

} // namespace Tool
