#pragma once

#include "benchmarks/harness/Row.h"

#include <filesystem>
#include <string>
#include <vector>

/// Figures in files.
namespace velm::bench {

/// The report with date and machine, as JSON.
std::string toJson(const Report& report, const std::string& kindOfRun);

/// Puts the ratios of `report` into the file of recorded figures, with date and machine, in the place of
/// those that the same kind of run left there. The rest of the file stays.
void record(const Report& report, const std::string& kindOfRun, const std::filesystem::path& file);

/// A line that got worse: its row and a sentence.
struct Worse {
    int row;
    std::string text;
};

/// What is worse than the part `tolerated` of what the file holds. A row that is as good as one could wish is
/// never worse, one that failed always is, one with no limit beside it is when it misses its target, and rows
/// that the file does not hold are passed over. Throws std::runtime_error when there is no such file or
/// nothing in it for this kind of run.
std::vector<Worse> worseThanRecorded(const Report& report, const std::string& kindOfRun, double tolerated,
                                     const std::filesystem::path& file);

/// Processor, number of cores, kernel and compiler.
std::string machineDescription();

/// "2026-11-21".
std::string today();

}  // namespace velm::bench
