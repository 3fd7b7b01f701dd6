#include <Kestrel/Root/Text/Concatenation.h>

namespace Mu {

Concatenation::Concatenation(ConstSubstring const & first, ConstSubstring const & second)
    : text(first) {
    text.Append(second);
}

Concatenation::Concatenation(ConstSubstring const & first, char const * second) : text(first) {
    text.Append(second);
}

Concatenation::Concatenation(char const * first, ConstSubstring const & second) : text(first) {
    text.Append(second);
}

} // namespace Mu
