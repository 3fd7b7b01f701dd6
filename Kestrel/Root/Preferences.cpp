#include <Kestrel/Root/Preferences.h>

#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Internal/PreferenceText.h>
#include <Kestrel/Root/Memory.h>
#include <Kestrel/Root/Platform/PreferenceFile.h>
#include <Kestrel/Root/String.h>

#include <charconv>
#include <cstring>
#include <initializer_list>
#include <new>
#include <utility>

namespace MuPref {

namespace {

constexpr std::size_t LargestFile = 1024 * 1024;

constinit Mu::LockCore fileLock; // one thread of the process at a time reads or changes the file

/// The content of a settings file, owned.
class Text {
public:
    Text() = default;
    ~Text() { BMKillPtr(&block); }
    Text(Text const &) = delete;
    Text & operator=(Text const &) = delete;

    std::string_view Get() const { return {block, size}; }
    void Swap(Text & other) {
        std::swap(block, other.block);
        std::swap(size, other.size);
    }
    MuErrCode Load() {
        BMKillPtr(&block);
        size = 0;
        return Mu::Platform::ReadPreferences(LargestFile, &block, &size);
    }
    MuErrCode Save() const { return Mu::Platform::WritePreferences(block, size); }

    MuErrCode Assign(std::initializer_list<std::string_view> parts) {
        std::size_t total = 0;
        for (std::string_view part : parts)
            total += part.size();
        if (total > LargestFile)
            return Mu::Error;
        char * const made = BMAllocatePtr(total > 0 ? total : 1, 0, 0);
        if (made == nullptr)
            return Mu::ErrMemoryFull;
        BMKillPtr(&block);
        block = made;
        size = 0;
        for (std::string_view part : parts)
            size += part.copy(block + size, part.size());
        return Mu::NoError;
    }

private:
    char * block = nullptr;
    std::size_t size = 0;
};

std::string_view View(char const * text) {
    return text != nullptr ? text : "";
}

// A last line without an end gets one before something is put behind it.
std::string_view EndLine(std::string_view before) {
    return before.empty() || before.back() == '\n' ? "" : "\n";
}

class Root final : public IRoot, public Mu::Allocated {
public:
    MuErrCode Load() {
        Mu::CoreGuard guard(fileLock);
        return text.Load();
    }

    bool GetUInt(char const * key, char const * name, unsigned int defaultValue,
                 unsigned int * value) const override {
        *value = defaultValue;
        Mu::PreferencePlace const place = Mu::FindPreference(text.Get(), View(key), View(name));
        return place.found && Mu::ParsePreference(place.value, value);
    }

    bool GetText(char const * key, char const * name, char const * defaultValue,
                 Mu::String * value) const override {
        Mu::PreferencePlace const place = Mu::FindPreference(text.Get(), View(key), View(name));
        std::string_view const found = place.found ? place.value : View(defaultValue);
        value->Assign(found.data(), static_cast<unsigned int>(found.size()));
        return place.found;
    }

    MuErrCode SetUInt(char const * key, char const * name, unsigned int value) override {
        char digits[11] = {};
        std::to_chars(digits, digits + sizeof digits - 1, value);
        return SetText(key, name, digits);
    }

    MuErrCode SetText(char const * key, char const * name, char const * value) override {
        if (!IsLegal(key, name) || !Mu::IsPreferenceValue(View(value)))
            return Mu::Error;
        return Change(View(key), View(name), value != nullptr ? value : "");
    }

    MuErrCode Remove(char const * key, char const * name) override {
        return IsLegal(key, name) ? Change(View(key), View(name), nullptr) : Mu::Error;
    }

private:
    static bool IsLegal(char const * key, char const * name) {
        return Mu::IsPreferenceKey(View(key)) && Mu::IsPreferenceName(View(name));
    }

    // A null value removes. The file is read anew, since others may have changed it; one that
    // cannot be read is not written either, since what is in it would be lost.
    MuErrCode Change(std::string_view key, std::string_view name, char const * value) {
        Mu::CoreGuard guard(fileLock);
        Text present, changed;
        MuErrCode status = present.Load();
        if (status == Mu::NoError)
            status = Compose(present.Get(), key, name, value, changed);
        if (status == Mu::NoError)
            status = changed.Save();
        if (status == Mu::NoError)
            text.Swap(changed);
        return status == Mu::InputFailure || status == Mu::Error ? Mu::OutputClosed : status;
    }

    static MuErrCode Compose(std::string_view all, std::string_view key, std::string_view name,
                             char const * value, Text & changed) {
        Mu::PreferencePlace const place = Mu::FindPreference(all, key, name);
        std::size_t const begin = place.found     ? place.lineBegin
                                  : place.section ? place.insertion
                                                  : all.size();
        std::string_view const before = all.substr(0, begin);
        std::string_view const behind = all.substr(place.found ? place.lineEnd : begin);
        if (value == nullptr)
            return changed.Assign({before, place.found ? behind : all.substr(begin)});
        if (place.section)
            return changed.Assign({before, EndLine(before), name, " = ", value, "\n", behind});
        return changed.Assign({before, EndLine(before), before.empty() ? "" : "\n", "[", key, "]\n",
                               name, " = ", value, "\n"});
    }

    Text text;
};

} // namespace

IRoot * OpenRootKey(RootKeyDomain domain) {
    if (domain != UserDomain)
        return nullptr;
    void * const place = Mu::NewOperator(sizeof(Root));
    if (place == nullptr)
        return nullptr;
    Root * const root = ::new (place) Root;
    if (root->Load() != Mu::ErrMemoryFull)
        return root;
    delete root;
    return nullptr;
}

void CloseRootKey(IRoot ** root) {
    if (root == nullptr)
        return;
    delete static_cast<Root *>(*root);
    *root = nullptr;
}

} // namespace MuPref
