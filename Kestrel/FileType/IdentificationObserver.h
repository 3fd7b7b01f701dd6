#pragma once

#include <Kestrel/FileType/GeneralID.h>

namespace FTM {

/// Observes how FileTypeManager::Identify finds its result; for diagnosis.
///
/// Memory:  none.
/// Threads: called on the thread of the question, with the file type lock held.
/// Failure: none; must not throw, and must not change the catalogue.
class KESTREL_API IdentificationObserver {
public:
    enum class Stage { Extension, TypeCode, Contents };

    virtual ~IdentificationObserver() = default;

    /// The extension of the name in lower case, and its key in the index, of which a long extension
    /// shows the first four bytes only; 0 without one.
    virtual void ExtensionFound(char const * extension, unsigned int key, bool isLong) = 0;
    /// The type code that is kept with the file; 0 without one. Comes only if the extension left a
    /// doubt.
    virtual void TypeCodeFound(unsigned int macType) = 0;
    /// A type that the stage counts, once for each row of the index. A stage ends at the second.
    virtual void CandidateFound(Stage stage, TypeID type) = 0;
    virtual void ContentTested(TypeID type, bool passed) = 0;
    /// The smallest common group so far, and how many types are directly in it; the last one
    /// counts.
    virtual void GroupConsidered(GroupID group, int typeCount) = 0;
};

} // namespace FTM
