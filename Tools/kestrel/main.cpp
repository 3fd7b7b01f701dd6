#include "Arguments.h"
#include "Commands.h"
#include "Completion.h"
#include "Console.h"
#include "Interruption.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Log/FileLogOutput.h>
#include <Kestrel/Reflection/ReflectRollingVFS.h>
#include <Kestrel/Root/Errors/ErrorCategory.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <exception>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

using Command = int (*)(Tool::Options const &, Tool::Console &);

/// Mounts the insides of processes, so that every command takes them as folders and files.
class MountedProcesses {
public:
    explicit MountedProcesses(unsigned int timeout) : system({timeout, KeepTime}) {
        if (MuErrCode const status = IO::fileSystem.Mount(system); status != IO::NoError)
            throw std::system_error(status, IO::ErrorCategory());
    }
    ~MountedProcesses() { static_cast<void>(IO::fileSystem.Unmount(system)); } // is mounted
    MountedProcesses(MountedProcesses const &) = delete;
    MountedProcesses & operator=(MountedProcesses const &) = delete;

private:
    static constexpr unsigned int KeepTime = 1000; // milliseconds; what is watched is fetched again

    IO::ReflectRollingVFS system;
};

/// The command line as CLI11 parses it, and the chosen command.
class Interface {
public:
    /// Sets up the command `first` and related ones, or all if there is none of that name:
    /// describing a hundred options takes longer than many commands.
    explicit Interface(std::string const & first)
        : app("Files and folders by portable paths, native paths and URLs; and the network.",
              "kestrel") {
        app.require_subcommand(1);
        app.fallthrough();
        app.set_version_flag("--version", "kestrel " KESTREL_VERSION);
        app.add_flag("-v,--verbose", verbose, "Show all lines that the library logs");
        app.add_option("--log", logFolder,
                       "Write all lines that the library logs to files in FOLDER/kestrel.logs")
            ->type_name("FOLDER");
        struct Kind {
            void (Interface::*add)();
            std::set<std::string_view> commands;
        };
        Kind const kinds[] = {
            {&Interface::AddListing, {"ls", "stat", "special", "mounts"}},
            {&Interface::AddTrees, {"tree", "du", "count"}},
            {&Interface::AddContent, {"cat", "write"}},
            {&Interface::AddLooks, {"head", "tail", "log", "cmp", "find"}},
            {&Interface::AddEntries, {"cp", "mv", "rm", "mkdir", "ln", "touch"}},
            {&Interface::AddStreams, {"zip", "unzip", "encrypt", "decrypt", "md5"}},
            {&Interface::AddNetwork, {"net", "resolve", "serve", "connect"}},
            {&Interface::AddInspection, {"inspect", "diff", "snapshot"}},
            {&Interface::AddProcesses, {"ps", "services", "apps", "call"}},
            {&Interface::AddTypes, {"type"}},
            {&Interface::AddPath, {"path"}},
        };
        auto const wanted =
            std::find_if(std::begin(kinds), std::end(kinds),
                         [&](Kind const & kind) { return kind.commands.count(first) != 0; });
        for (Kind const & kind : kinds)
            if (wanted == std::end(kinds) || &kind == wanted)
                (this->*kind.add)();
    }

    int Run(std::vector<std::string> arguments) {
        // find takes its long options with a single dash, as elsewhere.
        if (!arguments.empty() && arguments.front() == "find")
            for (std::string & argument : arguments)
                if (argument.size() > 2 && argument[0] == '-' &&
                    std::isalpha(static_cast<unsigned char>(argument[1])) != 0)
                    argument.insert(0, 1, '-');
        std::string const first = arguments.empty() ? "-" : arguments.front();
        std::reverse(arguments.begin(), arguments.end()); // as CLI11 wants a vector
        try {
            app.parse(arguments);
        } catch (CLI::ParseError const & e) {
            return ExplainMisuse(e, first);
        }
        if (isCompletion) {
            Tool::Out() << Tool::WriteCompletion(app, options.source).c_str();
            return Tool::Out().Flush() ? 0 : 1;
        }
        MountedProcesses const processes(GetInspectionTimeout());
        std::optional<IO::FileLogOutput> log;
        if (!logFolder.empty() && !StartLog(log))
            return 1;
        Tool::WatchInterruptions();
        if (!Tool::Out().IsTerminal())
            std::setvbuf(stdout, nullptr, _IOFBF, 65536);
        unsigned long long const lost = Mu::logger.GetLostCount();
        std::string const command = app.get_subcommands().front()->get_name();
        // The inspector reports failures by itself; a page runs for long.
        Tool::Console console(verbose, command,
                              worksOnFiles.count(command) != 0 ||
                                  (chosen == Tool::Inspect && options.webPort.empty()));
        int result =
            isLaunch ? Tool::LaunchApplication(options, console) : chosen(options, console);
        if (!Tool::Out().Flush())
            result = console.Fail("standard output: write error");
        Mu::logger.Flush();
        if (log && (!log->HasFile() || log->GetFlushStatus() != IO::NoError ||
                    Mu::logger.GetLostCount() != lost))
            result = console.Fail(logFolder + ": the log could not be written");
        return Tool::IsInterrupted() ? 130 : result;
    }

private:
    // An unknown first word is most likely a misspelt command.
    int ExplainMisuse(CLI::ParseError const & e, std::string const & first) const {
        if (e.get_exit_code() == 0)
            return app.exit(e); // help was requested
        bool const isCommand = first.rfind('-', 0) == 0 || !app.get_subcommands().empty();
        Tool::Console::Fail(isCommand ? std::string(e.what()) + "; --help explains"
                                      : "there is no command \"" + first +
                                            "\"; kestrel --help lists them");
        return 2;
    }

