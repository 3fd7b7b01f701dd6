#include <Kestrel/FileType/Internal/ContentRuleSlots.h>

#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/Internal/ContentRules.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Threads/Lock.h>

#include <array>
#include <utility>

namespace FTM {

namespace {

using Guard = Mu::LockGuard<Mu::ReentrantLock>;

template <unsigned int slot>
bool TestBySlot(Mu::IChannel & channel, void *) {
    return ContentRuleSlots::Run(slot, channel);
}

template <unsigned int... slots>
constexpr auto ListTests(std::integer_sequence<unsigned int, slots...>) {
    return std::array<ContentTest *, sizeof...(slots)>{TestBySlot<slots>...};
}

constinit auto const tests =
    ListTests(std::make_integer_sequence<unsigned int, ContentRuleSlots::SlotCount>());

struct Slot {
    ContentRules * rules = nullptr; // null while the slot is free
    ContentRules::Test test;
    unsigned int uses = 0;
};

constinit std::array<Slot, ContentRuleSlots::SlotCount> slots;
constinit unsigned int usedSlots = 0;

constinit unsigned int lastSlot = 0;

/// A slot for which `is` holds; SlotCount if there is none. Starts beside the last one found: a
/// slot that is taken is used and dropped next, and catalogues are removed in order or in reverse.
template <typename Is>
unsigned int SearchSlot(Is const & is) {
    unsigned int slot = lastSlot == 0 ? ContentRuleSlots::SlotCount - 1 : lastSlot - 1;
    for (unsigned int left = ContentRuleSlots::SlotCount; left > 0; --left) {
        if (is(slot))
            return lastSlot = slot;
        slot = slot + 1 == ContentRuleSlots::SlotCount ? 0 : slot + 1;
    }
    return ContentRuleSlots::SlotCount;
}

Slot * FindSlot(ContentTest * test) {
    if (usedSlots == 0 || test == nullptr)
        return nullptr;
    unsigned int const slot = SearchSlot([&](unsigned int each) { return tests[each] == test; });
    return slot == ContentRuleSlots::SlotCount ? nullptr : &slots[slot];
}

} // namespace

ContentTest * ContentRuleSlots::Take(ContentRules & rules, ContentRules::Test const & test) {
    Guard guard(FileTypeManager::lock);
    unsigned int const slot =
        SearchSlot([](unsigned int each) { return slots[each].rules == nullptr; });
    if (slot == SlotCount)
        return nullptr;
    slots[slot] = {&rules, test, 1};
    rules.Use();
    ++usedSlots;
    return tests[slot];
}

// A record may be a copy of one whose rules no longer exist; the slot is free, and remains so.
void ContentRuleSlots::Use(ContentTest * test) {
    Guard guard(FileTypeManager::lock);
    if (Slot * const slot = FindSlot(test); slot != nullptr && slot->rules != nullptr)
        ++slot->uses;
}

void ContentRuleSlots::Drop(ContentTest * test) {
    Guard guard(FileTypeManager::lock);
    Slot * const slot = FindSlot(test);
    if (slot == nullptr || slot->rules == nullptr || --slot->uses > 0)
        return;
    ContentRules::Drop(slot->rules);
    *slot = Slot();
    --usedSlots;
}

bool ContentRuleSlots::Run(unsigned int slot, Mu::IChannel & channel) {
    Guard guard(FileTypeManager::lock);
    if (slots[slot].rules == nullptr)
        return false;
    char * data = nullptr;
    unsigned int available = 0;
    MuErrCode const status = channel.DirectInputAccess(
        slots[slot].rules->GetExtent(slots[slot].test), &data, &available);
    if ((status != Mu::NoError && status != Mu::EOI) || available == 0)
        return false;
    // The channel may be a host's own, and may have done anything meanwhile, such as freeing the
    // slot.
    return slots[slot].rules != nullptr &&
           slots[slot].rules->Match(slots[slot].test, std::string_view(data, available));
}

} // namespace FTM
