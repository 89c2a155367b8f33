#include "foundation/utilities/ORVThread.h"

#include "foundation/utilities/ORVSemaphore.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/server/utilities/ThreadWatch.h"

#include <atomic>
#include <functional>
#include <memory>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

namespace {

using velm::test::LogCapture;

constexpr int longEnough = 20'000;

/// Runs a function and is joined.
class JoinedThread : public ORVThread {
public:
    explicit JoinedThread(std::function<void()> body, const ORVString& name = "joined")
        : ORVThread(name, true), _body(std::move(body)) {}
    ~JoinedThread() override { join(); }

protected:
    void execute() override { _body(); }

private:
    const std::function<void()> _body;
};

/// What a detached thread shares with its object.
struct Work {
    std::atomic<bool> objectIsGone{false};
    std::atomic<bool> usedAGoneObject{false};
    std::atomic<int> runs{0};
    ORVSemaphore begun{0};
    ORVSemaphore mayStandAlone{0};
    ORVSemaphore mayEnd{0};
    ORVSemaphore ended{0};
};

/// Stands alone when it is told to, then goes on with its work until it is told to end.
class DetachedThread : public ORVThread {
public:
    explicit DetachedThread(std::shared_ptr<Work> work)
        : ORVThread("detached", false), _work(std::move(work)) {}
    ~DetachedThread() override {
        endUse();
        _work->objectIsGone = true;
    }

protected:
    void execute() override {
        const std::shared_ptr<Work> work = _work;
        work->usedAGoneObject = work->usedAGoneObject || work->objectIsGone;
        work->begun.release(1);
        work->mayStandAlone.wait(-1);
        standAlone();
        ++work->runs;
        work->mayEnd.wait(-1);
        work->ended.release(1);
    }

private:
    const std::shared_ptr<Work> _work;
};

}  // namespace

TEST(Thread, RunsExecuteOnAnotherThread_WhenStarted) {
    std::thread::id id;
    JoinedThread thread([&id] { id = std::this_thread::get_id(); });
    EXPECT_EQ(id, std::thread::id());
    thread.start();
    thread.join();
    EXPECT_NE(id, std::thread::id());
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(Thread, ShowsTheFirstFifteenBytesOfItsName) {
    std::string shown;
    JoinedThread thread(
        [&shown] {
            char name[16];
            ASSERT_EQ(pthread_getname_np(pthread_self(), name, sizeof name), 0);
            shown = name;
        },
        "CIndicationNotifier");
    EXPECT_EQ(thread.getName(), "CIndicationNotifier");
    thread.start();
    thread.join();
    EXPECT_EQ(shown, "CIndicationNoti");
}

TEST(Thread, ThrowsAndRunsOnce_WhenStartedTwice) {
    std::atomic<int> runs{0};
    {
        JoinedThread thread([&runs] { ++runs; });
        thread.start();
        EXPECT_THROW(thread.start(), OrvoBaseException);
        thread.join();
        EXPECT_THROW(thread.start(), OrvoBaseException);
    }
    EXPECT_EQ(runs, 1);
}

TEST(Thread, JoinsAtOnce_WhenItWasNeverStarted) {
    JoinedThread thread([] { FAIL() << "never started"; });
    thread.join();
}

TEST(Thread, WaitsForTheThread_WhenItJoinsOnDestruction) {
    ORVSemaphore mayEnd(0);
    std::atomic<bool> ended{false};
    auto thread = std::make_unique<JoinedThread>([&] {
        mayEnd.wait(-1);
        ended = true;
    });
    thread->start();
    ThreadWatch destroyer([&thread] { thread.reset(); });
    destroyer.waitUntilAsleepOrDone();
    EXPECT_FALSE(destroyer.isDone());
    mayEnd.release(1);
    destroyer.join();
    EXPECT_TRUE(ended);
}

TEST(Thread, LogsWhatItKnows_WhenAnExceptionLeavesExecute) {
    const std::pair<std::function<void()>, std::string> failures[] = {
        {[] { throw OrvoBaseException("w", "w", "a message", 0); }, "a message"},
        {[] { throw std::runtime_error("a text"); }, "a text"},
        {[] { throw 1; }, "not a known exception"},
    };
    for (const auto& [body, text] : failures) {
        const LogCapture log;
        JoinedThread thread(body, "worker");
        thread.start();
        thread.join();
        EXPECT_THAT(log.records(), testing::ElementsAre(velm::test::IsLogLine(
                                       "ORVThread::execute",
                                       ("An exception ended the thread 'worker': " + text).c_str(), 1)));
    }
}

TEST(Thread, DoesNotWaitForAThreadThatStandsAlone_WhenItIsDestroyed) {
    const auto work = std::make_shared<Work>();
    {
        DetachedThread thread(work);
        thread.start();
        ASSERT_TRUE(work->begun.wait(longEnough));
        work->mayStandAlone.release(1);
        ASSERT_TRUE(comesTrue([&work] { return work->runs == 1; }));
    }
    EXPECT_TRUE(work->objectIsGone);
    work->mayEnd.release(1);
    EXPECT_TRUE(work->ended.wait(longEnough));
}

TEST(Thread, WaitsForAThreadThatStillUsesTheObject_WhenItIsDestroyed) {
    const auto work = std::make_shared<Work>();
    auto thread = std::make_unique<DetachedThread>(work);
    thread->start();
    ASSERT_TRUE(work->begun.wait(longEnough));
    ThreadWatch destroyer([&thread] { thread.reset(); });
    destroyer.waitUntilAsleepOrDone();
    EXPECT_FALSE(work->objectIsGone);
    work->mayStandAlone.release(1);
    EXPECT_TRUE(comesTrue([&work] { return work->objectIsGone.load(); }));
    work->mayEnd.release(1);
    EXPECT_TRUE(work->ended.wait(longEnough));
}

TEST(Thread, NeverUsesAGoneObject_WhenDestroyedRightAfterItsStart) {
    for (int round = 0; round < 1000; ++round) {
        const auto work = std::make_shared<Work>();
        work->mayStandAlone.release(1);
        work->mayEnd.release(1);
        {
            DetachedThread thread(work);
            thread.start();
            // A different point of the race in each round.
            for (int i = 0; i < round % 20; ++i) {
                std::this_thread::yield();
            }
        }
        const bool hasBegun = work->begun.wait(0);
        EXPECT_EQ(hasBegun && !work->ended.wait(longEnough), false);
        EXPECT_EQ(work->runs, hasBegun ? 1 : 0);
        EXPECT_FALSE(work->usedAGoneObject);
    }
}

TEST(Thread, MayDestroyItsOwnObject) {
    class Suicidal : public ORVThread {
    public:
        Suicidal(bool joins, ORVSemaphore& gone) : ORVThread("suicidal", joins), _gone(gone) {}
        ~Suicidal() override { endUse(); }

    protected:
        void execute() override {
            ORVSemaphore& gone = _gone;
            delete this;
            gone.release(1);
        }

    private:
        ORVSemaphore& _gone;
    };
    for (bool joins : {false, true}) {
        ORVSemaphore gone(0);
        (new Suicidal(joins, gone))->start();
        EXPECT_TRUE(gone.wait(longEnough));
    }
}
