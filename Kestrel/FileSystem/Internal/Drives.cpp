#include <Kestrel/FileSystem/Internal/Drives.h>

namespace IO {

DrivesStatus EnumerateDrives(bool (*callback)(PathText root, void * data), void * data) {
    PathBuffer buffer;
    if (GetFileCalls().GetLogicalDriveStrings(&buffer.text) != FileError::None)
        return DrivesStatus::Failed;
    PathText rest = buffer.text.GetText();
    while (!rest.empty()) {
        PathText const root = rest.substr(0, rest.find(u'\0'));
        if (!root.empty() && !callback(root, data))
            return DrivesStatus::Stopped;
        rest.remove_prefix(root.size() < rest.size() ? root.size() + 1 : root.size());
    }
    return DrivesStatus::Done;
}

} // namespace IO
