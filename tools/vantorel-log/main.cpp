// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Tool.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    using namespace vantorel::logtool;
    std::ios::sync_with_stdio(false);
    try {
        return RunTool(argc, argv, std::cout, std::cerr);
    } catch (const std::exception& error) { // no memory left
        std::cerr << "vantorel-log: " << error.what() << '\n';
        return exitInput;
    }
}
