#include <boost/filesystem.hpp>

int main() {
    return boost::filesystem::exists(boost::filesystem::path("/tmp") / "x");
}
