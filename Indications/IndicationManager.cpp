#include "Indications/IndicationManager.h"

#include "Indications/IndicationNotifier.h"
#include "foundation/services/VELMConfigManager.h"

#include <ctime>

namespace {

constexpr ORVsint32 defaultTransactionTimeout = 600;
constexpr unsigned int subscriberTableBuckets = 150;
constexpr int channelSendTimeout = 120000;

}  // namespace

IIndicationManager::IIndicationManager() = default;
IIndicationManager::~IIndicationManager() = default;

CIndicationManager::CIndicationManager(velm::IVELMServer& server)
    : _velmServer(server),
      _transactionTimeout(defaultTransactionTimeout),
      _subscriberTable(&hashKeyORVStringToLower, subscriberTableBuckets),
      _serverSessionID(0),
      _indicationManagerLock(ORVReaderWriterLock::Rank::indicationManager),
      _sendTimeout(channelSendTimeout),
      _indicationsEnabled(false) {
    _serverSessionID = static_cast<ORVuint32>(std::time(nullptr));
    try {
        _smartThis.Set(this);
        _connectionMonitor = new CSubscriberNetworkConnectionMonitor(_smartThis);
        _indicationNotifer = new CIndicationNotifier(_smartThis);
        _records = _indicationNotifer->records();
        _iOrvoSubscriberPtr.Set(this);
        VELMConfigManager::getInstance()->getSint32("VELM", "CimTransactionTimeout", _transactionTimeout);
    } catch (...) {
        // The self-handles must not delete what the language is about to free.
        _detachSelfHandles();
        throw;
    }
}

CIndicationManager::~CIndicationManager() {
    _detachSelfHandles();
}

void CIndicationManager::_detachSelfHandles() noexcept {
    if (!_connectionMonitor.IsNull()) {
        _connectionMonitor->shutdown();
    }
    if (!_indicationNotifer.IsNull()) {
        _indicationNotifer->shutdown();
        // The thread may be in the middle of a slow delivery: it finishes alone, and never comes back here.
        _indicationNotifer->detachManager();
        _indicationNotifer = nullptr;
    }
    // Not earlier: a removal that the delivery thread asks for still tells the monitor, which then refuses.
    _connectionMonitor = nullptr;
    _smartThis.Set(nullptr);
    _iOrvoSubscriberPtr.Set(nullptr);
}

void CIndicationManager::initialize(ORVSmrPtr<CIndicationManager>) {
}

void CIndicationManager::enableIndications() {
    _indicationsEnabled.store(true, std::memory_order_relaxed);
}

void CIndicationManager::disableIndications() {
    _indicationsEnabled.store(false, std::memory_order_relaxed);
}

bool CIndicationManager::getIndicationsEnabled() const {
    return _indicationsEnabled.load(std::memory_order_relaxed);
}

ORVSmrPtr<CIndicationNotifier> CIndicationManager::getIndicationNotifier() const {
    return _indicationNotifer;
}

ORVSmrPtr<IOrvoSubscriber> CIndicationManager::getSmartSubscriber() {
    return _iOrvoSubscriberPtr;
}
