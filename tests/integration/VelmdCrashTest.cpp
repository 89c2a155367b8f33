// Fault model: the daemon's process ends at any instruction (SIGKILL), while clients write; what it handed to
// the system by then stays, the machine itself goes on. Everything that was acknowledged must be there after
// the next start, the one operation of each client that was not acknowledged wholly or not at all, and
// nothing else.
//
// VELM_CRASH_ROUNDS and VELM_CRASH_SEED choose how often and where; scripts/crash-test runs the long form.

#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
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
constexpr int longestLoad = 250;  // milliseconds
constexpr int longestStart = 60;  // milliseconds

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

class VelmdCrash : public testing::Test {
protected:
    int between(int least, int most) { return std::uniform_int_distribution(least, most)(random); }

    /// Lets the writers write and kills the daemon at a moment that nobody knows before.
    void runOnce(std::vector<Writer>& writers) {
        VelmdProcess velmd(directory.path());
        std::vector<std::thread> threads;
        for (Writer& writer : writers) {
            threads.emplace_back([&writer, port = velmd.port()] { writer.write(port); });
        }
        std::this_thread::sleep_for(std::chrono::microseconds(between(0, longestLoad * 1000)));
        velmd.kill();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    /// The number of writers that found something wrong.
    std::size_t check(std::vector<Writer>& writers) {
        VelmdProcess velmd(directory.path());
        WBEMClient client(velmd.port());
        const Contents found = contentsOf(client);
        std::size_t losses = 0;
        for (Writer& writer : writers) {
            EXPECT_EQ(writer.refused, "");
            const std::string problem = writer.compareWith(found);
            EXPECT_EQ(problem, "");
            losses += problem.empty() ? 0 : 1;
        }
        if (between(0, 1) == 0) {
            EXPECT_EQ(velmd.terminate(), 0) << velmd.log();
        }
        return losses;
    }

    const unsigned int rounds = std::max(1U, numberFrom("VELM_CRASH_ROUNDS", 12));
    const unsigned int seed = numberFrom("VELM_CRASH_SEED", std::random_device()());
    std::mt19937 random{seed};
    TemporaryDirectory directory;
};

}  // namespace

TEST_F(VelmdCrash, LosesNothingThatWasAcknowledged) {
    std::cout << "seed " << seed << std::endl;
    {
        VelmdProcess velmd(directory.path());
        ASSERT_EQ(
            WBEMClient(velmd.port()).call("CreateClass", {{"NewClass", itemClass(itemsClass)}}).status(), 0);
    }
    std::vector<Writer> writers;
    for (unsigned int number = 0; number < writerCount; ++number) {
        writers.emplace_back(number, seed);
    }
    std::size_t losses = 0;
    for (unsigned int round = 1; round <= rounds; ++round) {
        runOnce(writers);
        losses += check(writers);
        ASSERT_FALSE(HasFailure()) << "in round " << round;
    }
    std::size_t checked = 0;
    for (const Writer& writer : writers) {
        checked += writer.count;
    }
    EXPECT_GE(checked, rounds);
    std::cout << "rounds: " << rounds << ", acknowledged writes checked: " << checked
              << ", losses: " << losses << std::endl;
}

TEST_F(VelmdCrash, LeavesAStoreThatServes_WhenItWasJustBeingMade) {
    std::cout << "seed " << seed << std::endl;
    for (unsigned int round = 0; round < rounds; ++round) {
        const auto state = directory.path() / std::to_string(round);
        {
            ProgramProcess velmd(velmdCommand(state));
            ASSERT_TRUE(holdsInTime([&] { return std::filesystem::exists(state / "repository.db"); }));
            std::this_thread::sleep_for(std::chrono::microseconds(between(0, longestStart * 1000)));
            velmd.kill();
        }
        VelmdProcess velmd(state);
        WBEMClient client(velmd.port());
        ASSERT_EQ(
            client.call("CreateClass", {{"NewClass", itemClass(itemsClass, "CIM_ManagedElement")}}).status(),
            0)
            << "in round " << round;
    }
}
