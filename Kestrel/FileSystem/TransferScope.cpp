#include <Kestrel/FileSystem/TransferScope.h>

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/Internal/TransferStep.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Time/Clock.h>

namespace IO {

namespace {

thread_local constinit TransferScope * current = nullptr;

} // namespace

bool TransferObserver::Failed(Mu::UniString const &, MuErrCode, char const *) {
    return false;
}

TransferScope::TransferScope(TransferObserver & observer, unsigned int milliseconds)
    : observer(observer), outer(current), interval(milliseconds * 1000ull),
      next(Mu::GetClock().GetMonotonicMicroseconds() + interval) {
    current = this;
}

TransferScope::~TransferScope() {
    current = outer;
}

TransferScope * TransferScope::GetCurrent() noexcept {
    return current;
}

bool TransferScope::AddBytes(unsigned long long bytes) noexcept {
    progress.bytes += bytes;
    Report();
    return !isEnded;
}

void TransferScope::Report() noexcept {
    unsigned long long const now = Mu::GetClock().GetMonotonicMicroseconds();
    if (isEnded || now < next)
        return;
    next = now + interval;
    isEnded = !observer.Advanced(progress);
}

void TransferStep::Enter(PathText text, bool isBelow) {
    outer = scope->step;
    before = scope->path.GetLength();
    begin = isBelow && outer != nullptr ? outer->begin : before;
    if (begin != before && !scope->path.EndsWith(u'\\'))
        scope->path.Append(u"\\");
    scope->path.Append(Mu::ConstSubstring(text));
    scope->progress.place.Assign(scope->path, begin);
    scope->isFailing = false; // the work goes on
    scope->step = this;
    ++scope->progress.entries;
    scope->Report();
}

void TransferStep::EnterIn(Folder const & folder, Name const & name) {
    bool const isBelow = scope->step != nullptr && scope->step->walk == walk;
    Mu::UniString path;
    Location location;
    if (isBelow)
        path = name.ToString();
    else if (folder.GetLocation(&location) != NoError || location.AppendToLocal(name) != NoError ||
             location.ToPath(&path) != NoError)
        path = name.ToString();
    Enter(path, isBelow);
}

void TransferStep::Leave() noexcept {
    scope->path.Truncate(before);
    scope->step = outer;
}

bool TransferStep::IsOver() {
    bool const isOver = current != nullptr && current->isEnded;
    if (isOver)
        AddOSError("TransferScope: ended");
    return isOver;
}

// The observer's decision for an entry further down applies to the folders above it, too.
bool TransferStep::AskToSkip(MuErrCode status) {
    if (scope->isEnded || scope->isFailing || scope->whole != 0)
        return false;
    if (!hasSkipped) {
        char const * const causes = GetOSErrors();
        hasSkipped = scope->observer.Failed(Mu::UniString(scope->path, begin), status,
                                            causes != nullptr ? causes : "");
        if (hasSkipped)
            ClearOSErrors();
    }
    scope->isFailing = !hasSkipped;
    if (hasSkipped && outer != nullptr)
        outer->hasSkipped = true;
    return hasSkipped;
}

bool TransferStep::SkipsCurrent(MuErrCode status) {
    TransferScope const * const scope = TransferScope::GetCurrent();
    return scope == nullptr || scope->step == nullptr || scope->step->AskToSkip(status);
}

TransferPause::TransferPause() noexcept : scope(current) {
    current = nullptr;
}

TransferPause::~TransferPause() {
    current = scope;
}

} // namespace IO
