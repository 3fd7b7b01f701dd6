#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/DiskContent.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Threads/Thread.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <set>

using IO::Folder;
using IO::Location;
using IO::Name;
using Safety = IO::DataSafety;

namespace {

std::string Mark(Name const & name, bool isFolder) {
    return ToUtf8(name.ToString()) + (isFolder ? "/" : "");
}

bool Collect(Folder const &, Name const & name, bool isFolder, void * data) {
    static_cast<std::set<std::string> *>(data)->insert(Mark(name, isFolder));
    return true;
}

bool StopAtFirst(Folder const &, Name const &, bool, void * data) {
    ++*static_cast<int *>(data);
    return false;
}

using Names = std::set<std::string>;

Names List(Folder const & folder,
           Folder::LinkProcessing links = Folder::LinkProcessing::ReportLinks,
           unsigned int mask = Folder::Everything) {
    Names found;
    EXPECT_EQ(folder.Enumerate(Collect, links, mask, &found), IO::NoError);
    return found;
}

/// An entry of the model, and all below it.
struct Node {
    std::string name;
    bool isFolder = true;
    std::string content;
    bool isProtected = false;
    std::map<std::string, Node> below; // by their names in lower case

    bool HoldsProtected() const {
        return isProtected || std::any_of(below.begin(), below.end(), [](auto const & each) {
                   return each.second.HoldsProtected();
               });
    }
    void Unprotect() {
        isProtected = false;
        for (auto & each : below)
            each.second.Unprotect();
    }
    void List(std::string const & above, Tests::DiskContent * all) const {
        for (auto const & [key, node] : below) {
            (*all)[above + node.name] = node.isFolder ? "/" : node.content;
            node.List(above + node.name + "/", all);
        }
    }
};

std::string Lower(std::string text) {
    for (char & c : text)
        c = static_cast<char>(std::tolower(c));
    return text;
}

/// The disk and a system mounted beside it, and what both should hold.
class TwoSystems {
public:
    explicit TwoSystems(unsigned int seed) : random(seed) {
        IO::fileSystem.Mount(mounted, GetRoot(1));
    }
    ~TwoSystems() {
        for (unsigned int system : {0u, 1u})
            EXPECT_EQ(Folder(GetRoot(system)).DeleteAll(Safety::IgnoreProtection), IO::NoError);
        IO::fileSystem.Unmount(mounted);
    }

