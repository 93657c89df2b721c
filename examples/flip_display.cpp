// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Draws a bar that moves down the display, one frame per refresh.
#include "vantorel/devices/LCD.h"
#include "vantorel/service/Error.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    const int pictures = argc > 1 ? std::atoi(argv[1]) : 60;
    try {
        vantorel::LCD display("display", "/dev/vantorel/display");
        const auto width = static_cast<std::ptrdiff_t>(display.Width());
        const auto height = static_cast<std::ptrdiff_t>(display.Height());
        const auto begin = std::chrono::steady_clock::now();
        for (int picture = 0; picture < pictures; ++picture) {
            std::uint32_t* const pixels = display.BackBuffer();
            std::fill_n(pixels, width * height, 0x202020U);
            std::fill_n(pixels + width * (picture % height), width, 0xffffffU);
            display.SwapBuffers();
            display.WaitForVSYNC(); // a second swap before this one completes would fail
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        std::cout << width << " x " << height << ", " << pictures / took.count()
                  << " pictures a second" << std::endl;
    } catch (const vantorel::Error& error) {
        std::cerr << "display: " << error.ToString() << std::endl;
        return 1;
    }
}
