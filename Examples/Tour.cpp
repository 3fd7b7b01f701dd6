// A walk through the library with real files: copies a source tree, checks every byte of the copy,
// moves things about, meets refusals, mounts a file system of its own, and tidies up.
//
//     tour SOURCE-FOLDER
//
// Everything happens in a new folder below the user's temporary folder.

#include <Kestrel/Kestrel.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

// What goes wrong ends the tour; main reports it.
struct Stop {
    std::string reason;
};

void Expect(bool condition, std::string const & reason) {
    if (!condition)
        throw Stop{reason};
}

void Expect(MuErrCode status, std::string const & doing) {
    Expect(status == IO::NoError, doing + ": " + IO::ErrorCategory().message(status));
}

/// Keeps what the library logs, for the page to show.
class Listener : public Mu::LogObserver {
public:
    Listener() { Mu::logger.Attach(*this, Mu::LogSeverity::Info); }
    ~Listener() override { Mu::logger.Detach(*this); }

    void LineAppended(Mu::LogSeverity severity, char const *, char const * text) override {
        static constexpr char const * marks[] = {"trace", "info", "warning", "error"};
        lines.push_back(std::string(marks[static_cast<int>(severity)]) + ": " + text);
    }

    // The first few lines since the last call; a page is to be read.
    void Show(std::size_t most = 4) {
        for (std::size_t i = 0; i < lines.size() && i < most; ++i)
            std::cout << "      | " << lines[i] << "\n";
        if (lines.size() > most)
            std::cout << "      | ... and " << lines.size() - most << " lines more\n";
        lines.clear();
    }
    void Forget() { lines.clear(); }

private:
    std::vector<std::string> lines;
};

void Say(std::string const & text) {
    std::cout << "   " << text << "\n";
}
void Chapter(char const * title) {
    std::cout << "\n" << title << "\n";
}

IO::Location Below(IO::Location const & folder, char const * name) {
    return IO::Location(folder, IO::Name(name));
}

// Walks a tree with Folder::Enumerate and compares each file with its original.
class Comparison {
public:
    unsigned int files = 0;
    unsigned int folders = 0;
    unsigned long long bytes = 0;

    void Compare(IO::Location const & original, IO::Location const & copy) {
        IO::Folder const folder(copy);
        Expect(folder.GetStatus(), "opening a copied folder");
        Step step{this, original, copy};
        Expect(folder.Enumerate(Visit, &step), "listing a copied folder");
        ++folders;
    }

private:
    struct Step {
        Comparison * self;
        IO::Location const & original;
        IO::Location const & copy;
    };

    static bool Visit(IO::Folder const &, IO::Name const & name, bool isFolder, void * data) {
        Step const & step = *static_cast<Step *>(data);
        IO::Location const original(step.original, name);
        IO::Location const copy(step.copy, name);
        if (isFolder)
            step.self->Compare(original, copy);
        else
            step.self->CompareFiles(original, copy);
        return true;
    }

    void CompareFiles(IO::Location const & original, IO::Location const & copy) {
        IO::File first(original);
        IO::File second(copy);
        Expect(first.Open(IO::File::OpenMode::ReadOnlySharedToReadWrite), "opening an original");
        Expect(second.Open(IO::File::OpenMode::ReadOnly), "opening a copy");
        std::vector<char> a(65536);
        std::vector<char> b(65536);
        for (MuErrCode status = IO::NoError; status == IO::NoError;) {
            unsigned int fromFirst = 0;
            unsigned int fromSecond = 0;
            status = first.ReadBin(a.data(), 65536, &fromFirst);
            second.ReadBin(b.data(), 65536, &fromSecond);
            Expect(std::string_view(a.data(), fromFirst) == std::string_view(b.data(), fromSecond),
                   "a copy differs from its original");
            Expect(status == IO::NoError || status == IO::EOI, "reading an original failed");
            bytes += fromFirst;
        }
        ++files;
    }
};

/// Three poems' worth of file system: read-only files that live in this program.
class Library : public IO::FixedVFS {
    struct Book {
        char const * title;
        std::string_view text;
    };
    static constexpr Book books[] = {
        {"kestrel.txt", "A kestrel hangs above the field,\nand nothing moves that it can't see.\n"},
        {"wind.txt", "The wind holds still for it.\n"},
    };

