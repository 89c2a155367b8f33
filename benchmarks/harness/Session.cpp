#include "benchmarks/harness/Session.h"

#include "benchmarks/harness/Table.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <system_error>

namespace velm::bench {

namespace {

using namespace std::chrono_literals;

// Both leave room to write down what was found.
constexpr auto fullTime = 465s;
constexpr auto quickTime = 55s;
constexpr int fullRounds = 7;
constexpr int quickRounds = 3;

std::chrono::seconds timeFor(const Options& options) {
    if (options.seconds != 0) {
        return std::chrono::seconds(options.seconds);
    }
    return options.isQuick ? quickTime : fullTime;
}

std::filesystem::path makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velm-bench-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    return pattern;
}

}  // namespace

Session::Session(Options options)
    : _options(std::move(options)), _folder(makeFolder()), _deadline(Clock::now() + timeFor(_options)) {
}

Session::~Session() {
    std::error_code ignored;
    std::filesystem::remove_all(_folder, ignored);
}

int Session::rounds() const {
    return sized(fullRounds, quickRounds);
}

std::function<Sample()> Session::side(Worker& worker, std::size_t which) const {
    return [this, &worker, which] { return worker.measure(which, _deadline); };
}

void Session::attempt(int row, const std::string& what, const std::function<void()>& measure) {
    if (!wants(row)) {
        return;
    }
    try {
        measure();
    } catch (const std::exception& failure) {
        add(Row{.number = row,
                .what = what,
                .placement = {},
                .ours = {},
                .limit = {},
                .ratio = {},
                .target = {},
                .failure = failure.what()});
    }
}

void Session::add(Row row) {
    std::cout << tableLine(row) << std::endl;
    _report.rows.push_back(std::move(row));
}

}  // namespace velm::bench
