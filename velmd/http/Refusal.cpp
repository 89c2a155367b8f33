#include "velmd/http/Refusal.h"

namespace velm {

namespace {

constexpr unsigned int unavailable = 503;
/// Seconds after which what was short may be there again.
constexpr const char* retryAfter = "5";

}  // namespace

HTTPResponse toResponse(const Refusal& refusal) {
    HTTPResponse response{.status = refusal.status,
                          .headers = {{"Content-Type", "text/plain; charset=utf-8"}},
                          .body = std::string(refusal.reason) + '\n',
                          .takeOver = {}};
    if (refusal.status == unavailable) {
        response.headers.emplace_back("Retry-After", retryAfter);
    }
    return response;
}

}  // namespace velm
