#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Inside.h"
#include "Json.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Reflection/RemoteReflectionVFS.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <set>

namespace Tool {

namespace {

/// The attributes of one thing, by columns; of a thing without any, its content.
using Values = std::map<std::string, std::string>;

/// One side of the comparison: folders by their paths, and in each the things with their values.
struct Side {
    std::map<std::string, std::map<std::string, Values>> folders;
    unsigned long long gone = 0; // things that disappeared while it was read
};

class SideReader {
public:
    SideReader(IO::Location const & top, Side * side) : top(top), side(side) {}

    MuErrCode Read(IO::Location const & place, std::string const & path, unsigned int depth) {
        std::vector<InsideEntry> entries;
        InsideTable table;
        MuErrCode status = ReadEntries(place, &entries);
        if (status == IO::NoError)
            status = ReadTable(place, &table);
        if (status != IO::NoError)
            return depth == 0 ? status : Forgive(status);
        std::map<std::string, Values> & things = side->folders[path];
        std::map<std::string, Values> values;
        for (InsideTable::Row const & row : table.rows)
            for (std::size_t i = 0; i < table.columns.size(); ++i)
                values[row.name][table.columns[i]] = row.values[i];
        for (InsideEntry const & entry : entries) {
            std::string const name = ToInsideName(entry);
            IO::Location const below(place, entry.name);
            std::string const plain = ToUtf8(IO::RemoteReflectionVFS::UnescapeName(entry.name));
            Values & thing = things[name];
            thing = values[plain];
            if (IsInterrupted())
                return IO::Error;
            if (entry.isFolder && depth < IO::RemoteReflectionVFS::DeepestLevel)
                status = Read(below, path + name, depth + 1);
            else if (thing.empty() && !entry.isFolder) {
                status = ReadContent(below, &thing[""]);
                if (status != IO::NoError)
                    status = Forgive(status);
            }
            if (status != IO::NoError)
                return status;
        }
        return IO::NoError;
    }

private:
    // While the top can be read, entries that cannot have disappeared.
    MuErrCode Forgive(MuErrCode status) {
        std::vector<InsideEntry> entries;
        if (ReadEntries(top, &entries) != IO::NoError)
            return status;
        ++side->gone;
        return IO::NoError;
    }

