// A complete host in thirty lines: write a file, read it back, list its folder, tidy up.

#include <Kestrel/Kestrel.h>

#include <iostream>

static bool Show(IO::Folder const &, IO::Name const & name, bool isFolder, void *) {
    std::cout << (isFolder ? "folder " : "file   ") << name << "\n";
    return true; // go on
}

int main() {
    IO::Location place;
    IO::fileSystem.GetSpecialLocation(IO::SpecLocId::TemporaryFolder, &place);
    place.AppendToLocal("kestrel-hello");
    IO::Folder folder(place, IO::Folder::OnNotFound::Create);

    IO::File file(folder, "numbers.bin", IO::File::OnNotFound::Create);
    if (file.Open(IO::File::OpenMode::WriteOnlyEmpty) != IO::NoError)
        return 1; // the log says why
    for (int i = 0; i < 10; ++i)
        file.Write(i * i); // four bytes each, low byte first, on any platform
    file.Close();

    int value = 0;
    if (file.Open(IO::File::OpenMode::ReadOnly) != IO::NoError)
        return 1;
    while (file.Read(value) == IO::NoError)
        std::cout << value << " ";
    std::cout << "\n";
    file.Close();

    folder.Enumerate(Show, nullptr);
    return IO::fileSystem.Delete(place, IO::DataSafety::KeepProtected,
                                 IO::AccessDeniedTreatment::Fail) == IO::NoError
               ? 0
               : 1;
}
