// A part of a program with a file type of its own: while it is there its files are known, by their
// contents where another type has the same extension, and with it they go.

#include <Kestrel/Kestrel.h>

#include <iostream>
#include <string_view>

namespace {

class Drawings {
public:
    Drawings() {
        FTM::FileType const type("Drawing", "drw", 0, 0, -1, IsDrawing, "image/x-drawing", true);
        id = manager.AddType(type, FTM::ImageGroup);
    }
    FTM::TypeID GetType() const { return id; }

private:
    static bool IsDrawing(Mu::IChannel & channel, void *) {
        char signature[4];
        return channel.ReadBin(signature, sizeof signature, nullptr) == IO::NoError &&
               std::string_view(signature, sizeof signature) == "DRAW";
    }

    FTM::FileTypeManager manager{"drawings"};
    FTM::TypeID id;
};

void Show(IO::Location const & location) {
    FTM::GeneralID const answer = FTM::FileTypeManager::Identify(location, FTM::RootGroup, nullptr);
    FTM::FileType type;
    bool const isType =
        !answer.IsGroup() && FTM::FileTypeManager::GetType(answer, &type) == IO::NoError;
    std::cout << (isType             ? type.GetDescription()
                  : answer.IsGroup() ? "(several)"
                                     : "(unknown)")
              << "\n";
}

} // namespace

int main() {
    FTM::FileTypeManager program("program");
    FTM::LoadFTMDefaults(&program);
    program.AddType(FTM::FileType("Screw driver", "drw", 0, 0, -1, nullptr, "text/x-screw", true),
                    FTM::DocumentGroup);

    IO::Location place;
    IO::fileSystem.GetSpecialLocation(IO::SpecLocId::TemporaryFolder, &place);
    place.AppendToLocal("kestrel-types.drw");
    IO::File file(place, IO::File::OnNotFound::Create);
    if (file.Open(IO::File::OpenMode::WriteOnlyEmpty) != IO::NoError)
        return 1; // the log says why
    file << "DRAW a circle";
    if (file.Close() != IO::NoError)
        return 1;

    Show(place); // Screw driver: no other type has the extension
    bool isDrawing = false;
    {
        Drawings const drawings;
        Show(place); // Drawing: two have it, and the contents decide
        isDrawing = FTM::FileTypeManager::ExactMatch(place, drawings.GetType(), FTM::RootGroup);
    }
    Show(place); // Screw driver again
    MuErrCode const deleted = IO::fileSystem.Delete(place, IO::DataSafety::KeepProtected,
                                                    IO::AccessDeniedTreatment::Fail);
    return isDrawing && deleted == IO::NoError ? 0 : 1;
}
