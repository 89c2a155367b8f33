#include "velmctl/client/ChannelClient.h"

#include <poll.h>

namespace velm {

ChannelClient::ChannelClient(const HostPort& server, unsigned int session, std::chrono::milliseconds patience)
    : _session(session),
      _patience(patience),
      _channel(server, routedNamespace, patience),
      _name(_channel.local()) {
    _channel.call("RegisterNotificationChannel", identity());
}

void ChannelClient::sendHeartBeat() {
    WBEMClient(server(), routedNamespace, _patience).call("HeartBeat", identity());
}

bool ChannelClient::receive(const Receive& receive) {
    do {
        const auto message = _channel.next();
        if (!message) {
            return false;
        }
        receive(ExportMessage::parse(*message));
    } while (_channel.hasUnread());
    return true;
}

void ChannelClient::run(const Receive& receive) {
    pollfd watched{descriptor(), POLLIN, 0};
    do {
        ::poll(&watched, 1, -1);
    } while (this->receive(receive));
}

}  // namespace velm
