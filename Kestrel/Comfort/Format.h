#pragma once

// For hosts that have {fmt}: locations, names, texts and statuses in its formats, as in
//
//     fmt::print("{:<30} {}\n", name, IO::GetSize(location));
//
// with fill, alignment, width and precision of a text. Include it by name: Kestrel/Comfort.h leaves
// it out, and without {fmt} it is empty.

#if __has_include(<fmt/format.h>)

#include <Kestrel/Comfort/Result.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/RelativeLocation.h>

#include <fmt/format.h>

#include <string>

namespace IO {

// Each as its operator << writes it.

template <typename T>
std::string ToFormatText(T const & value) {
    return std::string(value);
}
inline std::string ToFormatText(RelativeLocation const & location) {
    std::string text;
    Name name;
    for (unsigned int i = 0; location.GetName(i, &name) == NoError; ++i)
        text += (i == 0 ? "" : "/") + ToFormatText(name);
    return text;
}
inline std::string ToFormatText(Status const & status) {
    return status.GetText();
}
template <typename T>
std::string ToFormatText(Result<T> const & result) {
    return result ? fmt::format("{}", *result) : result.GetError().message();
}

template <typename T>
struct TextFormatter : fmt::formatter<fmt::string_view> {
    template <typename Context>
    auto format(T const & value, Context & context) const {
        return fmt::formatter<fmt::string_view>::format(ToFormatText(value), context);
    }
};

} // namespace IO

template <>
struct fmt::formatter<Mu::UniString> : IO::TextFormatter<Mu::UniString> {};
template <>
struct fmt::formatter<IO::Name> : IO::TextFormatter<IO::Name> {};
template <>
struct fmt::formatter<IO::Location> : IO::TextFormatter<IO::Location> {};
template <>
struct fmt::formatter<IO::RelativeLocation> : IO::TextFormatter<IO::RelativeLocation> {};
template <>
struct fmt::formatter<IO::Status> : IO::TextFormatter<IO::Status> {};
template <typename T>
struct fmt::formatter<IO::Result<T>> : IO::TextFormatter<IO::Result<T>> {};

#endif
