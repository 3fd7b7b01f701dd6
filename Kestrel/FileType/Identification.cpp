// Identification of files: the stages, implemented once for all operations.

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/IdentificationObserver.h>
#include <Kestrel/FileType/Internal/Start.h>
#include <Kestrel/FileType/Internal/Tables.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Text/TextConversion.h>

#include <algorithm>
#include <optional>

namespace FTM {

namespace {

using Guard = Mu::LockGuard<Mu::ReentrantLock>;
using OnNotFound = IO::File::OnNotFound;
using Stage = IdentificationObserver::Stage;

/// Runs a step on a file; running out of memory is a failure like any other.
template <typename Step>
bool Succeeds(Step const & step) {
    try {
        return step() == Mu::NoError;
    } catch (Mu::OutOfMemoryException const &) {
        return false;
    }
}

/// Counts different types, as far as that matters: each that is not the first one counts, so only
/// 0, 1 and more are meaningful.
struct Count {
    void Add(int dataIndex) {
        if (number == 0)
            first = dataIndex;
        if (number == 0 || dataIndex != first)
            ++number;
    }

    int first = -1;
    unsigned int number = 0;
};

} // namespace

/// One question about one file.
///
/// The operations differ in three things: whose types are preferred, which types are the target,
/// and what follows from the numbers. Without a preferred owner, all types are its own; without a
/// target, all types are the target.
class Identification {
public:
    /// How a question is decided.
    enum class Question {
        WhatIsIt,
        MayItBe, ///< yes, unless there is evidence for another type
        IsIt     ///< no, unless there is evidence for the target, and before another type
    };

    /// With a null owner no types are preferred.
    Identification(IO::Location const & location, GroupID group, FileTypeManager const * owner,
                   IdentificationObserver * observer = nullptr)
        : guard(FileTypeManager::lock), location(location), group(group), owner(owner),
          observer(observer), isPossible(Prepare()) {}

    ~Identification() { RestoreResults(); }

    GeneralID Identify(void * info) {
        switch (JudgeByName(info)) {
        case Verdict::Settled: return answer;
        case Verdict::Failed: return UnknownType;
        case Verdict::Open: break;
        }
        if (!TestContents(info))
            return UnknownType;
        return IsSettledByContents() ? GeneralID(answer) : GeneralID(FindSmallestGroup());
    }

    unsigned int List(TypeID * list, unsigned int size, void ** infos) {
        void * const info = infos != nullptr && size > 0 ? infos[0] : nullptr;
        if (list == nullptr)
            size = 0;
        std::fill_n(list, size, UnknownType);
        Verdict verdict = JudgeByName(info);
        if (verdict == Verdict::Open) {
            if (!TestContents(info))
                verdict = Verdict::Failed;
            else if (IsSettledByContents())
                verdict = Verdict::Settled;
        }
        if (verdict == Verdict::Failed)
            return 0;
        unsigned int count = 0;
        auto const store = [&](TypeID type) {
            if (count < size)
                list[count] = type;
            ++count;
        };
        if (verdict == Verdict::Settled)
            store(answer);
        else
            VisitRemaining([&](TypeID type) {
                store(type);
                return true;
            });
        return count;
    }

    bool Match(GeneralID id, Question asked) {
        target = id;
        question = asked;
        // Only in this case is a missing file not logged.
        onNotFound = asked == Question::MayItBe && owner == nullptr ? OnNotFound::FailQuietly
                                                                    : OnNotFound::Report;
        Verdict const verdict = JudgeByName(nullptr);
        if (verdict != Verdict::Open)
            return verdict == Verdict::Settled;
        if (!TestContents(nullptr))
            return false;
        // Kept: evidence for the target counts if it comes before evidence for another type.
        return question == Question::MayItBe ? !isWrong : hits[Own].number + hits[Other].number > 0;
    }

private:
    using TypeRecord = FileTypeManager::TypeRecord;
    using Row = FileTypeManager::ExtensionIndexRecord;

    enum Whose { Own, Other, WhoseCount };
    enum class Verdict { Settled, Failed, Open };

