#pragma once

#include <Kestrel/FileType/GeneralID.h>

namespace FTM {

/// Observes how FileTypeManager::Identify finds its result; for diagnostics.
///
/// Memory:  none.
/// Threads: called on the calling thread, with the file type lock held.
/// Failure: none; must not throw, and must not change the catalogue.
class KESTREL_API IdentificationObserver {
public:
    enum class Stage { Extension, TypeCode, Contents };

    virtual ~IdentificationObserver() = default;

    /// The extension of the name in lower case, and its key in the index, which contains only the
    /// first four bytes of a long extension; 0 if there is none.
    virtual void ExtensionFound(char const * extension, unsigned int key, bool isLong) = 0;
    /// The type code that is stored with the file; 0 if there is none. Called only if the extension
    /// is ambiguous.
    virtual void TypeCodeFound(unsigned int macType) = 0;
    /// A candidate of the stage, once for each row of the index. A stage ends at the second one.
    virtual void CandidateFound(Stage stage, TypeID type) = 0;
    virtual void ContentTested(TypeID type, bool passed) = 0;
    /// The smallest common group so far, and the number of types directly in it; the last call
    /// counts.
    virtual void GroupConsidered(GroupID group, int typeCount) = 0;
};

} // namespace FTM
