#include <Kestrel/Root/Log/EscapedText.h>

#include <Kestrel/Root/Internal/LogBlock.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace Mu {

String EscapeText(std::string_view text) {
    struct Block : LogBlock {
        ~Block() { Release(); }
    } block;
    if (!block.AddEscaped(text.data(), text.size()) || block.GetSize() > String::MaxLength)
        ThrowOutOfMemory();
    return String(block.GetBytes(), static_cast<unsigned int>(block.GetSize()));
}

} // namespace Mu
