#include "providers/support/WatcherThread.h"

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <signal.h>
#include <system_error>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using velm::providers::WatcherThread;

namespace {

constexpr auto patience = 20s;

class Pipe {
public:
    Pipe() {
        if (pipe(_ends.data()) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
    }
    ~Pipe() {
        close(_ends[0]);
        close(_ends[1]);
    }
    int reader() const { return _ends[0]; }
    void write() const { EXPECT_EQ(::write(_ends[1], "x", 1), 1); }

private:
    std::array<int, 2> _ends{};
};

TEST(WatcherThread, TakesATurn_WhenThereIsSomethingToRead) {
    const Pipe pipe;
    std::promise<char> received;
    std::promise<void> first;
    WatcherThread thread;
    thread.start("test", {pipe.reader()}, [&, turns = 0]() mutable {
        if (turns++ == 0) {
            first.set_value();
            return WatcherThread::forever;
        }
        char byte = 0;
        EXPECT_EQ(read(pipe.reader(), &byte, 1), 1);
        received.set_value(byte);
        return WatcherThread::forever;
    });
    ASSERT_EQ(first.get_future().wait_for(patience), std::future_status::ready);
    pipe.write();
    auto result = received.get_future();
    ASSERT_EQ(result.wait_for(patience), std::future_status::ready);
    EXPECT_EQ(result.get(), 'x');
}

TEST(WatcherThread, TakesATurn_WhicheverOfItsDescriptorsHasSomethingToRead) {
    const Pipe one;
    const Pipe other;
    std::promise<void> first;
    std::promise<void> second;
    WatcherThread thread;
    thread.start("test", {one.reader(), other.reader()}, [&, turns = 0]() mutable {
        char byte = 0;
        if (turns++ > 0) {
            EXPECT_EQ(read(other.reader(), &byte, 1), 1);
        }
        (turns == 1 ? first : second).set_value();
        return WatcherThread::forever;
    });
    first.get_future().wait();
    other.write();
    EXPECT_EQ(second.get_future().wait_for(patience), std::future_status::ready);
}

TEST(WatcherThread, TakesATurn_WhenTheTimeHasCome) {
    const Pipe pipe;
    std::promise<void> third;
    WatcherThread thread;
    thread.start("test", {pipe.reader()}, [&, turns = 0]() mutable {
        if (++turns == 3) {
            third.set_value();
        }
        return turns < 3 ? WatcherThread::Patience(1) : WatcherThread::forever;
    });
    EXPECT_EQ(third.get_future().wait_for(patience), std::future_status::ready);
}

TEST(WatcherThread, BlocksSignals) {
    const Pipe pipe;
    std::promise<bool> blocked;
    WatcherThread thread;
    thread.start("test", {pipe.reader()}, [&] {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked.set_value(sigismember(&mask, SIGTERM) == 1);
        return WatcherThread::forever;
    });
    EXPECT_TRUE(blocked.get_future().get());
}

TEST(WatcherThread, StopsTwiceAndUnstarted) {
    const Pipe pipe;
    WatcherThread unstarted;
    unstarted.stop();
    WatcherThread thread;
    thread.start("test", {pipe.reader()}, [] { return WatcherThread::forever; });
    thread.stop();
    thread.stop();
}

}  // namespace
