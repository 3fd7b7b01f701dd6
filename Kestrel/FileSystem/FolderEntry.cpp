#include <Kestrel/FileSystem/FolderEntry.h>

#include <Kestrel/FileSystem/Internal/NameGeneration.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <utility>

namespace IO {

namespace {

constexpr unsigned int LongestGeneratedBase = 15;

using ExchangeStatus = FolderEntry::ExchangeStatus;
using GenUNStatus = FolderEntry::GenUNStatus;
using GetTypeStatus = FolderEntry::GetTypeStatus;
using MoveStatus = FolderEntry::MoveStatus;

// The result of testing a candidate. An entry that exists, status Done, has taken the name, so that
// the search continues.
enum class Look : unsigned char { Taken, Free, Denied, Failed };

Look LookAt(FolderEntry & folder, Name const & candidate) {
    EntryType type;
    switch (folder.GetType(candidate, &type)) {
    case GetTypeStatus::Done: return Look::Taken;
    case GetTypeStatus::AccessDenied: return Look::Denied;
    case GetTypeStatus::EntryNotFound: return Look::Free;
    default: return Look::Failed;
    }
}

GenUNStatus EndOfSearch(Look look) {
    switch (look) {
    case Look::Free: return GenUNStatus::Done;
    case Look::Denied: return GenUNStatus::AccessDenied;
    default: return GenUNStatus::Other;
    }
}

ExchangeStatus ToExchangeStatus(MoveStatus status) {
    switch (status) {
    case MoveStatus::Done: return ExchangeStatus::Done;
    case MoveStatus::EntryNotFound: return ExchangeStatus::EntryNotFound;
    case MoveStatus::DeviceFull: return ExchangeStatus::DeviceFull;
    case MoveStatus::AccessDenied: return ExchangeStatus::AccessDenied;
    default: return ExchangeStatus::Other;
    }
}

// The moves of one exchange. Running out of memory in the middle must not leave an entry under its
// temporary name, so here it is a failed move like any other and is undone.
class Mover {
public:
    Mover(FolderEntry & folder, bool force) : folder(folder), force(force) {}

    MoveStatus Move(Name const & from, Name const & to) {
        try {
            return folder.Move(from, folder, to, force);
        } catch (Mu::OutOfMemoryException const &) {
            return MoveStatus::Other;
        }
    }
    bool TakeBack(Name const & from, Name const & to) { return Move(from, to) == MoveStatus::Done; }

private:
    FolderEntry & folder;
    bool force;
};

} // namespace

GenUNStatus FolderEntry::GenerateUnusedName(Name * result, Mu::UniString const & base) {
    if (result == nullptr || Mu::IsNull(base))
        return GenUNStatus::Other;
    Mu::UniString stem;
    if (base.GetLength() == 0)
        stem = "GeneratedName_";
    else
        stem = Mu::UniString(base.GetPrefix(LongestGeneratedBase));
    for (;;) {
        Mu::UniString text(stem);
        text.Append(Mu::UniString::Printf("%010lu", NextGeneratedNumber()));
        Name const candidate(text);
        Look const look = LookAt(*this, candidate);
        if (look == Look::Taken)
            continue;
        if (look == Look::Free)
            *result = candidate;
        return EndOfSearch(look);
    }
}

GenUNStatus FolderEntry::GenerateUnusedNameFromString(Name * result, Mu::UniString const & base,
                                                      Mu::UniString const & extension,
                                                      unsigned short maxLength,
                                                      unsigned int * counter) {
    if (result == nullptr || Mu::IsNull(base) || Mu::IsNull(extension))
        return GenUNStatus::Other;
    NumberedName name(base, extension, maxLength);
    if (!name.LeavesRoom())
        return GenUNStatus::Other;
    unsigned int number = counter != nullptr ? *counter : 0;
    if (number != 0)
        name.SetNumber(number++);
    for (;; name.SetNumber(number++)) {
        Mu::UniString text;
        if (!name.Compose(&text))
            return GenUNStatus::NoNameFits;
        Name const candidate(text);
        Look const look = LookAt(*this, candidate);
        if (look == Look::Taken)
            continue;
        if (look == Look::Free) {
            *result = candidate;
            if (counter != nullptr)
                *counter = number;
        }
        return EndOfSearch(look);
    }
}

ExchangeStatus FolderEntry::Exchange(Name const & a, Name const & b, bool force, Name * outA,
                                     Name * outB) {
    if (Mu::IsNull(a) || Mu::IsNull(b) || outA == nullptr || outB == nullptr)
        return ExchangeStatus::Other;
    *outA = a;
    *outB = b;
    Name temporary;
    GenUNStatus const generated = GenerateUnusedName(&temporary, Mu::UniString());
    if (generated != GenUNStatus::Done)
        return generated == GenUNStatus::AccessDenied ? ExchangeStatus::AccessDenied
                                                      : ExchangeStatus::Other;
    // The outputs may be the arguments themselves, and memory must not run out between two moves:
    // so all names that are still needed are copied before anything is moved.
    Name const oldA(a), oldB(b);
    Name parkedA(temporary), backA(a), backB(b), newA(b), newB(a);
    Mover mover(*this, force);

    MoveStatus status = mover.Move(oldA, temporary);
    if (status != MoveStatus::Done)
        return ToExchangeStatus(status);
    *outA = std::move(parkedA);

    status = mover.Move(oldB, oldA);
    if (status != MoveStatus::Done) {
        if (mover.TakeBack(temporary, oldA))
            *outA = std::move(backA);
        return ToExchangeStatus(status);
    }
    *outB = std::move(newB);

    status = mover.Move(temporary, oldB);
    if (status != MoveStatus::Done) {
        if (mover.TakeBack(oldA, oldB))
            *outB = std::move(backB);
        if (mover.TakeBack(temporary, oldA))
            *outA = std::move(backA);
        return ToExchangeStatus(status);
    }
    *outA = std::move(newA);
    return ExchangeStatus::Done;
}

} // namespace IO
