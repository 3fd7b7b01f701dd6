#include <Kestrel/Reflection/Reflectable.h>

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/ReflectionManager.h>

#include <charconv>
#include <memory>

namespace IO {

static_assert(sizeof(Reflectable::AttributeValue::Value) == 8);

char const * Reflectable::Attribute::GetTypeString() const {
    constexpr char const * names[] = {"Integer", "UnsignedInteger", "Real",
                                      "Boolean", "String",          "Pointer"};
    return type < Undefined ? names[type] : "";
}

Reflectable::AttributeValue::AttributeValue(long long number) : tag(IntegerTag) {
    value.integer = number;
}

Reflectable::AttributeValue::AttributeValue(unsigned long long number) : tag(UnsignedIntegerTag) {
    value.unsignedInteger = number;
}

Reflectable::AttributeValue::AttributeValue(double number) : tag(RealTag) {
    value.real = number;
}

Reflectable::AttributeValue::AttributeValue(bool truth) : tag(BooleanTag) {
    value.boolean = truth;
}

Reflectable::AttributeValue::AttributeValue(Mu::UniString const & text)
    : tag(StringTag), string(text) {}

Reflectable::AttributeValue::AttributeValue(char const * text) : tag(StringTag), string(text) {}

Reflectable::AttributeValue::AttributeValue(char16_t const * text) : tag(StringTag), string(text) {}

Reflectable::AttributeValue::AttributeValue(void * pointer) : tag(PointerTag) {
    value.pointer = pointer;
}

Reflectable::AttributeValue::AttributeValue(void const * pointer)
    : AttributeValue(const_cast<void *>(pointer)) {}

Mu::UniString Reflectable::AttributeValue::ToString() const {
    switch (tag) {
    case IntegerTag: return Mu::UniString::Printf("%d", value.integer);
    case UnsignedIntegerTag: return Mu::UniString::Printf("%u", value.unsignedInteger);
    case RealTag: {
        char text[32];
        char const * const end =
            std::to_chars(text, text + sizeof text, value.real, std::chars_format::general, 16).ptr;
        return Mu::UniString(text, static_cast<unsigned int>(end - text));
    }
    case BooleanTag: return value.boolean ? "true" : "false";
    case StringTag: return string;
    case PointerTag:
        return value.pointer == nullptr ? "NULL" : Mu::UniString::Printf("0x%p", value.pointer);
    default: return Mu::UniString();
    }
}

// Entries.

Reflectable::Entry::Entry() = default;
Reflectable::Entry::~Entry() = default;

bool Reflectable::Entry::HasName(Name const &) const {
    return false;
}

Name Reflectable::Entry::GetName() const {
    return Name();
}

Reflectable::Entry const * Reflectable::Entry::FindChild(Name const & name) const {
    for (Entry const * child : children)
        if (child->HasName(name))
            return child;
    return nullptr;
}

void Reflectable::Entry::ConnectChild(Entry const * child) {
    if (child != nullptr)
        children.Push(child);
}

void Reflectable::Entry::AddAttribute(Attribute const & attribute) {
    attributes.Push(attribute);
}

void Reflectable::Entry::CopyAttributes(Entry const & from) {
    attributes = from.attributes;
}

bool Reflectable::StaticEntry::HasName(Name const & other) const {
    return name == other;
}

Name Reflectable::StaticEntry::GetName() const {
    return name;
}

bool Reflectable::CollectorEntry::HasName(Name const & other) const {
    return name == other;
}

Name Reflectable::CollectorEntry::GetName() const {
    return name;
}

bool Reflectable::CustomEntryGroup::HasName(Name const &) const {
    return true;
}

// The object and its entries.

Reflectable::Reflectable() = default;

Reflectable::Reflectable(RelativeLocation const & location) : isSelfRegistered(true) {
    ReflectionManager::Register(location, this, true);
}

Reflectable::Reflectable(Reflectable const & other)
    : isSelfRegistered(other.isSelfRegistered), entries(other.entries), root(other.root) {
    Share();
}

Reflectable & Reflectable::operator=(Reflectable const & other) {
    Mu::Array<Entry *> shared(other.entries); // the only step that can fail
    if (this == &other)
        return *this;
    Release();
    isSelfRegistered = other.isSelfRegistered;
    entries = std::move(shared);
    root = other.root;
    Share();
    return *this;
}

Reflectable::~Reflectable() {
    if (isSelfRegistered)
        ReflectionManager::Unregister(this);
    Release();
}

// A copy shares the entries, and either may be destroyed first.
void Reflectable::Share() {
    for (Entry * entry : entries)
        ++entry->owners;
}

void Reflectable::Release() {
    for (Entry * entry : entries)
        if (--entry->owners == 0)
            delete entry;
    entries.Clear();
}

template <typename Kind>
Kind * Reflectable::Keep(Kind * made) {
    std::unique_ptr<Kind> owned(made);
    entries.Push(made);
    ++made->owners;
    return owned.release();
}

Reflectable::RootEntry * Reflectable::CreateRootEntry() {
    if (root == nullptr)
        root = Keep(new RootEntry);
    return root;
}

Reflectable::StaticEntry * Reflectable::CreateStaticEntry(Name const & name) {
    return Keep(new StaticEntry(name));
}

Reflectable::CollectorEntry *
Reflectable::CreateCollectorEntry(Name const & name, Entry const * from, Entry const * target) {
    if (Mu::IsNull(name) || from == nullptr || target == nullptr)
        return nullptr;
    return Keep(new CollectorEntry(name, from, target));
}

Reflectable::CustomEntryGroup * Reflectable::CreateCustomEntryGroup() {
    return Keep(new CustomEntryGroup);
}

void Reflectable::Connect(Entry * parent, Entry * child) {
    parent->ConnectChild(child);
}

void Reflectable::AddAttribute(Entry * entry, Mu::UniString const & name, Attribute::Type type) {
    if (entry != nullptr && !Mu::IsNull(name))
        entry->AddAttribute(Attribute(name, type));
}

void Reflectable::AddAttribute(Entry * entry, char const * name, Attribute::Type type) {
    if (entry != nullptr && name != nullptr)
        entry->AddAttribute(Attribute(name, type));
}

void Reflectable::CopyAttributes(Entry * to, Entry const * from) {
    if (to != nullptr && from != nullptr)
        to->CopyAttributes(*from);
}

} // namespace IO
