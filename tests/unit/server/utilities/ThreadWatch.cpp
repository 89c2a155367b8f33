#include "tests/unit/server/utilities/ThreadWatch.h"

#include <chrono>
#include <fstream>
#include <string>
#include <unistd.h>
#include <utility>

#include <gtest/gtest.h>

namespace {

constexpr std::chrono::milliseconds pollInterval(1);
constexpr int pollsAsleep = 20;

}  // namespace

bool comesTrue(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(pollInterval);
    }
    return true;
}

ThreadWatch::ThreadWatch(std::function<void()> body)
    : _thread([this, action = std::move(body)] {
          _id = gettid();
          action();
          _isDone = true;
      }) {
}

void ThreadWatch::waitUntilAsleepOrDone() {
    int polls = 0;
    EXPECT_TRUE(comesTrue([this, &polls] {
        polls = _isAsleep() ? polls + 1 : 0;
        return polls >= pollsAsleep || _isDone;
    }));
}

bool ThreadWatch::_isAsleep() const {
    std::ifstream file("/proc/self/task/" + std::to_string(_id) + "/stat");
    std::string text;
    std::getline(file, text);
    // The state follows the name, which stands in parentheses and may hold anything.
    const std::size_t endOfName = text.rfind(')');
    return endOfName != std::string::npos && text.size() > endOfName + 2 && text[endOfName + 2] == 'S';
}
