#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Tool {

class Console;

/// The parsed command line; each command reads its own fields.
struct Options {
    std::vector<std::string> paths;
    std::string source;
    std::string target;
    bool longForm = false;
    bool append = false;
    bool force = false;
    bool recursive = false;
    bool noClobber = false;
    bool interactive = false;
    bool preserve = false;
    bool human = false;
    bool single = false;
    char sort = 0; ///< 't', 'S', or by name
    std::optional<unsigned long long> count;
    std::string name; ///< patterns, and bounds as "+10k"
    std::string anyCaseName;
    std::string kind;
    std::string size;
    std::string days;
    bool parents = false;
    bool recover = false;
    bool json = false;
    bool follow = false;
    bool summary = false;
    bool bytes = false;
    bool kibibytes = false;
    bool apparent = false;
    int depth = -1; ///< below 0: unlimited
    int level = -1;
    std::string key;
    std::string keyFile;
    bool reverse = false;
    std::string address;
    unsigned int port = 0;
    double timeout = 0; ///< seconds; 0: none
    bool why = false;
    bool mime = false;
    bool types = false;
    bool builtIn = false;
    std::string catalogue;
    bool content = false;
    bool tree = false;
    std::string execute;
    bool all = false;
    std::optional<int> version;
    bool hex = false;
    std::vector<std::string> answerTypes;
    std::string webPort; ///< port of the page; "0": the system chooses; "": no page is served
    std::string page;    ///< the file to save the page to
    std::string logs;
};

// Each command returns the exit code of the process.
int List(Options const & options, Console & console);
int Stat(Options const & options, Console & console);
int Special(Options const & options, Console & console);
int Mounts(Options const & options, Console & console);

int Tree(Options const & options, Console & console);
int DiskUsage(Options const & options, Console & console);
int CountEntries(Options const & options, Console & console);

int Cat(Options const & options, Console & console);
int Write(Options const & options, Console & console);

int Copy(Options const & options, Console & console);
int Move(Options const & options, Console & console);
int Remove(Options const & options, Console & console);
int MakeFolder(Options const & options, Console & console);
int Link(Options const & options, Console & console);
int Touch(Options const & options, Console & console);

int Head(Options const & options, Console & console);
int Tail(Options const & options, Console & console);
int ShowLog(Options const & options, Console & console);
int Compare(Options const & options, Console & console);
int Find(Options const & options, Console & console);

int Zip(Options const & options, Console & console);
int Unzip(Options const & options, Console & console);
int Encrypt(Options const & options, Console & console);
int Decrypt(Options const & options, Console & console);
int Digest(Options const & options, Console & console);

int ShowTypes(Options const & options, Console & console);

int ShowPath(Options const & options, Console & console);

int ShowInterfaces(Options const & options, Console & console);
int ResolveNames(Options const & options, Console & console);
int Serve(Options const & options, Console & console);
int Connect(Options const & options, Console & console);

int Inspect(Options const & options, Console & console);
int Diff(Options const & options, Console & console);
int TakeSnapshot(Options const & options, Console & console);
int ShowPage(Options const & options, Console & console);
int ShowProcesses(Options const & options, Console & console);
int ShowServices(Options const & options, Console & console);
int ShowApplications(Options const & options, Console & console);
int LaunchApplication(Options const & options, Console & console);
int CallService(Options const & options, Console & console);

} // namespace Tool
