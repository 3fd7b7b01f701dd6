#include "InspectShell.h"

#include "Arguments.h"
#include "Console.h"
#include "Inside.h"
#include "InspectedProcess.h"
#include "Json.h"
#include "LineReader.h"

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Reflection/RemoteReflectionVFS.h>
#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <stdexcept>

namespace Tool {

namespace {

using VFS = IO::RemoteReflectionVFS;

// Splits at blanks outside of quotation marks.
std::vector<std::string> Split(std::string const & line) {
    std::vector<std::string> words;
    bool isQuoted = false;
    bool isOpen = false;
    for (char const letter : line) {
        bool const isEnd = !isQuoted && (letter == ' ' || letter == '\t');
        if (!isEnd && !isOpen)
            words.emplace_back();
        isOpen = !isEnd;
        if (letter == '"')
            isQuoted = !isQuoted;
        else if (!isEnd)
            words.back() += letter;
    }
    return words;
}

std::string GetWord(std::vector<std::string> const & words, std::size_t index) {
    return index < words.size() ? words[index] : std::string();
}

double ToNumber(std::string const & text, double otherwise) {
    double number = otherwise;
    auto const read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && number > 0 && number < 1e6 ? number : otherwise;
}

/// Walks all that is below a folder; `visit` returns whether to enter one.
template <typename Visit>
MuErrCode Walk(IO::Location const & place, unsigned int depth, Visit const & visit) {
    std::vector<InsideEntry> entries;
    if (MuErrCode const status = ReadEntries(place, &entries); status != IO::NoError)
        return status;
    for (InsideEntry const & entry : entries) {
        if (IsInterrupted())
            return IO::Error;
        bool const isLast = &entry == &entries.back();
        if (visit(entry, depth, isLast) && entry.isFolder && depth < VFS::DeepestLevel)
            if (MuErrCode const status = Walk(IO::Location(place, entry.name), depth + 1, visit);
                status != IO::NoError && status != IO::ErrFolderNotFound) // it has disappeared
                return status;
    }
    return IO::NoError;
}

Json ToJson(InsideTable const & table) {
    Json rows = Json::array();
    for (InsideTable::Row const & row : table.rows)
        rows.push_back({{"name", row.name}, {"values", row.values}});
    return {{"columns", table.columns}, {"rows", rows}};
}

/// The content of a watched folder: each name with all its values.
using Snapshot = std::map<std::string, std::vector<std::string>>;

MuErrCode TakeSnapshotOf(IO::Location const & place, std::vector<std::string> * columns,
                         Snapshot * snapshot) {
    std::vector<InsideEntry> entries;
    InsideTable table;
    MuErrCode status = ReadEntries(place, &entries);
    if (status == IO::NoError)
        status = ReadTable(place, &table);
    *columns = table.columns;
    if (table.rows.empty()) // which lists everything else, with whole names
        for (InsideEntry const & entry : entries)
            (*snapshot)[ToUtf8(VFS::UnescapeName(entry.name))];
    for (InsideTable::Row & row : table.rows)
        (*snapshot)[row.name] = std::move(row.values);
    return status;
}

} // namespace

InspectShell::Command const InspectShell::commands[] = {
    {"ls", "[PATH]", "What there is at a place", &InspectShell::ListEntries},
    {"cd", "[PATH]", "Go there; to the top if none is given", &InspectShell::ChangeFolder},
    {"cat", "PATH", "What a thing says of itself", &InspectShell::ShowContent},
    {"table", "[PATH]", "The attributes of the things at a place", &InspectShell::ShowValues},
    {"tree", "[PATH] [DEPTH]", "All that is below", &InspectShell::ShowTree},
    {"find", "TEXT [PATH]", "Names below that hold the text", &InspectShell::FindNames},
    {"watch", "[PATH] [SECONDS] [TIMES]", "The table again and again, until a line is entered",
     &InspectShell::Watch},
    {"snapshot", "FOLDER", "Copy all below into a new folder of the disk", &InspectShell::TakeCopy},
    {"diff", "BEFORE", "What came, went and grew below, since a snapshot or beside another process",
     &InspectShell::Compare},
    {"help", "", "This", &InspectShell::ShowHelp},
    {"quit", "", "The end", &InspectShell::Quit},
};

InspectShell::InspectShell(std::string const & target, Options const & options, Console & console)
    : target(target), options(options), console(console), top(ToInside(target)) {}

int InspectShell::Run() {
    std::vector<InsideEntry> entries;
    if (int const result = Finish(ReadEntries(top, &entries), {}); result != 0)
        return result;
    Out() << "help lists the commands.\n";
    LineReader reader([this](std::string const & word) { return Complete(word); });
    std::string line;
    int result = 0;
    while (!isEnded && !IsInterrupted() && reader.Read(Disarm(target + ToText(here)) + "> ", &line))
        result = Execute(line);
    return isEnded ? 0 : result;
}

int InspectShell::Execute(std::string const & line) {
    Words const words = Split(line);
    if (words.empty())
        return 0;
    for (Command const & command : commands)
        if (words.front() == command.name)
            return (this->*command.execute)(words);
    return Console::Fail("there is no command \"" + words.front() + "\"; help lists them");
}

InspectShell::Path InspectShell::ToPath(std::string const & text) const {
    Path path = text.starts_with('/') ? Path() : here;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end = std::min(text.find('/', at), text.size());
        std::string const name = text.substr(at, end - at);
        at = end + 1;
        if (name == ".." && !path.empty())
            path.pop_back();
        else if (!name.empty() && name != "." && name != "..")
            path.emplace_back(FromUtf8(name));
    }
    return path;
}

