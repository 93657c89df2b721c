// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/Commands.h"
#include "host/UsbBus.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    using namespace vantorel::host;
    try {
        UsbBus bus;
        return RunTool(argc, argv, bus, std::cout, std::cerr);
    } catch (const std::exception& error) { // no memory left
        std::cerr << "vantorel-host: " << error.what() << '\n';
        return exitOutput;
    }
}
