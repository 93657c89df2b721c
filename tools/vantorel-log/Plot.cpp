// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Plot.h"

#include "tools/vantorel-log/Format.h"

#include <algorithm>
#include <limits>

namespace vantorel::logtool {

const std::array<Plot::Curve, Plot::curveCount> Plot::curves{{
    {sensorColumn, "sensor", ""},
    {spotColumn, "spot", ""},
    {processorColumn, "processor", ""},
    {boardColumn, "board", ""},
    {batteryTemperatureColumn, "battery", ""},
    {levelColumn, "level (%)", ""},
    {voltageColumn, "voltage (V, right)", "axes x1y2 "},
    {frameRateColumn, "frame rate", ""},
}};

void Plot::OnRecord(std::size_t, const Record& record) {
    const double uptime = record.values[uptimeColumn];
    const bool first = record.values[sessionColumn] != session || uptime < lastUptime;
    time += first ? 0 : uptime - lastUptime;
    session = record.values[sessionColumn];
    lastUptime = uptime;
    if (first || points.empty() || points.back().lines == linesOfAPoint) {
        if (points.size() >= mostPoints) {
            Halve();
        }
        points.push_back({.begin = time, .first = first});
    }
    Point& point = points.back();
    ++point.lines;
    for (std::size_t curve = 0; curve < curveCount; ++curve) {
        if (record.IsKnown(curves[curve].column)) {
            point.averages[curve].sum += record.values[curves[curve].column];
            ++point.averages[curve].count;
        }
    }
}

void Plot::OnProblem(const Problem& problem) {
    if (!firstProblem) {
        firstProblem = problem;
    }
}

/** Merges neighbouring points of one session. */
void Plot::Halve() {
    linesOfAPoint *= 2;
    std::size_t kept = 0;
    for (std::size_t i = 1; i < points.size(); ++i) {
        Point& last = points[kept];
        if (points[i].first || last.lines + points[i].lines > linesOfAPoint) {
            points[++kept] = points[i];
            continue;
        }
        last.lines += points[i].lines;
        for (std::size_t curve = 0; curve < curveCount; ++curve) {
            last.averages[curve].sum += points[i].averages[curve].sum;
            last.averages[curve].count += points[i].averages[curve].count;
        }
    }
    points.resize(kept + 1);
    mostPoints = std::max(mostPoints, 2 * points.size()); // short sessions cannot be merged
}

std::string Plot::Data() const {
    std::string data;
    for (const Point& point : points) {
        data += point.first && !data.empty() ? "\n" : ""; // lifts the pen
        data += Format("%.4f", point.begin / 3600);
        for (const auto& [sum, count] : point.averages) {
            data += count == 0 ? " ?" : Format(" %.6g", sum / static_cast<double>(count));
        }
        data += '\n';
    }
    return data;
}

std::string Plot::Panel(const char* label, std::size_t from, std::size_t to) const {
    std::string drawn;
    for (std::size_t curve = from; curve < to; ++curve) {
        const bool known = std::ranges::any_of(
            points, [&](const Point& point) { return point.averages[curve].count > 0; });
        if (known) { // gnuplot fails on a curve without points
            drawn += (drawn.empty() ? "plot " : ", ") +
                     Format("$log using 1:%zu %swith lines title '%s'", curve + 2,
                            curves[curve].options, curves[curve].title);
        }
    }
    const std::string axis = std::string("set ylabel '") + label + "'\n";
    return drawn.empty() ? axis + "plot [][0:1] NaN title 'no readings'\n" : axis + drawn + "\n";
}

/** The axis on the right, with a margin when all readings are equal. */
std::string Plot::VoltageRange() const {
    double least = std::numeric_limits<double>::max();
    double most = std::numeric_limits<double>::lowest();
    for (const Point& point : points) {
        if (const auto& [sum, count] = point.averages[voltageCurve]; count > 0) {
            least = std::min(least, sum / static_cast<double>(count));
            most = std::max(most, sum / static_cast<double>(count));
        }
    }
    return least > most ? "" : Format("set y2range [%.6g:%.6g]\n", least - 0.1, most + 0.1);
}

std::string Plot::Script(const std::string& terminal) const {
    const double hours = std::max(time / 3600, 0.001);
    return "set terminal " + terminal + "\nset datafile missing '?'\n$log << END_OF_LOG\n" +
           Data() + "END_OF_LOG\n" + Format("set xrange [0:%.4f]\n", hours) +
           "set grid\nset key outside right top samplen 2\nset lmargin 9\nset rmargin 27\n"
           "set multiplot layout 3,1\nset offsets 0, 0, 1, 1\n" +
           Panel("degrees Celsius", 0, 5) +
           "set offsets\nset y2tics\nset ytics nomirror\nset yrange [0:100]\n" + VoltageRange() +
           Panel("battery", 5, 7) +
           "unset y2tics\nset ytics mirror\nset yrange [0:*]\nset xlabel 'hours of operation'\n" +
           Panel("frames/s", 7, 8) + "unset multiplot\n";
}

} // namespace vantorel::logtool