IO::Location InspectShell::ToPlace(Path const & path) const {
    IO::Location place(top);
    for (IO::Name const & name : path)
        place.AppendToLocal(name); // a failure is kept in the location
    return place;
}

// Blanks are escaped as well, so that the shown text can be typed.
std::string InspectShell::ToText(Path const & path) {
    std::string text;
    for (IO::Name const & name : path) {
        text += "/";
        for (char const letter : ToUtf8(name))
            text += letter == ' ' ? "%20" : std::string(1, letter);
    }
    return text.empty() ? "/" : text;
}

std::vector<std::string> InspectShell::Complete(std::string const & word) const {
    std::size_t const slash = word.rfind('/');
    std::string const folder = slash == word.npos ? "" : word.substr(0, slash + 1);
    std::vector<std::string> found;
    auto const add = [&](std::string const & text) {
        if (text.starts_with(word))
            found.push_back(text);
    };
    std::vector<InsideEntry> entries;
    if (ReadEntries(ToPlace(ToPath(folder)), &entries) == IO::NoError)
        for (InsideEntry const & entry : entries)
            add(folder + ToText({entry.name}).substr(1) + (entry.isFolder ? "/" : ""));
    if (folder.empty() && found.empty())
        for (Command const & command : commands)
            add(std::string(command.name) + " ");
    return found;
}

int InspectShell::Finish(MuErrCode status, Path const & path) {
    if (status == IO::ErrFolderNotFound || status == IO::ErrFileNotFound)
        return Console::Fail(ToText(path) + ": there is nothing of that name");
    if (ProcessAddress address; status != IO::NoError && ReadAddress(target, &address))
        try {
            InspectedProcess(address, static_cast<unsigned int>(options.timeout * 1000))
                .GetTarget();
        } catch (std::runtime_error const & failure) { // without a status
            console.Drop();
            return Console::Fail(target + ": " + failure.what());
        }
    return console.Finish(status, target + ToText(path));
}

int InspectShell::ShowHelp(Words const &) {
    std::vector<std::vector<std::string>> rows;
    for (Command const & command : commands)
        rows.push_back({command.name, command.arguments, command.description});
    if (options.json) {
        ShowJson(rows);
        return 0;
    }
    ShowTable(std::move(rows));
    Out() << "Names stand as in URLs where they hold blanks, slashes and the like; the tab key "
             "completes them.\n";
    return 0;
}

