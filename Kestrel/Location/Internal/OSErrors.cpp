#include <Kestrel/Location/Internal/OSErrors.h>

#include <Kestrel/Location/CLib.h>
#include <Kestrel/Root/Log/LogLine.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Threads/Lock.h>

#include <algorithm>

namespace IO {

namespace {

class OSErrors {
public:
    constexpr OSErrors() = default;

    void Add(char const * entry) {
        unsigned int const size = CLib::StrLen(entry);
        // Old entries that no line has reported are discarded for the newest.
        if (length + size >= LargestSize)
            Empty();
        char const * const separator = length == 0 ? "" : ", ";
        unsigned int const added = CLib::StrLen(separator) + size;
        if (!valid || !Reserve(length + added + 1)) {
            valid = false;
            return;
        }
        CLib::StrCpy(text + length, separator);
        CLib::StrCat(text + length, entry);
        length += added;
    }

    void Clear() {
        if (text != inside)
            BMKillPtr(&text);
        text = inside;
        capacity = InsideSize;
        Empty();
        valid = true;
    }

    char const * Get() const { return valid ? text : nullptr; }

    OSErrorMark Mark() const { return {length, beginnings}; }
    void Forget(OSErrorMark const & mark) {
        if (mark.beginnings != beginnings || mark.length >= length)
            return;
        length = mark.length;
        text[length] = 0;
    }

    Mu::SpinLock lock;

private:
    void Empty() {
        length = 0;
        text[0] = 0;
        ++beginnings;
    }

    bool Reserve(unsigned int size) {
        if (size <= capacity)
            return true;
        unsigned int const newCapacity = std::max(size, 2 * capacity);
        char * larger = BMAllocatePtr(newCapacity, 0, 0);
        if (larger == nullptr)
            return false;
        CLib::StrCpy(larger, text);
        if (text != inside)
            BMKillPtr(&text);
        text = larger;
        capacity = newCapacity;
        return true;
    }

    static constexpr unsigned int InsideSize = 256;
    static constexpr unsigned int LargestSize = 16384; // every entry is much shorter

    char inside[InsideSize] = {};
    char * text = inside; // `inside`, or a block of its own
    unsigned int capacity = InsideSize;
    unsigned int length = 0; // < capacity
    unsigned int beginnings = 0;
    bool valid = true;
};

constinit OSErrors errors;

} // namespace

void AddOSError(char const * text) noexcept {
    Mu::LockGuard guard(errors.lock);
    errors.Add(text);
}

char const * GetOSErrors() noexcept {
    Mu::LockGuard guard(errors.lock);
    return errors.Get();
}

void AppendOSErrors(Mu::LogComposer & composer) noexcept {
    Mu::LockGuard guard(errors.lock);
    composer.Append(errors.Get());
}

OSErrorMark MarkOSErrors() noexcept {
    Mu::LockGuard guard(errors.lock);
    return errors.Mark();
}

void ForgetOSErrors(OSErrorMark const & mark) noexcept {
    Mu::LockGuard guard(errors.lock);
    errors.Forget(mark);
}

void ClearOSErrors() noexcept {
    Mu::LockGuard guard(errors.lock);
    errors.Clear();
}

} // namespace IO