    void Step() {
        Draw const from = DrawFolder();
        Draw to = DrawFolder();
        if (to.GetNode() == from.GetNode())
            to = from;
        std::string const a = DrawName();
        std::string const b = DrawName();
        bool const isOneFolder = to.GetNode() == from.GetNode();
        auto & source = from.GetNode()->below;
        auto & target = to.GetNode()->below;
        auto const found = source.find(Lower(a));
        bool const isThere = found != source.end();
        bool const isTaken = target.count(Lower(b)) != 0;
        bool const isOneName = Lower(a) == Lower(b);
        bool const isSame = isOneFolder && isOneName;
        bool const isProtected = isThere && found->second.HoldsProtected();
        bool const leadsInside =
            isThere && std::count(to.chain.begin(), to.chain.end(), &found->second) != 0;
        Folder folder(from.place);
        Folder other(to.place);
        IO::EntryType type{};
        ASSERT_EQ(folder.GetType(Name(a.c_str()), &type),
                  isThere ? IO::NoError : IO::ErrEntryNotFound);
        ASSERT_TRUE(!isThere || (type == IO::EntryType::Folder) == found->second.isFolder);
        switch (random() % 10) {
        case 0:
        case 1: return Create(folder, source, a, random() % 2 == 0);
        case 2: return Write(from, source, a);
        case 3: return Delete(folder, source, a, random() % 2 == 0);
        case 4: {
            bool const isInTheWay = source.count(Lower(b)) != 0;
            if (isOneName && a != b)
                return; // another spelling
            ASSERT_EQ(folder.Rename(Name(a.c_str()), Name(b.c_str())),
                      isOneName    ? IO::NoError
                      : !isThere   ? IO::ErrSourceNotFound
                      : isInTheWay ? IO::ErrTargetExists
                                   : IO::NoError);
            if (isThere && !isInTheWay)
                Put(source, b, source.extract(found).mapped());
            return;
        }
        case 5:
            if (!isOneName)
                Exchange(folder, source, a, b);
            return;
        case 6: {
            bool const crosses = from.system != to.system;
            bool const isForced = !crosses && random() % 2 == 0;
            // What comes first where two things are wrong is the system's.
            if ((isSame && a != b) || (!isThere && isTaken) || (isProtected && isTaken) ||
                (isThere && found->second.isFolder && isProtected))
                return;
            MuErrCode const status =
                folder.Move(Name(a.c_str()), other, Name(b.c_str()),
                            isForced ? Safety::IgnoreProtection : Safety::KeepProtected);
            if (leadsInside && !isSame) {
                ASSERT_NE(status, IO::NoError);
                return;
            }
            ASSERT_EQ(status, isSame                     ? IO::NoError
                              : !isThere                 ? IO::ErrSourceNotFound
                              : isTaken                  ? IO::ErrTargetExists
                              : isProtected && !isForced ? IO::ErrFolderAccessDenied
                                                         : IO::NoError);
            if (isSame)
                return;
            if (status == IO::NoError)
                Put(target, b, source.extract(found).mapped());
            return;
        }
        case 7: {
            auto const old = source.find(Lower(b));
            bool const isInTheWay = old != source.end();
            // Which kinds may replace another, and what is protected, is the system's.
            if (isOneName || isProtected || (isInTheWay && old->second.HoldsProtected()) ||
                (isThere && isInTheWay && found->second.isFolder))
                return;
            std::string const name = isInTheWay ? old->second.name : b;
            bool const isKept = isInTheWay && old->second.isFolder;
            ASSERT_EQ(folder.Replace(Name(a.c_str()), Name(name.c_str())),
                      !isThere ? IO::ErrSourceNotFound
                      : isKept ? IO::ErrFolderAccessDenied
                               : IO::NoError);
            if (isThere && !isKept)
                Put(source, name, source.extract(found).mapped());
            return;
        }
        default: {
            bool const isItself = isSame && a == b;
            MuErrCode const status = folder.Copy(Name(a.c_str()), other, Name(b.c_str()));
            ASSERT_TRUE(status == (isItself      ? IO::NoError
                                   : isTaken     ? IO::ErrTargetExists
                                   : !isThere    ? IO::ErrSourceNotFound
                                   : leadsInside ? IO::Error
                                                 : IO::NoError) ||
                        (isTaken && !isThere && status == IO::ErrSourceNotFound))
                << status;
            if (status != IO::NoError || isItself)
                return;
            Node copy = found->second;
            if (from.system != to.system)
                copy.Unprotect();
            Put(target, b, std::move(copy));
        }
        }
    }

    void Compare() const {
        for (unsigned int system : {0u, 1u}) {
            Tests::DiskContent expected;
            roots[system].List("", &expected);
            ASSERT_EQ(Tests::LookAt(system == 0 ? disk : below), expected);
        }
    }

private:
    struct Draw {
        unsigned int system;
        Location place;
        std::vector<Node *> chain; // from the root to the folder itself
        Node * GetNode() const { return chain.back(); }
    };
    using Nodes = std::map<std::string, Node>;

    Location GetRoot(unsigned int system) const {
        return Location(system == 0 ? disk.GetPortable().c_str() : u"Q:\\beside");
    }
    // Each in two spellings, which name the same entry.
    std::string DrawName() {
        return std::string(1, "abcABC"[random() % 6]) + (random() % 3 == 0 ? "x" : "");
    }
    std::string Respell(std::string name) {
        if (random() % 2 == 0)
            name[0] = static_cast<char>(name[0] ^ 0x20);
        return name;
    }
    Draw DrawFolder() {
        unsigned int const system = random() % 2;
        Draw draw{system, GetRoot(system), {&roots[system]}};
        while (draw.chain.size() < 4 && random() % 3 != 0) {
            std::vector<Node *> folders;
            for (auto & each : draw.GetNode()->below)
                if (each.second.isFolder)
                    folders.push_back(&each.second);
            if (folders.empty())
                break;
            draw.chain.push_back(folders[random() % folders.size()]);
            draw.place.AppendToLocal(Name(Respell(draw.GetNode()->name).c_str()));
        }
        return draw;
    }
    static void Put(Nodes & nodes, std::string const & name, Node node) {
        node.name = name;
        nodes[Lower(name)] = std::move(node);
    }

