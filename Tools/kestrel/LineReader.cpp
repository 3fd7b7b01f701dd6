#include "LineReader.h"

#include "Console.h"

#include <algorithm>
#include <iostream>
#include <utility>

#if defined(_WIN32)
#include <windows.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

#if defined(KESTREL_LINE_EDITOR)
#include <dlfcn.h>
#include <histedit.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#endif

namespace Tool {

std::string GetCommonStart(std::vector<std::string> const & texts) {
    std::string start = texts.empty() ? "" : texts.front();
    for (std::string const & text : texts) {
        auto const [end, other] =
            std::mismatch(start.begin(), start.end(), text.begin(), text.end());
        start.erase(end, start.end());
    }
    while (!start.empty() && !texts.empty() && start.size() < texts.front().size() &&
           (texts.front()[start.size()] & 0xC0) == 0x80) // not in the middle of a character
        start.pop_back();
    return start;
}

#if defined(KESTREL_LINE_EDITOR)

// The editor itself turns Ctrl-C into an end of the line, so that no signal ends the process while
// the editor has changed the terminal's mode.
namespace {

// In the user's state folder; "" if that neither exists nor can be created.
std::string GetHistoryFile() {
    auto const get = [](char const * name) {
        char const * const value = std::getenv(name);
        return value != nullptr && *value == '/' ? std::filesystem::path(value)
                                                 : std::filesystem::path();
    };
    std::filesystem::path folder = get("XDG_STATE_HOME");
    if (folder.empty() && !get("HOME").empty())
        folder = get("HOME") / ".local/state";
    if (folder.empty())
        return "";
    folder /= "kestrel";
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    return error ? "" : (folder / "inspect-history").string();
}

// libedit, which is loaded with the first shell: at the start of each command, it and the libraries
// that it needs would take a fifth of the instructions of a short one.
struct EditLibrary {
    static EditLibrary const & Get() {
        static EditLibrary const library;
        return library;
    }

    bool isWhole = true;
    decltype(&el_init) init;
    decltype(&el_end) end;
    decltype(&el_set) set;
    decltype(&el_get) get;
    decltype(&el_gets) gets;
    decltype(&el_line) getLine;
    decltype(&el_insertstr) insert;
    decltype(&history_init) initHistory;
    decltype(&history_end) endHistory;
    decltype(&history) changeHistory;

private:
    EditLibrary() {
        void * const library = dlopen(KESTREL_LINE_EDITOR, RTLD_NOW | RTLD_LOCAL);
        Find(library, "el_init", &init);
        Find(library, "el_end", &end);
        Find(library, "el_set", &set);
        Find(library, "el_get", &get);
        Find(library, "el_gets", &gets);
        Find(library, "el_line", &getLine);
        Find(library, "el_insertstr", &insert);
        Find(library, "history_init", &initHistory);
        Find(library, "history_end", &endHistory);
        Find(library, "history", &changeHistory);
    }
    template <typename Function>
    void Find(void * library, char const * name, Function * function) {
        void * const found = library != nullptr ? dlsym(library, name) : nullptr;
        *function = reinterpret_cast<Function>(found);
        isWhole = isWhole && found != nullptr;
    }
};

} // namespace

struct LineReader::Editor {
    explicit Editor(Complete given)
        : complete(std::move(given)), historyFile(GetHistoryFile()), lines(edit.initHistory()),
          line(edit.init("kestrel", stdin, stdout, stderr)) {
        HistEvent event;
        edit.changeHistory(lines, &event, H_SETSIZE, 500);
        edit.changeHistory(lines, &event, H_SETUNIQUE, 1);
        if (!historyFile.empty()) // a history that cannot be read counts as empty
            edit.changeHistory(lines, &event, H_LOAD, historyFile.c_str());
        edit.set(line, EL_CLIENTDATA, this);
        edit.set(line, EL_PROMPT, &GetPrompt);
        edit.set(line, EL_EDITOR, "emacs");
        edit.set(line, EL_HIST, edit.changeHistory, lines);
        edit.set(line, EL_SETTY, "-d", "-isig", nullptr);
        edit.set(line, EL_ADDFN, "kestrel-complete", "Complete a name", &CompleteWord);
        edit.set(line, EL_ADDFN, "kestrel-drop", "Drop the line", &DropLine);
        edit.set(line, EL_BIND, "^I", "kestrel-complete", nullptr);
        edit.set(line, EL_BIND, "^C", "kestrel-drop", nullptr);
    }
    ~Editor() {
        HistEvent event;
        if (!historyFile.empty()) // readable for this user alone
            edit.changeHistory(lines, &event, H_SAVE, historyFile.c_str());
        edit.end(line);
        edit.endHistory(lines);
    }
    Editor(Editor const &) = delete;
    Editor & operator=(Editor const &) = delete;