int InspectShell::Quit(Words const &) {
    isEnded = true;
    return 0;
}

int InspectShell::ChangeFolder(Words const & words) {
    Path const path = words.size() > 1 ? ToPath(words[1]) : Path();
    IO::Folder const folder(ToPlace(path), IO::Folder::OnNotFound::FailQuietly);
    if (int const result = Finish(folder.GetStatus(), path); result != 0)
        return result;
    here = path;
    return 0;
}

int InspectShell::ListEntries(Words const & words) {
    Path const path = ToPath(GetWord(words, 1));
    std::vector<InsideEntry> entries;
    if (int const result = Finish(ReadEntries(ToPlace(path), &entries), path); result != 0)
        return result;
    Json json = Json::array();
    for (InsideEntry const & entry : entries)
        if (options.json)
            json.push_back({{"name", ToUtf8(entry.name)}, {"folder", entry.isFolder}});
        else
            Out() << ToUtf8(entry.name) << (entry.isFolder ? "/\n" : "\n");
    if (options.json)
        ShowJson(json);
    return 0;
}

int InspectShell::ShowContent(Words const & words) {
    Path const path = ToPath(GetWord(words, 1));
    std::string content;
    if (int const result = Finish(ReadContent(ToPlace(path), &content), path); result != 0)
        return result;
    if (options.json) {
        ShowJson({{"path", ToText(path)}, {"content", content}});
        return 0;
    }
    for (std::size_t from = 0; from < content.size();) {
        std::size_t const end = std::min(content.find('\n', from), content.size());
        std::string line = content.substr(from, end - from);
        if (line.ends_with('\r'))
            line.pop_back();
        Out() << line << "\n";
        from = end + 1;
    }
    return 0;
}

int InspectShell::ShowValues(Words const & words) {
    Path const path = ToPath(GetWord(words, 1));
    InsideTable table;
    IO::Folder const folder(ToPlace(path), IO::Folder::OnNotFound::FailQuietly);
    MuErrCode status = folder.GetStatus();
    if (status == IO::NoError)
        status = ReadTable(ToPlace(path), &table);
    if (int const result = Finish(status, path); result != 0)
        return result;
    if (table.columns.empty() && !options.json)
        return ListEntries(words);
    if (options.json) {
        ShowJson(ToJson(table));
        return 0;
    }
    std::vector<std::vector<std::string>> rows{{"NAME"}};
    rows[0].insert(rows[0].end(), table.columns.begin(), table.columns.end());
    for (InsideTable::Row const & row : table.rows) {
        rows.push_back({row.name});
        rows.back().insert(rows.back().end(), row.values.begin(), row.values.end());
    }
    ShowTable(std::move(rows));
    return 0;
}

int InspectShell::ShowTree(Words const & words) {
    Path const path = ToPath(GetWord(words, 1));
    double const most = ToNumber(GetWord(words, 2), VFS::DeepestLevel);
    Json json{{"path", ToText(path)}, {"children", Json::array()}};
    std::vector<Json *> above{&json["children"]};
    std::vector<bool> isOpen; // whether more siblings follow, for each level above
    auto const show = [&](InsideEntry const & entry, unsigned int depth, bool isLast) {
        std::string const name = ToUtf8(entry.name);
        isOpen.resize(depth);
        if (options.json) {
            above.resize(depth + 1);
            above[depth]->push_back({{"name", name}, {"folder", entry.isFolder}});
            if (entry.isFolder) {
                above[depth]->back()["children"] = Json::array();
                above.push_back(&above[depth]->back()["children"]);
            }
        } else {
            for (bool const more : isOpen)
                Out() << (more ? "│   " : "    ");
            Out() << (isLast ? "└── " : "├── ") << name << (entry.isFolder ? "/\n" : "\n");
        }
        isOpen.push_back(!isLast);
        return depth + 1 < most;
    };
    if (!options.json)
        Out() << ToText(path) << "\n";
    MuErrCode const status = Walk(ToPlace(path), 0, show);
    if (options.json && status == IO::NoError)
        ShowJson(json);
    return Finish(status, path);
}