    // Milliseconds.
    unsigned int GetInspectionTimeout() const {
        return chosen == Tool::Inspect
                   ? static_cast<unsigned int>(std::ceil(options.timeout * 1000))
                   : IO::RemoteReflectionLimits().timeout;
    }

    static constexpr int MostLevels = 1000000;

    // Limits of the log in megabytes, and the number of files kept of one that has grown too large.
    static constexpr unsigned int MostLogMB = 64;
    static constexpr unsigned int MostLogFileMB = 8;
    static constexpr unsigned int MostLogFiles = 1000;

    // Before the console listens: an existing folder is no reason for a warning.
    bool StartLog(std::optional<IO::FileLogOutput> & log) const {
        IO::Location location = Tool::ToLocation(logFolder);
        // In a folder below, since old logs there are deleted, and those of others must not be.
        static_cast<void>(IO::fileSystem.CreateFolder(location));
        location.AppendToLocal("kestrel.logs");
        log.emplace(location, MostLogMB, MostLogFileMB, MostLogFiles);
        if (!log->HasFile()) {
            Tool::Console::Fail(logFolder + ": no log can be written there");
            return false;
        }
        Mu::logger.SetOutputLevel(Mu::LogSeverity::Trace);
        Mu::logger.SetOutput(&*log, &*log);
        return true;
    }

    CLI::App * Add(char const * name, char const * description, Command command) {
        CLI::App * const subcommand = app.add_subcommand(name, description);
        subcommand->callback([this, command] { chosen = command; });
        return subcommand;
    }

    void AddListing() {
        CLI::App * const list = Add("ls", "List folders", Tool::List);
        list->set_help_flag("--help", "Print this help message and exit");
        list->add_flag("-l,--long", options.longForm, "With type, size and time");
        list->add_flag("-a,-A,--all", options.all, "Those that begin with a dot, too");
        list->add_flag("-R,--recursive", options.recursive, "And what is in the folders");
        list->add_flag("-h,--human-readable", options.human, "With -l, sizes in KiB and so on");
        list->add_flag_callback(
            "-t", [this] { options.sort = 't'; }, "The last changed first");
        list->add_flag_callback(
            "-S", [this] { options.sort = 'S'; }, "The largest first");
        list->add_flag("-r,--reverse", options.reverse, "In reverse order");
        list->add_flag("-1", options.single, "One on a line");
        list->add_option("PATH", options.paths, "Folders or files; the current folder if none");
        Add("stat", "Show what is known of entries", Tool::Stat)
            ->add_option("PATH", options.paths, "Files, folders or links")
            ->required();
        Add("special", "Show the special locations", Tool::Special);
        Add("mounts", "Show the drives and mounted file systems", Tool::Mounts);
    }

