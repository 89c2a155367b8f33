#include "benchmarks/harness/Json.h"
#include "benchmarks/harness/Page.h"
#include "benchmarks/harness/Session.h"
#include "benchmarks/harness/Svg.h"
#include "benchmarks/harness/Table.h"
#include "benchmarks/rows/Rows.h"

#include <fstream>
#include <iostream>

#include <CLI/CLI.hpp>

namespace {

using namespace velm::bench;

/// How much worse than recorded a ratio may be.
constexpr double tolerated = 0.75;
/// How often a row is measured before it counts as worse.
constexpr int attempts = 3;

/// Where the figures go, beside the terminal.
struct Outputs {
    std::filesystem::path json;
    std::filesystem::path curves;
    std::filesystem::path page;
    std::filesystem::path recordFile;
};

Report measureAll(const Options& options) {
    Session session(options);
    {
        InstanceWorlds worlds(session);
        measureRouting(session, worlds);
        measureRemoval(session, worlds);
        measureMemory(session, worlds);
    }
    measureClassTree(session);
    measureTwoThreads(session);
    measureFanOut(session);
    measureAssociations(session);
    measureSubscribing(session);
    measureDeliveries(session);
    measureChannel(session);
    measureRendering(session);
    measureAnswers(session);
    measureSchema(session);
    measureIdle(session);
    measureBurst(session);
    return session.report();
}

void write(const Report& report, const std::string& kindOfRun, const Outputs& outputs) {
    if (!outputs.json.empty()) {
        std::ofstream(outputs.json) << toJson(report, kindOfRun);
    }
    if (!outputs.page.empty()) {
        writeIntoPage(report, outputs.page);
    }
    if (!outputs.curves.empty()) {
        drawCurves(report.curves, outputs.curves);
    }
    if (!outputs.recordFile.empty()) {
        record(report, kindOfRun, outputs.recordFile);
    }
}

/// The exit code: 1 when something is worse than recorded. What is, is measured again, because a machine that
/// others use has bad moments.
int check(Report report, Options options, const std::string& kindOfRun, const std::filesystem::path& file) {
    for (int attempt = 1;; ++attempt) {
        const std::vector<Worse> worse = worseThanRecorded(report, kindOfRun, tolerated, file);
        const bool isLast = attempt == attempts;
        options.rows.clear();
        for (const Worse& line : worse) {
            std::cout << (isLast ? "worse than recorded: " : "worse than recorded, measured again: ")
                      << line.text << '\n';
            options.rows.insert(line.row);
        }
        if (worse.empty() || isLast) {
            return worse.empty() ? 0 : 1;
        }
        report = measureAll(options);
    }
}

void declare(CLI::App& app, Options& options, std::vector<int>& rows, Outputs& outputs,
             std::filesystem::path& checkFile) {
    app.add_flag("--quick", options.isQuick, "Less of everything, in under a minute");
    app.add_option("--rows", rows, "Only these rows, as in 4,5")->delimiter(',');
    app.add_option("--time", options.seconds, "Seconds after which it stops, for a machine that is busy");
    app.add_option("--json", outputs.json, "Write the figures to this file");
    app.add_option("--page", outputs.page, "Write the table into this page, between its marks");
    app.add_option("--curves", outputs.curves, "Draw the growth curves into this folder, as SVG");
    app.add_option("--record", outputs.recordFile, "Put the ratios into this file of recorded figures");
    app.add_option("--check", checkFile,
                   "Fail when a ratio is worse than three quarters of the one recorded in this file");
    app.add_option("--schema", options.schema, "The schema whose classes are mirrored")
        ->check(CLI::ExistingFile)
        ->capture_default_str();
    app.add_option("--velmd", options.velmd, "The daemon that the burst goes through")->capture_default_str();
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    options.schema = VELM_BENCH_SCHEMA;
    options.velmd = VELM_BENCH_VELMD;
    options.provider = VELM_BENCH_PROVIDER;
    std::vector<int> rows;
    Outputs outputs;
    std::filesystem::path checkFile;
    CLI::App app("Measures the library and, in turn with it, the limit for the same work.");
    declare(app, options, rows, outputs, checkFile);
    CLI11_PARSE(app, argc, argv);
    options.rows = {rows.begin(), rows.end()};
    const std::string kindOfRun = options.isQuick ? "quick" : "full";
    if (!std::filesystem::exists(options.schema)) {
        std::cout << "skipped: there is no schema " << options.schema.string()
                  << " to mirror; see --schema\n";
        return 0;
    }
    try {
        std::cout << today() << ", " << machineDescription() << "\n\n" << tableHead() << std::endl;
        const Report report = measureAll(options);
        write(report, kindOfRun, outputs);
        return checkFile.empty() ? 0 : check(report, options, kindOfRun, checkFile);
    } catch (const std::exception& failure) {
        std::cerr << "side_by_side: " << failure.what() << '\n';
        return 2;
    }
}
