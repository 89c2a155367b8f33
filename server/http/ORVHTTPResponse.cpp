#include "foundation/http/ORVHTTPResponse.h"

#include "server/http/HTTPIStreamBuffer.h"

#include <string_view>

#include <boost/beast/http/status.hpp>

namespace http = boost::beast::http;

struct ORVHTTPResponse::State {
    unsigned int status = 0;
    http::response_header<> head;
};

namespace {

ORVString toORVString(boost::beast::string_view text) {
    return ORVString(std::string_view(text.data(), text.size()));
}

}  // namespace

ORVHTTPResponse::ORVHTTPResponse() : _state(std::make_unique<State>()) {
}

ORVHTTPResponse::~ORVHTTPResponse() = default;

void ORVHTTPResponse::readResponseFrom(ORVGenericHTTPIStream& stream) {
    stream.clear();
    do {
        _state->status = 0;
        _state->head = stream._buffer->readHead();
        _state->status = _state->head.result_int();
    } while (http::to_status_class(_state->status) == http::status_class::informational);
}

unsigned int ORVHTTPResponse::getStatus() const noexcept {
    return _state->status;
}

ORVString ORVHTTPResponse::getReason() const {
    return _state->status == 0 ? ORVString() : toORVString(_state->head.reason());
}

ORVString ORVHTTPResponse::getHeader(const ORVString& name) const {
    const auto found = _state->head.find(name.view());
    return found == _state->head.end() ? ORVString() : toORVString(found->value());
}
