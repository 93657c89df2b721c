// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tools/vantorel-log/LogReader.h"
#include "tools/vantorel-log/Session.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace vantorel::logtool {

/** Statistics of a whole log, collected line by line. */
class Summary final : public LogReceiver {
public:
    struct Range {
        double least = 0;
        double most = 0;
        double sum = 0;
        std::uint64_t count = 0;
        void Add(double value);
        double Mean() const { return sum / static_cast<double>(count); }
    };

    void OnRecord(std::size_t line, const Record& record) override;
    void OnProblem(const Problem& problem) override;

    const std::vector<Session>& Sessions() const { return sessions; }
    /** The reason why the file is not a log; null when it is one. */
    const Problem* WhyUnknown() const {
        const bool isUnknown = records == 0 && problems[Problem::Heading] > 0;
        return isUnknown ? &*firstProblem : nullptr;
    }
    void Print(std::ostream& out) const;
    nlohmann::ordered_json ToJson() const;

private:
    void PrintSessions(std::ostream& out) const;
    void PrintColumns(std::ostream& out) const;

    std::uint64_t records = 0;
    std::vector<Session> sessions;
    std::array<Range, columnCount> ranges{};
    std::set<std::string, std::less<>> chips;
    std::array<std::uint64_t, Problem::kindCount> problems{};
    std::optional<Problem> firstProblem;
};

} // namespace vantorel::logtool
