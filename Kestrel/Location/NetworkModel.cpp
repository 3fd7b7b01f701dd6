#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/URLNames.h>

namespace IO {

namespace {

struct ModelText {
    char16_t const * text;
    Location::NetworkModel model;
    bool isWritten; // of several texts for one model
};

constexpr ModelText ModelTexts[] = {
    {u"lan", Location::HierarchicalModel, false},
    {u"lan.flat", Location::FlatModel, true},
    {u"lan.hierarchical", Location::HierarchicalModel, true},
    {u"lan.smb", Location::SmbModel, true},
    {u"lan.null", Location::NullModel, true},
    {u"lan.unknown", Location::UnknownModel, true},
    {u"lan.zone", Location::FlatModel, false},
    {u"lan.dave", Location::SmbModel, false},
};

} // namespace

bool Location::ConvertStringToNetworkModel(Mu::UniString const & text, NetworkModel * model) {
    std::u16string_view const units = text;
    if (!IsURLWord(units.substr(0, 3), u"lan"))
        return false;
    for (ModelText const & row : ModelTexts)
        if (IsURLWord(units, row.text)) {
            *model = row.model;
            return true;
        }
    return false;
}

Mu::UniString Location::ConvertNetworkModelToString(NetworkModel model) {
    for (ModelText const & row : ModelTexts)
        if (row.isWritten && row.model == model)
            return Mu::UniString(row.text);
    return Mu::UniString();
}

} // namespace IO