    void Create(Folder & folder, Nodes & nodes, std::string const & name, bool isFolder) {
        Name const entry(name.c_str());
        bool const isTaken = nodes.count(Lower(name)) != 0;
        ASSERT_EQ(isFolder ? folder.CreateFolder(entry) : folder.CreateFile(entry),
                  isTaken ? IO::ErrTargetExists : IO::NoError);
        if (!isTaken)
            Put(nodes, name, Node{name, isFolder, "", false, {}});
    }
    void Write(Draw const & at, Nodes & nodes, std::string const & name) {
        auto const found = nodes.find(Lower(name));
        if (found != nodes.end() && (found->second.isFolder || found->second.isProtected))
            return;
        IO::File file(Location(at.place, Name(name.c_str())), IO::File::OnNotFound::Create);
        std::string const content(random() % 3 == 0 ? 40000 : random() % 9,
                                  static_cast<char>('k' + random() % 9));
        ASSERT_EQ(file.Open(IO::File::OpenMode::WriteOnlyEmpty), IO::NoError);
        ASSERT_EQ(file.WriteBin(content.data(), static_cast<unsigned int>(content.size()), nullptr),
                  IO::NoError);
        ASSERT_EQ(file.Close(), IO::NoError);
        if (found == nodes.end())
            Put(nodes, name, Node{name, false, "", false, {}});
        Node & node = nodes.at(Lower(name));
        node.content = content;
        node.isProtected = random() % 2 == 0;
        if (node.isProtected) {
            ASSERT_EQ(file.SetWriteProtection(), IO::NoError);
        }
    }
    // What is denied in a tree may have cost it what is not protected.
    void Delete(Folder & folder, Nodes & nodes, std::string const & name, bool isForced) {
        Name const entry(name.c_str());
        auto const found = nodes.find(Lower(name));
        bool const isThere = found != nodes.end();
        bool const isDenied = isThere && found->second.HoldsProtected() && !isForced;
        ASSERT_EQ(folder.Delete(entry, isForced ? Safety::IgnoreProtection : Safety::KeepProtected),
                  isDenied   ? IO::ErrFolderAccessDenied
                  : !isThere ? IO::ErrEntryNotFound
                             : IO::NoError);
        if (isDenied) {
            ASSERT_EQ(folder.Delete(entry, Safety::IgnoreProtection), IO::NoError);
        }
        nodes.erase(Lower(name));
    }
    void Exchange(Folder & folder, Nodes & nodes, std::string const & a, std::string const & b) {
        bool const works = nodes.count(Lower(a)) != 0 && nodes.count(Lower(b)) != 0;
        ASSERT_EQ(folder.Exchange(Name(a.c_str()), Name(b.c_str())),
                  works ? IO::NoError : IO::ErrSourceNotFound);
        if (works) {
            std::swap(nodes.at(Lower(a)), nodes.at(Lower(b)));
            nodes.at(Lower(b)).name = b;
        }
        if (auto const found = nodes.find(Lower(a)); found != nodes.end())
            found->second.name = a; // also where a broken exchange was taken back
    }

    std::mt19937 random;
    Tests::TempFolder const disk;
    Tests::DiskFixedVFS mounted;
    Tests::TempFolder const & below = mounted.GetDisk();
    Node roots[2];
};

} // namespace

// Whatever is created, moved, copied, exchanged and deleted, in one system or between two.
TEST(Folder, HoldsWhatATreeOfMapsHolds) {
    for (unsigned int seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE(seed);
        TwoSystems systems(seed);
        for (int step = 0; step < 50; ++step) {
            SCOPED_TRACE(step);
            ASSERT_NO_FATAL_FAILURE(systems.Step());
            ASSERT_NO_FATAL_FAILURE(systems.Compare());
        }
    }
    Tests::Place const place(false);
    Folder folder(place.GetRoot());
    EXPECT_EQ(std::as_const(folder).Copy("a", folder, "b"), IO::Error)
        << "the const form wants another";
}

