#include "foundation/utilities/ORVThread.h"

#include "foundation/services/ORVLog.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <pthread.h>
#include <string>
#include <system_error>
#include <thread>

namespace {

void nameThisThread(const ORVString& name) {
    constexpr std::size_t longestName = 15;
    const std::string text(name.view().substr(0, longestName));
    pthread_setname_np(pthread_self(), text.c_str());
}

void logEscape(const ORVString& threadName, const ORVString& what) {
    ORVLog::log("ORVThread::execute", "An exception ended the thread '" + threadName + "': " + what,
                OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

}  // namespace

/// What the thread and the object share; the thread keeps it alive when the object goes first.
struct ORVThread::State {
    enum class Phase { idle, starting, usingObject, standingAlone, ended };

    State(const ORVString& threadName, bool joins) : name(threadName), joinsOnDestruction(joins) {}

    const ORVString name;
    const bool joinsOnDestruction;

    std::mutex mutex;
    std::condition_variable changed;
    Phase phase = Phase::idle;
    std::thread thread;

    bool isThisThread() const { return thread.get_id() == std::this_thread::get_id(); }

    void enter(Phase next) {
        phase = next;
        changed.notify_all();
    }

    /// Claims the object for the thread; false when the object has gone first.
    bool claimObject() {
        const std::lock_guard lock(mutex);
        if (phase != Phase::starting) {
            return false;
        }
        enter(Phase::usingObject);
        return true;
    }

    void run(ORVThread& object) {
        nameThisThread(name);
        if (claimObject()) {
            execute(object);
        }
        const std::lock_guard lock(mutex);
        enter(Phase::ended);
    }

    void execute(ORVThread& object) const {
        try {
            object.execute();
        } catch (const OrvoBaseException& failure) {
            logEscape(name, failure.getMessage());
        } catch (const std::exception& failure) {
            logEscape(name, failure.what());
        } catch (...) {
            logEscape(name, "not a known exception");
        }
    }
};

ORVThread::ORVThread(const ORVString& name, bool joinsOnDestruction)
    : _state(std::make_shared<State>(name, joinsOnDestruction)) {
}

ORVThread::~ORVThread() {
    endUse();
    std::thread& thread = _state->thread;
    if (!thread.joinable()) {
        return;
    }
    if (_state->joinsOnDestruction && !_state->isThisThread()) {
        thread.join();
    } else {
        thread.detach();
    }
}

void ORVThread::start() {
    const std::lock_guard lock(_state->mutex);
    if (_state->phase != State::Phase::idle) {
        throw OrvoBaseException("ORVThread::start", _state->name, "The thread was started before", 0);
    }
    try {
        _state->thread = std::thread([state = _state, this] { state->run(*this); });
    } catch (const std::system_error& failure) {
        throw OrvoBaseException("ORVThread::start", _state->name, failure.what(), failure.code().value());
    }
    _state->phase = State::Phase::starting;
}

void ORVThread::join() {
    std::unique_lock lock(_state->mutex);
    _state->changed.wait(lock, [&state = *_state] {
        return state.phase == State::Phase::ended || state.phase == State::Phase::idle;
    });
}

ORVString ORVThread::getName() const {
    return _state->name;
}

void ORVThread::standAlone() {
    const std::lock_guard lock(_state->mutex);
    if (_state->phase == State::Phase::usingObject && _state->isThisThread()) {
        _state->enter(State::Phase::standingAlone);
    }
}

void ORVThread::endUse() {
    State& state = *_state;
    std::unique_lock lock(state.mutex);
    if (state.phase == State::Phase::starting) {
        state.enter(State::Phase::ended);
    }
    if (!state.isThisThread()) {
        state.changed.wait(lock, [&state] { return state.phase != State::Phase::usingObject; });
    }
}
