// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace vantorel::test {

/**
 * Captures the output, mainly status lines. When a test fails, prints its output, which also
 * contains the framework's messages.
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

    /** The output since the last call. */
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
