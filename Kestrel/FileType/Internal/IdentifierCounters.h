#pragma once

#include <Kestrel/FileType/GeneralID.h>

namespace FTM {

/// The two counters, which the manager decrements when the highest record is removed. Under the
/// file type lock.
struct IdentifierCounters {
    static void SetNext(TypeID last) { TypeID::nextID = Raw(last) + 1; }
    static void SetNext(GroupID last) { GroupID::nextID = Raw(last) + 1; }
    static void ResetTypes() { TypeID::nextID = TypeID::First; }
    static void ResetGroups() { GroupID::nextID = GroupID::First; }

private:
    static unsigned int Raw(GeneralID id) {
        unsigned int raw;
        id.Store(raw);
        return raw;
    }
};

} // namespace FTM
