#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ORVString.h"

#include <memory>

/// A named thread whose virtual execute() runs after start().
///
/// Threads: start() once, from the owning thread. Failure: an exception that leaves execute() is logged and
/// ends the thread only.
///
/// Ownership: the object must outlive its use by the thread. No base class can see to that alone, because a
/// derived object is half gone before the base's destructor runs. So the most derived destructor begins by
/// making execute() return and then join(), or, without `joinsOnDestruction`, by endUse(). A detached thread
/// may run on: execute() first takes hold of what it needs (say, a shared pointer to its work), calls
/// standAlone() and touches nothing of the object from then on. A thread that has not begun when endUse() is
/// called never calls execute().
class VELM_EXPORT ORVThread {
public:
    /// `name` is shown by debuggers and top(1), cut to 15 bytes.
    ORVThread(const ORVString& name, bool joinsOnDestruction);
    ORVThread(const ORVThread&) = delete;
    ORVThread& operator=(const ORVThread&) = delete;
    virtual ~ORVThread();

    /// Throws OrvoBaseException when the system has no thread to give.
    void start();

    /// Waits until execute() has returned; returns at once when it never runs. Not to be called by the thread
    /// itself.
    void join();

    ORVString getName() const;

protected:
    virtual void execute() = 0;

    /// Called by execute(): from here on this thread uses nothing of the object, and endUse() no longer waits
    /// for it. Nothing happens on any other thread.
    void standAlone();

    /// Returns when the thread does not use the object any more: it has never begun, stands alone, or has
    /// ended. The thread itself may call it and does not wait.
    void endUse();

private:
    struct State;
    std::shared_ptr<State> _state;
};
