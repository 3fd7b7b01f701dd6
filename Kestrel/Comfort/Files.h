#pragma once

#include <Kestrel/Comfort/Paths.h>
#include <Kestrel/Comfort/Result.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/ReplacingFile.h>
#include <Kestrel/FileSystem/TransferScope.h>

#include <algorithm>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <ranges>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace IO {

/// A std::string, std::vector, std::span or array whose elements may be written as their bytes.
template <typename T>
concept Bytes = std::ranges::contiguous_range<T> && std::ranges::sized_range<T> &&
    std::is_trivially_copyable_v<std::ranges::range_value_t<T>>;

/// Writes the elements as they are in memory: right for bytes, and for values that the same machine
/// reads again. For values that are exchanged, use the channel's typed Write.
template <Bytes Range>
[[nodiscard]] MuErrCode WriteBytes(Mu::OChannel & channel, Range const & range) {
    auto const * from = reinterpret_cast<char const *>(std::ranges::data(range));
    std::size_t left = std::ranges::size(range) * sizeof(std::ranges::range_value_t<Range>);
    while (left > 0) {
        std::size_t const part = std::min<std::size_t>(left, 0x40000000);
        MuErrCode const status = channel.WriteBin(from, static_cast<unsigned int>(part), nullptr);
        if (status != NoError)
            return status;
        from += part;
        left -= part;
    }
    return NoError;
}

/// Fills all of the range. EOI: there were fewer bytes.
template <Bytes Range>
[[nodiscard]] MuErrCode ReadBytes(Mu::IChannel & channel, Range && range) {
    auto * to = reinterpret_cast<char *>(std::ranges::data(range));
    std::size_t left =
        std::ranges::size(range) * sizeof(std::ranges::range_value_t<std::remove_cvref_t<Range>>);
    while (left > 0) {
        std::size_t const part = std::min<std::size_t>(left, 0x40000000);
        MuErrCode const status = channel.ReadBin(to, static_cast<unsigned int>(part), nullptr);
        if (status != NoError)
            return status;
        to += part;
        left -= part;
    }
    return NoError;
}

/// Everything from here to the end of the channel, but at most `most` bytes: more are Error, so
/// that nothing incomplete is taken for the whole. Memory grows as the bytes arrive. A
/// TransferScope of the thread counts them, and may end it with Error.
template <typename Container = std::string>
[[nodiscard]] MuErrCode ReadRest(Mu::IChannel & channel, Container * rest,
                                 std::size_t most = static_cast<std::size_t>(-1)) {
    static_assert(sizeof(typename Container::value_type) == 1);
    rest->clear();
    for (std::size_t part = 4096;; part = std::min<std::size_t>(part * 2, 0x1000000)) {
        std::size_t const before = rest->size();
        rest->resize(before + part);
        unsigned int read = 0;
        MuErrCode const status = channel.ReadBin(reinterpret_cast<char *>(rest->data()) + before,
                                                 static_cast<unsigned int>(part), &read);
        rest->resize(before + read);
        if (rest->size() > most || !TransferScope::Add(read))
            return Error;
        if (status == EOI)
            return NoError;
        if (status != NoError)
            return status;
    }
}

/// The content of a file, as a std::string or, by `ReadAll<std::vector<std::byte>>`, any container
/// of bytes. Others may write it meanwhile only where the file system cannot prevent that.
/// Failure: those of File, File::Open and reading; Error for more than `most` bytes.
template <typename Container = std::string>
Result<Container> ReadAll(Location const & location,
                          std::size_t most = static_cast<std::size_t>(-1)) {
    return Result<Container>::From([&](Container * content) {
        File file(location);
        MuErrCode const status = file.Open(File::OpenMode::ReadOnly);
        return status != NoError ? status : ReadRest(file, content, most);
    });
}

/// Sets the content of a file, and creates it if there is none. In place: if the system ends
/// meanwhile, any part of it may be left.
/// Failure: those of File, File::Open and writing.
template <Bytes Content>
[[nodiscard]] MuErrCode WriteAll(Location const & location, Content const & content) {
    File file(location, File::OnNotFound::Create);
    MuErrCode status = file.Open(File::OpenMode::WriteOnlyEmpty);
    if (status == NoError)
        status = WriteBytes(file, content);
    MuErrCode const closed = file.Close();
    return status != NoError ? status : closed;
}

/// For a literal, without its terminator.
[[nodiscard]] inline MuErrCode WriteAll(Location const & location, char const * content) {
    return WriteAll(location, std::string_view(content));
}

/// Sets the content of a file, all or nothing, as ReplacingFile documents: for settings and
/// documents, which must not be left half-written when the system ends.
/// Failure: those of ReplacingFile; nothing of the new content is left.
template <Bytes Content>
[[nodiscard]] MuErrCode SaveByReplacing(Location const & location, Content const & content) {
    ReplacingFile file(location);
    if (file.GetStatus() == NoError)
        (void)WriteBytes(file.GetFile(), content); // Commit returns its status
    return file.Commit();
}

/// For a literal, without its terminator.
[[nodiscard]] inline MuErrCode SaveByReplacing(Location const & location, char const * content) {
    return SaveByReplacing(location, std::string_view(content));
}

/// The length of a file in bytes.
inline Result<unsigned long long> GetSize(File const & file) {
    return Result<unsigned long long>::From(
        [&](unsigned long long * size) { return file.GetDataLength(size); });
}
inline Result<unsigned long long> GetSize(Location const & location) {
    return GetSize(File(location));
}

/// When a File or a Folder was last changed, or created, as far before 1901 and after 2038 as the
/// system supports. Failure: those of File::GetTime and Folder::GetTime.
template <typename Entry>
Result<std::chrono::sys_seconds> GetTime(Entry const & entry, TimeKind kind) {
    long long seconds = 0;
    MuErrCode const status = entry.GetTime(kind, &seconds);
    using Time = std::chrono::sys_seconds;
    return status == NoError ? Result<Time>(Time(std::chrono::seconds(seconds)))
                             : Result<Time>::Failure(status);
}
template <typename Entry>
Result<std::chrono::sys_seconds> GetModificationTime(Entry const & entry) {
    return GetTime(entry, TimeKind::Modification);
}
template <typename Entry>
Result<std::chrono::sys_seconds> GetCreationTime(Entry const & entry) {
    return GetTime(entry, TimeKind::Creation);
}

/// Sets the time when a File or a Folder was last changed, truncated to seconds.
/// Failure: those of File::SetTime and Folder::SetTime.
template <typename Entry, typename Duration>
[[nodiscard]] MuErrCode
SetModificationTime(Entry & entry,
                    std::chrono::time_point<std::chrono::system_clock, Duration> time) {
    return entry.SetTime(TimeKind::Modification,
                         std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count());
}

} // namespace IO
