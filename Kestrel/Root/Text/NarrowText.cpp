#include <Kestrel/Root/Text/NarrowText.h>

#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Text/CaseMapping.h>
#include <Kestrel/Root/Text/UniChar.h>

#include <algorithm>
#include <cstring>

using Mu::ConstSubstring;
using Mu::Internal::CharCodeCalls;
using Mu::Internal::DecodedText;
using Mu::Internal::GetCharCodeCalls;
using Mu::Internal::GetNarrowLength;

namespace {

// No character of any code has more than two units or four bytes.
constexpr unsigned int MostUnits = 4;

/// Iterates over the characters of a narrow text.
class Characters {
public:
    Characters(char const * text, int length, MuCharCode code)
        : calls(GetCharCodeCalls(code)), at(text), left(GetNarrowLength(text, length)) {}

    bool IsAtEnd() const { return left == 0; }
    char const * GetPlace() const { return at; }
    unsigned int GetSize() const { return calls.getCharacterSize(at, left); }
    /// The units of the current character.
    ConstSubstring Decode() { return {units, calls.decode(at, GetSize(), units)}; }
    void Next() {
        unsigned int const size = GetSize();
        at += size;
        left -= size;
    }

private:
    CharCodeCalls const & calls;
    char const * at;
    unsigned int left;
    unsigned short units[MostUnits];
};

bool AreEqual(ConstSubstring const & a, ConstSubstring const & b, Mu::CaseType caseType) {
    return Mu::UniChar::Compare(a.GetUnits(), a.GetLength(), b.GetUnits(), b.GetLength(),
                                caseType) == Mu::Equal;
}

bool BeginsWith(Characters text, ConstSubstring pattern, Mu::CaseType caseType) {
    for (; !pattern.IsEmpty(); text.Next()) {
        if (text.IsAtEnd())
            return false;
        ConstSubstring const character = text.Decode();
        unsigned int const length = character.GetLength();
        if (!AreEqual(character, pattern.GetSubstring(0, length), caseType))
            return false;
        pattern = pattern.GetSubstring(length);
    }
    return true;
}

} // namespace

char const * CHSearchCharLeft(unsigned short unit, char const * text, int length, MuCharCode code) {
    for (Characters each(text, length, code); !each.IsAtEnd(); each.Next())
        if (each.Decode() == ConstSubstring(&unit, 1))
            return each.GetPlace();
    return nullptr;
}

char const * CHSearchSubstring(char const * pattern, char const * text, int length,
                               Mu::CaseType caseType, MuCharCode code) {
    DecodedText const wanted(pattern, GetNarrowLength(pattern), code);
    if (wanted.Get().IsEmpty())
        return text;
    for (Characters each(text, length, code); !each.IsAtEnd(); each.Next())
        if (BeginsWith(each, wanted.Get(), caseType))
            return each.GetPlace();
    return nullptr;
}

Mu::CompareResult CHCompareTexts(char const * a, int lengthA, char const * b, int lengthB,
                                 Mu::CaseType caseType, MuCharCode code) {
    DecodedText const decodedA(a, GetNarrowLength(a, lengthA), code);
    DecodedText const decodedB(b, GetNarrowLength(b, lengthB), code);
    ConstSubstring const textA = decodedA.Get();
    ConstSubstring const textB = decodedB.Get();
    return Mu::UniChar::Compare(textA.GetUnits(), textA.GetLength(), textB.GetUnits(),
                                textB.GetLength(), caseType);
}

unsigned int CHCopyC(char const * from, char * to) {
    std::size_t const length = from == nullptr ? 0 : std::strlen(from);
    std::memmove(to, from == nullptr ? "" : from, length + 1);
    return static_cast<unsigned int>(length);
}

void CHtoLower(char * text, int length, MuCharCode code) {
    CharCodeCalls const & calls = GetCharCodeCalls(code);
    for (Characters each(text, length, code); !each.IsAtEnd(); each.Next()) {
        ConstSubstring const character = each.Decode();
        if (character.GetLength() != 1)
            continue; // beyond the Basic Multilingual Plane, which alone has case here
        unsigned short const lower = Mu::ToLowerUnit(character[0]);
        ConstSubstring const lowered(&lower, 1);
        if (lower != character[0] && calls.encode(lowered, nullptr, nullptr) == each.GetSize())
            calls.encode(lowered, text + (each.GetPlace() - text), nullptr);
    }
}
