#include "foundation/services/ORVLog.h"

#include "server/services/LogWriter.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <shared_mutex>

namespace {

// Nothing here is ever destroyed: a thread that outlives main() may still log.
constinit std::atomic<int> threshold{OrvoTraceLog::SeverityDetail};
constinit std::atomic<int> traceThreshold{OrvoTraceLog::SeverityInformation};
constinit std::atomic<IORVLogObserver*> currentObserver{nullptr};
constinit thread_local bool isInsideObserver = false;

std::shared_mutex& observerLock() {
    static auto& lock = *new std::shared_mutex;
    return lock;
}

velm::LogWriter& makeWriter() {
    auto& writer = *new velm::LogWriter(&std::chrono::steady_clock::now);
    std::atexit([] { ORVLog::flush(); });
    return writer;
}

velm::LogWriter& writer() {
    static velm::LogWriter& instance = makeWriter();
    return instance;
}

bool isShown(OrvoTraceLog::Severity severity, const std::atomic<int>& limit) noexcept {
    return std::max<int>(severity, OrvoTraceLog::SeverityError) <= limit.load(std::memory_order_relaxed);
}

void tellObserver(const ORVLogRecord& record) {
    if (!currentObserver.load(std::memory_order_relaxed) || isInsideObserver) {
        return;
    }
    const std::shared_lock guard(observerLock());
    if (IORVLogObserver* observer = currentObserver.load(std::memory_order_relaxed)) {
        isInsideObserver = true;
        observer->onLog(record);
        isInsideObserver = false;
    }
}

void report(const ORVLogRecord& record) noexcept {
    try {
        tellObserver(record);
        writer().write({record.component, record.message, record.severity, record.number});
    } catch (...) {
        // There is no place left to report that the log itself failed.
    }
}

}  // namespace

void ORVLog::log(const ORVString& location, const ORVString& message, OrvoTraceLog::Severity severity,
                 OrvoTraceLog::Verbosity verbosity, unsigned int number, unsigned int category) {
    if (isShown(severity, threshold)) {
        report({location, message, severity, verbosity, number, category, false});
    }
}

void ORVLog::trace(const ORVString& component, const ORVString& message, OrvoTraceLog::Severity severity,
                   unsigned int category) {
    if (isTraceOn(severity, category)) {
        report({component, message, severity, OrvoTraceLog::VerbosityNormal, 0, category, true});
    }
}

bool ORVLog::open(const ORVString& path, unsigned long maxBytes, unsigned int maxFiles) {
    try {
        return writer().open(path, maxBytes, maxFiles);
    } catch (...) {
        return false;
    }
}

bool ORVLog::reopen() {
    try {
        return writer().reopen();
    } catch (...) {
        return false;
    }
}

void ORVLog::setFormat(Format format) {
    try {
        writer().setFormat(format);
    } catch (...) {
        // As in report().
    }
}

void ORVLog::setThreshold(OrvoTraceLog::Severity severity) noexcept {
    threshold.store(severity, std::memory_order_relaxed);
}

void ORVLog::setTraceThreshold(OrvoTraceLog::Severity severity) noexcept {
    traceThreshold.store(severity, std::memory_order_relaxed);
}

bool ORVLog::isTraceOn(OrvoTraceLog::Severity severity, unsigned int category) noexcept {
    return (category & CIMOMLOG) != 0 && isShown(severity, traceThreshold);
}

void ORVLog::setObserver(IORVLogObserver* observer) {
    // New lines pass by at once, so that waiting for the calls under way ends however much is logged.
    currentObserver.store(nullptr, std::memory_order_relaxed);
    const std::unique_lock guard(observerLock());
    currentObserver.store(observer, std::memory_order_relaxed);
}

void ORVLog::flush() {
    try {
        writer().flush();
    } catch (...) {
        // As in report().
    }
}
