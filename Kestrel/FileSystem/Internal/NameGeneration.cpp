#include <Kestrel/FileSystem/Internal/NameGeneration.h>

#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/LocationValidator.h>
#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Root/Time/Time.h>

#include <algorithm>

namespace IO {

namespace {

constinit int volatile nextNumber = 0;

bool IsLegalEverywhere(Mu::UniChar unit) {
    return AllValidators(
        [&](LocationValidator const & validator) { return validator.IsLegalCharacter(unit); });
}

} // namespace

void StartNameGeneration() {
    unsigned int const time = static_cast<unsigned int>(TIGetTime());
    nextNumber =
        static_cast<int>(time << 24 | (time & 0xFF00) << 8 | (time >> 8 & 0xFF00) | time >> 24);
}

unsigned int NextGeneratedNumber() {
    return static_cast<unsigned int>(Mu::AtomicIncrement(&nextNumber)) - 1;
}

Mu::UniString CleanUpNameString(Mu::UniString const & text) {
    Mu::UniString clean(text);
    for (unsigned int i = 0; i < clean.GetLength(); ++i)
        if (!IsLegalEverywhere(clean[i]))
            clean.SetSubstring(i, 1, Mu::UniChar('_'));
    return clean;
}

NumberedName::NumberedName(Mu::UniString const & base, Mu::UniString const & extension,
                           unsigned short maxLength)
    : stem(CleanUpNameString(base)), maxLength(maxLength) {
    if (extension.GetLength() == 0)
        return;
    ending = ".";
    ending.Append(CleanUpNameString(extension));
}

void NumberedName::SetNumber(unsigned int number) {
    suffix = Mu::UniString::Printf("_%lu", number);
}

bool NumberedName::Compose(Mu::UniString * name) const {
    unsigned int const fixed = suffix.GetLength() + ending.GetLength();
    if (maxLength != 0 && fixed > maxLength)
        return false;
    unsigned int const room = maxLength == 0 ? stem.GetLength() : maxLength - fixed;
    *name = stem.GetPrefix(std::min(room, stem.GetLength()));
    name->Append(suffix);
    name->Append(ending);
    return true;
}

} // namespace IO
