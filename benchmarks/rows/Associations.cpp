#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <memory>

#include <fmt/format.h>

// 9: association filters with keys at one class, of which one matches.

namespace velm::bench {

namespace {

constexpr const char* associationClass = "CIM_DirectoryContainsFile";
constexpr std::uint32_t subscribers = 100;

/// Whether the filters name the directory that the report names too, or each one of its own.
enum class Directories { own, shared };

std::string directory(std::uint32_t index) {
    return fmt::format("/var/data/folder-{}", index);
}

std::vector<Measurement> ours(const Session& session, std::uint32_t strangers, Directories directories) {
    const auto world = std::make_shared<World>(session.options().schema, session.folder(), cores().second);
    std::vector<SubscriberID> ids;
    for (std::uint32_t index = 0; index < subscribers; ++index) {
        ids.push_back(world->addDrained(index));
    }
    for (std::uint32_t index = 0; index <= strangers; ++index) {
        const std::uint32_t folder = directories == Directories::shared ? 0 : index;
        world->subscribeToAssociation(ids[index % subscribers], associationClass,
                                      instanceName("CIM_Directory", directory(folder)),
                                      instanceName(fileClass, filePath(index)));
    }
    // The one in the middle matches.
    const std::uint32_t wanted = strangers / 2;
    return {[world, wanted, folder = directories == Directories::shared ? 0 : wanted] {
        return Sample{meanTime(
            20'000, [&] { return associationEvent(directory(folder), filePath(wanted)); },
            [&](const Indication& indication) { world->manager().notify(indication); })};
    }};
}

void measure(Session& session, Directories directories) {
    Worker few([&] { return ours(session, 10, directories); });
    Worker some([&] { return ours(session, 1000, directories); });
    Worker many([&] { return ours(session, 10'000, directories); });
    const char* form = directories == Directories::shared ? "one directory" : "own ends";
    const auto measured =
        measureSizes(session, 9, fmt::format("association filters ({})", form),
                     {{10, session.side(few)}, {1000, session.side(some)}, {10'000, session.side(many)}});
    session.add(growthRow({9, fmt::format("association filters, 10 -> 10,000 ({})", form), oneCore},
                          measured.back().value, measured.front().value, Target::atMost(3, 1.5)));
}

}  // namespace

void measureAssociations(Session& session) {
    for (const Directories directories : {Directories::own, Directories::shared}) {
        session.attempt(9, "association filters", [&] { measure(session, directories); });
    }
}

}  // namespace velm::bench
