#include <Kestrel/IPC/ProcessInfoProvider.h>

#include <Kestrel/Process/Process.h>
#include <Kestrel/Root/Log/Quietly.h>

#include <utility>

namespace IO::IPC {

namespace {
constinit bool isOver = false; // a host's own static servers may stop after the one object
}

ProcessInfoProvider & ProcessInfoProvider::Instance() {
    static ProcessInfoProvider provider;
    return provider;
}

ProcessInfoProvider::ProcessInfoProvider() {
    Process::Descriptor process;
    if (Process::GetActualProcess(&process) == NoError) {
        Mu::UniString name(process.name.ToCStr().GetText());
        name.SetToLowerCase();
        // Again in the machine's code, which may lack the lower-case form of a letter.
        AddProcessName(name.ToCStr().GetText());
    }
    Refresh();
}

ProcessInfoProvider::~ProcessInfoProvider() {
    isOver = true;
}

ProcessInfo const & ProcessInfoProvider::This() const {
    if (thisProcess == nullptr)
        const_cast<ProcessInfoProvider *>(this)->Refresh(); // the one object is not const
    return *thisProcess;
}

bool ProcessInfoProvider::ProcessNameMatches(Process::Descriptor const & process) const {
    Name const program(process.name);
    for (Mu::UniString const & name : names) {
        if (Name(name) == program)
            return true;
        Mu::UniString withExtension(name);
        withExtension.Append(".exe");
        if (withExtension == process.name)
            return true;
    }
    return false;
}

void ProcessInfoProvider::Refresh() {
    ProcessList found;
    Mu::Array<ProcessInfo> * ofThisName = nullptr;
    unsigned int index = 0; // an array moves its elements as it grows
    int const own = Process::GetPid();
    Process::Descriptor process;
    for (int status = Process::GetFirstProcess(&process); status == NoError;
         status = Process::GetNextProcess(&process)) {
        if (!ProcessNameMatches(process))
            continue;
        Mu::Array<ProcessInfo> & sameName = found[process.name];
        sameName.Push(ProcessInfo(process));
        if (process.processId == own) {
            ofThisName = &sameName;
            index = sameName.GetSize() - 1;
        }
    }
    if (ofThisName == nullptr) {
        Process::GetActualProcess(&process);
        ownInformation = ProcessInfo(process);
    }
    list = std::move(found); // its entries keep their addresses
    thisProcess = ofThisName != nullptr ? &(*ofThisName)[index] : &ownInformation;
}

void ProcessInfoProvider::WriteServicesFile() {
    static_cast<void>(This().WriteServicesFile());
}

void ProcessInfoProvider::RenewServicesFile() noexcept {
    Mu::Quietly([] {
        Process::Descriptor process;
        if (!isOver)
            Instance().WriteServicesFile();
        else if (Process::GetActualProcess(&process) == NoError)
            static_cast<void>(ProcessInfo(process).WriteServicesFile());
    });
}

} // namespace IO::IPC
