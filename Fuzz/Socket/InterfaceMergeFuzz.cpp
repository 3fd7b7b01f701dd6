// Interface tables of any content against the restatement that the tests have.

#include "Fuzz/Support/FuzzInput.h"
#include "Tests/Support/Socket/DrawnTables.h"

#include <Kestrel/Socket/Internal/MergeInterfaces.h>

namespace {

class InputDraw final : public Tests::Draw {
public:
    InputDraw(std::uint8_t const * data, std::size_t size) : input(data, size) {}
    unsigned int operator()(unsigned int limit) override {
        return (limit > 256 ? input.TakeNumber() : input.TakeByte()) % limit;
    }

private:
    Fuzz::FuzzInput input;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    InputDraw draw(data, size);
    IO::Socket::InterfaceTables const tables = Tests::DrawTables(draw);
    Mu::PagedArray<IO::Socket::NetworkInterface> result;
    IO::Socket::MergeInterfaces(tables, result);
    std::vector<std::string> const expected = Tests::GetExpected(tables);
    Fuzz::Require(expected.size() == result.GetSize());
    for (unsigned int i = 0; i < result.GetSize(); ++i)
        Fuzz::Require(Tests::Describe(result[i]) == expected[i]);
    return 0;
}