    class BookEntry : public IO::ReadOnlyFileEntry {
    public:
        BookEntry(Library & library, Book const & book) : library(library), book(book) {}
        OpenStatus Open(OpenMode mode) override {
            position = 0;
            bool const reads = mode == OpenMode::Read || mode == OpenMode::ReadShared;
            return reads ? OpenStatus::Done : OpenStatus::AccessDenied;
        }
        ReadStatus Read(char * destination, unsigned int count, unsigned int * read) override {
            *read = static_cast<unsigned int>(book.text.substr(position).copy(destination, count));
            position += *read;
            return *read < count ? ReadStatus::EndOfFile : ReadStatus::Done;
        }
        SeekStatus Seek(SeekOrigin origin, long long offset, unsigned long long * now) override {
            long long const length = static_cast<long long>(book.text.size());
            long long const from = origin == SeekOrigin::Beginning ? 0
                                   : origin == SeekOrigin::Current
                                       ? static_cast<long long>(position)
                                       : length;
            if (offset < -from || offset > length - from)
                return SeekStatus::IllegalPosition;
            *now = position = static_cast<std::size_t>(from + offset);
            return SeekStatus::Done;
        }
        CloseStatus Close() override { return CloseStatus::Done; }
        LengthStatus GetDataLength(unsigned long long * length) override {
            *length = book.text.size();
            return LengthStatus::Done;
        }
        TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override {
            *type = *creator = 0;
            return TypeStatus::Done;
        }
        TimeStatus GetCreationTime(int * time) override { return GetModificationTime(time); }
        TimeStatus GetModificationTime(int * time) override {
            *time = 0;
            return TimeStatus::Done;
        }
        IO::BaseFileSystem * GetOwnerFileSystem() override { return &library; }

    private:
        Library & library;
        Book const & book;
        std::size_t position = 0;
    };

    class ShelfEntry : public IO::ReadOnlyFolderEntry {
    public:
        explicit ShelfEntry(Library & library) : library(library) {}
        CopyStatus Copy(IO::Name const &, FolderEntry &, IO::Name const &) override {
            return CopyStatus::AccessDenied;
        }
        GetTypeStatus GetType(IO::Name const & name, EntryType * type) override {
            *type = EntryType::File;
            return Find(name) != nullptr ? GetTypeStatus::Done : GetTypeStatus::EntryNotFound;
        }
        EnumerateStatus Enumerate(IO::EntryEnumerator & enumerator) override {
            for (Book const & book : books)
                if (!enumerator.EntryFound(IO::Name(book.title), false))
                    return EnumerateStatus::Stopped;
            return EnumerateStatus::Done;
        }
        TimeStatus GetCreationTime(int * time) override { return GetModificationTime(time); }
        TimeStatus GetModificationTime(int * time) override {
            *time = 0;
            return TimeStatus::Done;
        }
        bool IsReadable() override { return true; }
        AttributeStatus IsOnLocalVolume(bool * local) override {
            *local = true;
            return AttributeStatus::Done;
        }
        AttributeStatus IsOnFixedVolume(bool * fixed) override {
            *fixed = false;
            return AttributeStatus::Done;
        }
        IO::BaseFileSystem * GetOwnerFileSystem() override { return &library; }

    private:
        Library & library;
    };

    static Book const * Find(IO::Name const & name) {
        for (Book const & book : books)
            if (name == book.title)
                return &book;
        return nullptr;
    }

public:
    void Mounted(IO::Location const & location) override { mountPoint = location; }
    void Unmounted() override { mountPoint.Clear(); }

    ConnectStatus Connect(IO::Location * location, IO::FolderEntry ** entry) override {
        if (*location != mountPoint)
            return ConnectStatus::NotFound;
        *entry = new ShelfEntry(*this);
        return ConnectStatus::Connected;
    }
    ConnectStatus Connect(IO::Location * location, IO::FileEntry ** entry) override {
        IO::Name name;
        location->GetLastLocalName(&name);
        Book const * const book = Find(name);
        if (book == nullptr || location->GetLocalLength() != mountPoint.GetLocalLength() + 1)
            return ConnectStatus::NotFound;
        *entry = new BookEntry(*this, *book);
        return ConnectStatus::Connected;
    }
    void Disconnect(IO::FolderEntry * entry) override { delete entry; }
    void Disconnect(IO::FileEntry * entry) override { delete entry; }

private:
    IO::Location mountPoint;
};

class Tour {
public:
    Tour(std::string program, IO::Location source)
        : program(std::move(program)), source(std::move(source)) {}

    void Run() {
        Prepare();
        CopyAndCompare();
        RenameAndExchange();
        FollowLinks();
        MeetWriteProtection();
        MeetShareMode();
        MountAndRead();
        TidyUp();
    }

