#pragma once

#include "Json.h"

#include <Kestrel/Location/Name.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/ReflectionClient.h>

#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace Tool {

/// The address that a process listens on.
struct ProcessAddress {
    std::string host;
    unsigned short port = 0;
};
/// PORT of this machine, or HOST:PORT.
bool ReadAddress(std::string const & text, ProcessAddress * address);
/// The failure of a ReflectionClient in words.
char const * ExplainFailure(MuErrCode status);
/// Numbers as JSON numbers, whatever their size; null for none.
Json ToJson(IO::Reflectable::AttributeValue const & value);

/// The content of an inspected process as the JSON that a page is drawn from: levels with their
/// tables, the text of things, whole subtrees.
///
/// All data of the process is untrusted text or numbers: it may be of any size, and change between
/// requests. A path is a JSON list of names.
///
/// Memory:  what is read, and the names of the most recently requested levels, up to a limit.
/// Threads: any; each request has a connection of its own meanwhile.
/// Failure: Unanswered.
class InspectedProcess {
public:
    /// Its text is the cause.
    struct Unanswered : std::runtime_error {
        using std::runtime_error::runtime_error;
    };
    /// No connection could be made.
    struct Nobody : Unanswered {
        using Unanswered::Unanswered;
    };
    static constexpr unsigned int RowsOfAnswer = 5000;
    static constexpr unsigned int MostNodes = 200000;

    InspectedProcess(ProcessAddress address, unsigned int milliseconds);

    /// {name, ident, system, process}
    Json GetTarget();
    /// Whether its address is one of this machine's own.
    bool IsHere() const;
    /// `count` rows from `from` on of a place's listing: {snapshot, total, columns, rows: [[name,
    /// is folder, value, ...], ...]}. With the number of a snapshot that is still kept, the rows
    /// are of that listing, so that the pieces of a level fit together while it changes. Otherwise,
    /// and for 0, the place is listed again, unless that was done within the last half second.
    Json GetLevel(Json const & path, unsigned int from, unsigned int count, unsigned int snapshot,
                  bool withValues);
    /// {text, whole}
    Json GetContent(Json const & path);
    /// The nodes below a place, the nearest first: {whole, columns, nodes: [[index of the parent,
    /// name, is folder, value, ...], ...]}, -1 being the place. Not whole where there are more than
    /// `most` nodes or `levels` levels, or it takes too long. The columns are those of the first
    /// level that has any. Flat: each node is requested directly below the place, for nodes that
    /// are identified by their names alone. A requested path is in the address tree of the process
    /// meanwhile, so a walk down that tree itself would otherwise find the names of its own
    /// requests.
    Json Walk(Json const & path, unsigned int most, unsigned int levels, bool isFlat);

private:
    using Names = Mu::Array<IO::Name>;

    struct Level {
        unsigned int number = 0;
        unsigned long long moment = 0; // microseconds
        Json path;
        Names names; // folders first
        unsigned int folderCount = 0;
    };
    using KeptLevel = std::shared_ptr<Level const>;

    template <typename Question>
    void Ask(Question const & question);
    void List(IO::RelativeLocation const & place, Level * level);
    KeptLevel FindLevel(Json const & path, unsigned int number);
    void Keep(KeptLevel const & level);
    Json ReadColumns(IO::RelativeLocation const & place);
    Json ReadRows(IO::RelativeLocation const & place, Level const & level, unsigned int from,
                  unsigned int count, bool withValues);

    ProcessAddress const address;
    unsigned int const milliseconds;
    std::mutex turn; // guards the following
    std::vector<std::unique_ptr<IO::ReflectionClient>> idle;
    std::deque<KeptLevel> kept; // the newest last
    unsigned int lastNumber = 0;
};

} // namespace Tool
