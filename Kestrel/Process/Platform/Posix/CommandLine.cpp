#include <Kestrel/Process/Platform/Posix/CommandLine.h>

#include <Kestrel/Location/Platform/NativeText.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>

namespace IO::Process {

CommandLine::~CommandLine() {
    Mu::DeleteArrayOperator(bytes);
    Mu::DeleteArrayOperator(arguments);
}

unsigned int CommandLine::Set(char const * program, PathText parameters) {
    constexpr unsigned int BytesPerUnit = 3;
    bytes = static_cast<char *>(Mu::NewArrayOperator(parameters.size() * BytesPerUnit + 1));
    // Each word but the last is followed by a blank.
    std::size_t const mostWords = parameters.size() / 2 + 1;
    arguments = static_cast<char **>(Mu::NewArrayOperator((mostWords + 2) * sizeof(char *)));
    if (bytes == nullptr || arguments == nullptr)
        return FileError::NotEnoughMemory;
    if (unsigned int const error = Convert(parameters); error != FileError::None)
        return error;
    char ** next = arguments;
    *next++ = const_cast<char *>(program);
    bytes[size] = ' ';
    for (char *at = bytes, *const end = bytes + size; at < end; ++at) {
        char * const blank = std::find(at, end, ' ');
        if (blank != at)
            *next++ = at;
        *blank = 0;
        at = blank;
    }
    *next = nullptr;
    return FileError::None;
}

// In pieces that fit the conversion of a path; surrogate pairs are not split.
unsigned int CommandLine::Convert(PathText parameters) {
    constexpr std::size_t Piece = BytePath::Size / 4;
    while (!parameters.empty()) {
        std::size_t count = std::min(parameters.size(), Piece);
        if (count > 1 && parameters[count - 1] >= 0xD800 && parameters[count - 1] < 0xDC00)
            --count;
        BytePath piece;
        unsigned int const error = AppendNativeText(parameters.substr(0, count), &piece);
        if (error != FileError::None)
            return error;
        piece.GetText().copy(bytes + size, piece.length);
        size += piece.length;
        parameters.remove_prefix(count);
    }
    return FileError::None;
}

} // namespace IO::Process
