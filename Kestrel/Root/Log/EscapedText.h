#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/String.h>

#include <string_view>

namespace Mu {

/// An untrusted text in the form of the log, which contains no terminal sequences: line breaks
/// become \n; other control characters, bidirectional and invisible marks, and bytes that are not
/// UTF-8 become \xNN.
///
/// Threads: any. Failure: Mu::OutOfMemoryException.
KESTREL_API String EscapeText(std::string_view text);

} // namespace Mu
