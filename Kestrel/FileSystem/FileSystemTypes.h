#pragma once

// The small enumerations that files, folders, entries and file systems share. Each class that uses
// one offers it under its own name as well: IO::Folder::EntryType is IO::EntryType.

namespace IO {

/// The type of an entry.
enum class EntryType : unsigned int { File = 0, Folder = 1, Link = 2 };

/// Which of the times of an entry.
enum class TimeKind : unsigned int { Creation = 0, Modification = 1 };

/// How much of its disk an entry uses, as the system accounts for it.
struct DiskUse {
    /// False for entries of a file system without a disk of its own, such as a mounted one; all other
    /// members are 0 then.
    bool isOnDisk = false;
    /// The size of the allocated blocks: more than the length of a small file, less than that of one
    /// with holes or compressed content. Of a folder its own blocks, without its entries.
    unsigned long long bytes = 0;
    unsigned long long names = 0; ///< the number of hard links
    // Both are equal for all hard links to one file, so that a sum can count it once.
    unsigned long long volume = 0;
    unsigned long long id = 0;
};

/// How an operation treats write-protected entries.
enum class DataSafety : unsigned int {
    KeepProtected = 0,   ///< do not change them
    IgnoreProtection = 1 ///< treat them like the others
};

/// What an operation does if another program holds the entry.
enum class AccessDeniedTreatment : unsigned int {
    Fail = 0,        ///< fail at once
    RetryAlways = 1, ///< retry at once, as often as the retry duration has intervals
    RetryPrivate = 2 ///< retry on private locations only, with a pause before each attempt
};

/// Places that exist on every platform.
enum class SpecLocId : unsigned int {
    System = 0,
    ApplicationFile = 1,
    ApplicationFolder = 2,
    CurrentFolder = 3,
    UserLocalSettings = 4,
    UserLocalData = 5,
    UserLocalCache = 6,
    UserLocalLog = 7,
    UserRoamingSettings = 8,
    CommonLocalSettings = 9,
    Desktop = 10,
    TemporaryFolder = 11,
    UserDocuments = 12,
    CommonDocuments = 13,
    CommonLocalData = 14,
    CommonLocalLogs = 15,
    UserHome = 16,
    SharedComponents = 17
};

} // namespace IO
