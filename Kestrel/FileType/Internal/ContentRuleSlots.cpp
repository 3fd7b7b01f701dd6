#include <Kestrel/FileType/Internal/ContentRuleSlots.h>

#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/Internal/ContentRules.h>
#include <Kestrel/Root/IChannel.h>
#include <Kestrel/Root/Lock.h>

#include <algorithm>
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
    ContentRules * rules = nullptr; // owned; null while the slot is free
    unsigned int uses = 0;
};

constinit std::array<Slot, ContentRuleSlots::SlotCount> slots;
constinit unsigned int usedSlots = 0;

Slot * FindSlot(ContentTest * test) {
    if (usedSlots == 0 || test == nullptr)
        return nullptr;
    auto const found = std::find(tests.begin(), tests.end(), test);
    return found == tests.end() ? nullptr
                                : &slots[static_cast<unsigned int>(found - tests.begin())];
}

} // namespace

ContentTest * ContentRuleSlots::Take(ContentRules * rules) {
    Guard guard(FileTypeManager::lock);
    auto const slot = std::find_if(slots.begin(), slots.end(),
                                   [](Slot const & each) { return each.rules == nullptr; });
    if (slot == slots.end())
        return nullptr;
    *slot = {rules, 1};
    ++usedSlots;
    return tests[static_cast<unsigned int>(slot - slots.begin())];
}

// A record may be a copy of one whose rules have gone; its slot is free, and stays so.
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
    delete slot->rules;
    *slot = Slot();
    --usedSlots;
}

bool ContentRuleSlots::Run(unsigned int slot, Mu::IChannel & channel) {
    Guard guard(FileTypeManager::lock);
    if (slots[slot].rules == nullptr)
        return false;
    char * data = nullptr;
    unsigned int available = 0;
    MuErrCode const status =
        channel.DirectInputAccess(slots[slot].rules->GetExtent(), &data, &available);
    if ((status != Mu::NoError && status != Mu::EOI) || available == 0)
        return false;
    // The channel may be a host's own, and may have done anything meanwhile.
    return slots[slot].rules != nullptr &&
           slots[slot].rules->Match(std::string_view(data, available));
}

} // namespace FTM
