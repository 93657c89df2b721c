// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * Starts a program and waits for its end, from a process with up to 500 MB of touched memory. For a
 * plain fork the kernel would have to mark each of these pages.
 */
#include "vantorel/system/private/ChildProcess.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::size_t megabyte = 1 << 20;
const std::vector<std::string> program{"/bin/true"};

void Touch(benchmark::State& state) {
    static std::vector<char> memory;
    memory = {};
    memory.shrink_to_fit();
    memory.assign(static_cast<std::size_t>(state.range(0)) * megabyte, 1);
}

void Ours(benchmark::State& state) {
    Touch(state);
    for (auto _ : state) {
        if (vantorel::RunAndWait(program) != 0) {
            std::abort();
        }
    }
}

void Spawn(benchmark::State& state) {
    Touch(state);
    std::vector<char> path(program[0].begin(), program[0].end());
    path.push_back('\0');
    char* const arguments[] = {path.data(), nullptr};
    for (auto _ : state) {
        pid_t child = 0;
        int status = 0;
        if (::posix_spawn(&child, path.data(), nullptr, nullptr, arguments, ::environ) != 0 ||
            ::waitpid(child, &status, 0) != child || status != 0) {
            std::abort();
        }
    }
}

BENCHMARK(Ours)->Arg(5)->Arg(500)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Spawn)->Arg(5)->Arg(500)->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace
