#include <Kestrel/Location/Name.h>

#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/LocationValidator.h>
#include <Kestrel/Location/NameComparer.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Text/CaseMapping.h>

namespace IO {

static constexpr char ExtensionMark = '.';

Name::Name() = default;
Name::Name(Mu::UniString const & text) : text(text) {}
Name::Name(Mu::UniString && text) noexcept : text(std::move(text)) {}
Name::Name(char const * text) : text(text) {}
Name::Name(char16_t const * text) : text(text) {}
Name::Name(std::u16string_view text) : text(text) {}
Name::Name(Name const & other) = default;
Name::Name(Name && other) noexcept = default;
Name::~Name() = default;

Name & Name::operator=(Name const & other) = default;
Name & Name::operator=(Name && other) noexcept = default;

Name & Name::operator=(Mu::UniString const & newText) {
    text = newText;
    return *this;
}

Name & Name::operator=(Mu::UniString && newText) noexcept {
    text = std::move(newText);
    return *this;
}

Name & Name::operator=(char const * newText) {
    text = newText;
    return *this;
}

Name & Name::operator=(char16_t const * newText) {
    text = newText;
    return *this;
}

Mu::ClassInfo const & Name::GetClassInfoStatic() {
    static Mu::ClassInfo const classInfo("IO::Name", Mu::ClassVersion(2, 0));
    return classInfo;
}

Mu::ClassInfo const & Name::GetClassInfo() const {
    return GetClassInfoStatic();
}

void Name::Append(Mu::UniString const & more) {
    text.Append(more);
}

void Name::Append(unsigned short const * more) {
    text.Append(more);
}

void Name::Append(char16_t const * more) {
    text.Append(more);
}

void Name::Append(char const * more) {
    text.Append(more);
}

void Name::Clear() {
    text.Clear();
}

void Name::ClearContent() {
    text.ClearContent();
}

unsigned short Name::operator[](unsigned int index) const {
    return text[index];
}

unsigned int Name::GetLength() const {
    return text.GetLength();
}

bool Name::IsEmpty() const {
    return text.IsEmpty();
}

void Name::SetCapacity(unsigned int capacity) {
    text.SetCapacity(capacity);
}

unsigned int Name::GetCapacity() const {
    return text.GetCapacity();
}

Mu::UniString Name::GetBase() const {
    return text.GetPrefix(text.FindLast(ExtensionMark)); // all of it when nothing is found
}

Mu::UniString Name::GetExtension() const {
    unsigned int const mark = text.FindLast(ExtensionMark);
    return mark == Mu::NotFound ? Mu::UniString() : Mu::UniString(text, mark + 1);
}

bool Name::HasExtension() const {
    return text.Contains(ExtensionMark);
}

void Name::AppendExtension(Mu::UniString const & extension) {
    if (!Mu::IsNull(extension))
        text = text + "." + extension; // in one step, so that a failed allocation changes nothing
}

void Name::AppendExtension(char const * extension) {
    if (extension != nullptr)
        AppendExtension(Mu::UniString(extension));
}

void Name::DeleteExtension() {
    text.Truncate(text.FindLast(ExtensionMark)); // nothing is cut when nothing is found
}

bool Name::operator<(Name const & other) const {
    return !Mu::IsNull(other) && text < other.text;
}

static bool IsSameText(Mu::UniString const & a, Mu::UniString const & b) {
    if (NameComparer * const comparer = GetNameComparer())
        return comparer->IsSameName(a, b);
    return a.GetLength() == b.GetLength() &&
           Mu::EqualUnitsUpperCased(a.GetUnits(), b.GetUnits(), a.GetLength());
}

bool Name::operator==(Name const & other) const {
    return !Mu::IsNull(other) && IsSameText(text, other.text);
}

bool Name::operator==(Mu::UniString const & other) const {
    return !Mu::IsNull(other) && IsSameText(text, other);
}

bool Name::operator==(char const * other) const {
    return other != nullptr && IsSameText(text, other);
}

bool Name::operator==(char16_t const * other) const {
    return other != nullptr && IsSameText(text, other);
}

bool Name::operator==(std::u16string_view other) const {
    return IsSameText(text, Mu::UniString(other));
}

bool Name::operator!=(Name const & other) const {
    return !Mu::IsNull(other) && !IsSameText(text, other.text);
}

bool Name::operator!=(Mu::UniString const & other) const {
    return !Mu::IsNull(other) && !IsSameText(text, other);
}

bool Name::operator!=(char const * other) const {
    return other != nullptr && !IsSameText(text, other);
}

bool Name::operator!=(char16_t const * other) const {
    return other != nullptr && !IsSameText(text, other);
}

bool Name::operator!=(std::u16string_view other) const {
    return !(*this == other);
}

bool Name::IsLegal() const {
    LocationValidator const * const validator = GetValidator(LegalityPlatform);
    return validator != nullptr && validator->IsLegal(*this);
}

bool Name::IsMultiplatform() const {
    return AllValidators([this](LocationValidator const & each) { return each.IsLegal(*this); });
}

unsigned int Name::GenerateHashValue() const {
    return Mu::HashUnitsUpperCased(text.GetUnits(), text.GetLength());
}

} // namespace IO