    void AddTrees() {
        CLI::App * const tree = AddWalk("tree", "Draw a folder with all that is in it", Tool::Tree);
        tree->add_option("-d,--depth", options.depth, "So many levels, not all of them")
            ->check(CLI::Range(0, MostLevels));
        tree->add_flag("-j,--json", options.json, "As JSON: a list with a tree for each path");
        CLI::App * const usage =
            AddWalk("du", "Show how much of the disk folders take", Tool::DiskUsage);
        usage->add_option("-d,--depth", options.depth, "Show so many levels; all are counted")
            ->check(CLI::Range(0, MostLevels));
        usage->add_flag("-s,--summary", options.summary, "One line for each path");
        usage->add_flag("--apparent-size", options.apparent,
                        "By the lengths of the files, not by what they take of the disk");
        CLI::Option * const bytes = usage->add_flag_callback(
            "-b,--bytes", [this] { options.apparent = options.bytes = true; },
            "By the lengths, in exact numbers of bytes");
        usage->add_flag("-k", options.kibibytes, "In KiB, with a tab behind, for other programs")
            ->excludes(bytes);
        AddWalk("count", "Count folders, files and links", Tool::CountEntries);
    }

    CLI::App * AddWalk(char const * name, char const * description, Command command) {
        CLI::App * const walk = Add(name, description, command);
        walk->add_flag("-L,--follow", options.follow,
                       "Go into what links lead to; what leads back up is left");
        walk->add_option("PATH", options.paths, "Folders or files; the current folder if none");
        return walk;
    }

    void AddLooks() {
        CLI::App * const head = Add("head", "Show how files begin", Tool::Head);
        CLI::App * const tail = Add("tail", "Show how files end", Tool::Tail);
        tail->add_flag("-f,--follow", options.follow, "Go on as the file grows");
        for (CLI::App * const command : {head, tail}) {
            CLI::Option * const lines = command->add_option("-n,--lines", options.count,
                                                            "So many lines; 10 if none is given");
            command
                ->add_option_function<unsigned long long>(
                    "-c,--bytes",
                    [this](unsigned long long count) {
                        options.count = count;
                        options.bytes = true;
                    },
                    "So many bytes")
                ->excludes(lines);
            command->add_option("FILE", options.paths)->required();
        }
        AddLogs();
        CLI::App * const compare = Add("cmp", "Compare two files byte by byte", Tool::Compare);
        compare->add_option("FILE", options.source)->required();
        compare->add_option("OTHER", options.target)->required();
        CLI::App * const find = Add("find", "Look for entries in folders", Tool::Find);
        find->add_option("--name", options.name, "Named like PATTERN, with *, ? and [...]")
            ->type_name("PATTERN");
        find->add_option("--iname", options.anyCaseName, "The same in any case")
            ->type_name("PATTERN");
        find->add_option("--type", options.kind, "f, d or l: files, folders or links")
            ->check(CLI::IsMember({"f", "d", "l"}));
        find->add_option("--size", options.size,
                         "Files of more (+), less (-) or so many units: c, k, M, G, else 512 bytes")
            ->type_name("[+-]N");
        find->add_option("--mtime", options.days, "Changed more (+), less (-) or so many days ago")
            ->type_name("[+-]N");
        find->add_option("--maxdepth", options.depth, "So many levels")
            ->check(CLI::Range(0, MostLevels));
        find->add_option("PATH", options.paths, "The current folder if none");
        CLI::App * const completion =
            app.add_subcommand("completion", "Write what a shell completes the commands by");
        completion->add_option("SHELL", options.source, "bash, zsh or fish")
            ->required()
            ->check(CLI::IsMember({"bash", "zsh", "fish"}));
        completion->callback([this] { isCompletion = true; });
    }

    void AddLogs() {
        CLI::App * const log =
            Add("log", "Show the lines of all log files of a folder in the order of time",
                Tool::ShowLog);
        log->require_subcommand(1);
        log->add_subcommand("merge", "Those that are there");
        log->add_subcommand("follow", "The last ten, and then those that come, until Ctrl-C")
            ->parse_complete_callback([this] { options.follow = true; });
        for (CLI::App * const command : log->get_subcommands([](CLI::App *) { return true; })) {
            AddJson(command);
            command->add_flag("-f,--files", options.longForm, "With the name of the file of each");
            command->add_option("FOLDER", options.source)->required();
        }
    }

    void AddContent() {
        Add("cat", "Write files to standard output", Tool::Cat)
            ->add_option("FILE", options.paths, "Files, one behind the other")
            ->required();
        CLI::App * const write = Add("write", "Write standard input to a file", Tool::Write);
        write->add_flag("-a,--append", options.append, "Behind what the file holds");
        write->add_option("FILE", options.target, "What it holds already is lost, without -a")
            ->required();
    }

    void AddPath() {
        Add("path", "Show how a text is understood as a path", Tool::ShowPath)
            ->add_option("TEXT", options.source, "A path or a URL")
            ->required();
    }