int InspectShell::FindNames(Words const & words) {
    if (words.size() < 2)
        return Console::Fail("find: what?");
    Path const path = ToPath(GetWord(words, 2));
    Mu::UniString wanted = FromUtf8(words[1]);
    wanted.SetToLowerCase();
    Path at = path;
    Json json = Json::array();
    auto const look = [&](InsideEntry const & entry, unsigned int depth, bool) {
        at.resize(path.size() + depth);
        at.push_back(entry.name);
        Mu::UniString name = VFS::UnescapeName(entry.name).ToString();
        name.SetToLowerCase();
        std::string const text = ToText(at) + (entry.isFolder ? "/" : "");
        if (name.FindFirst(wanted) == Mu::NotFound)
            return true;
        if (options.json)
            json.push_back(text);
        else
            Out() << text << "\n";
        return true;
    };
    MuErrCode const status = Walk(ToPlace(path), 0, look);
    if (options.json)
        ShowJson(json);
    return Finish(status, path);
}

// Each row is marked by how it changed since the last time: + new, - gone, * changed.
int InspectShell::Watch(Words const & words) {
    Path const path = ToPath(GetWord(words, 1));
    double const seconds = ToNumber(GetWord(words, 2), 2);
    double const times = ToNumber(GetWord(words, 3), LineReader::IsTerminal() ? 1e9 : 1);
    Snapshot last;
    for (double round = 0; round < times; ++round) {
        std::vector<std::string> columns;
        Snapshot now;
        if (int const result = Finish(TakeSnapshotOf(ToPlace(path), &columns, &now), path);
            result != 0)
            return result;
        std::vector<std::vector<std::string>> rows{{" ", "NAME"}};
        rows[0].insert(rows[0].end(), columns.begin(), columns.end());
        Json json = Json::array();
        Snapshot all = now;
        all.insert(last.begin(), last.end());
        for (auto const & [name, values] : all) {
            auto const before = last.find(name);
            bool const isThere = now.count(name) != 0;
            char const * const mark = !isThere                   ? "-"
                                      : round == 0               ? " "
                                      : before == last.end()     ? "+"
                                      : before->second != values ? "*"
                                                                 : " ";
            rows.push_back({mark, name});
            rows.back().insert(rows.back().end(), values.begin(), values.end());
            if (round == 0 || *mark != ' ')
                json.push_back({{"mark", mark}, {"name", name}, {"values", values}});
        }
        if (Out().IsTerminal() && !options.json)
            Out() << "\x1b[H\x1b[2J"; // clears the screen, cursor at the top left
        if (options.json)
            ShowJson({{"columns", columns}, {"rows", json}});
        else
            ShowTable(std::move(rows));
        Out().Flush();
        last = std::move(now);
        if (IsInterrupted() || round + 1 >= times)
            break;
        if (!LineReader::IsTerminal())
            Mu::clockManager.Sleep(seconds);
        else if (LineReader::WaitForInput(seconds)) {
            std::string line;
            std::getline(std::cin, line);
            break;
        }
    }
    return 0;
}

// Runs a command of the tool with this place as `here` and the second word as `other`.
int InspectShell::RunHere(Words const & words, std::string Options::*here,
                          std::string Options::*other,
                          int (*command)(Options const & options, Console & console)) {
    Options given = options;
    Mu::UniString url;
    if (MuErrCode const status = ToPlace(this->here).ToURL(&url); status != IO::NoError)
        return Finish(status, this->here);
    given.*here = ToUtf8(url);
    given.*other = words[1];
    return command(given, console);
}

int InspectShell::TakeCopy(Words const & words) {
    if (words.size() != 2)
        return Console::Fail("snapshot: into which new folder?");
    return RunHere(words, &Options::source, &Options::target, TakeSnapshot);
}

int InspectShell::Compare(Words const & words) {
    if (words.size() != 2)
        return Console::Fail("diff: with which snapshot or process?");
    return RunHere(words, &Options::target, &Options::source, Diff);
}

} // namespace Tool
