#include <Kestrel/FileSystem/Platform/Windows/Win32.h>

#include <Kestrel/FileSystem/Platform/Windows/WidePath.h>
#include <Kestrel/FileSystem/Platform/Windows/WindowsFileCalls.h>

#include <cstring>

namespace IO {
namespace {

/// COM on the calling thread, for its own lifetime.
class Apartment {
public:
    // A thread that is in an apartment of another kind can be used as it is.
    Apartment() : entered(SUCCEEDED(::CoInitialize(nullptr))) {}
    ~Apartment() {
        if (entered)
            ::CoUninitialize();
    }
    Apartment(Apartment const &) = delete;
    Apartment & operator=(Apartment const &) = delete;

private:
    bool entered;
};

/// Holds one reference to a COM object.
template <typename Interface>
class ComPtr {
public:
    ComPtr() = default;
    ~ComPtr() {
        if (object != nullptr)
            object->Release();
    }
    ComPtr(ComPtr const &) = delete;
    ComPtr & operator=(ComPtr const &) = delete;
    Interface * operator->() const { return object; }
    void ** GetPlace() { return reinterpret_cast<void **>(&object); }

private:
    Interface * object = nullptr;
};

/// A shell link object and its interface to files.
class ShellLink {
public:
    HRESULT Make() {
        HRESULT const result = ::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                                  IID_IShellLinkW, link.GetPlace());
        return FAILED(result) ? result : link->QueryInterface(IID_IPersistFile, file.GetPlace());
    }
    ComPtr<IShellLinkW> const & GetLink() const { return link; }
    ComPtr<IPersistFile> const & GetFile() const { return file; }

private:
    Apartment apartment; // constructed first, destroyed last
    ComPtr<IShellLinkW> link;
    ComPtr<IPersistFile> file;
};

unsigned int ToError(HRESULT result) {
    unsigned int const error = static_cast<unsigned int>(HRESULT_CODE(result));
    return SUCCEEDED(result) ? FileError::None : error != 0 ? error : FileError::GeneralFailure;
}

} // namespace

LinkStatus WindowsFileCalls::ReadShellLink(PathText path, TextBuffer * target) {
    target->length = 0;
    WidePath const wide(path);
    ShellLink shell;
    if (FAILED(shell.Make()))
        return LinkStatus::Failed;
    if (wide.GetError() != FileError::None || FAILED(shell.GetFile()->Load(wide, STGM_READ)))
        return LinkStatus::NotALink;
    wchar_t text[1024] = {};
    HRESULT const result =
        shell.GetLink()->GetPath(text, static_cast<int>(std::size(text)), nullptr, SLGP_RAWPATH);
    if (result == S_FALSE || (result == S_OK && text[0] == 0))
        return LinkStatus::Broken;
    std::size_t const length = ::wcsnlen(text, std::size(text));
    if (FAILED(result) || length >= target->size)
        return LinkStatus::Failed;
    std::memcpy(target->units, text, length * sizeof(wchar_t));
    target->length = static_cast<unsigned int>(length);
    target->units[length] = 0;
    return LinkStatus::Done;
}

unsigned int WindowsFileCalls::CreateShellLink(PathText path, PathText target,
                                               PathText description) {
    WidePath const file(path);
    WidePath const to(target);
    WidePath const text(description);
    for (unsigned int const error : {file.GetError(), to.GetError(), text.GetError()})
        if (error != FileError::None)
            return error;
    ShellLink shell;
    HRESULT result = shell.Make();
    if (SUCCEEDED(result))
        result = shell.GetLink()->SetPath(to);
    if (SUCCEEDED(result))
        result = shell.GetLink()->SetDescription(text);
    if (SUCCEEDED(result))
        result = shell.GetFile()->Save(file, TRUE);
    return ToError(result);
}

} // namespace IO
