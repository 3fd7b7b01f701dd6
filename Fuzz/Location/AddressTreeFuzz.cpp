// Outside bytes as operations on a few addresses, beside the same operations on plain lists of
// names. In the end the tree must be what it was at the beginning.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Location/Address.h>

#include <iterator>
#include <vector>

using Fuzz::FuzzInput;
using Fuzz::Require;

namespace {

struct Part {
    std::u16string name;
    std::u16string attachment;
    bool operator==(Part const &) const = default;
};
using Path = std::vector<Part>;

struct Slot {
    IO::Address address;
    Path path;
};

char16_t const * const texts[] = {
    u"a",      u"A",   u"b",     u"ab", u"a name of more than thirty units, this one",
    u"\xD800", u"x.y", u"e\x301"};

std::u16string TakeText(FuzzInput & input) {
    unsigned int const choice = input.TakeByte();
    std::u16string text = texts[choice % std::size(texts)];
    if (choice >= 128) // a name of its own
        text += static_cast<char16_t>(u'0' + choice % 10);
    return text;
}

void SetNames(Slot & slot, FuzzInput & input) {
    std::u16string list;
    slot.path.clear();
    for (unsigned int n = input.TakeChoice(6); n != 0; --n) {
        slot.path.push_back({TakeText(input), {}});
        list += slot.path.back().name + u'\0';
    }
    Require(slot.address.Set((list + u'\0').c_str()) == IO::NoError);
}

void SetName(Slot & slot, FuzzInput & input) {
    unsigned int const index = input.TakeChoice(8);
    std::u16string const name = TakeText(input);
    bool const fits = index < slot.path.size();
    Require((slot.address.SetName(index, name.c_str()) == IO::NoError) == fits);
    if (fits)
        slot.path[index] = {name, {}}; // an attachment goes with the name it belongs to
}

void SetAttachment(Slot & slot, FuzzInput & input) {
    unsigned int const index = input.TakeChoice(8);
    std::u16string const text = input.TakeByte() & 1 ? TakeText(input) : std::u16string();
    bool const fits = index < slot.path.size();
    Require((slot.address.SetNameAttachment(index, text.c_str()) == IO::NoError) == fits);
    if (fits)
        slot.path[index].attachment = text;
}

void DeleteName(Slot & slot, FuzzInput & input) {
    unsigned int const index = input.TakeChoice(8);
    bool const fits = index < slot.path.size();
    Require((slot.address.DeleteName(index) == IO::NoError) == fits);
    if (fits)
        slot.path.erase(slot.path.begin() + index);
}

void Append(Slot & slot, FuzzInput & input) {
    std::u16string const name = TakeText(input);
    if (slot.path.size() >= 300)
        return;
    Require(slot.address.Append(name.c_str()) == IO::NoError);
    slot.path.push_back({name, {}});
}

void AppendSlot(Slot & slot, Slot const & other) {
    if (slot.path.size() + other.path.size() > 300)
        return;
    Path names = other.path;
    for (Part & part : names)
        part.attachment.clear();
    Require(slot.address.Append(other.address) == IO::NoError);
    slot.path.insert(slot.path.end(), names.begin(), names.end());
}

void Operate(Slot (&slots)[4], FuzzInput & input) {
    unsigned int const choice = input.TakeByte();
    Slot & slot = slots[choice % 4];
    Slot & other = slots[choice / 4 % 4];
    switch (choice / 16 % 8) {
    case 0: return SetNames(slot, input);
    case 1: return SetName(slot, input);
    case 2: return DeleteName(slot, input);
    case 3: return SetAttachment(slot, input);
    case 4: return Append(slot, input);
    case 5: return AppendSlot(slot, other);
    case 6: slot = other; return;
    default: slot.address.Clear(); slot.path.clear();
    }
}

void Compare(Slot const & slot) {
    Require(slot.address.GetLength() == slot.path.size());
    for (unsigned int i = 0; i < slot.path.size(); ++i) {
        IO::Name name;
        Require(slot.address.GetName(i, &name) == IO::NoError);
        Require(name.ToString() == slot.path[i].name.c_str());
        Require(slot.address.GetNameAttachment(i, &name) == IO::NoError);
        Require(name.ToString() == slot.path[i].attachment.c_str());
    }
}

bool HaveSameNames(Path const & a, Path const & b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (IO::Name(a[i].name.c_str()) != IO::Name(b[i].name.c_str()))
            return false;
    return true;
}

void CompareAll(Slot const (&slots)[4]) {
    for (Slot const & slot : slots) {
        Compare(slot);
        bool const same = HaveSameNames(slot.path, slots[0].path);
        Require((slot.address == slots[0].address) == same);
        Require(!same || slot.address.GenerateHashValue() == slots[0].address.GenerateHashValue());
    }
}

std::string PrintTree() {
    IO::MemoryOChannel channel;
    IO::Address::PrintAddressTree(channel);
    char const * const text = channel.GetDestination();
    return std::string(text, channel.GetDataSize());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    FuzzInput input(data, size);
    std::string const before = PrintTree();
    {
        Slot slots[4];
        while (!input.IsEmpty()) {
            Operate(slots, input);
            CompareAll(slots);
        }
    }
    Require(PrintTree() == before);
    return 0;
}
