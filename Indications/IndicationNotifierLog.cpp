#include "Indications/IndicationNotifierDelivery.h"
#include "foundation/services/OrvoTraceStrings.h"
#include "foundation/services/VELMConfigManager.h"
#include "foundation/utilities/ORVCriticalSection.h"
#include "foundation/utilities/ORVPort.h"
#include "foundation/utilities/ThreadAnnotations.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>

using velm::logDeliveryLine;

namespace {

/// The log that all notifiers of the process share.
struct IndicationsLog {
    std::atomic<bool> logIndications{false};
    ORVCriticalSection access;
    /// Null until the first notifier opens it, and again once it is closed for good.
    std::unique_ptr<std::ofstream> stream VELM_GUARDED_BY(access);
    bool isClosedForGood VELM_GUARDED_BY(access) = false;

    bool isOpen() const VELM_REQUIRES(access) { return stream && stream->is_open(); }
};

/// Never destroyed: a delivery thread may still log while the process ends.
IndicationsLog& indicationsLog() {
    static auto* const log = new IndicationsLog;
    return *log;
}

std::unique_ptr<std::ofstream> openForAppending(const ORVString& fileName) {
    return std::make_unique<std::ofstream>(fileName.data(), std::ios::out | std::ios::app);
}

/// Turns a failed write into an exception, and makes the stream fit for the next one.
void requireWritten(std::ofstream& stream) {
    if (!stream) {
        stream.clear();
        throw std::runtime_error("write failed");
    }
}

void logFailure(const char* location, const char* message) noexcept {
    try {
        logDeliveryLine(location, message, OrvoTraceLog::SeverityError);
    } catch (...) {
    }
}

const char* const writeFailed = "Exception while writing to indications log.";
const char* const clearFailed = "Exception while clearing indications log.";

}  // namespace

ORVString velm::indicationsLogTime(const timespec& time) {
    tm local{};
    localtime_r(&time.tv_sec, &local);
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%02d-%s-%02d %02d:%02d:%02d.%03d - ", local.tm_mday,
                  OrvoTraceStrings::month[local.tm_mon], local.tm_year + 1900, local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(time.tv_nsec / 1'000'000));
    return text.data();
}

ORVString CIndicationNotifier::_getCurrentTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return velm::indicationsLogTime(now);
}

void CIndicationNotifier::logIndications(bool on) {
    indicationsLog().logIndications = on;
}

bool CIndicationNotifier::logsIndications() {
    return indicationsLog().logIndications;
}

ORVString CIndicationNotifier::getIndicationsLogFileName() {
    ORVString directory = ".";
    VELMConfigManager::getInstance()->getString("Log", "LogDir", directory);
    VELMConfigManager::getInstance()->cvtToAbsolutePath(directory);
    return directory + "/" + "LegacyIndicationsLog.txt";
}

void CIndicationNotifier::_startIndicationsLog() {
    const ORVString fileName = getIndicationsLogFileName();
    IndicationsLog& log = indicationsLog();
    ORVCriticalSectionGuard guard(log.access, true);
    if (!log.stream && !log.isClosedForGood) {
        log.stream = openForAppending(fileName);
    }
    if (log.isOpen()) {
        *log.stream << _getCurrentTime() << "CIMOM started." << std::endl;
        log.stream->clear();
    }
}

void CIndicationNotifier::_endIndicationsLog() {
    IndicationsLog& log = indicationsLog();
    ORVCriticalSectionGuard guard(log.access, true);
    if (log.stream) {
        log.stream.reset();
        log.isClosedForGood = true;
    }
}

void CIndicationNotifier::CDelivery::_logIndication(ORVString& host, ORVString& port,
                                                    ORVSmrPtr<IOrvoIndication>& indication) {
    IndicationsLog& log = indicationsLog();
    if (!log.logIndications) {
        return;
    }
    try {
        ORVCriticalSectionGuard guard(log.access, true);
        if (!log.isOpen()) {
            return;
        }
        const ORVString text = indication->toString();
        *log.stream << _getCurrentTime() << "CIMOM Fired indication to '" << host << ":" << port
                    << "': " << text << std::endl;
        requireWritten(*log.stream);
    } catch (...) {
        // Named without the underscore: existing log scrapers match this location.
        logFailure("CIndicationNotifier::logIndication", writeFailed);
    }
}

void CIndicationNotifier::placeMarker() {
    IndicationsLog& log = indicationsLog();
    try {
        ORVCriticalSectionGuard guard(log.access, true);
        if (log.isOpen()) {
            *log.stream << "############################################################\n";
            requireWritten(*log.stream);
        }
    } catch (...) {
        logFailure("CIndicationNotifier::placeMarker", writeFailed);
    }
}

void CIndicationNotifier::clearIndicationsLog() {
    IndicationsLog& log = indicationsLog();
    try {
        ORVCriticalSectionGuard guard(log.access, true);
        if (!log.isOpen()) {
            return;
        }
        log.stream.reset();
        const ORVString fileName = getIndicationsLogFileName();
        const bool isDeleted = ORVPort::deleteFile(fileName.data());
        log.stream = openForAppending(fileName);
        if (!isDeleted) {
            throw std::runtime_error("the file is still there");
        }
    } catch (...) {
        logFailure("CIndicationNotifier::clearIndicationsLog", clearFailed);
    }
}
