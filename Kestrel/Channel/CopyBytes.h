#pragma once

#include <Kestrel/Root/Streams/CopyBytes.h>

namespace IO {

using Mu::CopyBytes;
using Mu::CopyFewBytes;
using Mu::FewBytes;

} // namespace IO