    void AddTypes() {
        CLI::App * const type = Add("type", "Show what files are", Tool::ShowTypes);
        CLI::Option * const whole =
            type->add_flag("--types", options.types, "List the catalogue as a tree of groups");
        type->add_flag("-w,--why", options.why, "With the evidence of each stage")->excludes(whole);
        type->add_flag("-m,--mime", options.mime, "The MIME name alone")->excludes(whole);
        type->add_flag("-j,--json", options.json, "As JSON: a list with an object for each file")
            ->excludes(whole);
        type->add_flag("-r,--recursive", options.recursive, "The files in folders, too")
            ->excludes(whole);
        type->add_flag("-L,--follow", options.follow, "With -r, go into what links lead to");
        CLI::Option * const builtIn =
            type->add_flag("--builtin", options.builtIn, "Know the built-in types alone");
        type->add_option("--catalogue", options.catalogue,
                         "Know the shared MIME catalogue of that folder")
            ->excludes(builtIn)
            ->type_name("FOLDER");
        type->add_option("FILE", options.paths, "Files, and folders with -r")->excludes(whole);
        type->callback([this] {
            if (!options.types && options.paths.empty())
                throw CLI::RequiredError("FILE or --types");
            chosen = Tool::ShowTypes;
        });
    }

    void AddEntries() {
        CLI::App * const copy = AddSourcesAndTarget(
            Add("cp", "Copy files and folders, with their times and rights", Tool::Copy));
        copy->add_flag("-r,-R,--recursive", options.recursive, "Folders with all that is in them");
        copy->add_flag("-f,--force", options.force, "Over what is there, which is so anyway");
        copy->add_flag("-p,--preserve", options.preserve, "Times and rights, which is so anyway");
        CLI::App * const move =
            AddSourcesAndTarget(Add("mv", "Move or rename files and folders", Tool::Move));
        move->add_flag("-f,--force", options.force, "Even when they are write-protected");
        for (CLI::App * const command : {copy, move}) {
            CLI::Option * const none = command->add_flag("-n,--no-clobber", options.noClobber,
                                                         "Leave alone what is there already");
            command
                ->add_flag("-i,--interactive", options.interactive, "Ask before that is replaced")
                ->excludes(none);
            AddVerboseFlag(command);
        }
        CLI::App * const remove = Add("rm", "Delete entries", Tool::Remove);
        remove->add_flag("-f,--force", options.force,
                         "Even when they are write-protected, and nothing said of missing ones");
        remove->add_flag("-r,-R,--recursive", options.recursive,
                         "Folders with all that is in them");
        remove->add_flag("-i,--interactive", options.interactive, "Ask before each PATH");
        AddVerboseFlag(remove);
        remove->add_option("PATH", options.paths, "Files, folders or links")->required();
        CLI::App * const make = Add("mkdir", "Make folders", Tool::MakeFolder);
        make->add_flag("-p,--parents", options.parents, "With those above them that are missing");
        make->add_option("PATH", options.paths, "New ones")->required();
        AddVerboseFlag(make);
        CLI::App * const link = AddSourcesAndTarget(
            Add("ln", "Make links at TARGET that lead to each SOURCE", Tool::Link));
        link->add_flag("-s,--symbolic", options.summary, "By path, which is so anyway");
        link->add_flag("-f,--force", options.force, "In the place of what is there, but no folder");
        AddVerboseFlag(link);
        CLI::App * const touch =
            Add("touch", "Set the time of the last change to now", Tool::Touch);
        touch->add_flag("-c,--no-create", options.noClobber, "Make none that is missing");
        touch
            ->add_option("PATH", options.paths,
                         "Files and folders; files that are missing are made")
            ->required();
    }

    void AddStreams() {
        CLI::App * const zip = AddStream("zip", "Compress", Tool::Zip);
        zip->add_option("-l,--level", options.level, "From 0 (none) to 9 (most)")
            ->check(CLI::Range(0, 9));
        AddRecovery(AddStream("unzip", "Decompress", Tool::Unzip));
        AddKey(AddStream("encrypt", "Encipher", Tool::Encrypt));
        CLI::App * const decrypt = AddStream("decrypt", "Decipher", Tool::Decrypt);
        AddKey(decrypt);
        AddRecovery(decrypt);
        Add("md5", "Show MD5 digests", Tool::Digest)->add_option("FILE", options.paths)->required();
    }

