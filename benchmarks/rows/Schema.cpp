#include "CIMOM_Indications/CIMOMClassManager.h"
#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/limits/ReusedParser.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/World.h"
#include "foundation/object_model/COrvoRepository.h"

#include <memory>

#include <fmt/format.h>

// 15: loading a schema and building the class tree.

namespace velm::bench {

namespace {

/// As at a start: what the round before has built is let go outside the time taken.
std::vector<Measurement> ours(const Session& session) {
    pinThread(cores().first);
    return {[file = ORVString(session.options().schema.string())] {
        ORVSmrPtr<IOrvoRepository> kept;
        const auto letGo = [&] {
            kept = new COrvoRepository;
            CCIMOMClassManager::initialize(kept);
        };
        return Sample{meanTime(
            1,
            [&] {
                letGo();
                return std::make_unique<COrvoRepository>();
            },
            [&](std::unique_ptr<COrvoRepository>& repository) {
                repository->loadFile(file, nameSpace);
                repository->link();
                kept = repository.release();
                CCIMOMClassManager::initialize(kept);
            })};
    }};
}

std::vector<Measurement> limit(const Session& session) {
    pinThread(cores().first);
    const auto parser = std::make_shared<ReusedParser>();
    return {[parser, file = session.options().schema] {
        return Sample{meanTime(
            3, [] { return 0; }, [&](int) { parser->parseFile(file); })};
    }};
}

}  // namespace

void measureSchema(Session& session) {
    session.attempt(15, "loading the schema", [&] {
        Worker oursWorker([&] { return ours(session); });
        Worker limitWorker([&] { return limit(session); });
        const auto sides =
            measureInTurn(session.rounds(), {session.side(oursWorker), session.side(limitWorker)});
        session.add(timeRow({15, "loading the schema and building the tree", oneCore}, sides[0].value,
                            sides[1].value, As::cost, Target::atMost(1.5, 1.2)));
    });
}

}  // namespace velm::bench
