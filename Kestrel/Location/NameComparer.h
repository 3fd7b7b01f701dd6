#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {
class UniString;
}

namespace IO {

/// Knows when two spellings name the same entry on the running platform.
///
/// That is the native file system's to say, which stands above the names; it registers itself here
/// when it starts. Before, names are equal that are equal unit by unit after each unit was put in
/// upper case.
///
/// Memory:  implementations take as little as they can; a shortage may be thrown.
/// Threads: asked from any thread at any time, often with the lock of the address tree held: wait
///          for no other thread.
/// Failure: none; a text that is no legal name is just a text.
class KESTREL_API NameComparer {
public:
    virtual ~NameComparer();

    /// An equivalence: true for a text and itself, and the same for both orders.
    virtual bool IsSameName(Mu::UniString const & first, Mu::UniString const & second) = 0;

    /// Whether names that IsSameName holds for always have the same Name::GenerateHashValue. True
    /// lets paths be distinguished by their hashes, without a look at their texts. False unless
    /// overridden.
    virtual bool IsToldApartByHash() const;
};

/// Registers the one that names ask from now on; null returns to the comparison by upper case. The
/// comparer stays its maker's and must live until another one, or null, is set.
KESTREL_API void SetNameComparer(NameComparer * comparer);

/// The registered one, or null.
KESTREL_API NameComparer * GetNameComparer();

} // namespace IO
