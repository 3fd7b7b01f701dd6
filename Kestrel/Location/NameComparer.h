#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {
class UniString;
}

namespace IO {

/// Decides which spellings name the same entry on the running platform.
///
/// The native file system implements it, as that depends on the disks, and registers itself at its
/// start. Without it, names are equal if they are after converting each unit to upper case.
///
/// Memory:  implementations use as little as possible; a shortage may be thrown.
/// Threads: called from any thread at any time, often with the lock of the address tree held: must
///          not wait for other threads.
/// Failure: none; illegal names are compared as plain text.
class KESTREL_API NameComparer {
public:
    virtual ~NameComparer();

    /// An equivalence relation: reflexive and symmetric.
    virtual bool IsSameName(Mu::UniString const & first, Mu::UniString const & second) = 0;

    /// Whether names that are equal by IsSameName always have the same Name::GenerateHashValue. If
    /// so, paths can be distinguished by their hashes alone. False unless overridden.
    virtual bool IsToldApartByHash() const;
};

/// Replaces the registered comparer; null restores the comparison by upper case. Not owned: it must
/// exist until it is replaced.
KESTREL_API void SetNameComparer(NameComparer * comparer);

/// The registered comparer, or null.
KESTREL_API NameComparer * GetNameComparer();

} // namespace IO
