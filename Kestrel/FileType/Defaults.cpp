#include <Kestrel/FileType/Defaults.h>

#include <Kestrel/FileType/FileTypeManager.h>

namespace FTM {

namespace {

constexpr unsigned int Code(char const (&text)[5]) {
    unsigned int code = 0;
    for (unsigned int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(text[i]);
    return code;
}

struct DefaultGroup {
    char const * name;
    GroupID & id;
};

struct DefaultType {
    char const * description;
    char const * extensions;
    unsigned int creator;
    unsigned int code;
    int icon;
    ContentTest & test;
    char const * mime;
    GroupID & group;
    TypeID & id;
};

} // namespace

void LoadFTMDefaults(FileTypeManager * manager) {
    if (manager == nullptr)
        return;
    DefaultGroup const groups[] = {{"Images", ImageGroup}, {"Documents", DocumentGroup}};
    for (DefaultGroup const & group : groups)
        group.id = manager->AddGroup(group.name, RootGroup, nullptr);

    // The icons have a meaning only for the application. The question marks are escaped, since two
    // in a row can start another character.
    unsigned int const house = Code("MUPM");
    unsigned int const marked = Code("\?!\?!");
    unsigned int const blank = Code("    ");
    DefaultType const types[] = {
        {"Text File", "txt", house, Code("TEXT"), -1, TextTypeCallback, "text/plain", DocumentGroup,
         TextFileType},
        {"TIFF File", "tif;tiff", house, Code("TIFF"), 206, TIFFTypeCallback, "image/tiff",
         ImageGroup, TIFFFileType},
        {"JPEG File", "jpg;jpeg", house, Code("JPEG"), 207, JPEGTypeCallback, "image/jpeg",
         ImageGroup, JPEGFileType},
        {"Bitmap File", "bmp", house, Code("PICT"), -1, BMPTypeCallback, "image/bmp", ImageGroup,
         BMPFileType},
        {"Windows Enhanced Metafile", "emf", marked, Code("PICT"), -1, EMFTypeCallback, "image/emf",
         ImageGroup, EMFFileType},
        {"Windows Metafile", "wmf", marked, Code("PICT"), -1, WMFTypeCallback, "image/wmf",
         ImageGroup, WMFFileType},
        {"HTML File", "htm;html", blank, Code("HTML"), -1, HTMTypeCallback, "text/html",
         DocumentGroup, HTMFileType},
        {"PDF File", "pdf", blank, Code("PDF "), -1, PDFTypeCallback, "application/pdf",
         DocumentGroup, PDFFileType},
    };
    for (DefaultType const & row : types) {
        FileType const type(row.description, row.extensions, row.creator, row.code, row.icon,
                            &row.test, row.mime, true);
        row.id = manager->AddType(type, row.group);
    }
}

} // namespace FTM
