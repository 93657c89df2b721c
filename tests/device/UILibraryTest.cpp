// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// A custom UI library, built as docs/simulators.md says. On 32-bit ARM, an exception that reaches a
// function without unwinding tables ends the process.

#include <gtest/gtest.h>

#include <string>

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" const char documentedLibrary[];
extern "C" const char documentedLibraryEnd[];
asm(".pushsection .rodata\n"
    ".global documentedLibrary, documentedLibraryEnd\n"
    "documentedLibrary: .incbin \"" VANTOREL_DOCUMENTED_LIBRARY "\"\n"
    "documentedLibraryEnd:\n"
    ".popsection");

namespace {

TEST(UILibrary, LetsTheExceptionOfAHandlerPass) {
    const auto size = static_cast<std::size_t>(documentedLibraryEnd - documentedLibrary);
    const int file = ::memfd_create("library", 0);
    ASSERT_EQ(::write(file, documentedLibrary, size), static_cast<ssize_t>(size));
    void* const library = ::dlopen(("/proc/self/fd/" + std::to_string(file)).c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    const auto registerEvent = reinterpret_cast<void (*)(int, void (*)(void*), void*)>(
        ::dlsym(library, "RegisterUIEvent"));
    const auto press = reinterpret_cast<void (*)()>(::dlsym(library, "Button1Down"));
    registerEvent(
        0, [](void*) { throw 7; }, nullptr);
    EXPECT_THROW(press(), int);
    ::close(file);
}

} // namespace
