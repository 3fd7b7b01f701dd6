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

/// Where a process listens.
struct ProcessAddress {
    std::string host;
    unsigned short port = 0;
};
/// PORT of this machine, or HOST:PORT.
bool ReadAddress(std::string const & text, ProcessAddress * address);
/// Of a ReflectionClient, in words.
char const * ExplainFailure(MuErrCode status);
/// Numbers as numbers, of whatever size; null for none.
Json ToJson(IO::Reflectable::AttributeValue const & value);

/// What an inspected process shows, as the JSON that a page is drawn from: levels with their tables,
/// the text of things, whole subtrees.
///
/// All that comes from the process is text or numbers to whoever shows it, and is not trusted: it may
/// be of any size, and change from one question to the next. A path is a JSON list of names.
///
/// Memory:  what is read, and the names of the levels that were last asked for, up to a limit.
/// Threads: any; each question has a connection of its own meanwhile.
/// Failure: Unanswered.
class InspectedProcess {
public:
    /// Its text says why.
    struct Unanswered : std::runtime_error {
        using std::runtime_error::runtime_error;
    };
    /// There is no connection at all.
    struct Nobody : Unanswered {
        using Unanswered::Unanswered;
    };
    static constexpr unsigned int RowsOfAnswer = 5000;
    static constexpr unsigned int MostNodes = 200000;

    InspectedProcess(ProcessAddress address, unsigned int milliseconds);

    /// {name, ident, system, process}
    Json GetTarget();
    /// `count` rows from `from` on of what is listed at a place: {snapshot, total, columns, rows:
    /// [[name, is folder, value, ...], ...]}. With the number of a snapshot that is still kept they are
    /// of that list, so that the pieces of a level fit together while it changes; otherwise, and for
    /// 0, it is listed anew, if it was not half a second ago.
    Json GetLevel(Json const & path, unsigned int from, unsigned int count, unsigned int snapshot,
                  bool withValues);
    /// {text, whole}
    Json GetContent(Json const & path);
    /// The nodes below a place, the nearest first: {whole, columns, nodes: [[index of the parent,
    /// name, is folder, value, ...], ...]}, -1 being the place. Not whole where there are more than
    /// `most` nodes or `levels` levels, or it takes too long. The columns are those of the first level
    /// that has any. Flat: each node is asked for right below the place, for those whose names alone say
    /// which they are. What is asked for stands in the address tree of the process meanwhile, so that
    /// a walk down that tree itself would otherwise come to the names of its own questions.
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
    std::mutex turn; // on what follows
    std::vector<std::unique_ptr<IO::ReflectionClient>> idle;
    std::deque<KeptLevel> kept; // the newest last
    unsigned int lastNumber = 0;
};

} // namespace Tool
