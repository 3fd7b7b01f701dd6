#pragma once

#include <Kestrel/FileType/ContentTests.h>

namespace FTM {

class ContentRules;

/// Makes functions of content rules.
///
/// A content test is a bare function and carries nothing; so there is a function for each slot of a
/// table, and rules are put into a free slot. They are counted by the records that use them, and go
/// with the last one; the function finds nothing then, and is false.
///
/// Memory:  a table in the library, and the rules.
/// Threads: any; under the file type lock.
/// Failure: none but a full table.
class ContentRuleSlots {
public:
    static constexpr unsigned int SlotCount = 1000;

    /// Takes the rules over and counts one use, which is the caller's. Null, and nothing taken: all
    /// slots are in use.
    static ContentTest * Take(ContentRules * rules);
    // Do nothing for functions that are none of these, and for null.
    static void Use(ContentTest * test);
    static void Drop(ContentTest * test);

    static bool Run(unsigned int slot, Mu::IChannel & channel);
};

} // namespace FTM