// Only the disk follows links.
TEST(Folder, ReportsWhatTheMaskWants) {
    Tests::Place const place(false);
    Folder folder(place.GetRoot());
    folder.CreateFile("file");
    folder.CreateFolder("folder");
    folder.CreateLink("to file.lnk", place / "file");
    folder.CreateLink("to folder.lnk", place / "folder");
    folder.CreateLink("to nothing.lnk", Location(place / "nowhere", Name("x")));
    struct {
        std::string name;
        unsigned int kind, resolved;
    } const entries[] = {{"file", Folder::Files, Folder::Files},
                         {"folder", Folder::Folders, Folder::Folders},
                         {"to file.lnk", Folder::Links, Folder::Files},
                         {"to folder.lnk", Folder::Links, Folder::Folders},
                         {"to nothing.lnk", Folder::Links, Folder::Untyped}};
    for (auto const links : {Folder::LinkProcessing::Resolve, Folder::LinkProcessing::ReportLinks})
        for (unsigned int mask = 0; mask <= Folder::Everything; ++mask) {
            Names expected;
            for (auto const & [name, plain, resolved] : entries) {
                unsigned int const kind =
                    links == Folder::LinkProcessing::Resolve ? resolved : plain;
                // Who wants neither files nor links gets what is a folder itself.
                bool const isPassed = (mask & (Folder::Files | Folder::Links)) == 0;
                if ((mask & kind) != 0 && (plain == Folder::Folders || !isPassed))
                    expected.insert(name + (kind == Folder::Folders ? "/" : ""));
            }
            EXPECT_EQ(List(folder, links, mask), expected) << mask;
        }
    IO::EntryType type{};
    EXPECT_EQ(folder.GetResolvedType("to folder.lnk", &type), IO::NoError);
    EXPECT_EQ(type, IO::EntryType::Folder);
    EXPECT_EQ(folder.GetResolvedType("to nothing.lnk", &type), IO::ErrEntryNotFound);
    unsigned int count = 0;
    EXPECT_EQ(folder.CountFiles(&count), IO::NoError);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(folder.CountFolders(&count), IO::NoError);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(folder.CountEntries(&count), IO::NoError);
    EXPECT_EQ(count, 5u);
}

TEST(Folder, ShowsWhatIsMountedRightBelow) {
    for (bool const isMounted : {false, true}) {
        Tests::Place const place(isMounted);
        Folder folder(place.GetRoot());
        folder.CreateFile("file");
        Tests::DiskFixedVFS below;
        Tests::DiskFixedVFS deeper;
        Tests::DiskFixedVFS far;
        ASSERT_EQ(IO::fileSystem.Mount(below, place / "mount"), IO::NoError);
        ASSERT_EQ(IO::fileSystem.Mount(far, Location("foo://host/far")), IO::NoError);
        EXPECT_EQ(List(Folder(Location())).count("far/"), 1u);
        ASSERT_EQ(IO::fileSystem.Mount(deeper, Location(place / "x", Name("y"))), IO::NoError);
        EXPECT_EQ(List(folder), (Names{"file", "mount/"}));
        EXPECT_EQ(List(folder, Folder::LinkProcessing::ReportLinks, Folder::Files),
                  (Names{"file"}));
        int calls = 0;
        EXPECT_EQ(folder.Enumerate(StopAtFirst, &calls), IO::NoError);
        EXPECT_EQ(calls, 1) << "a stop leaves the mount points out";
        for (Tests::DiskFixedVFS * const system : {&below, &deeper, &far})
            IO::fileSystem.Unmount(*system);
    }
}

TEST(Folder, IsCreatedOneLevelDeep) {
    Tests::Place const place(false);
    EXPECT_EQ(Folder(place / "one", Folder::OnNotFound::Create).GetStatus(), IO::NoError);
    Location const two(place / "absent", Name("two"));
    EXPECT_EQ(Folder(two, Folder::OnNotFound::Create).GetStatus(), IO::ErrFolderCreationFailed);
    place.Write("file", "x");
    EXPECT_EQ(Folder(place / "file").GetStatus(), IO::ErrNotAFolder);
    EXPECT_EQ(Folder(Location(u"")).GetStatus(), IO::Error);
    {
        Tests::ScriptedFileCalls calls;
        calls.onCall = [&](Tests::FileCall call) {
            if (call == Tests::FileCall::CreateDirectory)
                std::filesystem::create_directory(place.GetPath() / "taken");
        };
        EXPECT_EQ(Folder(place / "taken", Folder::OnNotFound::Create).GetStatus(), IO::NoError)
            << "another one was faster";
    }
    EXPECT_TRUE(Folder(place / "taken").IsReadable());
    Tests::LogCapture log;
    Folder absent(place / "absent", Folder::OnNotFound::FailQuietly);
    EXPECT_TRUE(log.GetLines().empty());
    EXPECT_EQ(absent.GetStatus(), IO::ErrFolderNotFound);
    EXPECT_EQ(absent.CreateFile("x"), IO::ErrFolderNotFound);
    EXPECT_FALSE(absent.IsReadable() || absent.IsWriteable());
    int calls = 0;
    EXPECT_EQ(absent.Enumerate(StopAtFirst, &calls), IO::ErrFolderNotFound);
}

