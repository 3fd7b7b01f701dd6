#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/LentAddress.h>
#include <Kestrel/Location/Internal/LocationExtra.h>
#include <Kestrel/Location/Internal/URLNames.h>

#include <algorithm>
#include <cstring>

namespace IO {

namespace {

using Text = std::u16string_view;

constexpr Text UserMarks = u"$+-._!'()*,&;=?";

bool IsLowerOrDigit(char16_t unit) {
    return Mu::UniChar(unit).IsLower() || Mu::UniChar(unit).IsDigit();
}

bool IsScheme(Text text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char16_t unit) {
        return IsLowerOrDigit(unit) || Text(u"+-.").find(unit) != Text::npos;
    });
}

bool IsEscape(Text text) {
    return text.size() >= 3 && text[0] == '%' && Mu::UniChar(text[1]).IsHexaDigit() &&
           Mu::UniChar(text[2]).IsHexaDigit();
}

bool IsUserOrPassword(Text text) {
    while (!text.empty()) {
        Mu::UniChar const unit(text[0]);
        bool const escape = IsEscape(text);
        if (!escape && !unit.IsAlpha() && !unit.IsDigit() && UserMarks.find(text[0]) == Text::npos)
            return false;
        text.remove_prefix(escape ? 3 : 1);
    }
    return true;
}

// The parts of a URL, still encoded.
struct Pieces {
    Location::NetworkModel model = Location::SchemeModel;
    Text scheme; // empty unless the model is SchemeModel
    Text user;
    Text password;
    Text host;
    unsigned short port = 0;
    Text path;
    bool isEmpty = false; // neither authority nor path
};

bool TakeScheme(Text & rest, Pieces & pieces) {
    std::size_t const end = rest.find(u':');
    if (end == Text::npos)
        return false;
    Text const scheme = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    if (Location::ConvertStringToNetworkModel(Mu::UniString(scheme), &pieces.model))
        return true;
    pieces.scheme = scheme;
    return IsScheme(scheme);
}

bool TakeUser(Text & authority, Pieces & pieces) {
    std::size_t const end = authority.find(u'@');
    if (end == Text::npos)
        return true;
    pieces.user = authority.substr(0, end);
    authority.remove_prefix(end + 1);
    // Kept: a ":" in the last place belongs to the user, who is then rejected for it.
    std::size_t const colon = pieces.user.find(u':');
    if (colon != Text::npos && colon + 1 != pieces.user.size()) {
        pieces.password = pieces.user.substr(colon + 1);
        pieces.user = pieces.user.substr(0, colon);
    }
    return IsUserOrPassword(pieces.user) && IsUserOrPassword(pieces.password);
}

bool TakePort(Text & authority, Pieces & pieces) {
    std::size_t const colon = authority.find(u':');
    if (colon == Text::npos)
        return true;
    Mu::UniString const text(authority.substr(colon + 1));
    authority = authority.substr(0, colon);
    int number = 0;
    if (!text.IsEmpty() && text.Scanf("%d", &number) != 1)
        return false;
    pieces.port = static_cast<unsigned short>(number);
    return number >= 0 && number <= 65535;
}

bool Split(Text url, Pieces & pieces) {
    Text rest = SkipURLMark(url);
    if (!TakeScheme(rest, pieces) || !rest.starts_with(u"//"))
        return false;
    rest.remove_prefix(2);
    std::size_t const slash = std::min(rest.find(u'/'), rest.size());
    Text authority = rest.substr(0, slash);
    pieces.path = rest.substr(std::min(slash + 1, rest.size()));
    pieces.isEmpty = authority.empty() && pieces.path.empty();
    if (!TakeUser(authority, pieces) || !TakePort(authority, pieces))
        return false;
    pieces.host = authority;
    return true;
}

// The last label is the most significant one and comes first.
void AppendHost(Address & network, Text host) {
    if (host.empty())
        return;
    for (;;) {
        std::size_t const dot = host.rfind(u'.');
        AppendNameOfURL(network, dot == Text::npos ? host : host.substr(dot + 1));
        if (dot == Text::npos)
            return;
        host = host.substr(0, dot);
    }
}

