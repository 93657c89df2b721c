// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Replays the corpus of a fuzzer, so that every run covers the code that its inputs reach.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

TEST(Fuzzer, ReplaysItsCorpus) {
    std::size_t played = 0;
    for (const auto& entry : std::filesystem::directory_iterator(VANTOREL_CORPUS)) {
        SCOPED_TRACE(entry.path());
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> input{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++played;
    }
    EXPECT_GT(played, 0U);
}
