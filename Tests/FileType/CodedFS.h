#pragma once

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/ReadOnlyFileEntry.h>
#include <Kestrel/Location/Location.h>

#include <algorithm>
#include <list>
#include <map>
#include <string>

namespace Tests {

/// Files that have a type code, which no disk here keeps, and that can be made to fail.
class CodedFS : public IO::FixedVFS {
public:
    struct Content {
        unsigned int code = 0;
        std::string bytes;
        bool refusesOpen = false;
        bool refusesSeek = false;
        bool refusesClose = false;
    };

    CodedFS() : place(u"C:\\no such folder 8352\\coded") { IO::fileSystem.Mount(*this, place); }
    ~CodedFS() override { IO::fileSystem.Unmount(*this); }

    IO::Location operator/(std::string const & name) const {
        return IO::Location(place, IO::Name(name.c_str()));
    }

    std::map<std::string, Content> files;
    unsigned int connects = 0;
    unsigned int opens = 0;

    void Mounted(IO::Location const &) override {}
    void Unmounted() override {}
    ConnectStatus Connect(IO::Location *, IO::FolderEntry **) override {
        return ConnectStatus::NotFound;
    }
    ConnectStatus Connect(IO::Location * location, IO::FileEntry ** entry) override {
        IO::Name name;
        location->GetLastLocalName(&name);
        auto const found = files.find(name.ToString().ToCStr().GetText());
        if (found == files.end())
            return ConnectStatus::NotFound;
        ++connects;
        *entry = &entries.emplace_back(*this, found->second);
        return ConnectStatus::Connected;
    }
    void Disconnect(IO::FolderEntry *) override {}
    void Disconnect(IO::FileEntry * entry) override {
        entries.remove_if([&](Entry const & each) { return &each == entry; });
    }

private:
    class Entry : public IO::ReadOnlyFileEntry {
    public:
        Entry(CodedFS & owner, Content const & content) : owner(owner), content(content) {}

        IO::BaseFileSystem * GetOwnerFileSystem() override { return &owner; }
        TimeStatus GetCreationTime(int *) override { return TimeStatus::AccessDenied; }
        TimeStatus GetModificationTime(int *) override { return TimeStatus::AccessDenied; }
        OpenStatus Open(OpenMode) override {
            ++owner.opens;
            position = 0;
            return content.refusesOpen ? OpenStatus::Other : OpenStatus::Done;
        }
        ReadStatus Read(char * destination, unsigned int count, unsigned int * read) override {
            *read = static_cast<unsigned int>(
                content.bytes.copy(destination, count, std::min(position, content.bytes.size())));
            position += *read;
            return *read < count ? ReadStatus::EndOfFile : ReadStatus::Done;
        }
        SeekStatus Seek(SeekOrigin origin, long long offset, unsigned long long * now) override {
            if (content.refusesSeek)
                return SeekStatus::Other;
            position = static_cast<std::size_t>(
                origin == SeekOrigin::Current ? static_cast<long long>(position) + offset : offset);
            *now = position;
            return SeekStatus::Done;
        }
        CloseStatus Close() override {
            return content.refusesClose ? CloseStatus::Other : CloseStatus::Done;
        }
        LengthStatus GetDataLength(unsigned long long * length) override {
            *length = content.bytes.size();
            return LengthStatus::Done;
        }
        TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override {
            *type = content.code;
            *creator = 0;
            return TypeStatus::Done;
        }

    private:
        CodedFS & owner;
        Content const & content;
        std::size_t position = 0;
    };

    IO::Location place;
    std::list<Entry> entries;
};

} // namespace Tests
