// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Tool.h"

#include "tools/UnknownCommand.h"
#include "tools/vantorel-log/Gnuplot.h"
#include "tools/vantorel-log/Plot.h"
#include "tools/vantorel-log/Summary.h"
#include "vantorel/LibraryVersion.h"

#include <CLI/CLI.hpp>

#include <system_error>

namespace vantorel::logtool {
namespace {

struct Arguments {
    std::string file;
    bool json = false;
    std::string outFile;
    std::size_t limit = 100;
};

/** A pipe or a file system may have refused the output. */
ExitCode Written(std::ostream& out, ExitCode code, std::ostream& err) {
    if (!out.flush()) {
        err << "vantorel-log: cannot write the result\n";
        return exitOutput;
    }
    return code;
}

ExitCode Refuse(const Arguments& arguments, const Problem& why, std::ostream& err) {
    err << arguments.file << ':' << why.line << ": " << why.text << '\n';
    return exitProblems;
}

ExitCode RunSummary(const Arguments& arguments, std::ostream& out, std::ostream& err) {
    Summary summary;
    ReadLog(arguments.file, summary);
    if (const Problem* why = summary.WhyUnknown()) {
        return Refuse(arguments, *why, err);
    }
    if (arguments.json) {
        out << summary.ToJson().dump(-1, ' ', true, nlohmann::json::error_handler_t::replace)
            << '\n';
    } else {
        summary.Print(out);
    }
    return Written(out, exitSuccess, err);
}

class Checker final : public LogReceiver {
public:
    Checker(const Arguments& used, std::ostream& printed) : arguments(used), out(printed) {}

    void OnRecord(std::size_t, const Record&) override { ++samples; }
    void OnProblem(const Problem& problem) override {
        if (problems++ < arguments.limit) {
            out << arguments.file << ':' << problem.line << ": " << problem.text << '\n';
        }
    }
    ExitCode Conclude(std::size_t lines) {
        if (problems > arguments.limit) {
            out << arguments.file << ": " << problems - arguments.limit << " more\n";
        }
        out << arguments.file << ": " << lines << " lines, " << samples << " samples, " << problems
            << " problems\n";
        return problems == 0 ? exitSuccess : exitProblems;
    }

private:
    const Arguments& arguments;
    std::ostream& out;
    std::size_t samples = 0;
    std::size_t problems = 0;
};

ExitCode RunCheck(const Arguments& arguments, std::ostream& out, std::ostream& err) {
    Checker checker(arguments, out);
    const std::size_t lines = ReadLog(arguments.file, checker);
    return Written(out, checker.Conclude(lines), err);
}

ExitCode RunPlot(const Arguments& arguments, std::ostream& err) {
    Plot plot;
    ReadLog(arguments.file, plot);
    if (plot.IsEmpty()) {
        const auto& why = plot.FirstProblem();
        return Refuse(arguments, why ? *why : Problem{1, Problem::Heading, "no samples"}, err);
    }
    const bool png = arguments.outFile.ends_with(".png");
    try {
        RunGnuplot(plot.Script(png ? "pngcairo size 1000,900 background rgb 'white'"
                                   : "svg size 1000,900 background rgb 'white'"),
                   arguments.outFile);
    } catch (const std::runtime_error& error) {
        err << "vantorel-log: " << error.what() << '\n';
        return exitOutput;
    }
    return exitSuccess;
}

std::string CheckPicture(const std::string& name) {
    return name.ends_with(".svg") || name.ends_with(".png")
               ? std::string()
               : "'" + name + "' does not end in .svg or .png";
}

CLI::App* AddCommand(CLI::App& app, Arguments& arguments, const char* name, const char* help) {
    auto* command = app.add_subcommand(name, help);
    command->add_option("FILE", arguments.file, "The log, debug.csv of the device")->required();
    return command;
}

} // namespace

ExitCode RunTool(int count, const char* const* values, std::ostream& out, std::ostream& err) {
    Arguments arguments;
    CLI::App app{"Reads the diagnostics log of a thermal camera.", "vantorel-log"};
    app.require_subcommand(1);
    app.set_version_flag("--version", "vantorel-log " VANTOREL_VERSION);
    auto* summary = AddCommand(app, arguments, "summary", "Sessions, battery, ranges of values");
    summary->add_flag("--json", arguments.json, "Print JSON instead of text");
    auto* plot = AddCommand(app, arguments, "plot", "Draw temperatures, battery and frame rate");
    plot->add_option("-o,--out", arguments.outFile, "The plot's file, .svg or .png")
        ->required()
        ->check(CheckPicture);
    auto* check = AddCommand(app, arguments, "check", "Check for damage");
    check->add_option("--limit", arguments.limit, "Maximum number of problems to print")
        ->capture_default_str();
    app.footer("Exit status: 0 success, 1 damaged or no log, 2 usage, 3 not readable,\n"
               "4 output failed or no gnuplot.");
    try {
        app.parse(count, values);
    } catch (const CLI::ParseError& error) {
        const std::string unknown = UnknownCommand(app);
        if (error.get_exit_code() != 0 && !unknown.empty()) {
            err << "vantorel-log: " << unknown << '\n';
            return exitUsage;
        }
        return app.exit(error, out, err) == 0 ? exitSuccess : exitUsage;
    }
    try {
        return plot->parsed()      ? RunPlot(arguments, err)
               : summary->parsed() ? RunSummary(arguments, out, err)
                                   : RunCheck(arguments, out, err);
    } catch (const std::system_error& error) {
        err << "vantorel-log: " << arguments.file << ": " << error.code().message() << '\n';
        return exitInput;
    }
}

} // namespace vantorel::logtool
