#include "Commands.h"
#include "Console.h"
#include "InspectedProcess.h"
#include "MachineData.h"
#include "Streams.h"
#include "WebPage.h"

#include <charconv>
#include <cmath>
#include <map>
#include <system_error>

namespace Tool {

namespace {

/// The values of a query.
class Query {
public:
    explicit Query(std::string const & text) {
        for (std::size_t from = 0; from < text.size();) {
            std::size_t const end = std::min(text.find('&', from), text.size());
            std::string const part = text.substr(from, end - from);
            std::size_t const sign = std::min(part.find('='), part.size());
            std::string & value = values[part.substr(0, sign)];
            if (sign < part.size() && !DecodeUrl(part.substr(sign + 1), &value))
                value.clear();
            from = end + 1;
        }
    }
    Json GetPath() const { return Json::parse(GetText("path"), nullptr, false); }
    unsigned int GetNumber(char const * name, unsigned int otherwise) const {
        std::string const text = GetText(name);
        unsigned int number = 0;
        auto const read = std::from_chars(text.data(), text.data() + text.size(), number);
        return read.ec == std::errc() && read.ptr == text.data() + text.size() ? number : otherwise;
    }

private:
    std::string GetText(char const * name) const {
        auto const found = values.find(name);
        return found == values.end() ? "" : found->second;
    }

    std::map<std::string, std::string> values;
};

bool ReadPort(std::string const & text, unsigned short * port) {
    auto const read = std::from_chars(text.data(), text.data() + text.size(), *port);
    return read.ec == std::errc() && read.ptr == text.data() + text.size();
}

/// Serves the page and its requests.
struct Site {
    InspectedProcess process;
    MachineData machine;

    explicit Site(Options const & options, ProcessAddress const & target)
        : process(target, static_cast<unsigned int>(std::ceil(options.timeout * 1000))),
          machine(options.logs, process) {}

    HttpReply Answer(std::string const & target) {
        std::size_t const mark = std::min(target.find('?'), target.size());
        std::string const place = target.substr(0, mark);
        if (place.rfind("api/", 0) != 0)
            return GetPageFile(place);
        Query const query(mark < target.size() ? target.substr(mark + 1) : "");
        try {
            Json const answer = Answer(place.substr(4), query);
            if (answer.is_discarded())
                return {404, "text/plain; charset=utf-8", "Not Found\n"};
            return {200, "application/json", Dump(answer)};
        } catch (InspectedProcess::Unanswered const & failure) {
            return {502, "application/json", Dump({{"failure", failure.what()}})};
        }
    }

private:
    static std::string Dump(Json const & json) {
        return json.dump(-1, ' ', false, Json::error_handler_t::replace);
    }

    Json Answer(std::string const & question, Query const & query) {
        constexpr unsigned int Rows = 500;
        constexpr unsigned int Depth = 60;
        if (question == "target")
            return process.GetTarget();
        if (question == "level")
            return process.GetLevel(query.GetPath(), query.GetNumber("from", 0),
                                    query.GetNumber("count", Rows), query.GetNumber("snapshot", 0),
                                    query.GetNumber("values", 1) != 0);
        if (question == "content")
            return process.GetContent(query.GetPath());
        if (question == "walk")
            return process.Walk(query.GetPath(), query.GetNumber("most", Rows),
                                query.GetNumber("levels", Depth), query.GetNumber("flat", 0) != 0);
        if (question == "connections")
            return machine.GetConnections();
        if (question == "log")
            return machine.GetLog(query.GetNumber("cursor", 0));
        return Json(Json::value_t::discarded);
    }
};

int ServePage(Options const & options, ProcessAddress const & target) {
    unsigned short port = 0;
    if (!ReadPort(options.webPort, &port)) {
        Console::Fail(options.webPort + ": no port; --help explains");
        return 2;
    }
    Site site(options, target);
    try {
        static_cast<void>(site.process.GetTarget());
        HttpServer server(port, [&](std::string const & place) { return site.Answer(place); });
        Out() << server.GetUrl().c_str() << "\n";
        Out().Flush();
        server.Run(); // until it is interrupted
    } catch (InspectedProcess::Unanswered const & failure) {
        return Console::Fail(options.source + ": " + failure.what());
    } catch (std::system_error const & failure) {
        return Console::Fail("port " + options.webPort + ": " + failure.code().message());
    }
    return 0;
}

int SavePage(Options const & options, ProcessAddress const & target, Console & console) {
    Site site(options, target);
    std::string page;
    std::size_t leftOut = 0;
    try {
        page = BuildSavedPage(CollectData(site.process, site.machine, &leftOut));
    } catch (InspectedProcess::Unanswered const & failure) {
        return Console::Fail(options.source + ": " + failure.what());
    }
    Target file(options.page, false);
    MuErrCode status = file.GetStatus();
    if (status == IO::NoError)
        status = file.GetChannel().WriteBin(page.data(), static_cast<unsigned int>(page.size()),
                                            nullptr);
    if (status == IO::NoError)
        status = file.Keep();
    if (status == IO::NoError && leftOut != 0)
        Console::Fail(options.source +
                      ": could not be read, and is left out: " + std::to_string(leftOut));
    return console.Finish(status, options.page);
}

} // namespace

int ShowPage(Options const & options, Console & console) {
    ProcessAddress target;
    if (!ReadAddress(options.source, &target)) {
        Console::Fail(options.source.empty()
                          ? "which process? kestrel inspect lists them; --help explains"
                          : options.source + ": no PORT and no HOST:PORT; --help explains");
        return 2;
    }
    return options.page.empty() ? ServePage(options, target) : SavePage(options, target, console);
}

} // namespace Tool
