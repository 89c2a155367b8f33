#include "Indications/IndicationNotifier.h"

#include "Indications/IndicationNotifierDelivery.h"
#include "Indications/RemovalCause.h"
#include "foundation/utilities/ORVNetUtil.h"

#include <memory>
#include <utility>

using velm::logDeliveryLine;

namespace {

constexpr int passInterval = 1000;  // milliseconds
const char* const executeLocation = "CIndicationNotifier::execute";

}  // namespace

CIndicationNotifier::CIndicationNotifier(ORVSmrPtr<ISubscriberManager> subscriberManager)
    : CIndicationNotifier(std::move(subscriberManager), &ORVNetUtil::isLoopBackAddress) {
}

CIndicationNotifier::CIndicationNotifier(ORVSmrPtr<ISubscriberManager> subscriberManager,
                                         LocalAddressTest isLocalAddress)
    : ORVThread("CIndicationNotifier", false), _delivery(new CDelivery(subscriberManager, isLocalAddress)) {
    start();
    // Until the thread has its share nobody may be able to destroy this object, a derived part of it
    // included.
    _delivery->awaitTaken();
    try {
        _startIndicationsLog();
    } catch (...) {
        _delivery->detachManager();
        throw;
    }
}

CIndicationNotifier::~CIndicationNotifier() {
    endUse();
    _endIndicationsLog();
    detachManager();
}

void CIndicationNotifier::shutdown() {
    _delivery->shutdown();
}

void CIndicationNotifier::detachManager() noexcept {
    _delivery->detachManager();
}

CIndicationNotifier::Progress CIndicationNotifier::getProgress() const noexcept {
    return _delivery->getProgress();
}

const std::shared_ptr<velm::DeliveryRecords>& CIndicationNotifier::records() const noexcept {
    return _delivery->records();
}

void CIndicationNotifier::execute() {
    const ORVSmrPtr<CDelivery> delivery = _delivery;
    standAlone();
    delivery->markTaken();
    delivery->run();
}

CIndicationNotifier::CDelivery::CDelivery(const ORVSmrPtr<ISubscriberManager>& subscriberManager,
                                          LocalAddressTest isLocalAddress)
    : _isLocalAddress(isLocalAddress), _subscriberManager(subscriberManager) {
}

void CIndicationNotifier::CDelivery::shutdown() {
    _shutdownSemaphore.release(1);
}

void CIndicationNotifier::CDelivery::detachManager() noexcept {
    ORVSmrPtr<ISubscriberManager> dropped;
    {
        std::unique_lock lock(_managerGate);
        _isDetached = true;
        dropped = std::move(_subscriberManager);
        if (_deliveryThread != std::this_thread::get_id()) {
            _managerLeft.wait(lock, [this] { return !_isInsideManager; });
        }
    }
    _shutdownSemaphore.release(1);
}

template <class Operation>
void CIndicationNotifier::CDelivery::_callManager(Operation operation) {
    ORVSmrPtr<ISubscriberManager> manager;
    {
        const std::lock_guard lock(_managerGate);
        if (_isDetached) {
            return;
        }
        manager = _subscriberManager;
        _isInsideManager = true;
        _deliveryThread = std::this_thread::get_id();
    }
    const auto leave = [this](void*) {
        const std::lock_guard lock(_managerGate);
        _isInsideManager = false;
        _deliveryThread = {};
        _managerLeft.notify_all();
    };
    const std::unique_ptr<void, decltype(leave)> guard(this, leave);
    operation(*manager);
}

void CIndicationNotifier::CDelivery::run() {
    while (!_shutdownSemaphore.wait(passInterval)) {
        try {
            try {
                _pass();
            } catch (...) {
                logDeliveryLine(executeLocation,
                                "Caught an Unknown exception, continuing back through while loop.",
                                OrvoTraceLog::SeverityError);
            }
        } catch (...) {
            logDeliveryLine(executeLocation, "Caught an Unknown exception, thread exiting.",
                            OrvoTraceLog::SeverityError);
            return;
        }
    }
}

CIndicationNotifier::Progress CIndicationNotifier::CDelivery::getProgress() const noexcept {
    // The end is read first: a pass that begins in between shows as one that has not ended.
    const std::uint64_t ended = _records->passesEnded();
    return {_records->passesBegun(), ended, _inHand.load()};
}

void CIndicationNotifier::CDelivery::_pass() {
    _records->beginPass();
    const auto end = [](CDelivery* delivery) {
        delivery->_inHand = 0;
        delivery->_records->endPass();
    };
    const std::unique_ptr<CDelivery, decltype(end)> guard(this, end);
    const SubscriberList subscribers = _getCurrentSubscribers();
    if (subscribers.IsNull()) {
        return;
    }
    for (ORVValSlistIterator<ORVSmrPtr<CSubscriber>> iter(*subscribers); ++iter;) {
        if (iter.key().IsNull()) {
            // Only the line: the use of the handle that follows ends the pass.
            logDeliveryLine(executeLocation, "iter()->key() is NULL", OrvoTraceLog::SeverityError);
        }
        IndicationList indications = iter.key()->getIndications();
        if (!indications.IsNull()) {
            _fireindications(iter.key(), indications);
            _inHand = 0;
        }
    }
}

CIndicationNotifier::CDelivery::SubscriberList CIndicationNotifier::CDelivery::_getCurrentSubscribers() {
    {
        const std::lock_guard lock(_managerGate);
        if (!_isDetached && _subscriberManager.IsNull()) {
            logDeliveryLine(executeLocation, "_subscriberManager is NULL", OrvoTraceLog::SeverityError);
        }
    }
    SubscriberList subscribers;
    _callManager([&](ISubscriberManager& manager) { subscribers = manager.getCurrentSubscribers(); });
    return subscribers;
}

void CIndicationNotifier::CDelivery::_removeSubscriber(const CSubscriber& subscriber,
                                                       bool informConnectionMonitor,
                                                       bool cleanupDeletedSubscribers) {
    _callManager([&](ISubscriberManager& manager) {
        const velm::RemovalCause cause(velm::RemovalReason::deliveryFailed);
        manager.removeSubscriber(*subscriber.getSubscriberID(), informConnectionMonitor,
                                 cleanupDeletedSubscribers);
    });
}