TEST(Folder, RefusesNullsAndEverythingWhereItIsNotThere) {
    constexpr auto Once = IO::AccessDeniedTreatment::Fail;
    constexpr auto Keep = Safety::KeepProtected;
    auto const expectAll = [](Folder & f, Name const & n, MuErrCode expected) {
        IO::EntryType type;
        IO::DiskUse use;
        bool is = false;
        for (MuErrCode const status : {f.CreateFile(n),
                                       f.CreateFileLike(n, "x"),
                                       f.CreateFileLike("x", n),
                                       f.CreateFolder(n),
                                       f.CreateLink(n, Location(u"C:\\x")),
                                       f.Rename(n, "x", Once),
                                       f.Rename("x", n, Once),
                                       f.Replace(n, "x", Once),
                                       f.Replace("x", n, Once),
                                       f.Exchange(n, "x", Once),
                                       f.Exchange("x", n, Once),
                                       f.Move(n, f, "x", Keep),
                                       f.Move("x", f, n, Keep),
                                       f.Copy(n, f, "x"),
                                       std::as_const(f).Copy("x", f, n),
                                       f.Copy(n, "x"),
                                       f.Copy("x", n),
                                       f.Delete(n, Keep, Once),
                                       f.Contains(n, &is),
                                       f.GetType(n, &type),
                                       f.GetResolvedType(n, &type),
                                       f.GetDiskUse(n, &use)})
            EXPECT_EQ(status, expected);
    };
    Tests::Place const place(false);
    place.Write("x", "x");
    Folder folder(place.GetRoot());
    Folder absent(place / "absent", Folder::OnNotFound::FailQuietly);
    Name const & none = Tests::NullReference<Name const>();
    int const & noTime = Tests::NullReference<int const>();
    constexpr auto kind = IO::TimeKind::Modification;
    Tests::LogCapture const log;
    expectAll(folder, none, IO::Error);
    expectAll(absent, "y", IO::ErrFolderNotFound);
    for (bool const isThere : {true, false}) {
        Folder & first = isThere ? folder : absent;
        MuErrCode const expected = isThere ? IO::NoError : IO::ErrFolderNotFound;
        int time = 5;
        long long seconds = 0;
        unsigned int count = 0;
        unsigned long long space = 0;
        bool is = false;
        Name name;
        Location location;
        IO::DiskUse use;
        Tests::ByteOChannel channel;
        for (MuErrCode const status :
             {first.SetModificationTime(time), first.GetModificationTime(&time),
              first.SetTime(kind, 5), first.GetTime(kind, &seconds), first.GetCreationTime(&time),
              first.CountEntries(&count), first.IsEmpty(&is), first.GetFreeSpace(&space),
              first.IsOnLocalVolume(&is), first.IsOnFixedVolume(&is), first.GetDiskUse(&use),
              first.GetLocation(&location), first.PrintContent(channel),
              first.GenerateUnusedName(&name), first.GenerateUnusedName(&name, "y"),
              first.GenerateUnusedNameFromString(&name, U("y"), U(""), 0, nullptr)})
            EXPECT_EQ(status, expected);
        EXPECT_EQ(first.Move("y", absent, "y", Keep), IO::ErrFolderNotFound);
        for (MuErrCode const status :
             {first.CreateLink("y", Tests::NullReference<Location const>()),
              first.Copy("x", Tests::NullReference<Folder>(), "y"),
              first.Move("x", Tests::NullReference<Folder>(), "y", Keep),
              first.SetCreationTime(noTime),
              first.SetModificationTime(noTime),
              first.GetCreationTime(nullptr),
              first.GetModificationTime(nullptr),
              first.GetTime(kind, nullptr),
              first.GetType("x", nullptr),
              first.Contains("x", nullptr),
              first.CountFiles(nullptr),
              first.IsEmpty(nullptr),
              first.GetFreeSpace(nullptr),
              first.IsOnLocalVolume(nullptr),
              first.IsOnFixedVolume(nullptr),
              first.GetDiskUse(nullptr),
              first.GetDiskUse("x", nullptr),
              first.GetLocation(nullptr),
              first.PrintContent(Tests::NullReference<Mu::OChannel>()),
              first.Enumerate(static_cast<Folder::Callback>(nullptr), nullptr),
              first.GenerateUnusedName(nullptr),
              first.GenerateUnusedNameFromString(nullptr, U("y"), U(""), 0, nullptr)})
            EXPECT_EQ(status, IO::Error);
    }
    EXPECT_TRUE(log.GetLines().empty());
}

