#pragma once

/// Which cores the measurements run on. On a machine with one core both are the same.
namespace velm::bench {

struct Cores {
    /// What is measured runs here.
    int first;
    /// Its helpers do: the delivery thread of the routing rows, and the listener that is placed elsewhere.
    int second;
};

/// The first two cores that this process may use. Pinning a thread does not change the answer.
Cores cores();

/// Keeps the calling thread, and those that it starts from now on, on one core. Throws std::system_error.
void pinThread(int core);

}  // namespace velm::bench
