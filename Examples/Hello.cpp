// A complete host: write a file, read it back, list its folder, tidy up.

#include <Kestrel/Comfort.h>
#include <Kestrel/Kestrel.h>

#include <iostream>

int main() {
    Mu::LogToStandardError(); // what fails is said there, with its reason

    IO::Location place;
    if (IO::fileSystem.GetSpecialLocation(IO::SpecLocId::TemporaryFolder, &place) != IO::NoError)
        return 1;
    place /= "kestrel-hello";
    IO::Folder folder(place, IO::Folder::OnNotFound::Create);

    IO::File file(folder, "numbers.bin", IO::File::OnNotFound::Create);
    if (file.Open(IO::File::OpenMode::WriteOnlyEmpty) != IO::NoError)
        return 1;
    for (int i = 0; i < 10; ++i) // four bytes each, low byte first
        file.Write(i * i);
    if (file.Close() != IO::NoError) // the status of all of them
        return 1;

    int value = 0;
    if (file.Open(IO::File::OpenMode::ReadOnly) != IO::NoError)
        return 1;
    while (file.Read(value) == IO::NoError)
        std::cout << value << " ";
    std::cout << "\n";
    file.Close();

    for (auto const & entry : folder)
        std::cout << (entry.isFolder ? "folder " : "file   ") << entry.name << "\n";
    return IO::fileSystem.Delete(place, IO::DataSafety::KeepProtected,
                                 IO::AccessDeniedTreatment::Fail) == IO::NoError
               ? 0
               : 1;
}
