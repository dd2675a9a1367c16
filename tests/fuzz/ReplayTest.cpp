// The fuzzers' corpora, replayed. A fuzzer ends the process when something does not hold.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"

#define X(name) extern "C" int Fuzz_##name(const std::uint8_t *data, std::size_t size);
LUM_FUZZERS
#undef X

namespace {

struct Fuzzer {
    const char *name;
    int (*run)(const std::uint8_t *, std::size_t);
};

const Fuzzer kFuzzers[] = {
#define X(name) {#name, Fuzz_##name},
    LUM_FUZZERS
#undef X
};

class Replay : public testing::TestWithParam<Fuzzer> {};

TEST_P(Replay, Corpus) {
    const Fuzzer &fuzzer = GetParam();
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(std::filesystem::path(LUM_CORPUS) / fuzzer.name)) {
        SCOPED_TRACE(entry.path());
        const std::string input = ReadFile(entry.path());
        EXPECT_EQ(fuzzer.run(reinterpret_cast<const std::uint8_t *>(input.data()), input.size()), 0);
        ++count;
    }
    EXPECT_GT(count, 0);
}

INSTANTIATE_TEST_SUITE_P(Fuzzers, Replay, testing::ValuesIn(kFuzzers),
                         [](const auto &instance) { return std::string(instance.param.name); });

} // namespace
