#pragma once

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace vantorel::test {

/**
 * Keeps what is printed, status lines above all, out of the tests' own output, and at hand. When a
 * test has failed, its output is shown after all: the framework's messages are in it, too.
 */
class CapturedOutput {
public:
    CapturedOutput() { testing::internal::CaptureStdout(); }
    ~CapturedOutput() {
        const std::string rest = testing::internal::GetCapturedStdout();
        if (testing::Test::HasFailure()) {
            std::cout << taken << rest << std::flush;
        }
    }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /** What was printed since the last call. */
    std::string Take() {
        std::string text = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        taken += text;
        return text;
    }

private:
    std::string taken;
};

} // namespace vantorel::test