    /// The counts of a stage, by owner, of the target and of others.
    struct Tally {
        Count hits[WhoseCount];
        Count others[WhoseCount];
        int first = -1; // of all candidates

        unsigned int CountHits() const { return hits[Own].number + hits[Other].number; }
        unsigned int CountOthers() const { return others[Own].number + others[Other].number; }
        bool IsEmpty() const { return CountHits() + CountOthers() == 0; }
    };

    /// A row of the contents stage. It names its type, whose place in the table may be changed by
    /// content tests, and keeps the earlier result, so that a content test that identifies another
    /// file leaves the results of this question unchanged.
    struct ContentRow {
        TypeID type;
        bool isLong;
        bool earlierResult;
    };

    struct Hits {
        unsigned int number = 0;
        TypeID first;
    };

    static TypeRecord * FindRecord(TypeID type) {
        int const index = FileTypeManager::SearchForTypeRec(type);
        return index < 0 ? nullptr
                         : &FileTypeManager::hTypeDataArray[static_cast<unsigned int>(index)];
    }

    static TypeRecord & RecordOf(int dataIndex) {
        return FileTypeManager::hTypeDataArray[static_cast<unsigned int>(dataIndex)];
    }

    // False: the result is the negative one.
    bool Prepare() {
        if (group == UnknownGroup || Mu::IsNull(location))
            return false;
        IO::Name & name = GetScratchName();
        if (location.GetLastLocalName(&name) != Mu::NoError)
            return false;
        if (name.GetLength() >= 2 && name[0] == '.' && name[1] == '_')
            return false; // the side file of another platform
        Mu::UniString const & text = name;
        unsigned int const point = text.FindLast(Mu::UniChar('.'));
        if (!Succeeds([&] {
                extension.emplace(point == Mu::NotFound ? Mu::ConstSubstring()
                                                        : text.GetSubstring(point + 1),
                                  MuMachineCharCode, Mu::ReplaceOnConversionError);
                return Mu::NoError;
            }))
            return false;
        extensionKey = FileTypeManager::ConvertExtension(*extension, &isLong);
        if (observer != nullptr)
            observer->ExtensionFound(*extension, extensionKey, isLong);
        return !FileTypeManager::hExtensionIndexArray.IsEmpty() &&
               !FileTypeManager::hTypeDataArray.IsEmpty();
    }

    bool IsCandidate(TypeRecord const & record, bool isLongRow) const {
        return isLongRow == isLong && (!isLong || record.type.IsExtensionIncluded(*extension)) &&
               (group == RootGroup || FileTypeManager::IsTypeInGroup(record.id, group));
    }

    Whose GetOwner(TypeRecord const & record) const {
        return owner == nullptr || record.manager == owner ? Own : Other;
    }

    bool IsTarget(TypeRecord const & record) const {
        if (question == Question::WhatIsIt)
            return true;
        return target.IsGroup() ? FileTypeManager::IsTypeInGroup(record.id, target)
                                : record.id == target;
    }

    // Stages A and B.

    Tally CountCandidates(Stage stage, unsigned int code, bool isExact) {
        Tally tally;
        FileTypeManager::ScanKey(extensionKey, code, isExact, [&](Row const & row) {
            TypeRecord const & record = RecordOf(row.dataIndex);
            if (!IsCandidate(record, row.isLong))
                return true;
            if (observer != nullptr)
                observer->CandidateFound(stage, record.id);
            if (tally.first < 0)
                tally.first = row.dataIndex;
            Whose const whose = GetOwner(record);
            (IsTarget(record) ? tally.hits : tally.others)[whose].Add(row.dataIndex);
            return question != Question::WhatIsIt || tally.hits[Own].number < 2;
        });
        return tally;
    }

    // Kept: the first row found is the result, of types of this manager and of others, even if one
    // of this manager has settled it.
    Verdict Judge(Tally const & tally, void * info) {
        if (question == Question::WhatIsIt) {
            if (tally.CountHits() != 1 && tally.hits[Own].number != 1)
                return Verdict::Open;
            answer = RecordOf(tally.first).id;
            return info == nullptr || FillInfo(info) ? Verdict::Settled : Verdict::Failed;
        }
        if (tally.CountHits() == 0 && tally.CountOthers() > 0)
            return Verdict::Failed;
        bool const isOnlyOwn = tally.others[Own].number == 0 && tally.hits[Own].number > 0;
        bool const isOnlyTarget = tally.CountOthers() == 0 && tally.CountHits() > 0;
        return isOnlyOwn || isOnlyTarget ? Verdict::Settled : Verdict::Open;
    }

