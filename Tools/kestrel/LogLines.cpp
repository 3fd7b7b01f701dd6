#include "LogLines.h"

#include "Arguments.h"

#include <Kestrel/FileSystem/File.h>

#include <algorithm>

namespace Tool {

MuErrCode ListLogFiles(IO::Folder const & folder, std::vector<LogFile> * files) {
    struct Call {
        static bool Found(IO::Folder const & folder, IO::Name const & name, bool isFolder,
                          void * data) {
            std::string const text = ToText(name);
            if (isFolder || text.size() < 4 || text.compare(text.size() - 4, 4, ".log") != 0)
                return true;
            IO::File const file(folder, name);
            LogFile found{text};
            if (file.GetModificationTime(&found.time) == IO::NoError &&
                file.GetDataLength(&found.size) == IO::NoError)
                static_cast<std::vector<LogFile> *>(data)->push_back(found);
            return true;
        }
    };
    return folder.Enumerate(Call::Found, files);
}

MuErrCode ReadLogLines(IO::Folder const & folder, LogFile const & from, bool takesRest,
                       unsigned long long * begin, std::vector<std::string> * lines) {
    if (*begin >= from.size)
        return IO::NoError;
    IO::File file(folder, IO::Name(from.name.c_str()));
    std::string text(static_cast<std::size_t>(std::min(from.size - *begin, MostLogBytes)), '\0');
    unsigned int read = 0;
    MuErrCode status = file.Open(IO::File::OpenMode::ReadOnlySharedToReadWrite);
    if (status == IO::NoError)
        status = file.SetPosition(*begin);
    if (status == IO::NoError)
        status = file.ReadBin(text.data(), static_cast<unsigned int>(text.size()), &read);
    if (status != IO::NoError && status != IO::EOI)
        return status;
    text.resize(read);
    std::size_t at = 0;
    for (std::size_t end = 0; (end = text.find('\n', at)) != text.npos; at = end + 1)
        lines->push_back(text.substr(at, end - at));
    bool const isEnd = *begin + text.size() >= from.size;
    if (at < text.size() && (isEnd ? takesRest : at == 0)) {
        lines->push_back(text.substr(at));
        at = text.size();
    }
    *begin += at;
    return IO::NoError;
}

} // namespace Tool
