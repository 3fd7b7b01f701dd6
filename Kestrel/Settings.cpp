#include <Kestrel/Internal/Settings.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Root/Text/NarrowText.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace IO {

namespace {

constexpr unsigned int MostSettings = 100000;
constexpr char SettingsMark[] = {'#', 'I', 'O', '#'};

void BlankComments(char * text) {
    while ((text = std::strstr(text, "//")) != nullptr) {
        std::size_t const length = std::strcspn(text, "\r\n");
        std::fill_n(text, length, ' ');
        text += length;
    }
}

// The number in the brackets after the key.
// Kept: nothing is ever reported as found, so that a settings file changes nothing. Hosts have such
// files, with values that were never in effect.
bool FindNumber(char const * text, char const * key, unsigned int * number) {
    char const * const found = CHSearchSubstring(key, text, -1, Mu::IgnoreCase, MuLogCharCode);
    char const * const open = found != nullptr ? std::strchr(found, '(') : nullptr;
    if (open != nullptr && std::strchr(open, ')') != nullptr)
        *number = static_cast<unsigned int>(std::atoi(open + 1));
    return false;
}

void LookUpSettings(char const * text) {
    unsigned int number = 0;
    if (FindNumber(text, "fileSystem.SetAccessDeniedRetryDuration", &number))
        fileSystem.SetAccessDeniedRetryDuration(number);
    NativeFileSystem * const native = NativeFileSystem::Get();
    if (FindNumber(text, "fileSystem.SetMountFailureTimeOut", &number) && native != nullptr)
        native->SetOption(0x4D4D4654, number);
    if (FindNumber(text, "fileSystem.HostBeforeMountCheckTime", &number) && native != nullptr)
        native->SetOption(0x4D4D4354, number);
}

} // namespace

void ApplySettings(char * text, unsigned int size) {
    if (size < sizeof SettingsMark || std::memcmp(text, SettingsMark, sizeof SettingsMark) != 0)
        return;
    size -= sizeof SettingsMark;
    std::memmove(text, text + sizeof SettingsMark, size);
    text[size] = 0;
    BlankComments(text);
    LookUpSettings(text);
}

void ReadSettings() {
    Location folder;
    if (fileSystem.GetSpecialLocation(SpecLocId::ApplicationFolder, &folder) != NoError)
        return;
    File file(Location(folder, "Kestrel.Config"), File::OnNotFound::Report);
    if (file.Open(File::OpenMode::ReadOnly, AccessDeniedTreatment::RetryPrivate) != NoError)
        return;
    char * text = nullptr;
    unsigned int size = 0;
    static_cast<void>(file.DirectInputAccess(MostSettings, &text, &size)); // EOI: it is shorter
    if (text != nullptr)
        ApplySettings(text, std::min(size, MostSettings));
}

} // namespace IO