    Verdict JudgeByName(void * info) {
        if (!isPossible)
            return Verdict::Failed;
        if (extensionKey != 0) {
            Tally const tally = CountCandidates(Stage::Extension, 0, false);
            if (Verdict const verdict = Judge(tally, info); verdict != Verdict::Open)
                return verdict;
            if (tally.IsEmpty()) {
                extensionKey = 0;
                isLong = false;
            }
        }
        Build();
        unsigned int creator = 0;
        if (!file.has_value() ||
            !Succeeds([&] { return file->GetTypeInfo(&fileMacType, &creator); }))
            fileMacType = 0;
        if (observer != nullptr)
            observer->TypeCodeFound(fileMacType);
        Tally const tally = CountCandidates(Stage::TypeCode, fileMacType, true);
        if (Verdict const verdict = Judge(tally, info); verdict != Verdict::Open)
            return verdict;
        if (tally.IsEmpty())
            fileMacType = 0;
        return extensionKey == 0 && fileMacType == 0 ? Verdict::Failed : Verdict::Open;
    }

    // The file.

    void Build() {
        if (!file.has_value())
            Succeeds([&] {
                file.emplace(location, onNotFound);
                return Mu::NoError;
            });
    }

    bool Open() {
        Build();
        return file.has_value() && Succeeds([&] {
                   return file->Open(IO::File::OpenMode::ReadOnly,
                                     IO::AccessDeniedTreatment::RetryPrivate);
               });
    }

    bool FillInfo(void * info) {
        if (!Open())
            return false;
        // The file system that opens it may be a host's, and may have changed the catalogue. The
        // result does not matter: the name has settled the question.
        if (TypeRecord const * const record = FindRecord(answer); record != nullptr)
            static_cast<void>(record->type.CheckTypeCallback(*file, info));
        return true;
    }

    // Stage C.

    bool ListRows() {
        return Succeeds([&] {
            FileTypeManager::ScanKey(extensionKey, fileMacType, fileMacType != 0,
                                     [&](Row const & row) {
                                         TypeRecord const & record = RecordOf(row.dataIndex);
                                         rows.Push({record.id, row.isLong, record.lastCheckResult});
                                         return true;
                                     });
            return Mu::NoError;
        });
    }

    void RestoreResults() {
        for (ContentRow const & row : rows)
            if (TypeRecord * const record = FindRecord(row.type); record != nullptr)
                record->lastCheckResult = row.earlierResult;
    }

    // False: the file failed.
    bool TestContents(void * info) {
        if (!Open() || !ListRows())
            return false;
        for (unsigned int i = 0; i < rows.GetSize() && !isWrong; ++i) {
            TestRow(rows[i], info);
            if (HasReadFailed() || !Succeeds([&] { return file->SetPosition(0); }))
                return false;
        }
        return Succeeds([&] { return file->Close(); });
    }

    // A test returns false both when it cannot read and when the contents do not match.
    bool HasReadFailed() const {
        MuErrCode const status = file->GetInputStatus();
        return status != Mu::NoError && status != Mu::EOI;
    }

    void TestRow(ContentRow const & row, void * info) {
        TypeRecord * record = FindRecord(row.type);
        if (record == nullptr || !IsCandidate(*record, row.isLong))
            return;
        bool const passed = record->type.CheckTypeCallback(*file, info);
        record = FindRecord(row.type); // the test may have changed the catalogue
        if (record != nullptr)
            record->lastCheckResult = passed;
        if (observer != nullptr)
            observer->ContentTested(row.type, passed);
        if (!passed || record == nullptr)
            return;
        if (!IsTarget(*record)) {
            isWrong = true;
            return;
        }
        Hits & counted = hits[GetOwner(*record)];
        if (counted.number++ == 0)
            counted.first = row.type;
    }

