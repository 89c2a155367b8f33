#pragma once

#include "foundation/services/IOrvoTransaction.h"

#include <atomic>
#include <chrono>

namespace velm {

/// The one implementation of IOrvoTransaction: a call into a provider that has begun when the transaction is
/// made.
class TimedTransaction : public IOrvoTransaction {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Clock = Time (*)();

    /// What is called, and for whom; empty where there is nothing to tell.
    struct Call {
        ORVString className;
        ORVString methodName;
        ORVString namespaceName;
        ORVString clientName;
        ORVString clientAddress;
    };

    /// `timeout` of 0 or less means none.
    TimedTransaction(Call call, std::chrono::seconds timeout, Clock clock = &std::chrono::steady_clock::now);
    ~TimedTransaction() override;

    ORVString getClassName() const override { return _call.className; }
    ORVString getMethodName() const override { return _call.methodName; }
    std::chrono::milliseconds getTimeLeft() const override;
    bool isReleased() const override { return _isReleased.load(std::memory_order_acquire); }

    /// The call has returned; warns in the log when it took longer than its time-out. Later calls do nothing.
    void release();

    /// The call ended without an answer: nobody waits for it any longer.
    void abandon() noexcept { _isReleased.store(true, std::memory_order_release); }

private:
    bool _hasTimeout() const noexcept { return _timeout.count() > 0; }
    void _warn(std::chrono::steady_clock::duration taken) const;

    const Call _call;
    const std::chrono::seconds _timeout;
    const Clock _clock;
    const Time _start;
    std::atomic<bool> _isReleased{false};
};

}  // namespace velm