TEST(Folder, PrintsWhatItHolds) {
    Tests::Place const place(true);
    for (char const * name : {"file", "last"})
        place.Write(name, "");
    Tests::ByteOChannel channel;
    EXPECT_EQ(Folder(place.GetRoot()).PrintContent(channel), IO::NoError);
    EXPECT_TRUE(channel.GetBytes() == "file\nlast\n" || channel.GetBytes() == "last\nfile\n");
}

// The wait for a second try is where a thread can be told to stop.
TEST(Folder, LeavesNoHalfMadeCopyWhereAThreadIsToldToStop) {
    Tests::HandClock const clock;
    Tests::Place from(true);
    Tests::Place to(false);
    from.Write("file", "x");
    Folder source(from.GetRoot());
    Folder target(to.GetRoot());
    IO::fileSystem.AddPrivateLocation(to.GetRoot());
    {
        Tests::ScriptedFileCalls calls;
        calls.Fail(Tests::FileCall::CreateFile, 3, IO::FileError::SharingViolation, true);
        Mu::Thread::GetCurrent().Interrupt();
        EXPECT_THROW((void)source.Copy("file", target, "file"), Mu::InterruptedIOException);
        EXPECT_EQ(calls.Count(Tests::FileCall::CreateFile), 3u) << "created, and not opened";
    }
    EXPECT_EQ(List(target), Names{});
    EXPECT_EQ(source.Copy("file", target, "file"), IO::NoError);
    IO::fileSystem.DeletePrivateLocation(to.GetRoot());
}

// Between two file systems, where the library itself copies and deletes.
TEST(Folder, LeavesNothingOfACopyOrMoveThatFails) {
    using Tests::FileCall;
    struct {
        FileCall call;
        unsigned int n;
        unsigned int error;
        MuErrCode copied;
        MuErrCode moved;
    } const rows[] = {
        {FileCall::ReadFile, 1, IO::FileError::ReadFault, IO::Error, IO::Error},
        {FileCall::WriteFile, 2, IO::FileError::DiskFull, IO::ErrDeviceFull, IO::ErrDeviceFull},
        {FileCall::WriteFile, 3, IO::FileError::DiskFull, IO::ErrDeviceFull,
         IO::ErrDeviceFull}, // which is that of the closing
        {FileCall::DeleteFile, 2, IO::FileError::AccessDenied, IO::NoError,
         IO::ErrFolderAccessDenied}, // the first is that of the look whether the target takes files
        {FileCall::CreateFile, 1, IO::FileError::AccessDenied, IO::ErrFolderAccessDenied,
         IO::ErrFolderAccessDenied},
    };
    for (auto const & row : rows) {
        SCOPED_TRACE(&row - rows);
        Tests::Place const from(false);
        Tests::Place const to(true);
        from.Write("file", std::string(40000, 'x'));
        Folder source(from.GetRoot());
        Folder target(to.GetRoot());
        source.CreateLink("link.lnk", from / "file");
        EXPECT_EQ(source.Copy("link.lnk", target, "link"), IO::Error) << "it means nothing there";
        Tests::ScriptedFileCalls calls;
        calls.Fail(row.call, row.n, row.error);
        EXPECT_EQ(source.Move("file", target, "moved", Safety::KeepProtected), row.moved);
        EXPECT_TRUE(calls.Clear());
        calls.Fail(row.call, row.n, row.error);
        EXPECT_EQ(source.Copy("file", target, "copied"), row.copied);
        calls.Clear();
        EXPECT_EQ(List(target), row.copied == IO::NoError ? Names{"copied"} : Names{});
        EXPECT_EQ(from.Read("file"), std::string(40000, 'x'));
    }
    // Nor of one that somebody else was faster than: what they put there stays, and what they took
    // away is missed as late as when it is to be deleted.
    for (bool const takes : {false, true}) {
        MuErrCode last = IO::NoError;
        bool isMet = true;
        for (unsigned int n = 1; isMet; ++n) {
            Tests::Place const from(false);
            Tests::Place const to(true);
            from.Write("file", "x");
            Folder source(from.GetRoot());
            Folder target(to.GetRoot());
            Tests::ScriptedFileCalls calls;
            isMet = false;
            calls.Before(n, [&] {
                isMet = true;
                std::error_code isOpen; // and stays on Windows
                if (takes)
                    std::filesystem::remove(from.GetPath() / "file", isOpen);
                else if (!std::filesystem::exists(to.GetPath() / "moved"))
                    to.GetDisk().Write("below/moved", "theirs");
            });
            MuErrCode const status = source.Move("file", target, "moved", Safety::KeepProtected);
            calls.onCall = nullptr;
            EXPECT_EQ(to.Read("moved"), status == IO::NoError ? "x" : takes ? "(none)" : "theirs");
            last = status != IO::NoError ? status : last;
        }
        EXPECT_EQ(last, takes ? IO::ErrSourceNotFound : IO::ErrTargetExists);
    }
}

