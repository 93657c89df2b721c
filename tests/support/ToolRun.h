// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace vantorel::test {

/** For tests that call the main function of a command-line tool. */
class ToolRun : public testing::Test {
protected:
    /**
     * Runs a command line without quoted words.
     * @param tool takes the count and the words of the command line, and its output streams
     */
    template <typename Tool>
    auto RunLine(const std::string& line, const Tool& tool) {
        std::istringstream words(line);
        const std::vector<std::string> list{std::istream_iterator<std::string>(words), {}};
        std::vector<const char*> values;
        values.reserve(list.size());
        for (const std::string& word : list) {
            values.push_back(word.c_str());
        }
        out.str("");
        err.str("");
        return tool(static_cast<int>(values.size()), values.data(), out, err);
    }

    std::ostringstream out; // of the last run
    std::ostringstream err;
};

} // namespace vantorel::test
