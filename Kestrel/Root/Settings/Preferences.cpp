#include <Kestrel/Root/Settings/Preferences.h>

#include <Kestrel/Root/Internal/PreferenceText.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Platform/PreferenceFile.h>
#include <Kestrel/Root/Text/String.h>

#include <new>

namespace MuPref {

namespace {

constexpr std::size_t LargestFile = 1024 * 1024;

std::string_view View(char const * text) {
    return text != nullptr ? text : "";
}

class Root final : public IRoot, public Mu::Allocated {
public:
    Root() = default;
    ~Root() override { BMKillPtr(&text); }
    Root(Root const &) = delete;
    Root & operator=(Root const &) = delete;

    MuErrCode Load() { return Mu::Platform::ReadPreferences(LargestFile, &text, &size); }

    bool GetUInt(char const * key, char const * name, unsigned int defaultValue,
                 unsigned int * value) const override {
        *value = defaultValue;
        std::string_view found;
        return Find(key, name, &found) && Mu::ParsePreference(found, value);
    }

    bool GetText(char const * key, char const * name, char const * defaultValue,
                 Mu::String * value) const override {
        std::string_view found = View(defaultValue);
        bool const isThere = Find(key, name, &found);
        value->Assign(found.data(), static_cast<unsigned int>(found.size()));
        return isThere;
    }

private:
    bool Find(char const * key, char const * name, std::string_view * value) const {
        return Mu::FindPreference({text, size}, View(key), View(name), value);
    }

    char * text = nullptr; // owned
    std::size_t size = 0;
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