// By name, by what a walk hands out, and by the entry itself: one account, and three answers.
TEST(FolderDiskUse, IsTheSystemsAccountByWhateverWay) {
    Tests::Place const place(false);
    place.Write("dense", std::string(100000, 'x'));
    place.Write("small", "x");
    std::filesystem::create_directory(place.GetPath() / "folder");
    std::filesystem::create_hard_link(place.GetPath() / "dense", place.GetPath() / "same");
    Folder const folder(place.GetRoot());
    std::map<std::string, IO::DiskUse> found;
    auto const collect = [](Folder const & in, Name const & name, bool isFolder, void * data) {
        EXPECT_EQ(
            in.GetDiskUse(name, &(*static_cast<decltype(found) *>(data))[Mark(name, isFolder)]),
            IO::NoError);
        return true;
    };
    ASSERT_EQ(folder.Enumerate(collect, &found), IO::NoError);
    for (auto const & [mark, use] : found) {
        SCOPED_TRACE(mark);
        bool const isFolder = mark == "folder/";
        Location const at = place / mark.substr(0, mark.find('/')).c_str();
        IO::DiskUse named;
        EXPECT_EQ(folder.GetDiskUse(Name(mark.substr(0, mark.find('/')).c_str()), &named),
                  IO::NoError);
        IO::DiskUse own;
        EXPECT_EQ(isFolder ? Folder(at).GetDiskUse(&own) : IO::File(at).GetDiskUse(&own),
                  IO::NoError);
        for (IO::DiskUse const & other : {named, own})
            EXPECT_TRUE(other.isOnDisk && other.bytes == use.bytes && other.names == use.names &&
                        other.volume == use.volume && other.id == use.id);
    }
    EXPECT_EQ(found.size(), 4u);
    EXPECT_GE(found["dense"].bytes, 100000u);
    EXPECT_LT(found["dense"].bytes, 200000u);
    EXPECT_EQ(found["dense"].names, 2u);
    EXPECT_EQ(found["dense"].id, found["same"].id);
    EXPECT_NE(found["dense"].id, found["small"].id);
    IO::DiskUse use = found["dense"];
    EXPECT_EQ(folder.GetDiskUse(Name("absent"), &use), IO::ErrEntryNotFound);
    EXPECT_FALSE(use.isOnDisk || use.bytes != 0);
    Tests::ScriptedFileCalls calls;
    calls.Fail(Tests::FileCall::GetDiskUse, 1, IO::FileError::AccessDenied, true);
    EXPECT_EQ(folder.GetDiskUse(Name("dense"), &use), IO::ErrFolderAccessDenied);
    EXPECT_EQ(folder.GetDiskUse(&use), IO::ErrFolderAccessDenied);
    EXPECT_EQ(IO::File(folder, Name("dense")).GetDiskUse(&use), IO::ErrFileAccessDenied);
}

TEST(FolderDiskUse, IsNoneWhereThereIsNoDisk) {
    Tests::Place const place(true);
    place.Write("file", "x");
    Folder const folder(place.GetRoot());
    IO::DiskUse use;
    EXPECT_EQ(folder.GetDiskUse(Name("file"), &use), IO::NoError);
    EXPECT_EQ(folder.GetDiskUse(Name("absent"), &use), IO::ErrEntryNotFound);
    EXPECT_EQ(IO::File(place / "file").GetDiskUse(&use), IO::NoError);
    EXPECT_FALSE(use.isOnDisk);
}
