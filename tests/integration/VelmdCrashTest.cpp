// Fault model: the daemon's process ends at any instruction (SIGKILL), while clients write; what it handed to
// the system by then stays, the machine itself goes on. Everything that was acknowledged must be there after
// the next start, the one operation of each client that was not acknowledged wholly or not at all, and
// nothing else.
//
// Several daemons are killed side by side. VELM_CRASH_KILLS and VELM_CRASH_SEED choose how often and where;
// scripts/crash-test runs the long form.

#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace velm::test;

namespace {

constexpr const char* itemsClass = "EX_Item";
constexpr std::size_t itemLimit = 40;  // of one writer
constexpr std::size_t classLimit = 6;  // of one writer
constexpr unsigned int writerCount = 4;
constexpr unsigned int laneCount = 4;
constexpr int longestLoad = 200;  // milliseconds
constexpr int longestStart = 60;  // milliseconds

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned int usualKills = 40;  // a sanitized daemon takes long to start
#else
constexpr unsigned int usualKills = 320;
#endif

unsigned int numberFrom(const char* variable, unsigned int fallback) {
    const char* text = std::getenv(variable);
    return text ? static_cast<unsigned int>(std::stoul(text)) : fallback;
}

/// What an item of this size says of itself, up to some kilobytes: half of one would be noticed.
std::string captionOf(unsigned int size) {
    return "caption " + std::to_string(size) + std::string(size % 5000, 'x');
}

/// The sizes of the items by their keys, and the names of the classes.
struct Contents {
    std::map<std::string, unsigned int> items;
    std::set<std::string> classes;

    bool operator==(const Contents&) const = default;
};

struct Operation {
    enum class Kind { create, modify, remove, createClass, removeClass };

    Kind kind;
    std::string name;
    unsigned int size = 0;

    void carryOut(Contents& contents) const {
        switch (kind) {
            case Kind::create:
            case Kind::modify:
                contents.items[name] = size;
                break;
            case Kind::remove:
                contents.items.erase(name);
                break;
            case Kind::createClass:
                contents.classes.insert(name);
                break;
            case Kind::removeClass:
                contents.classes.erase(name);
                break;
        }
    }

    std::string request(const WBEMClient& client) const {
        switch (kind) {
            case Kind::create:
                return client.request("CreateInstance", {{"NewInstance", _instance()}});
            case Kind::modify:
                return client.request("ModifyInstance",
                                      {{"ModifiedInstance", namedItem(itemsClass, name, _instance())}});
            case Kind::remove:
                return client.request("DeleteInstance", {{"InstanceName", itemName(itemsClass, name)}});
            case Kind::createClass:
                return client.request("CreateClass", {{"NewClass", itemClass(name, itemsClass)}});
            default:
                return client.request("DeleteClass", {{"ClassName", className(name)}});
        }
    }

private:
    std::string _instance() const { return itemInstance(itemsClass, name, captionOf(size), size); }
};

/// A client that writes things of its own, one operation after the other, until the daemon is gone.
class Writer {
public:
    Writer(unsigned int number, unsigned int seed)
        : _prefix("W" + std::to_string(number) + "_"), _random(seed + number) {}

    void write(std::uint16_t port) {
        const WBEMClient client(port);
        try {
            ResponseSocket connection(port);
            for (;;) {
                underWay = _next();
                connection.send(underWay->request(client));
                const WBEMAnswer answer = connection.next();
                if (answer.httpStatus != 200 || answer.status() != 0) {
                    refused = answer.body;
                    return;
                }
                underWay->carryOut(acknowledged);
                underWay.reset();
                ++count;
            }
        } catch (const std::runtime_error&) {
            // The daemon is gone.
        }
    }

    /// What is wrong with the things of this writer as they were found; they are the truth from now on.
    std::string compareWith(const Contents& all) {
        const Contents found = _own(all);
        Contents alternative = acknowledged;
        if (underWay) {
            underWay->carryOut(alternative);
        }
        const bool isSound = found == acknowledged || found == alternative;
        std::string problem = isSound ? "" : _differences(acknowledged, found);
        acknowledged = found;
        underWay.reset();
        return problem;
    }

    Contents acknowledged;
    std::optional<Operation> underWay;
    std::string refused;
    std::size_t count = 0;

private:
    int _below(std::size_t limit) {
        return std::uniform_int_distribution(0, static_cast<int>(limit) - 1)(_random);
    }

    template <class Container>
    auto _anyOf(const Container& container) {
        return *std::next(container.begin(), _below(container.size()));
    }