    IO::Location const top;
    Side * side;
};

std::optional<double> ToNumber(std::string const & text) {
    double number = 0;
    auto const read = std::from_chars(text.data(), text.data() + text.size(), number);
    bool const isAll = !text.empty() && read.ec == std::errc() &&
                       read.ptr == text.data() + text.size() && std::isfinite(number);
    return isAll ? std::optional(number) : std::nullopt;
}

std::string ToText(double number) {
    char text[40];
    std::snprintf(text, sizeof text, "%.15g", number);
    return text;
}

std::string ToSigned(double number) {
    return (number > 0 ? "+" : "") + ToText(number);
}

/// A value that changed.
struct Change {
    std::string path;
    std::string column;
    std::string before;
    std::string after;
    std::optional<double> growth; // difference of numbers
};

/// The number of things in a folder, or the sum of one of its columns.
struct Growth {
    std::string path;
    std::string column; // empty: the number of things
    double before = 0;
    double after = 0;
};

struct Difference {
    std::vector<std::string> came;
    std::vector<std::string> went;
    std::vector<Change> changed;
    std::vector<Growth> grown; // by number and by sum
};

void AddSums(std::map<std::string, Values> const & things, double Growth::*field,
             std::map<std::string, Growth> * sums) {
    (*sums)[""].*field = static_cast<double>(things.size());
    for (auto const & [name, values] : things)
        for (auto const & [column, value] : values)
            if (auto const number = ToNumber(value); number && !column.empty())
                (*sums)[column].*field += *number;
}

void CompareValues(std::string const & path, Values const & before, Values const & after,
                   Difference * difference) {
    Values all = before;
    all.insert(after.begin(), after.end());
    for (auto const & [column, value] : all) {
        auto const get = [&column = column](Values const & values) {
            auto const found = values.find(column);
            return found == values.end() ? std::string() : found->second;
        };
        Change change{path, column, get(before), get(after), {}};
        if (change.before == change.after)
            continue;
        auto const from = ToNumber(change.before);
        auto const to = ToNumber(change.after);
        if (from && to)
            change.growth = *to - *from;
        difference->changed.push_back(change);
    }
}

Difference Compare(Side const & a, Side const & b) {
    Difference difference;
    std::set<std::string> paths;
    for (Side const * side : {&a, &b})
        for (auto const & [path, things] : side->folders)
            paths.insert(path);
    static std::map<std::string, Values> const none;
    for (std::string const & path : paths) {
        auto const get = [&](Side const & side) -> std::map<std::string, Values> const & {
            auto const found = side.folders.find(path);
            return found == side.folders.end() ? none : found->second;
        };
        std::map<std::string, Values> const & before = get(a);
        std::map<std::string, Values> const & after = get(b);
        for (auto const & [name, values] : before)
            if (auto const found = after.find(name); found == after.end())
                difference.went.push_back(path + name);
            else
                CompareValues(path + name, values, found->second, &difference);
        for (auto const & [name, values] : after)
            if (before.count(name) == 0)
                difference.came.push_back(path + name);
        std::map<std::string, Growth> sums;
        AddSums(before, &Growth::before, &sums);
        AddSums(after, &Growth::after, &sums);
        for (auto & [column, growth] : sums)
            if (growth.before != growth.after)
                difference.grown.push_back({path, column, growth.before, growth.after});
    }
    auto const bySize = [](auto const & x, auto const & y) {
        return std::abs(x.after - x.before) > std::abs(y.after - y.before);
    };
    std::stable_sort(difference.grown.begin(), difference.grown.end(), bySize);
    std::stable_sort(difference.changed.begin(), difference.changed.end(),
                     [](Change const & x, Change const & y) {
                         return std::abs(x.growth.value_or(0)) > std::abs(y.growth.value_or(0));
                     });
    return difference;
}

Json ToJson(Difference const & difference) {
    Json json{{"came", difference.came}, {"went", difference.went}};
    json["changed"] = Json::array();
    for (Change const & change : difference.changed) {
        json["changed"].push_back({{"path", change.path},
                                   {"column", change.column},
                                   {"before", change.before},
                                   {"after", change.after}});
        if (change.growth)
            json["changed"].back()["growth"] = *change.growth;
    }
    for (bool const isNumber : {true, false}) {
        Json & list = json[isNumber ? "byNumber" : "bySize"] = Json::array();
        for (Growth const & growth : difference.grown)
            if (growth.column.empty() == isNumber)
                list.push_back({{"path", growth.path},
                                {"column", growth.column},
                                {"before", growth.before},
                                {"after", growth.after}});
    }
    return json;
}

void ShowGrowth(char const * title, Difference const & difference, bool isNumber) {
    std::vector<std::vector<std::string>> rows;
    for (Growth const & growth : difference.grown)
        if (growth.column.empty() == isNumber)
            rows.push_back({"  " + ToSigned(growth.after - growth.before),
                            ToText(growth.before) + " -> " + ToText(growth.after), growth.column,
                            growth.path.empty() ? "/" : growth.path});
    if (rows.empty())
        return;
    Out() << title << "\n";
    ShowTable(std::move(rows));
}

void Show(Difference const & difference) {
    for (std::string const & path : difference.came)
        Out() << "+ " << path << "\n";
    for (std::string const & path : difference.went)
        Out() << "- " << path << "\n";
    std::vector<std::vector<std::string>> rows;
    for (Change const & change : difference.changed)
        rows.push_back({"~", change.growth ? ToSigned(*change.growth) : "",
                        change.before + " -> " + change.after, change.column, change.path});
    ShowTable(std::move(rows));
    ShowGrowth("By number of things:", difference, true);
    ShowGrowth("By size:", difference, false);
}

int ReadSide(std::string const & argument, Console & console, Side * side) {
    IO::Location const top = ToInside(argument);
    if (int const result = console.Finish(SideReader(top, side).Read(top, "", 0), argument);
        result != 0)
        return result;
    if (side->gone != 0)
        Console::Fail(argument + ": went away while it was read: " + std::to_string(side->gone));
    return 0;
}

} // namespace

int Diff(Options const & options, Console & console) {
    Side before;
    Side after;
    if (ReadSide(options.source, console, &before) != 0 ||
        ReadSide(options.target, console, &after) != 0)
        return 1;
    Difference const difference = Compare(before, after);
    if (options.json)
        ShowJson(ToJson(difference));
    else
        Show(difference);
    return 0;
}

int TakeSnapshot(Options const & options, Console & console) {
    IO::Location const target = ToLocation(options.target);
    bool const isUrl = options.target.find("://") != std::string::npos; // which nobody typed
    std::string const name = isUrl ? ToText(target) : options.target;
    bool isThere = false;
    if (IO::fileSystem.Contains(target, &isThere) == IO::NoError && isThere)
        return Console::Fail(name + " is there already");
    HalfMade const made(target);
    unsigned long long gone = 0;
    MuErrCode const status = CopyInside(ToInside(options.source), target, &gone);
    if (status == IO::NoError && options.json)
        ShowJson({{"folder", options.target}, {"gone", gone}});
    else if (status == IO::NoError && gone != 0)
        Console::Fail(options.source + ": went away while it was copied: " + std::to_string(gone));
    if (status != IO::NoError && IsInterrupted())
        return console.Drop() | 1;
    // What can still be read is not the side that failed.
    std::vector<InsideEntry> entries;
    bool const isRead =
        status != IO::NoError && ReadEntries(ToInside(options.source), &entries) == IO::NoError;
    return console.Finish(status, isRead ? name : options.source);
}

} // namespace Tool
