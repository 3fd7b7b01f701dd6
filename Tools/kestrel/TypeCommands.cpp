// The types of files: `kestrel type`.

#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Json.h"
#include "TreeReader.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileType/Defaults.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/IdentificationObserver.h>
#include <Kestrel/FileType/SharedMimeTypes.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace Tool {

namespace {

using FTM::FileTypeManager;

/// The file types known while a command runs.
class Types {
public:
    explicit Types(Console & console) : console(console) {}

    /// Loads the machine's catalogue, if there is one, or that of the given folder, and the
    /// built-in types for what it lacks. 1, after a message, when a catalogue could not be read.
    int Load(Options const & options) {
        int result = 0;
        if (!options.catalogue.empty())
            result = LoadFrom(options.catalogue);
        else if (!options.builtIn)
            result = LoadOwn();
        FTM::LoadFTMDefaults(&builtIn);
        return result;
    }

private:
    int LoadFrom(std::string const & folder) {
        MuErrCode const status = FTM::LoadSharedMimeTypes(&shared, ToLocation(folder)).status;
        return status == IO::Error ? Console::Fail(folder + ": is no catalogue of file types")
                                   : console.Finish(status, folder);
    }

    // The first existing one of the folders that the desktops of this platform search.
    int LoadOwn() {
#if !defined(_WIN32)
        char const * const given = std::getenv("XDG_DATA_DIRS");
        std::string_view folders =
            given != nullptr && *given != 0 ? given : "/usr/local/share:/usr/share";
        while (!folders.empty()) {
            std::size_t const end = std::min(folders.find(':'), folders.size());
            std::string const folder = std::string(folders.substr(0, end)) + "/mime";
            folders.remove_prefix(std::min(end + 1, folders.size()));
            if (HasCatalogue(folder))
                return LoadFrom(folder);
        }
#endif
        return 0;
    }

    // Logs nothing, since most of the folders have none.
    [[maybe_unused]] static bool HasCatalogue(std::string const & folder) {
        return IO::File(ToLocation(folder + "/globs2"), IO::File::OnNotFound::FailQuietly)
                   .GetStatus() == IO::NoError;
    }

    Console & console;
    FileTypeManager shared{"shared"};
    FileTypeManager builtIn{"built-in"};
};

std::string GetName(FTM::GroupID group) {
    if (group == FTM::RootGroup)
        return "all types";
    std::string name(FileTypeManager::GetGroupName(group, nullptr, 0), ' ');
    FileTypeManager::GetGroupName(group, name.data(), static_cast<unsigned int>(name.size()) + 1);
    return name;
}

std::string GetMime(FTM::TypeID id) {
    FTM::FileType type;
    if (FileTypeManager::GetType(id, &type) != IO::NoError || type.GetMime(0) == nullptr)
        return "-";
    return type.GetMime(0);
}

/// "Bitmap File (image/bmp)", or one of the two if the other is missing.
std::string Describe(FTM::TypeID id) {
    FTM::FileType type;
    std::string const mime = GetMime(id);
    if (FileTypeManager::GetType(id, &type) != IO::NoError || type.GetDescription() == mime)
        return mime;
    return std::string(type.GetDescription()) + " (" + mime + ")";
}

std::string DescribeAnswer(FTM::GeneralID answer) {
    if (answer == FTM::UnknownType)
        return "unknown";
    return answer.IsGroup() ? "one of " + GetName(answer) : Describe(answer);
}

/// Collects the evidence as JSON, from which the text is also generated.
class Evidence : public FTM::IdentificationObserver {
public:
    Evidence() {
        evidence["candidates"] = Json::array();
        evidence["tests"] = Json::array();
    }

    void ExtensionFound(char const * extension, unsigned int key, bool isLong) override {
        evidence["extension"] = extension;
        evidence["key"] = key;
        evidence["long"] = isLong;
    }
    void TypeCodeFound(unsigned int macType) override { evidence["typeCode"] = macType; }
    void CandidateFound(Stage stage, FTM::TypeID type) override {
        evidence["candidates"].push_back(
            {{"stage", stage == Stage::Extension ? "extension" : "type code"},
             {"type", GetMime(type)}});
        Remember(type);
    }
    void ContentTested(FTM::TypeID type, bool passed) override {
        evidence["tests"].push_back({{"type", GetMime(type)}, {"passed", passed}});
        Remember(type);
    }
    void GroupConsidered(FTM::GroupID group, int typeCount) override {
        evidence["group"] = {{"name", GetName(group)}, {"types", typeCount}};
    }

    /// How each candidate matches the checks.
    Json const & Finish(IO::Location const & location) {
        evidence["matches"] = Json::array();
        for (FTM::TypeID const type : met)
            evidence["matches"].push_back(
                {{"type", GetMime(type)},
                 {"match", FileTypeManager::Match(location, type, FTM::RootGroup)},
                 {"exactMatch", FileTypeManager::ExactMatch(location, type, FTM::RootGroup)}});
        return evidence;
    }

private:
    void Remember(FTM::TypeID type) {
        if (std::find(met.begin(), met.end(), type) == met.end())
            met.push_back(type);
    }