    // A tour that stops half-way leaves nothing behind either.
    ~Tour() {
        if (!place.IsEmpty())
            IO::fileSystem.Delete(place, IO::DataSafety::IgnoreProtection,
                                  IO::AccessDeniedTreatment::Fail);
    }

private:
    void Prepare() {
        IO::Location temporary;
        Expect(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::TemporaryFolder, &temporary),
               "finding the temporary folder");
        IO::Folder folder(temporary);
        IO::Name name;
        Expect(folder.GenerateUnusedName(&name, "kestrel tour ") == 0, "no unused name");
        Expect(folder.CreateFolder(name), "making the tour's folder");
        place = IO::Location(temporary, name);
        copy = Below(place, "copy");
        Expect(IO::fileSystem.CreateFolder(copy), "making the folder of the copy");
        Mu::UniString path;
        Mu::UniString native;
        place.ToPath(&path);
        IO::ToNativePath(path, &native);
        Chapter("A place to work in");
        std::cout << "   The library calls it " << path << "\n   the system calls it  " << native
                  << "\n";
        log.Show();
    }

    static bool CopyOne(IO::Folder const & from, IO::Name const & name, bool, void * data) {
        // What a build leaves behind is no source.
        if (name == "build" || name == ".git")
            return true;
        Expect(from.Copy(name, *static_cast<IO::Folder *>(data), name), "copying");
        return true;
    }

    void CopyAndCompare() {
        Chapter("Copy a source tree, and trust nothing");
        IO::Folder const from(source);
        Expect(from.GetStatus(), "opening the source tree");
        IO::Folder to(copy);
        Expect(from.Enumerate(CopyOne, &to), "listing the source tree");
        log.Show(3);
        Comparison comparison;
        comparison.Compare(source, copy);
        Say("Read back and compared byte by byte: " + std::to_string(comparison.files) +
            " files in " + std::to_string(comparison.folders) + " folders, " +
            std::to_string(comparison.bytes) + " bytes. All equal.");
        log.Forget();
    }

    void RenameAndExchange() {
        Chapter("Rename, exchange");
        IO::Folder folder(place);
        Write("first.txt", "first\n");
        Write("second.txt", "second\n");
        log.Forget();
        Expect(folder.Rename("second.txt", "other.txt"), "renaming");
        Expect(folder.Exchange("first.txt", "other.txt"), "exchanging");
        Expect(Read("first.txt") == "second\n" && Read("other.txt") == "first\n",
               "the two files did not change places");
        Say("first.txt now holds what second.txt held, and other.txt the rest:");
        log.Show(2);
        Expect(folder.Rename("first.txt", "other.txt") == IO::ErrTargetExists,
               "a name that is taken was given away");
        Say("A name that is taken stays taken:");
        log.Show(8);
    }

    void FollowLinks() {
        Chapter("Follow a link, then break it");
        IO::Folder folder(place);
        Expect(folder.CreateLink("link.lnk", Below(place, "other.txt")), "making a link");
        log.Show();
        Expect(Read("link.lnk") == "first\n", "the link leads elsewhere");
        Say("link.lnk reads as \"first\": opening a link opens what it leads to.");
        log.Forget();
        Expect(folder.Delete("other.txt", IO::DataSafety::KeepProtected), "deleting the target");
        IO::EntryType type;
        Expect(folder.GetType("link.lnk", &type), "asking for the type of a broken link");
        Expect(type == IO::EntryType::Link, "a broken link is no link any more");
        Expect(IO::File(Below(place, "link.lnk")).GetStatus() == IO::ErrFileNotFound,
               "a broken link leads somewhere");
        Say("With its target gone it is still a link, but leads nowhere:");
        log.Show();
    }

    void MeetWriteProtection() {
        Chapter("Write protection");
        IO::Folder folder(place);
        IO::File file(folder, "first.txt");
        Expect(file.SetWriteProtection(), "protecting a file");
        MuErrCode const opened = file.Open(IO::File::OpenMode::WriteOnly);
        MuErrCode const deleted = folder.Delete("first.txt", IO::DataSafety::KeepProtected);
        if (opened == IO::NoError) {
            file.Close();
            Say("The system lets this user write all the same."); // as some do for administrators
            Expect(file.ClearWriteProtection(), "unprotecting a file");
            log.Forget();
            return;
        }
        Expect(opened == IO::ErrFileAccessDenied, "a protected file was opened for writing");
        Expect(deleted == IO::ErrFolderAccessDenied, "a protected file was deleted");
        Say("Neither opened for writing nor deleted, not even for the administrator:");
        log.Show();
        Expect(file.ClearWriteProtection(), "unprotecting a file");
        log.Forget();
    }

    void MeetShareMode() {
        Chapter("One file, two processes");
        IO::Folder folder(place);
        IO::File file(folder, "first.txt");
        Expect(file.Open(IO::File::OpenMode::WriteOnly), "opening a file");
        Expect(RunOther("first.txt") == 3, "the other process was let in");
        Say("While this process writes, another one asks to read, and gets:");
        std::cout << "      | ErrFileAccessDenied (in the other process)\n";
        file.Close();
        Expect(RunOther("first.txt") == 0, "the other process was not let in");
        Say("Closed here, it opens there.");
        log.Forget();
    }

    void MountAndRead() {
        Chapter("A file system of one's own");
        Library library;
        IO::Location const mountPoint = Below(place, "library");
        Expect(IO::fileSystem.Mount(library, mountPoint), "mounting");
        log.Show();
        ReadThrough(mountPoint);
        Expect(IO::fileSystem.Unmount(library), "unmounting");
        log.Forget();
    }

    void ReadThrough(IO::Location const & mountPoint) {
        IO::Folder const shelf(mountPoint);
        unsigned int count = 0;
        Expect(shelf.CountFiles(&count), "counting the mounted files");
        IO::Folder target(place);
        Expect(shelf.Copy("kestrel.txt", target, "poem.txt"), "copying to the disk");
        Say(std::to_string(count) + " files, none of them on a disk. One of them, copied to one:");
        std::cout << "      | " << Read("poem.txt").substr(0, 33);
    }

    void TidyUp() {
        Chapter("Leave nothing");
        Expect(IO::fileSystem.Delete(place, IO::DataSafety::IgnoreProtection,
                                     IO::AccessDeniedTreatment::Fail),
               "removing the tour's folder");
        log.Show();
        bool contained = true;
        Expect(IO::fileSystem.Contains(place, &contained), "looking for what is left");
        Expect(!contained, "something is left");
        place.Clear();
        std::cout << "\nThe tour is complete: everything was as expected.\n";
    }

    void Write(char const * name, std::string_view text) {
        IO::Folder folder(place);
        IO::File file(folder, name, IO::File::OnNotFound::Create);
        Expect(file.Open(IO::File::OpenMode::WriteOnlyEmpty), "opening a file to write");
        Expect(file.WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr),
               "writing");
        Expect(file.Close(), "closing");
    }

    std::string Read(char const * name) {
        IO::File file(Below(place, name));
        Expect(file.Open(IO::File::OpenMode::ReadOnly), "opening a file to read");
        char text[256];
        unsigned int read = 0;
        file.ReadBin(text, sizeof text, &read);
        return std::string(text, read);
    }

    // Starts this program once more, to try the file from there.
    int RunOther(char const * name) {
        Mu::UniString path;
        Below(place, name).ToPath(&path);
        std::cout.flush();
        std::string const quoted =
            "\"" + program + "\" --try \"" +
            static_cast<char const *>(path.ToCStr(0, Mu::UniString::All, MuLogCharCode)) + "\"";
#if defined(_WIN32)
        return std::system(("\"" + quoted + "\"").c_str()); // as its shell wants it
#else
        return std::system(quoted.c_str()) >> 8;
#endif
    }

    std::string program;
    IO::Location source;
    IO::Location place;
    IO::Location copy;
    Listener log;
};

int TryToOpen(char const * path) {
    IO::File file{IO::Location(path)};
    MuErrCode const status =
        file.Open(IO::File::OpenMode::ReadOnly, IO::AccessDeniedTreatment::Fail);
    return status == IO::NoError ? 0 : status == IO::ErrFileAccessDenied ? 3 : 1;
}

} // namespace

int main(int argc, char ** argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--try")
        return TryToOpen(argv[2]);
    if (argc != 2) {
        std::cerr << "usage: tour SOURCE-FOLDER\n";
        return 2;
    }
    try {
        std::filesystem::path const folder = std::filesystem::weakly_canonical(argv[1]);
        Tour(argv[0], IO::Location(IO::FromNativePath(folder))).Run();
        return 0;
    } catch (Stop const & stop) {
        std::cerr << "\nThe tour stopped: " << stop.reason << "\n";
        return 1;
    }
}
