#pragma once

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>
#include <Kestrel/Root/Platform/Windows/WideText.h>
#include <Kestrel/Root/Text/CodeUnits.h>

#include <algorithm>

namespace IO {

inline wchar_t const * ToWide(PathText text) {
    return Mu::Platform::ToWide(Mu::ToUnits(text.data()));
}

/// A path with the terminating zero that the system requires, for one call.
class WidePath {
public:
    static constexpr unsigned int Size = 4096;

    explicit WidePath(PathText path) {
        error = path.size() >= Size                  ? FileError::NameTooLong
                : path.find(u'\0') != PathText::npos ? FileError::InvalidName
                                                     : FileError::None;
        std::size_t const length = error == FileError::None ? path.size() : 0;
        if (length != 0)
            std::copy_n(ToWide(path), length, text);
        text[length] = 0;
    }
    /// Not 0 when the system could not accept the path; the text is empty then.
    unsigned int GetError() const { return error; }
    operator wchar_t const *() const { return text; }

private:
    unsigned int error;
    wchar_t text[Size];
};

} // namespace IO
