#pragma once

#include "benchmarks/harness/Row.h"
#include "benchmarks/harness/Worker.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace velm::bench {

/// What the command line asks for.
struct Options {
    bool isQuick = false;
    /// How long the run may take; 0 for what is usual.
    int seconds = 0;
    /// Empty: all.
    std::set<int> rows;
    std::filesystem::path schema;
    std::filesystem::path velmd;
    std::filesystem::path provider;
};

/// One run: how much to measure, how much time is left, and what was found.
///
/// Used by one thread.
class Session {
public:
    explicit Session(Options options);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    const Options& options() const { return _options; }
    bool wants(int row) const { return _options.rows.empty() || _options.rows.contains(row); }
    int rounds() const;

    /// `full`, or `quick` in a quick run.
    template <class T>
    T sized(T full, T quick) const {
        return _options.isQuick ? quick : full;
    }

    /// A folder for logs and the like, which goes with the session.
    const std::filesystem::path& folder() const { return _folder; }

    Clock::time_point deadline() const { return _deadline; }

    /// A measurement of a worker as one side of a comparison.
    std::function<Sample()> side(Worker& worker, std::size_t which = 0) const;

    /// Runs `measure` for a row that is wanted; what it throws becomes a line of the table.
    void attempt(int row, const std::string& what, const std::function<void()>& measure);

    void add(Row row);
    void add(Curve curve) { _report.curves.push_back(std::move(curve)); }
    const Report& report() const { return _report; }

private:
    const Options _options;
    const std::filesystem::path _folder;
    const Clock::time_point _deadline;
    Report _report;
};

}  // namespace velm::bench