    void AddNetwork() {
        Add("net", "List the network interfaces of this machine", Tool::ShowInterfaces)
            ->add_flag("-j,--json", options.json, "As JSON");
        CLI::App * const resolve =
            Add("resolve", "Show the IPv4 addresses of hosts", Tool::ResolveNames);
        resolve->add_flag("-r,--reverse", options.reverse, "The names of addresses instead");
        resolve->add_option("NAME", options.paths, "Hosts")->required();
        CLI::App * const serve = AddConnection(
            "serve", "Wait for one connection, and send and receive over it", Tool::Serve);
        serve->add_option("-a,--address", options.address, "Where to listen; 0.0.0.0 is everywhere")
            ->default_str(options.address = "127.0.0.1")
            ->type_name("ADDRESS");
        serve->add_option("PORT", options.port, "0 lets the system choose")
            ->required()
            ->check(CLI::Range(0, 65535));
        CLI::App * const connect =
            AddConnection("connect", "Connect, and send and receive over it", Tool::Connect);
        connect->add_option("HOST", options.source, "A name or an address")->required();
        connect->add_option("PORT", options.port)->required()->check(CLI::Range(1, 65535));
    }

    void AddInspection() {
        constexpr double Timeout = 5;
        CLI::App * const inspect =
            Add("inspect", "Look into processes that let themselves be inspected", Tool::Inspect);
        inspect->add_flag("-c,--content", options.content, "The text of the thing at PATH");
        inspect->add_flag("-t,--tree", options.tree, "All that is below PATH");
        inspect->add_option("-d,--depth", options.depth, "With -t, so many levels, not all of them")
            ->check(CLI::Range(0, MostLevels));
        inspect->add_flag("-j,--json", options.json, "As JSON");
        inspect
            ->add_option(
                "-e,--execute", options.execute,
                "One command of the shell: ls, cat, table, tree, find, watch, snapshot, diff")
            ->type_name("COMMAND");
        inspect
            ->add_option("--timeout", options.timeout,
                         "Give up when a process says nothing for so long; 0 waits for ever")
            ->default_str("5")
            ->check(CLI::Range(0.0, 4000000.0))
            ->type_name("SECONDS");
        inspect->add_option(
            "TARGET", options.source,
            "PORT of this machine, or HOST:PORT; without one, the processes of this "
            "machine are listed");
        inspect->add_option("PATH", options.target, "Where; what is at the top if none is given");
        inspect->footer("A TARGET alone opens a shell on a terminal. The names of PATH stand "
                        "between slashes. Where one holds / or \\ or :, PATH "
                        "is a URL: \"rel:///Kestrel/Virtual%20file%20systems/C%3A%5Cdata\".");
        AddPage(inspect);
        inspect->preparse_callback([this](std::size_t) { options.timeout = Timeout; });
        AddComparison();
    }

    void AddComparison() {
        char const * const place = "PORT, HOST:PORT, a folder with a snapshot, or a URL such as "
                                   "reflect://HOST:PORT/Kestrel";
        CLI::App * const diff = AddJson(Add(
            "diff", "Show what came, went and grew between two looks into a process", Tool::Diff));
        diff->add_option("A", options.source, std::string("Before: ") + place)->required();
        diff->add_option("B", options.target, std::string("After: ") + place)->required();
        CLI::App * const snapshot = AddJson(
            Add("snapshot", "Copy the inside of a process into a new folder", Tool::TakeSnapshot));
        snapshot->add_option("SOURCE", options.source, place)->required();
        snapshot->add_option("FOLDER", options.target, "A new one")->required();
    }

    void AddPage(CLI::App * inspect) {
        CLI::Option * const web = inspect->add_flag(
            "--web{0}", options.webPort,
            "Show it in a browser of this machine, until Ctrl-C; --web=PORT chooses the port of "
            "the page");
        inspect->add_option("--save", options.page, "Write that page with the data of this moment")
            ->type_name("FILE.html")
            ->excludes(web);
        inspect
            ->add_option(
                "--logs", options.logs,
                "The page shows the lines of its *.log files, not of the log of the process")
            ->type_name("FOLDER");
    }

    void AddProcesses() {
        CLI::App * const ps = AddJson(
            Add("ps", "List processes, with the services that they offer", Tool::ShowProcesses));
        ps->add_flag("-a,--all", options.all, "Those that offer none, too");
        AddJson(Add("services", "List the services of this machine", Tool::ShowServices));
        CLI::App * const apps = AddJson(
            Add("apps", "List the applications that have run here", Tool::ShowApplications));
        CLI::App * const launch = apps->add_subcommand("launch", "Start one of them");
        launch->parse_complete_callback([this] { isLaunch = true; });
        launch->add_option("NAME", options.source, "Its name in the list")->required();
        launch->add_option("PARAMETER", options.paths,
                           "Reach the program joined by blanks; behind -- if they begin with -");
        launch->add_option("--version-number", options.version, "Not the newest one")
            ->type_name("NUMBER");
        AddCall();
    }

