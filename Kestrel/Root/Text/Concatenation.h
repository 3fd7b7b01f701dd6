#pragma once

#include <Kestrel/Root/Text/UniString.h>

namespace Mu {

/// The result of `operator+` of texts, which accepts further parts without copying and converts to
/// a UniString. A part is anything that UniString::Append accepts.
///
/// Memory:  that of the UniString inside, which is moved to the result.
/// Failure: Mu::OutOfMemoryException.
class KESTREL_API Concatenation {
public:
    Concatenation(ConstSubstring const & first, ConstSubstring const & second);
    Concatenation(ConstSubstring const & first, char const * second);
    Concatenation(char const * first, ConstSubstring const & second);

    template <typename Part>
    Concatenation operator+(Part const & part) && {
        text.Append(part);
        return std::move(*this);
    }
    template <typename Part>
    Concatenation operator+(Part const & part) const & {
        return Concatenation(*this) + part;
    }

    UniString const & ToString() const { return text; }
    CStr ToCStr() const { return text.ToCStr(); }

private:
    friend class UniString;
    UniString text;
};

inline Concatenation operator+(UniString const & first, char const * second) {
    return Concatenation(first, second);
}
inline Concatenation operator+(UniString const & first, ConstSubstring const & second) {
    return Concatenation(first, second);
}
inline Concatenation operator+(UniString const & first, UniString const & second) {
    return Concatenation(first, second);
}
inline Concatenation operator+(UniString const & first, UniChar second) {
    unsigned short const unit = second.GetUnit();
    return Concatenation(first, ConstSubstring(&unit, 1));
}
inline Concatenation operator+(ConstSubstring const & first, char const * second) {
    return Concatenation(first, second);
}
inline Concatenation operator+(char const * first, UniString const & second) {
    return Concatenation(first, second);
}

} // namespace Mu