    Operation _next() {
        using Kind = Operation::Kind;
        const auto& [items, classes] = acknowledged;
        const auto size = static_cast<unsigned int>(_random() % 1'000'000);
        const int choice = _below(100);
        if (choice < 4 && classes.size() < classLimit) {
            return {Kind::createClass, _newName("EX_")};
        }
        if (choice < 8 && !classes.empty()) {
            return {Kind::removeClass, _anyOf(classes)};
        }
        if (items.empty() || (choice < 50 && items.size() < itemLimit)) {
            return {Kind::create, _newName(""), size};
        }
        const std::string name = _anyOf(items).first;
        return choice < 75 ? Operation{Kind::modify, name, size} : Operation{Kind::remove, name};
    }

    std::string _newName(const std::string& kind) { return kind + _prefix + std::to_string(++_made); }

    Contents _own(const Contents& all) const {
        Contents own;
        for (const auto& item : all.items) {
            if (item.first.starts_with(_prefix)) {
                own.items.insert(item);
            }
        }
        for (const std::string& name : all.classes) {
            if (name.starts_with("EX_" + _prefix)) {
                own.classes.insert(name);
            }
        }
        return own;
    }

    static std::string _differences(const Contents& expected, const Contents& found) {
        std::string text;
        const auto note = [&text](const std::string& name, bool isLost) {
            text += (isLost ? "\nlost or old: " : "\nnot expected: ") + name;
        };
        for (const auto& item : expected.items) {
            const auto position = found.items.find(item.first);
            if (position == found.items.end() || *position != item) {
                note(item.first, true);
            }
        }
        for (const auto& item : found.items) {
            if (!expected.items.contains(item.first)) {
                note(item.first, false);
            }
        }
        for (const std::string& name : expected.classes) {
            if (!found.classes.contains(name)) {
                note(name, true);
            }
        }
        return text;
    }

    const std::string _prefix;
    std::mt19937 _random;
    unsigned int _made = 0;
};

/// The text between two others behind `position`, which moves behind it.
std::string textBetween(const std::string& text, const std::string& before, const std::string& after,
                        std::size_t& position) {
    const std::size_t start = text.find(before, position);
    if (start == std::string::npos) {
        position = start;
        return {};
    }
    const std::size_t first = start + before.size();
    position = text.find(after, first);
    return text.substr(first, position - first);
}

std::string valueIn(const std::string& instance, const std::string& property) {
    std::size_t position = instance.find("NAME=\"" + property + "\"");
    return position == std::string::npos ? "" : textBetween(instance, "<VALUE>", "</VALUE>", position);
}

/// Everything that the daemon has; a thing that is not whole is a failure.
Contents contentsOf(WBEMClient& client) {
    Contents contents;
    const WBEMAnswer names = client.call("EnumerateClassNames", {{"ClassName", className(itemsClass)}});
    EXPECT_EQ(names.status(), 0) << names.body;
    for (std::size_t position = 0; position != std::string::npos;) {
        const std::string name = textBetween(names.body, "<CLASSNAME NAME=\"", "\"", position);
        if (!name.empty()) {
            const WBEMAnswer found =
                client.call("GetClass", {{"ClassName", className(name)}, {"LocalOnly", value("FALSE")}});
            EXPECT_TRUE(found.has("NAME=\"Caption\"") && found.has("NAME=\"Size\"")) << found.body;
            contents.classes.insert(name);
        }
    }
    const WBEMAnswer items = client.call("EnumerateInstances", {{"ClassName", className(itemsClass)}});
    EXPECT_EQ(items.status(), 0) << items.body;
    for (std::size_t position = 0; position != std::string::npos;) {
        const std::string instance = textBetween(items.body, "<INSTANCE ", "</INSTANCE>", position);
        if (!instance.empty()) {
            const auto size = static_cast<unsigned int>(std::stoul(valueIn(instance, "Size")));
            EXPECT_EQ(valueIn(instance, "Caption"), captionOf(size));
            contents.items[valueIn(instance, "Id")] = size;
        }
    }
    return contents;
}

/// How often and where; said in the test's output.
struct Plan {
    const unsigned int kills = std::max(laneCount, numberFrom("VELM_CRASH_KILLS", usualKills));
    const unsigned int seed = numberFrom("VELM_CRASH_SEED", std::random_device()());

    Plan() { std::cout << "seed " << seed << std::endl; }
};

/// A daemon that is killed and started again, with the clients that write to it.
class Lane {
public:
    Lane(unsigned int number, unsigned int seed) : _random(seed + number * writerCount) {
        for (unsigned int writer = 0; writer < writerCount; ++writer) {
            _writers.emplace_back(writer, seed + number * writerCount);
        }
        const VelmdProcess velmd(_directory.path());
        WBEMClient client(velmd.port());
        EXPECT_EQ(client.call("CreateClass", {{"NewClass", itemClass(itemsClass)}}).status(), 0);
    }

