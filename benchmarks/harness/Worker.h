#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <vector>

/// Measurements in a process of their own, which keeps what they measure between rounds.
namespace velm::bench {

using Clock = std::chrono::steady_clock;

/// What a measurement yields: one number, or two.
struct Sample {
    double value = 0;
    double second = 0;
};

using Measurement = std::function<Sample()>;

/// No time is left for this measurement.
class OutOfTime : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

/// A child process that sets something up and then measures it whenever it is asked to. Between rounds it
/// waits, so that workers can take turns; a second thread lives in it, because a program with one thread
/// gets cheaper reference counts.
///
/// Used by one thread. Requires: the process has no other thread when a worker is made. The destructor ends
/// the child without cleaning up. Failure: OutOfTime at the deadline, std::runtime_error with the child's
/// text.
class Worker {
public:
    using Setup = std::function<std::vector<Measurement>()>;

    /// `setUp` runs in the child, at once.
    explicit Worker(const Setup& setUp);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker();

    /// Waits until the child is set up.
    void awaitReady(Clock::time_point deadline);

    /// Runs the measurement with this number, once.
    Sample measure(std::size_t which, Clock::time_point deadline);

private:
    struct Reply;

    Reply _receive(Clock::time_point deadline);

    pid_t _child = -1;
    int _channel = -1;
    bool _isReady = false;
};

}  // namespace velm::bench
