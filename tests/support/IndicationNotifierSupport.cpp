#include "tests/support/IndicationNotifierSupport.h"

#include "foundation/http/ORVHTTPTransport.h"
#include "tests/support/ModelBuilders.h"

#include <arpa/inet.h>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace velm::test {

namespace {

using std::chrono::steady_clock;

void require(bool succeeded, const char* operation) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), operation);
    }
}

/// The two ends of a loopback connection.
std::pair<int, int> connectedPair() {
    const int listening = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    require(::bind(listening, generic, size) == 0 && ::listen(listening, 1) == 0, "listen");
    require(::getsockname(listening, generic, &size) == 0, "getsockname");

    const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(::connect(client, generic, size) == 0, "connect");
    const int server = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    require(server >= 0, "accept");
    ::close(listening);
    return {client, server};
}

}  // namespace

void RecordingManager::add(const ORVSmrPtr<CSubscriber>& subscriber) {
    const std::lock_guard lock(_mutex);
    _subscribers.append(subscriber);
}

void RecordingManager::removeSubscriber(const CSubscriberID& subscriberID, bool informConnectionMonitor,
                                        bool cleanupDeletedSubscribers) {
    duringRemoval();
    const std::lock_guard lock(_mutex);
    _removals.push_back({subscriberID.toString().data(), informConnectionMonitor, cleanupDeletedSubscribers});
    for (ORVValSlistIterator<ORVSmrPtr<CSubscriber>> iter(_subscribers); ++iter;) {
        if (!iter.key().IsNull() && *iter.key()->getSubscriberID() == subscriberID) {
            iter.remove();
        }
    }
    _changed.notify_all();
}

ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> RecordingManager::getCurrentSubscribers() {
    const std::lock_guard lock(_mutex);
    _passes.push_back(Clock::now());
    _changed.notify_all();
    return ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>>(
        new ORVValSlist<ORVSmrPtr<CSubscriber>>(_subscribers));
}

std::vector<RecordingManager::Removal> RecordingManager::removals() const {
    const std::lock_guard lock(_mutex);
    return _removals;
}

std::vector<RecordingManager::Clock::time_point> RecordingManager::passes() const {
    const std::lock_guard lock(_mutex);
    return _passes;
}

bool RecordingManager::waitForPasses(std::size_t count) const {
    std::unique_lock lock(_mutex);
    return _changed.wait_until(lock, Clock::now() + patience, [&] { return _passes.size() >= count; });
}

bool everyHostIsRemote(const ORVString& /*host*/, int /*addressFamily*/) {
    return false;
}

Host::~Host() {
    notifier->shutdown();
    notifier->detachManager();
    notifier = nullptr;
}

ChannelPeer::ChannelPeer() {
    const auto [client, server] = connectedPair();
    _socket = client;
    _connection = new CSubscriberNetworkConnection(ORVSmrPtr<ORVHTTPTransport>(new ORVHTTPTransport(server)));
}

ChannelPeer::~ChannelPeer() {
    close();
}

std::string ChannelPeer::receiveUntil(const std::string& end) const {
    std::string received;
    const auto deadline = steady_clock::now() + patience;
    while (!received.ends_with(end) && steady_clock::now() < deadline) {
        pollfd watched{_socket, POLLIN, 0};
        char bytes[4096];
        const ssize_t size = ::poll(&watched, 1, 100) > 0 ? ::recv(_socket, bytes, sizeof bytes, 0) : 0;
        received.append(bytes, size > 0 ? static_cast<std::size_t>(size) : 0);
    }
    return received;
}

void ChannelPeer::close() {
    if (_socket >= 0) {
        ::close(std::exchange(_socket, -1));
    }
}

void ChannelPeer::reset() {
    const linger atOnce{1, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close();
}

ORVSmrPtr<CSubscriber> subscriberAt(const std::string& port,
                                    const ORVSmrPtr<CSubscriberNetworkConnection>& connection,
                                    const std::string& host) {
    ORVSmrPtr<CSubscriberID> id(new CSubscriberID(ORVString(host), ORVString(port), 7));
    return ORVSmrPtr<CSubscriber>(new CSubscriber(id, "server.example", "5989", connection));
}

ORVSmrPtr<IOrvoIndication> creation(std::size_t size) {
    const auto name = makeInstanceName("CIM_DataFile");
    ORVSmrPtr<COrvoObject> object(new COrvoObject("CIM_DataFile", name));
    object->setProperty("Caption", makeString(ORVString(std::string(size, 'x'))));
    return ORVSmrPtr<IOrvoIndication>(new COrvoIndication(
        ORVSmrPtr<IOrvoObject>(new COrvoObject(*object, false)), IOrvoIndication::IndicationCreation, nullptr,
        nullptr, IOrvoIndication::IntentReport, nullptr, false));
}

ORVSmrPtr<IOrvoIndication> unsendable() {
    return ORVSmrPtr<IOrvoIndication>(new COrvoIndication(nullptr, IOrvoIndication::IndicationCreation,
                                                          nullptr, nullptr, IOrvoIndication::IntentReport,
                                                          nullptr, false));
}

CSubscriber::IndicationList batch(const Indications& indications) {
    CSubscriber::IndicationList list(new ORVValSlist<ORVSmrPtr<IOrvoIndication>>);
    for (const auto& indication : indications) {
        list->append(indication);
    }
    return list;
}

void queue(const ORVSmrPtr<CSubscriber>& subscriber, const Indications& indications) {
    for (const auto& indication : indications) {
        subscriber->notify(indication);
    }
}

std::size_t deliveryThreadCount() {
    std::size_t count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        count += std::getline(comm, name) && name == "CIndicationNoti" ? 1 : 0;
    }
    return count;
}

bool waitForDeliveryThreads(std::size_t count, std::chrono::milliseconds deadline) {
    const auto end = steady_clock::now() + deadline;
    while (deliveryThreadCount() != count) {
        if (steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace velm::test