    void run(unsigned int kills) {
        try {
            while (_kills < kills && !testing::Test::HasFailure()) {
                _killOnce();
            }
            VelmdProcess velmd(_directory.path());
            _check(velmd);
            EXPECT_EQ(velmd.terminate(), 0) << velmd.log();
        } catch (const std::exception& problem) {
            ADD_FAILURE() << problem.what();
        }
    }

    std::size_t acknowledged() const {
        std::size_t all = 0;
        for (const Writer& writer : _writers) {
            all += writer.count;
        }
        return all;
    }
    unsigned int kills() const { return _kills; }
    std::size_t losses() const { return _losses; }

private:
    bool _isOneOf(int count) { return std::uniform_int_distribution(1, count)(_random) == 1; }

    void _waitUpTo(int milliseconds) {
        std::this_thread::sleep_for(
            std::chrono::microseconds(std::uniform_int_distribution(0, milliseconds * 1000)(_random)));
    }

    /// Kills a daemon while clients write, once what the last one left was checked; or while it is starting.
    void _killOnce() {
        ++_kills;
        if (_isOneOf(5)) {
            const ProgramProcess starting(velmdCommand(_directory.path()));
            _waitUpTo(longestStart);
            return;
        }
        VelmdProcess velmd(_directory.path());
        _check(velmd);
        if (_isOneOf(5)) {
            EXPECT_EQ(velmd.terminate(), 0) << velmd.log();
            VelmdProcess next(_directory.path());
            _killUnderLoad(next);
        } else {
            _killUnderLoad(velmd);
        }
    }

    void _killUnderLoad(VelmdProcess& velmd) {
        std::vector<std::thread> threads;
        for (Writer& writer : _writers) {
            threads.emplace_back([&writer, port = velmd.port()] { writer.write(port); });
        }
        _waitUpTo(longestLoad);
        velmd.kill();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    void _check(const VelmdProcess& velmd) {
        WBEMClient client(velmd.port());
        const Contents found = contentsOf(client);
        for (Writer& writer : _writers) {
            EXPECT_EQ(writer.refused, "");
            const std::string problem = writer.compareWith(found);
            EXPECT_EQ(problem, "") << "after " << _kills << " kills";
            _losses += problem.empty() ? 0 : 1;
        }
    }

    const TemporaryDirectory _directory;
    std::mt19937 _random;
    std::vector<Writer> _writers;
    unsigned int _kills = 0;
    std::size_t _losses = 0;
};

}  // namespace

TEST(VelmdCrash, LosesNothingThatWasAcknowledged) {
    const Plan plan;
    std::vector<std::unique_ptr<Lane>> lanes;
    std::vector<std::thread> threads;
    for (unsigned int number = 0; number < laneCount; ++number) {
        lanes.push_back(std::make_unique<Lane>(number, plan.seed));
        threads.emplace_back([&plan, lane = lanes.back().get()] { lane->run(plan.kills / laneCount); });
    }
    unsigned int kills = 0;
    std::size_t checked = 0;
    std::size_t losses = 0;
    for (unsigned int number = 0; number < laneCount; ++number) {
        threads[number].join();
        kills += lanes[number]->kills();
        checked += lanes[number]->acknowledged();
        losses += lanes[number]->losses();
    }
    EXPECT_GE(checked, kills);
    std::cout << "kills: " << kills << ", acknowledged writes checked: " << checked << ", losses: " << losses
              << std::endl;
}

TEST(VelmdCrash, LeavesAStoreThatServes_WhenItWasJustBeingMade) {
    const Plan plan;
    const TemporaryDirectory directory;
    std::mt19937 random(plan.seed);
    for (unsigned int round = 0; round < plan.kills / 10; ++round) {
        const auto state = directory.path() / std::to_string(round);
        {
            const ProgramProcess velmd(velmdCommand(state));
            ASSERT_TRUE(holdsInTime([&] { return std::filesystem::exists(state / "repository.db"); }));
            std::this_thread::sleep_for(
                std::chrono::microseconds(std::uniform_int_distribution(0, longestStart * 1000)(random)));
        }
        const VelmdProcess velmd(state);
        WBEMClient client(velmd.port());
        ASSERT_EQ(
            client.call("CreateClass", {{"NewClass", itemClass(itemsClass, "CIM_ManagedElement")}}).status(),
            0)
            << "in round " << round;
    }
}