    Json evidence;
    std::vector<FTM::TypeID> met;
};

void ShowEvidence(Json const & why) {
    auto const text = [](Json const & value) { return value.get<std::string>(); };
    auto const yesOrNo = [](Json const & value) { return value.get<bool>() ? "yes" : "no"; };
    if (why.contains("extension")) {
        Out() << "  extension   \"" << text(why["extension"]) << "\", key "
              << why["key"].get<unsigned int>() << (why["long"].get<bool>() ? ", long\n" : "\n");
    }
    if (why.contains("typeCode"))
        Out() << "  type code   " << why["typeCode"].get<unsigned int>() << "\n";
    for (Json const & each : why["candidates"])
        Out() << "  candidate   " << text(each["type"]) << ", by " << text(each["stage"]) << "\n";
    for (Json const & each : why["tests"])
        Out() << "  content     " << text(each["type"]) << ": " << yesOrNo(each["passed"]) << "\n";
    if (why.contains("group"))
        Out() << "  group       " << text(why["group"]["name"]) << ", "
              << static_cast<unsigned long long>(why["group"]["types"].get<int>()) << " types\n";
    for (Json const & each : why["matches"])
        Out() << "  match       " << text(each["type"]) << ": " << yesOrNo(each["match"])
              << ", exactly: " << yesOrNo(each["exactMatch"]) << "\n";
}

/// Reports one file after another.
class TypeReporter {
public:
    TypeReporter(Options const & options, Console & console) : options(options), console(console) {}

    /// 1, after a line, if the file could not be read: its type may be more special
    /// than the one shown.
    int Report(std::string const & name, IO::Location const & location) {
        Evidence evidence;
        FTM::GeneralID const answer =
            options.why ? FileTypeManager::Identify(location, FTM::RootGroup, nullptr, evidence)
                        : FileTypeManager::Identify(location, FTM::RootGroup, nullptr);
        if (options.json) {
            json.push_back(ToJson(name, answer));
            if (options.why)
                json.back()["why"] = evidence.Finish(location);
            return console.FinishReported(name);
        }
        bool const isType = answer != FTM::UnknownType && !answer.IsGroup();
        Out() << name << ": "
              << (!options.mime ? DescribeAnswer(answer)
                  : isType      ? GetMime(answer)
                                : std::string("-"))
              << "\n";
        if (options.why)
            ShowEvidence(evidence.Finish(location));
        return console.FinishReported(name);
    }

    void Finish() const {
        if (options.json)
            ShowJson(json);
    }

private:
    static Json ToJson(std::string const & name, FTM::GeneralID answer) {
        Json one;
        one["file"] = name;
        one["type"] = nullptr;
        one["group"] = nullptr;
        if (answer.IsGroup()) {
            one["group"] = GetName(answer);
        } else if (answer != FTM::UnknownType) {
            FTM::FileType type;
            FileTypeManager::GetType(answer, &type);
            one["type"] = {{"description", type.GetDescription()},
                           {"mime", GetMime(answer)},
                           {"manager", FileTypeManager::GetManagerId(answer)}};
        }
        return one;
    }

    Options const & options;
    Console & console;
    Json json = Json::array();
};

int ReportTree(TreeNode const & node, std::string const & name, IO::Location const & location,
               TypeReporter & reporter) {
    int result = node.type == IO::EntryType::File ? reporter.Report(name, location) : 0;
    for (TreeNode const & child : node.children)
        result |= ReportTree(child, name + "/" + ToText(child.name),
                             IO::Location(location, child.name), reporter);
    return result;
}

int ReportPath(std::string const & path, Options const & options, Console & console,
               TypeReporter & reporter) {
    IO::Location const location = ToLocation(path);
    IO::EntryType type = IO::EntryType::File;
    if (MuErrCode const status = IO::fileSystem.EstimateResolvedType(location, &type);
        status != IO::NoError)
        return console.Finish(status, path);
    if (type != IO::EntryType::Folder)
        return reporter.Report(path, location);
    if (!options.recursive)
        return Console::Fail(path + ": is a folder; with -r its files are identified");
    TreeNode node;
    TreeCounts counts;
    int result = ReadTree(path, TreeReader::Sizes::Skip, TreeReader::Keep::All, options.follow, -1,
                          console, &node, &counts);
    for (TreeNode const & child : node.children)
        result |= ReportTree(child, path + "/" + ToText(child.name),
                             IO::Location(location, child.name), reporter);
    return result;
}

// The catalogue as a tree.

void ShowType(FTM::TypeID id, std::string const & indent) {
    FTM::FileType type;
    if (FileTypeManager::GetType(id, &type) != IO::NoError)
        return;
    Out() << indent << Describe(id);
    for (unsigned int i = 0; char const * const extension = type.GetExtension(i); ++i)
        Out() << (i == 0 ? "  ." : " .") << std::string(extension);
    Out() << "\n";
}

void ShowGroups(FTM::GroupID group, std::string const & indent) {
    for (FTM::GroupID each = FileTypeManager::GetFirstGroupChild(group); each != FTM::UnknownGroup;
         each = FileTypeManager::GetNextGroup(each)) {
        if (FileTypeManager::CountAllTypeChild(each) == 0)
            continue;
        Out() << indent << GetName(each) << "/\n";
        ShowGroups(each, indent + "  ");
    }
    for (FTM::TypeID each = FileTypeManager::GetFirstTypeChild(group); each != FTM::UnknownType;
         each = FileTypeManager::GetNextType(group, each))
        ShowType(each, indent);
}

} // namespace

int ShowTypes(Options const & options, Console & console) {
    Types types(console);
    int result = types.Load(options);
    if (result != 0)
        return result;
    if (options.types) {
        ShowGroups(FTM::RootGroup, "");
        return 0;
    }
    TypeReporter reporter(options, console);
    for (std::string const & path : options.paths)
        result |= ReportPath(path, options, console, reporter);
    reporter.Finish();
    return result;
}

} // namespace Tool