    void AddCall() {
        CLI::App * const call =
            AddJson(Add("call", "Ask a service, and show its answer", Tool::CallService));
        call->add_option("TARGET", options.target,
                         "HOST:PORT/SERVICE, or PROGRAM/SERVICE for a process of this machine")
            ->required();
        call->add_option("COMMAND", options.source, "What the service is asked")->required();
        call->add_option("ARGUMENT", options.paths, "TYPE:VALUE, in the order of the service");
        call->add_flag("-x,--hex", options.hex, "Show the bytes of the answer");
        call->add_option("--as", options.answerTypes, "Show the answer as values of these types")
            ->type_name("TYPE,...")
            ->delimiter(',');
        call->add_option("-t,--timeout", options.timeout, "How long to wait; 30 if none is given")
            ->check(CLI::Range(0.0, 4000000.0))
            ->type_name("SECONDS");
        call->footer(
            "Types: bool char short ushort int uint int64 uint64 float double string "
            "(one byte a letter), text (Unicode), texts and doubles (lists, with commas), location "
            "and hex (bytes as they are).");
    }

    CLI::App * AddJson(CLI::App * command) {
        command->add_flag("-j,--json", options.json, "As JSON");
        return command;
    }

    CLI::App * AddConnection(char const * name, char const * description, Command command) {
        CLI::App * const connection = Add(name, description, command);
        connection
            ->add_option("-t,--timeout", options.timeout,
                         "Give up when nothing happens for so long; none if none is given")
            ->check(CLI::Range(0.0, 4000000.0))
            ->type_name("SECONDS");
        connection->footer("Standard input goes to the peer and what the peer sends to standard "
                           "output, without encryption, until both have ended.");
        return connection;
    }

    CLI::App * AddStream(char const * name, char const * description, Command command) {
        CLI::App * const stream = Add(name, description, command);
        stream->add_option("SOURCE", options.source, "A file, or - for standard input");
        stream->add_option("TARGET", options.target, "A new file, or - for standard output");
        stream->add_flag("-f,--force", options.force, "Write over a file that is there");
        return stream;
    }

    void AddRecovery(CLI::App * command) {
        command->add_flag("--recover", options.recover, "Keep what can be saved of a broken input");
    }

    void AddKey(CLI::App * command) {
        command->add_option("-k,--key", options.key, "The key");
        command->add_option("-K,--key-file", options.keyFile, "A file that holds the key");
    }

    CLI::App * AddSourcesAndTarget(CLI::App * command) {
        command
            ->add_option("PATH", options.paths,
                         "Each SOURCE, and last the TARGET: a new name, or a folder to go into")
            ->required()
            ->type_name("SOURCE... TARGET");
        return command;
    }

    // Replaces the verbosity of all other commands, which have -v for it.
    void AddVerboseFlag(CLI::App * command) {
        command->add_flag("-v,--verbose", options.longForm, "Say what is done");
    }

    /// Commands that report failures as a path and a cause.
    static inline std::set<std::string> const worksOnFiles{
        "cat",  "cmp",  "count", "cp",   "decrypt", "diff",  "du",    "encrypt", "find",
        "head", "ln",   "log",   "ls",   "md5",     "mkdir", "mv",    "rm",      "snapshot",
        "stat", "tail", "touch", "tree", "type",    "unzip", "write", "zip"};

    CLI::App app;
    Tool::Options options;
    Command chosen = nullptr;
    bool isCompletion = false;
    bool isLaunch = false; // below "apps", whose own callback is called later
    std::string logFolder;
    bool verbose = false;
};

} // namespace

int main(int argc, char ** argv) {
#if defined(_WIN32)
    SetConsoleOutputCP(CP_UTF8);
#endif
    try {
        std::vector<std::string> arguments = Tool::GetArguments(argc, argv);
        if (arguments.size() <= 2 && !arguments.empty() && arguments.front() == "help") {
            arguments.erase(arguments.begin());
            arguments.push_back("--help");
        }
        return Interface(arguments.empty() ? "" : arguments.front()).Run(std::move(arguments));
    } catch (std::exception const & e) {
        return Tool::Console::Fail(e.what());
    }
}
