#include "examples/listener/ChannelClient.h"

#include <utility>

ChannelClient::ChannelClient(std::string serverHost, std::string serverPort, unsigned int session)
    : _serverHost(std::move(serverHost)),
      _serverPort(std::move(serverPort)),
      _session(session),
      _channel(_serverHost, _serverPort) {
    _channel.call("RegisterNotificationChannel", _identity());
}

WBEMClient::Parameters ChannelClient::_identity() const {
    return WBEMClient::subscriber(host(), port(), _session);
}

void ChannelClient::sendHeartBeat() {
    WBEMClient(_serverHost, _serverPort).call("HeartBeat", _identity());
}

void ChannelClient::run(const Receive& receive) {
    while (const auto message = _channel.next()) {
        receive(ExportMessage::parse(*message));
    }
}
