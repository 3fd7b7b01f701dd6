#include <Kestrel/IPC/ApplicationLauncher.h>

#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/IPC/ProcessInfoProvider.h>
#include <Kestrel/Process/Platform/ProcessCalls.h>

#include <iterator>

namespace IO::IPC {

namespace {

struct Application {
    Mu::String name;
    int version = 0;
};

Application & GetThisApp() {
    static Application application;
    return application;
}

ApplicationInfo * FindVersion(Mu::Array<ApplicationInfo> * versions, int version) {
    if (versions != nullptr)
        for (ApplicationInfo & application : *versions)
            if (application.GetVersion() == version)
                return &application;
    return nullptr;
}

} // namespace

void ApplicationLauncher::SetThisApp(Mu::String const & name, int version) {
    GetThisApp() = {name, version};
}

ApplicationLauncher & ApplicationLauncher::Instance() {
    static ApplicationLauncher launcher;
    return launcher;
}

ApplicationLauncher::ApplicationLauncher() {
    static_cast<void>(list.Read());
    auto const & [name, version] = GetThisApp();
    thisApplication = FindVersion(list.Find(name), version);
    if (thisApplication != nullptr)
        return;
    ApplicationInfo application;
    application.Set(name, static_cast<unsigned int>(version),
                    ProcessInfoProvider::Instance().This().GetDescriptor().path);
    Mu::Array<ApplicationInfo> & versions = list[name];
    versions.Push(application);
    thisApplication = &versions[versions.GetSize() - 1];
    static_cast<void>(list.Write());
}

ApplicationLauncher::~ApplicationLauncher() = default;

MuErrCode ApplicationLauncher::Launch(Location const & program,
                                      Mu::Array<Mu::UniString> const & parameters) {
    Mu::UniString path;
    if (MuErrCode const status = program.ToPath(&path); status != NoError)
        return status;
    Mu::UniString joined;
    for (unsigned int i = 0; i < parameters.GetSize(); ++i) {
        if (i != 0)
            joined.Append(" ");
        joined.Append(parameters[i]);
    }
    NativeUnit native[4096];
    if (ToNativePath(path, native, static_cast<unsigned int>(std::size(native))) == 0)
        return Error;
    unsigned int const error = Process::GetProcessCalls().Launch(native, joined);
    return error == FileError::None ? NoError : Error;
}

} // namespace IO::IPC