bool IsLocalHost(Address const & network) {
    Name name;
    return network.GetLength() == 1 && network.GetLastName(&name) == NoError && name == "localhost";
}

void AppendUserTo(Mu::UniString & url, Location const & location) {
    url.Append(location.GetUserName());
    if (!location.GetPassword().IsEmpty()) {
        url.Append(Mu::UniChar(':'));
        url.Append(location.GetPassword());
    }
    // Kept: a password without a user has no "@" behind it.
    if (!location.GetUserName().IsEmpty())
        url.Append(Mu::UniChar('@'));
}

MuErrCode AppendHostTo(Mu::UniString & url, Location const & location) {
    unsigned int const count = location.GetNetworkLength();
    if (count == 0 && location.GetNetworkModel() == Location::SchemeModel)
        url.Append("localhost");
    Name name;
    for (unsigned int i = count; i-- != 0;) {
        MuErrCode const status = location.GetNetworkName(i, &name);
        if (status != NoError)
            return status;
        EncodeURLName(&name, EscapedInURL);
        url.Append(name.ToString());
        if (i != 0)
            url.Append(Mu::UniChar('.'));
    }
    return NoError;
}

} // namespace

// Called for every text of a path. The C library searches many bytes at a time; a byte it finds may
// be half of another unit, which the comparison detects.
bool Location::IsURL(Mu::UniString const & text) {
    Text const units = text;
    char const * const begin = reinterpret_cast<char const *>(units.data());
    char const * const end = begin + units.size() * sizeof(char16_t);
    for (char const * at = begin;; ++at) {
        at = static_cast<char const *>(std::memchr(at, ':', static_cast<std::size_t>(end - at)));
        if (at == nullptr)
            return false;
        if (units.substr(static_cast<std::size_t>(at - begin) / 2, 3) == u"://")
            return true;
    }
}

bool Location::IsValidScheme(Mu::UniString const & text) {
    return IsScheme(text);
}

bool Location::IsValidUserName(Mu::UniString const & text) {
    return IsValidUserNameOrPassword(text);
}

bool Location::IsValidPassword(Mu::UniString const & text) {
    return IsValidUserNameOrPassword(text);
}

bool Location::IsValidUserNameOrPassword(Mu::UniString const & text) {
    return IsUserOrPassword(text);
}

MuErrCode Location::ToURL(Mu::UniString * url) const {
    MuErrCode const refusal = Check(url == nullptr);
    if (refusal != NoError)
        return refusal;
    if (networkModel == SchemeModel && GetScheme().IsEmpty())
        return ErrNoScheme;
    return WithoutException([&] {
        Mu::UniString text(networkModel == SchemeModel
                               ? GetScheme()
                               : ConvertNetworkModelToString(GetNetworkModel()));
        text.Append("://");
        AppendUserTo(text, *this);
        MuErrCode const status = AppendHostTo(text, *this);
        if (status != NoError)
            return status;
        if (port != 0)
            text.Append(Mu::UniString::Printf(":%d", port));
        if (!IsRoot() || GetNetworkLength() == 0)
            text.Append(Mu::UniChar('/'));
        AppendNamesToURL(text, *Lend(local), EscapedInURL);
        url->Swap(text);
        return NoError;
    });
}

bool Location::ResolveURL(Mu::UniString const & text) {
    Mu::UniString const url(text); // which may be one of the strings that are about to be replaced
    Pieces pieces;
    if (!Split(url, pieces))
        return false;
    // Kept: a URL that names nothing changes the model and leaves the names as they were.
    if (!pieces.isEmpty) {
        Clear();
        SetText(&Extra::scheme, Mu::UniString(pieces.scheme));
        SetText(&Extra::userName, Mu::UniString(pieces.user));
        SetText(&Extra::password, Mu::UniString(pieces.password));
        port = pieces.port;
        AppendHost(*Lend(network), pieces.host);
        if (pieces.model != SchemeModel && IsLocalHost(*Lend(network)))
            (void)Lend(network)->DeleteLastName(); // a failure remains in the address
        AppendNamesOfURL(*Lend(local), pieces.path);
    }
    networkModel = static_cast<unsigned char>(pieces.model);
    return true;
}

} // namespace IO
