// A fixed script of 10,000 events, whose instructions callgrind counts: what one change costs is then seen on
// a machine on which times cannot be measured. Started without a part it runs itself under callgrind.
#include "benchmarks/harness/Json.h"
#include "benchmarks/peers/PeerProcess.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/MemoryStream.h"
#include "benchmarks/world/World.h"
#include "foundation/cimxml/ORVCIMMessage.h"
#include "foundation/services/CIMUtil.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm::bench {

/// Everything that is done in here is counted, on the thread that calls it. Callgrind knows it by its name.
[[gnu::noinline]] void countedPart(const std::function<void()>& part) {
    part();
}

namespace {

constexpr std::uint32_t subscriptions = 1000;

using Part = void (*)(World& world);

void report(World& world, const std::vector<Indication>& events) {
    countedPart([&] {
        for (const Indication& event : events) {
            world.manager().notify(event);
        }
    });
}

template <class Make>
std::vector<Indication> make(std::uint32_t count, Make one) {
    std::vector<Indication> events;
    for (std::uint32_t index = 0; index < count; ++index) {
        events.push_back(one(index));
    }
    return events;
}

void changesThatMatch(World& world) {
    report(world, make(4000, [](std::uint32_t index) {
               return bareEvent(fileClass, filePath(index * 7 % subscriptions),
                                IOrvoIndication::IndicationChange);
           }));
}

void changesThatDoNot(World& world) {
    report(world, make(2000, [](std::uint32_t index) {
               return bareEvent(fileClass, filePath(subscriptions + index),
                                IOrvoIndication::IndicationChange);
           }));
}

void creationsUpTheTree(World& world) {
    report(world, make(2000, [leaf = world.deepestLineage().front()](std::uint32_t index) {
               return bareEvent(leaf, filePath(index), IOrvoIndication::IndicationCreation);
           }));
}

void associations(World& world) {
    report(world, make(1000, [](std::uint32_t index) {
               return associationEvent("/var/data", filePath(index % 100));
           }));
}

void rendering(World&) {
    const auto events = make(500, [](std::uint32_t index) { return fullEvent(index); });
    OutputText stream;
    ORVString host = localHost;
    ORVString port = localPort;
    countedPart([&] {
        for (const Indication& event : events) {
            stream.clear();
            CIMUtil::StreamMessageHeader(stream, 0);
            CIMUtil::StreamIndication(stream, *event, host, port, true, false);
            CIMUtil::StreamMessageTrailer(stream);
        }
    });
}

void judging(World&) {
    countedPart([] {
        for (int answer = 0; answer < 500; ++answer) {
            InputText stream(listenerAnswerBody());
            const ORVCIMMessage message(stream, false, true);
            message.getSimpleExpRsp()->getMethodResponse()->getReturnValue()->getValue()->getSint32();
        }
    });
}

const std::vector<std::pair<std::string, Part>> parts{
    {"4,000 changes that match", &changesThatMatch},
    {"2,000 changes that do not", &changesThatDoNot},
    {"2,000 creations up the tree", &creationsUpTheTree},
    {"1,000 associations", &associations},
    {"500 documents written", &rendering},
    {"500 answers judged", &judging},
};

void runPart(std::size_t index, const std::filesystem::path& schema, const std::filesystem::path& folder) {
    World world(schema, folder, 0);
    const SubscriberID id = world.addDrained(1);
    for (std::uint32_t instance = 0; instance < subscriptions; ++instance) {
        world.subscribeToChanges(id, instanceName(fileClass, filePath(instance)));
    }
    world.subscribeToCreations(id, world.deepestLineage().back());
    for (std::uint32_t index100 = 0; index100 < 100; ++index100) {
        world.subscribeToAssociation(id, "CIM_DirectoryContainsFile",
                                     instanceName("CIM_Directory", "/var/data"),
                                     instanceName(fileClass, filePath(index100)));
    }
    parts.at(index).second(world);
}

/// The instructions of one part.
double count(std::size_t index, const std::string& self, const std::filesystem::path& schema,
             const std::filesystem::path& folder) {
    const auto figures = folder / fmt::format("callgrind.{}", index);
    const std::vector<std::string> command{"valgrind",
                                           "--tool=callgrind",
                                           "--quiet",
                                           "--collect-atstart=no",
                                           "--toggle-collect=velm::bench::countedPart*",
                                           "--callgrind-out-file=" + figures.string(),
                                           self,
                                           "--part",
                                           std::to_string(index),
                                           "--schema",
                                           schema.string(),
                                           "--folder",
                                           folder.string()};
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::execvp(arguments[0], arguments.data());
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    std::ifstream lines(figures);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("totals: ")) {
            return std::stod(line.substr(line.find(' ')));
        }
    }
    throw std::runtime_error("valgrind counted nothing; is it installed?");
}

Report countAll(const std::string& self, const std::filesystem::path& schema,
                const std::filesystem::path& folder) {
    Report report;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        const double instructions = count(index, self, schema, folder);
        std::cout << fmt::format("{:<30} {:>15}\n", parts[index].first, formatCount(instructions))
                  << std::flush;
        report.rows.push_back(Row{.number = 0,
                                  .what = parts[index].first,
                                  .placement = "instructions",
                                  .ours = formatCount(instructions),
                                  .limit = "",
                                  .ratio = Series({instructions}),
                                  .target = Target::atMost(0, 0)});
    }
    return report;
}

/// A folder that goes with the object.
struct Folder {
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "velm-script-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        }
        path = pattern;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
};

/// Callgrind counts the same twice, up to what memory addresses change.
constexpr double tolerated = 0.95;

int countAndCompare(const std::string& self, const std::filesystem::path& schema,
                    const std::filesystem::path& recordFile, const std::filesystem::path& checkFile) {
    const Folder folder;
    const Report report = countAll(self, schema, folder.path);
    if (!recordFile.empty()) {
        record(report, "instructions", recordFile);
    }
    if (checkFile.empty()) {
        return 0;
    }
    const auto worse = worseThanRecorded(report, "instructions", tolerated, checkFile);
    for (const Worse& line : worse) {
        std::cout << "worse: " << line.text << '\n';
    }
    return worse.empty() ? 0 : 1;
}

}  // namespace

}  // namespace velm::bench

int main(int argc, char** argv) {
    int part = -1;
    std::filesystem::path schema = VELM_BENCH_SCHEMA;
    std::filesystem::path folder;
    std::filesystem::path recordFile;
    std::filesystem::path checkFile;
    CLI::App app("Counts the instructions of a fixed script of 10,000 events.");
    app.add_option("--record", recordFile, "Put the counts into this file of recorded figures");
    app.add_option("--check", checkFile, "Fail when a count is over the one recorded in this file by 5 %");
    app.add_option("--schema", schema, "The schema whose classes are mirrored")->check(CLI::ExistingFile);
    app.add_option("--part", part, "Only run this part, without counting");
    app.add_option("--folder", folder, "Where the part keeps its log");
    CLI11_PARSE(app, argc, argv);
    try {
        if (part < 0) {
            return velm::bench::countAndCompare(std::filesystem::read_symlink("/proc/self/exe"), schema,
                                                recordFile, checkFile);
        }
        velm::bench::runPart(static_cast<std::size_t>(part), schema, folder);
        std::cout.flush();
        // The library's threads go with the process.
        std::_Exit(0);
    } catch (const std::exception& failure) {
        std::cerr << "event_script: " << failure.what() << '\n';
        return 2;
    }
}
