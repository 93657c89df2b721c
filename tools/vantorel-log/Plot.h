// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tools/vantorel-log/LogReader.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace vantorel::logtool {

/**
 * The data of a plot. Each point averages as many lines as needed to keep a few thousand points.
 * Sessions follow each other without a gap, since the log does not say how long the device was off.
 */
class Plot final : public LogReceiver {
public:
    void OnRecord(std::size_t line, const Record& record) override;
    void OnProblem(const Problem& problem) override;

    bool IsEmpty() const { return points.empty(); }
    /** The reason why the log is empty, if known. */
    const std::optional<Problem>& FirstProblem() const { return firstProblem; }
    /** A gnuplot program that draws to standard output. */
    std::string Script(const std::string& terminal) const;

private:
    static constexpr std::size_t curveCount = 8;
    static constexpr std::size_t voltageCurve = 6;

    struct Point {
        double begin = 0;   ///< seconds of operation
        bool first = false; ///< of a session
        std::size_t lines = 0;
        struct Average {
            double sum = 0;
            std::size_t count = 0;
        };
        std::array<Average, curveCount> averages{};
    };

    struct Curve {
        Column column;
        const char* title;
        const char* options;
    };
    static const std::array<Curve, curveCount> curves;

    void Halve();
    std::string Data() const;
    std::string VoltageRange() const;
    std::string Panel(const char* label, std::size_t from, std::size_t to) const;

    std::vector<Point> points;
    std::size_t linesOfAPoint = 1;
    std::size_t mostPoints = 4000;
    double session = -1;
    double lastUptime = 0;
    double time = 0; // of operation, in seconds
    std::optional<Problem> firstProblem;
};

} // namespace vantorel::logtool