    static Editor & Get(EditLine * line) {
        void * data = nullptr;
        EditLibrary::Get().get(line, EL_CLIENTDATA, &data);
        return *static_cast<Editor *>(data);
    }
    static char * GetPrompt(EditLine * line) { return Get(line).prompt.data(); }

    static unsigned char DropLine(EditLine * line, int) {
        Get(line).isDropped = true;
        std::cout << "\n";
        return CC_EOF;
    }

    static unsigned char CompleteWord(EditLine * line, int) {
        EditLibrary const & edit = EditLibrary::Get();
        LineInfo const * const info = edit.getLine(line);
        std::string const before(info->buffer, info->cursor);
        std::string const word = before.substr(before.find_last_of(" \"") + 1);
        std::vector<std::string> const found = Get(line).complete(word);
        std::string const common = GetCommonStart(found);
        if (common.size() > word.size()) {
            edit.insert(line, common.substr(word.size()).c_str());
            return CC_REFRESH;
        }
        if (found.size() < 2)
            return CC_REFRESH_BEEP;
        std::cout << "\n";
        constexpr std::size_t MostShown = 100;
        for (std::size_t i = 0; i < std::min(found.size(), MostShown); ++i)
            Out() << found[i] << "  ";
        Out() << (found.size() > MostShown ? "...\n" : "\n");
        Out().Flush();
        return CC_REDISPLAY;
    }

    bool Read(std::string const & itsPrompt, std::string * text) {
        prompt = itsPrompt;
        isDropped = false;
        int count = 0;
        char const * const got = edit.gets(line, &count);
        text->clear();
        if (isDropped)
            return true;
        if (got == nullptr || count <= 0)
            return false;
        text->assign(got, static_cast<std::size_t>(count));
        text->erase(text->find_last_not_of("\r\n") + 1);
        HistEvent event;
        if (!text->empty())
            edit.changeHistory(lines, &event, H_ENTER, text->c_str());
        return true;
    }

    EditLibrary const & edit = EditLibrary::Get();
    Complete complete;
    std::string const historyFile;
    History * lines;
    EditLine * line;
    std::string prompt;
    bool isDropped = false;
};

#else

struct LineReader::Editor {
    explicit Editor(Complete) {}
    static bool Read(std::string const &, std::string *) { return false; }
};

#endif

LineReader::LineReader(Complete complete) {
#if defined(KESTREL_LINE_EDITOR)
    if (IsTerminal() && Out().IsTerminal() && EditLibrary::Get().isWhole)
        editor = std::make_unique<Editor>(std::move(complete));
#endif
}

LineReader::~LineReader() = default;

bool LineReader::Read(std::string const & prompt, std::string * line) {
    Out().Flush();
    if (editor != nullptr)
        return editor->Read(prompt, line);
    if (IsTerminal())
        std::cout << prompt << std::flush;
    if (!std::getline(std::cin, *line))
        return false;
    line->erase(line->find_last_not_of("\r\n") + 1);
    return true;
}

#if defined(_WIN32)

bool LineReader::IsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

bool LineReader::WaitForInput(double seconds) {
    return WaitForSingleObject(GetStdHandle(STD_INPUT_HANDLE),
                               static_cast<DWORD>(seconds * 1000)) == WAIT_OBJECT_0;
}

#else

bool LineReader::IsTerminal() {
    return isatty(STDIN_FILENO) != 0;
}

bool LineReader::WaitForInput(double seconds) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, static_cast<int>(seconds * 1000)) > 0;
}

#endif

} // namespace Tool