    // Kept: a type with two rows that both pass counts twice, and does not settle the question.
    bool IsSettledByContents() {
        if (hits[Own].number != 1 && hits[Own].number + hits[Other].number != 1)
            return false;
        answer = hits[hits[Own].number == 1 ? Own : Other].first;
        return true;
    }

    // Stage D.

    /// Calls `visit` with the type of each row that the contents have not excluded, until it
    /// returns false.
    template <typename Visit>
    bool VisitRemaining(Visit const & visit) {
        bool const noneHit = hits[Own].number + hits[Other].number == 0;
        for (ContentRow const & row : rows) {
            TypeRecord const * const record = FindRecord(row.type);
            if (record != nullptr && IsCandidate(*record, row.isLong) &&
                (noneHit || record->lastCheckResult) && !visit(record->id))
                return false;
        }
        return true;
    }

    GroupID FindSmallestGroup() {
        GroupID best = RootGroup;
        int bestCount = -1;
        for (FileTypeManager::GroupRecord const & record : FileTypeManager::hGroupDataArray) {
            bool const holdsAll = VisitRemaining(
                [&](TypeID type) { return FileTypeManager::IsTypeInGroup(type, record.id); });
            if (!holdsAll)
                continue;
            int const count = FileTypeManager::CountTypeChild(record.id);
            if (bestCount != -1 && bestCount <= count)
                continue;
            best = record.id;
            bestCount = count;
            if (observer != nullptr)
                observer->GroupConsidered(best, bestCount);
        }
        return best;
    }

    Guard guard;
    IO::Location const & location;
    GroupID group;
    FileTypeManager const * owner;
    IdentificationObserver * observer;
    Question question = Question::WhatIsIt;
    GeneralID target;
    OnNotFound onNotFound = OnNotFound::Report;

    // The name, and which parts of it remain as evidence.
    std::optional<Mu::CStr> extension;
    unsigned int extensionKey = 0;
    bool isLong = false;
    bool isPossible; // after the members that Prepare sets
    unsigned int fileMacType = 0;

    std::optional<IO::File> file;
    Mu::ArrayFB<ContentRow, 16> rows;
    Hits hits[WhoseCount]; // of the target
    bool isWrong = false;  // a test has passed for a type that is not the target
    TypeID answer;
};

using Question = Identification::Question;

GeneralID FileTypeManager::Identify(IO::Location const & location, GroupID group, void * info) {
    return Identification(location, group, nullptr).Identify(info);
}

GeneralID FileTypeManager::IdentifyOwn(IO::Location const & location, GroupID group,
                                       void * info) const {
    return Identification(location, group, this).Identify(info);
}

GeneralID FileTypeManager::Identify(IO::Location const & location, GroupID group, void * info,
                                    IdentificationObserver & observer) {
    return Identification(location, group, nullptr, &observer).Identify(info);
}

unsigned int FileTypeManager::Identify(IO::Location const & location, TypeID * list,
                                       unsigned int size, GroupID group, void ** infos) {
    return Identification(location, group, nullptr).List(list, size, infos);
}

unsigned int FileTypeManager::IdentifyOwn(IO::Location const & location, TypeID * list,
                                          unsigned int size, GroupID group, void ** infos) const {
    return Identification(location, group, this).List(list, size, infos);
}

bool FileTypeManager::Match(IO::Location const & location, GeneralID id, GroupID group) {
    return Identification(location, group, nullptr).Match(id, Question::MayItBe);
}

bool FileTypeManager::MatchOwn(IO::Location const & location, GeneralID id, GroupID group) const {
    return Identification(location, group, this).Match(id, Question::MayItBe);
}

bool FileTypeManager::ExactMatch(IO::Location const & location, GeneralID id, GroupID group) {
    return Identification(location, group, nullptr).Match(id, Question::IsIt);
}

bool FileTypeManager::ExactMatchOwn(IO::Location const & location, GeneralID id,
                                    GroupID group) const {
    return Identification(location, group, this).Match(id, Question::IsIt);
}

} // namespace FTM
