#pragma once

#include <Kestrel/FileType/ContentTests.h>
#include <Kestrel/FileType/Internal/ContentRules.h>

namespace FTM {

/// Turns content rules into functions.
///
/// A content test is a plain function pointer without data; so there is a function for each slot of
/// a table, and a test is put into a free slot. Its uses by records are counted, and the last one
/// frees the slot, whose function then returns false.
///
/// Memory:  a table in the library, and the rules while a slot needs them.
/// Threads: any; under the file type lock.
/// Failure: only a full table.
class ContentRuleSlots {
public:
    static constexpr unsigned int SlotCount = 1000;

    /// Returns a function with one use counted for the caller. Null: all slots are in use.
    static ContentTest * Take(ContentRules & rules, ContentRules::Test const & test);
    // Both ignore null, and functions that do not belong to a slot.
    static void Use(ContentTest * test);
    static void Drop(ContentTest * test);

    static bool Run(unsigned int slot, Mu::IChannel & channel);
};

} // namespace FTM
