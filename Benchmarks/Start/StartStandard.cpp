#include <filesystem>

int main() {
    return std::filesystem::exists(std::filesystem::path("/tmp") / "x");
}
