#include <Kestrel/Location/NameEnumerator.h>

namespace IO {

NameEnumerator::~NameEnumerator() = default;

void NameEnumerator::NameFound(Name const &) {}

} // namespace IO
