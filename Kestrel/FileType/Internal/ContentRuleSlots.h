#pragma once

#include <Kestrel/FileType/ContentTests.h>
#include <Kestrel/FileType/Internal/ContentRules.h>

namespace FTM {

/// Makes functions of content rules.
///
/// A content test is a bare function and carries nothing; so there is a function for each slot of a
/// table, and a test is put into a free slot. It is counted by the records that use it, and goes
/// with the last one; the function finds nothing then, and is false.
///
/// Memory:  a table in the library, and the rules as long as a slot needs them.
/// Threads: any; under the file type lock.
/// Failure: none but a full table.
class ContentRuleSlots {
public:
    static constexpr unsigned int SlotCount = 1000;

    /// Counts one use of the test, which is the caller's. Null: all slots are in use.
    static ContentTest * Take(ContentRules & rules, ContentRules::Test const & test);
    // Do nothing for functions that are none of these, and for null.
    static void Use(ContentTest * test);
    static void Drop(ContentTest * test);

    static bool Run(unsigned int slot, Mu::IChannel & channel);
};

} // namespace FTM
