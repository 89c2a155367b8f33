#include "benchmarks/harness/Worker.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace velm::bench {

struct Worker::Reply {
    Sample sample;
    bool isFailure = false;
    char text[240] = {};

    static Reply failure(const char* what) {
        Reply reply;
        reply.isFailure = true;
        std::strncpy(reply.text, what, sizeof reply.text - 1);
        return reply;
    }
};

namespace {

/// Lives, and waits, as long as the process.
void startSecondThread() {
    std::thread([] {
        std::mutex lock;
        std::unique_lock held(lock);
        std::condition_variable().wait(held, [] { return false; });
    }).detach();
}

template <class Reply, class Action>
Reply attempt(Action action) {
    try {
        Reply reply;
        action(reply);
        return reply;
    } catch (const std::exception& failure) {
        return Reply::failure(failure.what());
    } catch (...) {
        return Reply::failure("an exception that is none of the standard library");
    }
}

/// The child's life. Ends when the parent closes its end.
template <class Reply>
[[noreturn]] void serve(int channel, const Worker::Setup& setUp) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    startSecondThread();
    std::vector<Measurement> measurements;
    Reply reply = attempt<Reply>([&](Reply&) { measurements = setUp(); });
    ::send(channel, &reply, sizeof reply, MSG_NOSIGNAL);
    std::size_t which = 0;
    while (::recv(channel, &which, sizeof which, 0) == sizeof which) {
        reply = attempt<Reply>([&](Reply& result) { result.sample = measurements.at(which)(); });
        ::send(channel, &reply, sizeof reply, MSG_NOSIGNAL);
    }
    std::_Exit(0);
}

}  // namespace

Worker::Worker(const Setup& setUp) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    std::fflush(nullptr);
    _child = ::fork();
    if (_child == 0) {
        ::close(ends[0]);
        serve<Reply>(ends[1], setUp);
    }
    const int error = errno;
    ::close(ends[1]);
    _channel = ends[0];
    if (_child < 0) {
        ::close(_channel);
        throw std::system_error(error, std::generic_category(), "fork");
    }
}

Worker::~Worker() {
    ::close(_channel);
    ::kill(_child, SIGKILL);
    ::waitpid(_child, nullptr, 0);
}

void Worker::awaitReady(Clock::time_point deadline) {
    if (!_isReady) {
        _receive(deadline);
        _isReady = true;
    }
}

Sample Worker::measure(std::size_t which, Clock::time_point deadline) {
    awaitReady(deadline);
    ::send(_channel, &which, sizeof which, MSG_NOSIGNAL);
    return _receive(deadline).sample;
}

Worker::Reply Worker::_receive(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd wait{_channel, POLLIN, 0};
    if (::poll(&wait, 1, static_cast<int>(std::clamp<long long>(left, 0, 3'600'000))) <= 0) {
        throw OutOfTime("out of time");
    }
    Reply reply;
    if (::recv(_channel, &reply, sizeof reply, 0) != sizeof reply) {
        throw std::runtime_error("the measuring process ended");
    }
    if (reply.isFailure) {
        throw std::runtime_error(reply.text);
    }
    return reply;
}

}  // namespace velm::bench
