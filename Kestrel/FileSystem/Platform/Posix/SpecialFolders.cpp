#include <Kestrel/FileSystem/Platform/Posix/SpecialFolders.h>

#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>

namespace IO {
namespace {

bool Set(std::string_view text, BytePath * path) {
    path->Truncate(0);
    return path->Append(text);
}

bool FindHome(BytePath * path) {
    if (GetPathVariable("HOME", path))
        return true;
    char buffer[4096];
    passwd account;
    passwd * found = nullptr;
    return ::getpwuid_r(::geteuid(), &account, buffer, sizeof(buffer), &found) == 0 &&
           found != nullptr && found->pw_dir[0] == '/' && Set(found->pw_dir, path);
}

bool FindBelowHome(char const * variable, std::string_view below, BytePath * path) {
    return GetPathVariable(variable, path) || (FindHome(path) && path->AppendName(below));
}

bool FindConfig(BytePath * path) {
    return FindBelowHome("XDG_CONFIG_HOME", ".config", path);
}

// The first of a list of folders with ":" between them.
bool FindFirstOf(char const * variable, std::string_view otherwise, BytePath * path) {
    if (!GetPathVariable(variable, path))
        return Set(otherwise, path);
    path->Truncate(
        static_cast<unsigned int>(std::min<std::size_t>(path->GetText().find(':'), path->length)));
    return true;
}

bool FindFromUserDirs(std::string_view key, BytePath * path) {
    BytePath config;
    BytePath home;
    if (!FindConfig(&config) || !config.AppendName("user-dirs.dirs") || !FindHome(&home))
        return false;
    Descriptor const file(::open(config.text, O_RDONLY | O_CLOEXEC));
    char text[16384];
    auto const got = Retry([&] { return ::read(file.Get(), text, sizeof(text)); });
    return got > 0 && FindUserFolder(std::string_view(text, static_cast<std::size_t>(got)), key,
                                     home.GetText(), path);
}

bool IsThere(char const * folder) {
    struct stat info;
    return ::stat(folder, &info) == 0 && S_ISDIR(info.st_mode);
}

} // namespace

bool GetPathVariable(char const * name, BytePath * path) {
    char const * const value = std::getenv(name);
    return value != nullptr && value[0] == '/' && Set(value, path);
}

bool FindUserFolder(std::string_view text, std::string_view key, std::string_view home,
                    BytePath * path) {
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        if (line.substr(0, key.size()) != key)
            continue;
        line.remove_prefix(key.size());
        if (line.substr(0, 2) != "=\"" || line.find('"', 2) == std::string_view::npos)
            continue;
        line = line.substr(2, line.find('"', 2) - 2);
        std::string_view const homeWord = "$HOME";
        if (line.substr(0, homeWord.size()) == homeWord) {
            line.remove_prefix(homeWord.size());
            return Set(home, path) && path->Append(line == "/" ? std::string_view() : line);
        }
        return !line.empty() && line[0] == '/' && Set(line, path);
    }
    return false;
}

bool FindSpecialFolder(int folder, BytePath * path) {
    switch (folder) {
    case 5: return FindFromUserDirs("XDG_DOCUMENTS_DIR", path) || FindHome(path);
    case 16:
        return FindFromUserDirs("XDG_DESKTOP_DIR", path) ||
               (FindHome(path) && path->AppendName("Desktop"));
    case 26: return FindConfig(path);
    case 28: return FindBelowHome("XDG_DATA_HOME", ".local/share", path);
    case 35: return FindFirstOf("XDG_CONFIG_DIRS", "/etc/xdg", path);
    case 38: return Set("/usr/lib", path);
    case 40: return FindHome(path);
    case 43: return IsThere("/usr/local/lib") && Set("/usr/local/lib", path);
    case 46: return FindFirstOf("XDG_DATA_DIRS", "/usr/local/share", path);
    default: return false;
    }
}

} // namespace IO
