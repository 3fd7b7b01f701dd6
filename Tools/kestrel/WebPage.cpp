#include "WebPage.h"

#include "Http/PageFiles.h"
#include "InspectedProcess.h"
#include "Interruption.h"
#include "MachineData.h"

#include <Kestrel/Root/Time/Clock.h>

#include <deque>
#include <random>

namespace Tool {

namespace {

constexpr std::size_t MostRowsSaved = 300000;
constexpr unsigned int MostRowsOfLevel = 100000;
constexpr std::size_t MostContentsOfLevel = 200; // for others the page shows the values
constexpr std::size_t LargestContentSaved = 65536;
constexpr std::size_t DeepestLevelSaved = 30;
constexpr unsigned int DeepestNodeSaved = 60;

PageFile const * FindFile(std::string const & name) {
    for (PageFile const & file : GetPageFiles())
        if (file.name == name)
            return &file;
    return nullptr;
}

char const * GetType(std::string const & name) {
    auto const endsOn = [&](std::string const & ending) {
        return name.size() >= ending.size() &&
               name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
    };
    return endsOn(".css")    ? "text/css; charset=utf-8"
           : endsOn(".js")   ? "text/javascript; charset=utf-8"
           : endsOn(".svg")  ? "image/svg+xml"
           : endsOn(".html") ? "text/html; charset=utf-8"
                             : "text/plain; charset=utf-8";
}

/// Level by level, the nearest first.
class Collector {
public:
    explicit Collector(InspectedProcess & process) : process(process) {}

    Json Run() {
        ahead.push_back({Json::array(), 0});
        levels.push_back(nullptr);
        for (; !ahead.empty() && !IsInterrupted(); ahead.pop_front()) {
            try {
                levels[ahead.front().index] = ReadLevel(ahead.front().path);
            } catch (InspectedProcess::Unanswered const &) {
                if (ahead.front().index == 0)
                    throw;
                ++leftOut;
                if (!IsThere()) { // each further request could take the time limit
                    leftOut += ahead.size() - 1;
                    break;
                }
            }
        }
        return std::move(levels);
    }
    std::size_t CountLeftOut() const { return leftOut; }

private:
    struct Place {
        Json path;
        std::size_t index;
    };

    Json ReadLevel(Json const & path) {
        // In one walk that requests each node directly below the tree: level by level, it would
        // find the names of its own requests there, and below them those of the next, without end.
        if (path == Json{"Kestrel", "AddressTree"}) {
            Json tree = process.Walk(path, InspectedProcess::MostNodes, DeepestNodeSaved, true);
            rowCount += tree["nodes"].size();
            return tree;
        }
        Json level;
        unsigned int snapshot = 0;
        Json rows = Json::array();
        for (unsigned int total = 1; rows.size() < total && rows.size() < MostRowsOfLevel;) {
            level = process.GetLevel(path, static_cast<unsigned int>(rows.size()),
                                     InspectedProcess::RowsOfAnswer, snapshot, true);
            snapshot = level["snapshot"];
            total = level["total"];
            if (level["rows"].empty())
                break;
            for (Json & row : level["rows"])
                rows.push_back(std::move(row));
        }
        rowCount += rows.size();
        Json below = Json::object();
        Json contents = Json::object();
        for (std::size_t i = 0; i < rows.size(); ++i) {
            Json deeper = path;
            deeper.push_back(rows[i][0]);
            if (!rows[i][1].get<bool>())
                AddContent(deeper, i, &contents);
            else if (rowCount < MostRowsSaved && path.size() < DeepestLevelSaved) {
                below[std::to_string(i)] = levels.size();
                ahead.push_back({deeper, levels.size()});
                levels.push_back(nullptr);
            }
        }
        return {{"total", level["total"]},
                {"columns", level["columns"]},
                {"rows", rows},
                {"below", below},
                {"contents", contents}};
    }

    void AddContent(Json const & path, std::size_t row, Json * contents) {
        if (contents->size() >= MostContentsOfLevel)
            return;
        try {
            Json const content = process.GetContent(path);
            if (content["text"].get_ref<std::string const &>().size() <= LargestContentSaved)
                (*contents)[std::to_string(row)] = content["text"];
        } catch (InspectedProcess::Unanswered const &) {
            if (!IsThere())
                throw;
            ++leftOut;
        }
    }

    bool IsThere() {
        try {
            process.GetTarget();
            return true;
        } catch (InspectedProcess::Unanswered const &) {
            return false;
        }
    }

    InspectedProcess & process;
    Json levels = Json::array();
    std::deque<Place> ahead;
    std::size_t rowCount = 0;
    std::size_t leftOut = 0; // levels and texts
};

void ReplaceOnce(std::string & text, std::string const & part, std::string const & by) {
    std::size_t const at = text.find(part);
    if (at != text.npos)
        text.replace(at, part.size(), by);
}

// The data must not end the script element of the page.
std::string ToScriptData(Json const & data) {
    std::string text;
    for (char const c : data.dump(-1, ' ', false, Json::error_handler_t::replace))
        if (c == '<')
            text += "\\u003c";
        else
            text += c;
    return text;
}

} // namespace

HttpReply GetPageFile(std::string const & name) {
    PageFile const * const file = FindFile(name.empty() ? "index.html" : name);
    if (file == nullptr)
        return {404, "text/plain; charset=utf-8", "Not Found\n"};
    return {200, GetType(std::string(file->name)), std::string(file->content)};
}

Json CollectData(InspectedProcess & process, MachineData & machine, std::size_t * leftOut) {
    Collector collector(process);
    Json data{{"moment", Mu::GetClock().GetWallMilliseconds()},
              {"target", process.GetTarget()},
              {"levels", collector.Run()},
              {"connections", machine.GetConnections()},
              {"log", machine.GetLog(0)}};
    *leftOut = collector.CountLeftOut();
    return data;
}

std::string BuildSavedPage(Json const & data) {
    std::random_device device;
    std::string const nonce = std::to_string(device()) + "n" + std::to_string(device());
    std::string page(FindFile("index.html")->content);
    for (PageFile const & file : GetPageFiles()) {
        std::string const name(file.name);
        std::string const content(file.content);
        ReplaceOnce(page, "<link rel=\"stylesheet\" href=\"" + name + "\">",
                    "<style nonce=\"" + nonce + "\">\n" + content + "</style>");
        ReplaceOnce(page, "<script src=\"" + name + "\"></script>",
                    "<script nonce=\"" + nonce + "\">\n" + content + "</script>");
    }
    ReplaceOnce(page, "<link rel=\"icon\" href=\"icon.svg\">\n", "");
    ReplaceOnce(page, "<!-- saved: licence -->",
                "<!-- Of the modules d3-* in this file:\n\n" +
                    std::string(FindFile("d3/LICENSE")->content) + "-->");
    ReplaceOnce(page, "<!-- saved: policy -->",
                "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                "script-src 'nonce-" +
                    nonce + "'; style-src 'nonce-" + nonce + "'; base-uri 'none'\">");
    ReplaceOnce(page, "<!-- saved: data -->",
                "<script type=\"application/json\" id=\"saved\">" + ToScriptData(data) +
                    "</script>");
    return page;
}

} // namespace Tool
