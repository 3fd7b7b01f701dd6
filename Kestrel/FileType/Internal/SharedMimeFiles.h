#pragma once

#include <Kestrel/FileType/Internal/ContentRules.h>
#include <Kestrel/FileType/SharedMimeTypes.h>
#include <Kestrel/Root/Array.h>

#include <string_view>
#include <utility>

namespace FTM {

// The files of a shared MIME catalogue, each from a text that is whole in memory. What is read
// refers into that text. All of these throw Mu::OutOfMemoryException, and return false for what is
// no such file.

/// Two names in a line: of aliases the other one and the type, of subclasses the type and its
/// parent, of icons the type and the icon.
struct SharedMimePair {
    std::string_view first;
    std::string_view second;
};

struct SharedMimeGlob {
    unsigned int weight;
    std::string_view mime;
    std::string_view pattern;
    bool respectsCase;
};

struct SharedMimeRule {
    std::string_view mime;
    ContentRules::Rule rule; // in the order of the bytes of a file
};

/// Whether the text can be the name of a type: two halves, no longer than a FileType takes it.
bool IsMimeName(std::string_view text);

bool ReadSharedMimePairs(std::string_view text, char separator, Mu::Array<SharedMimePair> & pairs);
bool ReadSharedMimeGlobs(std::string_view text, Mu::Array<SharedMimeGlob> & globs);
/// Values that are written as numbers of this machine are turned round where they lie, in `text`.
bool ReadSharedMimeMagic(char * text, std::size_t size, Mu::Array<SharedMimeRule> & rules);

} // namespace FTM
