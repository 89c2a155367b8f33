#include "benchmarks/harness/Placement.h"
#include "benchmarks/limits/RawSender.h"
#include "benchmarks/peers/PeerProcess.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/MemoryStream.h"
#include "foundation/http/ORVHTTPClient.h"
#include "foundation/http/ORVHTTPCodes.h"
#include "foundation/http/ORVHTTPResponse.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/ORVNetUtil.h"

#include <iterator>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

// The steps of one delivery, to a listener in another process on the second core.

namespace {

using namespace velm::bench;

/// Started before the first thread of this process.
const Listeners& listener() {
    static const Listeners listeners(cores().second, 1);
    return listeners;
}

std::string document() {
    OutputText stream;
    ORVString host = localHost;
    ORVString port = localPort;
    CIMUtil::StreamMessageHeader(stream, 0);
    CIMUtil::StreamIndication(stream, *fullEvent(7), host, port, true, false);
    CIMUtil::StreamMessageTrailer(stream);
    return stream.text();
}

void exchange(benchmark::State& state) {
    const ORVString url("http://127.0.0.1:" + std::to_string(listener().port()));
    const std::string body = document();
    for (auto unused : state) {
        ORVHTTPClient client(url, ORVHTTPClient::defaultTimeout, false);
        std::ostream* out = nullptr;
        const std::unique_ptr<ORVGenericHTTPIStream> in(
            client.connect(ORVHTTPCodes::Post, "/indication", &out));
        const std::unique_ptr<std::ostream> request(out);
        request->write(body.data(), static_cast<std::streamsize>(body.size()));
        dynamic_cast<ORVGenericHTTPOStream&>(*request).send();
        ORVHTTPResponse().readResponseFrom(*in);
        benchmark::DoNotOptimize(std::string(std::istreambuf_iterator<char>(*in), {}));
        client.disconnect();
    }
}
BENCHMARK(exchange)->UseRealTime();

void rawDelivery(benchmark::State& state) {
    RawSender sender(listener().port());
    const FullEventText event = fullEventText(7);
    for (auto unused : state) {
        sender.deliver(event);
    }
}
BENCHMARK(rawDelivery)->UseRealTime();

void connectAndClose(benchmark::State& state) {
    for (auto unused : state) {
        const Socket connection = connectTo(listener().port());
        benchmark::DoNotOptimize(connection.get());
    }
}
BENCHMARK(connectAndClose)->UseRealTime();

void isLoopBackAddress(benchmark::State& state) {
    const ORVString host("127.0.0.1");
    for (auto unused : state) {
        benchmark::DoNotOptimize(ORVNetUtil::isLoopBackAddress(host, 0));
    }
}
BENCHMARK(isLoopBackAddress);

}  // namespace

BENCHMARK_MAIN();
