#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <sstream>

namespace Tests {

namespace fs = std::filesystem;

namespace {
// Removal must not stumble over what a test write-protected.
void Unprotect(fs::path const & path) {
    std::error_code ignored;
    for (auto const & entry : fs::recursive_directory_iterator(
             path, fs::directory_options::skip_permission_denied, ignored))
        if (!entry.is_symlink(ignored))
            fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, ignored);
}
} // namespace

TempFolder::TempFolder() {
    static std::atomic<unsigned int> counter{0};
    auto const seed = std::chrono::steady_clock::now().time_since_epoch().count();
    do
        path = fs::temp_directory_path() / ("kestrel-test-" + std::to_string(seed % 1000000000) +
                                            "-" + std::to_string(counter++));
    while (!fs::create_directory(path));
}

TempFolder::~TempFolder() {
    Unprotect(path);
    std::error_code failure;
    fs::remove_all(path, failure);
    EXPECT_FALSE(failure) << "the test's folder could not be removed: " << failure.message();
}

namespace {
std::u16string ToPortable(fs::path const & path) {
    std::u16string text = path.u16string();
    std::replace(text.begin(), text.end(), u'/', u'\\');
    return text.starts_with(u'\\') ? u"C:" + text : text;
}
} // namespace

std::u16string TempFolder::GetPortable() const {
    return ToPortable(path);
}
std::u16string TempFolder::GetPortable(std::string const & name) const {
    return ToPortable(path / name);
}

void TempFolder::Write(std::string const & name, std::string const & content) const {
    std::ofstream(path / name, std::ios::binary) << content;
}

std::string TempFolder::Read(std::string const & name) const {
    std::ostringstream content;
    content << std::ifstream(path / name, std::ios::binary).rdbuf();
    return content.str();
}

} // namespace Tests
