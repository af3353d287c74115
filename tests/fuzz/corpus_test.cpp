// The fuzz targets of this program, each with the inputs of its corpus: they are compiled, and hold what they
// promise, without a fuzzer too.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace fs = std::filesystem;

#define TARGET(name) extern "C" int Try_##name(const std::uint8_t* data, std::size_t size);
FUZZ_TARGETS
#undef TARGET

namespace {

struct Target {
  const char* name;
  int (*try_input)(const std::uint8_t* data, std::size_t size);
};

std::ostream& operator<<(std::ostream& out, const Target& target) {
  return out << target.name;
}

class CorpusTest : public testing::TestWithParam<Target> {};

// A property that does not hold ends the program.
TEST_P(CorpusTest, EveryInputHoldsWhatTheTargetPromises) {
  std::size_t tried = 0;
  for (const auto& input : fs::directory_iterator(fs::path(FUZZ_CORPUS) / GetParam().name)) {
    SCOPED_TRACE(input.path());
    const std::string bytes = ReadFile(input.path());
    EXPECT_EQ(GetParam().try_input(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), 0);
    ++tried;
  }
  EXPECT_GT(tried, 0U);
}

#define TARGET(name) Target{#name, &Try_##name},
INSTANTIATE_TEST_SUITE_P(All, CorpusTest, testing::ValuesIn(std::vector<Target>{FUZZ_TARGETS}),
                         [](const auto& tried) { return std::string(tried.param.name); });

}  // namespace
