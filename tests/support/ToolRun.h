#pragma once

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace vantorel::test {

/** For tests of a program for the command line by its main function. */
class ToolRun : public testing::Test {
protected:
    /**
     * Runs a command line that holds no quoted words.
     * @param tool takes the count and the words of the command line, and what it prints to
     */
    template <typename Tool>
    auto RunLine(const std::string& line, const Tool& tool) {
        std::istringstream words(line);
        const std::vector<std::string> list{std::istream_iterator<std::string>(words), {}};
        std::vector<const char*> values;
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
