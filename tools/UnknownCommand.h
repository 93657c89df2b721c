// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace vantorel {

/** The number of letters to insert, delete or replace to make one word of the other. */
inline std::size_t Distance(const std::string& one, const std::string& other) {
    std::vector<std::size_t> row(other.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= one.size(); ++i) {
        std::size_t before = row[0];
        row[0] = i;
        for (std::size_t j = 1; j < row.size(); ++j) {
            const std::size_t replaced = before + (one[i - 1] == other[j - 1] ? 0 : 1);
            before = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

/**
 * Names a word that is not a command, with the command that was probably meant. Empty if the
 * command line failed for another reason. The parser itself says only that a command is required.
 */
inline std::string UnknownCommand(const CLI::App& app) {
    const CLI::App* parent = &app;
    while (!parent->get_subcommands().empty()) {
        parent = parent->get_subcommands().front();
    }
    const auto commands = parent->get_subcommands({});
    const auto words = app.remaining(true);
    const auto word =
        std::ranges::find_if(words, [](const auto& w) { return !w.starts_with('-'); });
    if (commands.empty() || word == words.end()) {
        return {};
    }
    const auto nearest = std::ranges::min_element(
        commands, {}, [&](const CLI::App* each) { return Distance(*word, each->get_name()); });
    const std::string& name = (*nearest)->get_name();
    const bool isNear = Distance(*word, name) <= std::max<std::size_t>(2, name.size() / 3);
    return *word + ": no such command" + (isNear ? "; did you mean " + name + "?" : "");
}

} // namespace vantorel
