#include "CIMOM_Indications/CIMOMClassManager.h"
#include "benchmarks/limits/AppendRendering.h"
#include "benchmarks/limits/ReusedParser.h"
#include "benchmarks/peers/PeerProcess.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/MemoryStream.h"
#include "foundation/cimxml/ORVCIMMessage.h"
#include "foundation/object_model/COrvoRepository.h"
#include "foundation/services/CIMUtil.h"

#include <memory>
#include <string>

#include <benchmark/benchmark.h>

namespace {

using namespace velm::bench;

void writeDocument(benchmark::State& state) {
    const Indication event = fullEvent(7);
    OutputText stream;
    ORVString host = localHost;
    ORVString port = localPort;
    for (auto unused : state) {
        stream.clear();
        CIMUtil::StreamMessageHeader(stream, 0);
        CIMUtil::StreamIndication(stream, *event, host, port, state.range(0) != 0, false);
        CIMUtil::StreamMessageTrailer(stream);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(stream.text().size()));
}
BENCHMARK(writeDocument)->ArgName("withObject")->Arg(1)->Arg(0);

void appendTheSameBytes(benchmark::State& state) {
    const FullEventText event = fullEventText(7);
    std::string text;
    for (auto unused : state) {
        text.clear();
        appendDocument(event, "1000000", "20261120153342.000000+000", text);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(appendTheSameBytes);

void readAnswer(benchmark::State& state) {
    for (auto unused : state) {
        InputText stream(listenerAnswerBody());
        const ORVCIMMessage message(stream, false, true);
        benchmark::DoNotOptimize(&message);
    }
}
BENCHMARK(readAnswer);

void parseAnswer(benchmark::State& state) {
    ReusedParser parser;
    for (auto unused : state) {
        parser.parse(listenerAnswerBody());
    }
}
BENCHMARK(parseAnswer);

void parseAnswerWithNewParser(benchmark::State& state) {
    for (auto unused : state) {
        ReusedParser().parse(listenerAnswerBody());
    }
}
BENCHMARK(parseAnswerWithNewParser);

void loadSchema(benchmark::State& state) {
    for (auto unused : state) {
        COrvoRepository repository;
        repository.loadFile(VELM_BENCH_SCHEMA, nameSpace);
        repository.link();
    }
}
BENCHMARK(loadSchema)->Unit(benchmark::kMillisecond);

void buildTree(benchmark::State& state) {
    auto loaded = std::make_unique<COrvoRepository>();
    loaded->loadFile(VELM_BENCH_SCHEMA, nameSpace);
    const ORVSmrPtr<IOrvoRepository> repository(loaded.release());
    for (auto unused : state) {
        CCIMOMClassManager::initialize(repository);
    }
}
BENCHMARK(buildTree)->Unit(benchmark::kMillisecond);

void parseSchema(benchmark::State& state) {
    ReusedParser parser;
    for (auto unused : state) {
        parser.parseFile(VELM_BENCH_SCHEMA);
    }
}
BENCHMARK(parseSchema)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
