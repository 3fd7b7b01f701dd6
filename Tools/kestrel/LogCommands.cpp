#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Interruption.h"
#include "Json.h"
#include "LogLines.h"

#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <queue>

namespace Tool {

namespace {

constexpr double Pause = 0.2; // seconds between two checks of growing files
constexpr std::size_t LinesAtFirst = 10;

/// "2026-03-01T09:30:00.123+01:00 WARNING IO/File 3 text", as written by the library.
struct LogLine {
    std::string whole;
    std::string file;
    long long time = 0; // milliseconds since 1970
    bool isParsed = false;
    int begins[4] = {}; // offsets of the severity, the domain, the thread and the text

    // A line of another form belongs to the one before it, and has its time.
    LogLine(std::string text, std::string inFile, long long timeBefore)
        : whole(std::move(text)), file(std::move(inFile)), time(timeBefore) {
        int year, month, day, hour, minute, second, millisecond, hours, minutes;
        char sign = 0;
        int end = 0;
        if (std::sscanf(whole.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3d%c%2d:%2d %n%*s %n%*s %n%*u%n",
                        &year, &month, &day, &hour, &minute, &second, &millisecond, &sign, &hours,
                        &minutes, &begins[0], &begins[1], &begins[2], &end) != 10 ||
            end == 0 || whole[static_cast<std::size_t>(end)] != ' ' || (sign != '+' && sign != '-'))
            return;
        std::chrono::year_month_day const date{std::chrono::year(year),
                                               std::chrono::month(static_cast<unsigned int>(month)),
                                               std::chrono::day(static_cast<unsigned int>(day))};
        if (!date.ok())
            return;
        begins[3] = end + 1;
        long long const offset = (hours * 60ll + minutes) * (sign == '+' ? 1 : -1);
        long long const local =
            std::chrono::sys_days(date).time_since_epoch().count() * 1440ll + hour * 60 + minute;
        time = ((local - offset) * 60 + second) * 1000 + millisecond;
        isParsed = true;
    }

    std::string GetPart(int part) const {
        auto const begin = static_cast<std::size_t>(begins[part]);
        auto const next = static_cast<std::size_t>(begins[part + 1]);
        return whole.substr(begin, next - begin - 1);
    }

    void Show(bool asJson, bool withFile) const {
        if (!asJson) {
            if (withFile)
                Out() << file << ": ";
            Out() << whole << "\n";
            return;
        }
        Json line;
        if (isParsed) {
            line["time"] = whole.substr(0, static_cast<std::size_t>(begins[0]) - 1);
            line["severity"] = GetPart(0);
            line["domain"] = GetPart(1);
            line["thread"] = std::strtoull(GetPart(2).c_str(), nullptr, 10);
        }
        line["text"] = isParsed ? whole.substr(static_cast<std::size_t>(begins[3])) : whole;
        line["file"] = file;
        Out() << line.dump(-1, ' ', Out().IsTerminal(), Json::error_handler_t::replace).c_str()
              << "\n";
    }
};

/// The files "SERIES-1.log", "SERIES-2.log" and so on, which hold the lines of one program in
/// sequence; any other file is a series by itself.
class Series {
public:
    void Clear() { files.clear(); }
    void Add(unsigned long long number, LogFile const & file) { files[number] = file; }

    /// The next line, valid until Drop is called. Null: there is none yet. With `takesRest`, an
    /// unterminated line at the end of the series counts.
    LogLine const * Look(IO::Folder const & folder, bool takesRest, Console & console,
                         int * result) {
        while (lines.empty()) {
            auto const at = files.lower_bound(number);
            if (at == files.end())
                return nullptr;
            if (at->first != number || begin > at->second.size) // or it was rewritten
                begin = 0;
            number = at->first;
            bool const isLast = std::next(at) == files.end();
            std::vector<std::string> more;
            MuErrCode const status =
                ReadLogLines(folder, at->second, takesRest || !isLast, &begin, &more);
            for (std::string & line : more) {
                lines.emplace_back(std::move(line), at->second.name, time);
                time = lines.back().time;
            }
            if (status != IO::NoError) {
                *result |= console.Finish(status, at->second.name);
                begin = at->second.size; // later additions are read next time
            }
            if (!more.empty())
                continue;
            if (isLast)
                return nullptr;
            ++number;
            begin = 0;
        }
        return &lines.front();
    }
    void Drop() { lines.pop_front(); }

private:
    std::map<unsigned long long, LogFile> files;
    unsigned long long number = 0; // of the file being read
    unsigned long long begin = 0;  // of its unread part
    long long time = 0;
    std::deque<LogLine> lines;
};

/// All lines of a folder's log files, ordered by time.
class Merger {
public:
    Merger(std::string const & path, Options const & givenOptions, Console & givenConsole)
        : folder(ToLocation(path)), folderPath(path), options(givenOptions), console(givenConsole) {
    }

    int Run() {
        // A follower gets only the last ones of the existing lines.
        int result = 0;
        bool isListed = ReadOn(options.follow, &result);
        for (LogLine const & line : last)
            line.Show(options.json, options.longForm);
        while (options.follow && isListed && !IsInterrupted()) {
            if (!Out().Flush())
                return 1;
            Mu::clockManager.Sleep(Pause);
            isListed = ReadOn(false, &result);
        }
        return result;
    }

private:
    // False: the folder could not be listed.
    bool ReadOn(bool isEndWanted, int * result) {
        std::vector<LogFile> found;
        int const listed = console.Finish(ListLogFiles(folder, &found), folderPath);
        *result |= listed;
        for (auto & one : series) // old files may be deleted meanwhile
            one.second.Clear();
        for (LogFile const & file : found) {
            std::string name = file.name.substr(0, file.name.size() - 4);
            std::size_t const digits = name.find_last_not_of("0123456789") + 1;
            bool const isOfMany = digits != 0 && digits < name.size() &&
                                  name.size() - digits < 19 && name[digits - 1] == '-';
            unsigned long long const number = isOfMany ? std::stoull(name.substr(digits)) : 0;
            series[isOfMany ? name.substr(0, digits) : file.name].Add(number, file);
        }
        struct Next {
            LogLine const * line;
            Series * from;
            bool operator<(Next const & other) const { return line->time > other.line->time; }
        };
        std::priority_queue<Next> heads;
        auto const push = [&](Series & one) {
            if (LogLine const * const line = one.Look(folder, !options.follow, console, result))
                heads.push({line, &one});
        };
        for (auto & one : series)
            push(one.second);
        while (!heads.empty() && !IsInterrupted()) {
            Next const next = heads.top();
            heads.pop();
            if (!isEndWanted)
                next.line->Show(options.json, options.longForm);
            else {
                last.push_back(*next.line);
                if (last.size() > LinesAtFirst)
                    last.pop_front();
            }
            next.from->Drop();
            push(*next.from);
        }
        return listed == 0;
    }

    IO::Folder const folder;
    std::string const & folderPath;
    Options const & options;
    Console & console;
    std::map<std::string, Series> series;
    std::deque<LogLine> last;
};

} // namespace

int ShowLog(Options const & options, Console & console) {
    return Merger(options.source, options, console).Run();
}

} // namespace Tool
