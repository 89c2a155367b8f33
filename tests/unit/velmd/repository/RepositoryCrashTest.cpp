// Fault model: the process ends at any instruction (SIGKILL); what it handed to the system by then stays, the
// machine itself goes on. Every operation that was acknowledged must be there afterwards, the one under way
// wholly or not at all, and nothing else.

#include "tests/unit/velmd/repository/ChildProcess.h"
#include "tests/unit/velmd/repository/RepositorySupport.h"

#include <chrono>
#include <map>
#include <optional>
#include <random>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;

/// What the child tells: each operation before it starts, and again when it has returned.
struct Message {
    enum Kind : int { create, modify, remove };
    enum Phase : int { started, acknowledged };

    Phase phase;
    Kind kind;
    int id;
    unsigned int size;
};

using Contents = std::map<int, unsigned int>;

void carryOut(const Message& message, Contents& contents) {
    if (message.kind == Message::remove) {
        contents.erase(message.id);
    } else {
        contents[message.id] = message.size;
    }
}

class Crash : public RepositoryTest {
protected:
    static constexpr int rounds = 50;
    static constexpr int idCount = 30;

    int between(int least, int most) { return std::uniform_int_distribution(least, most)(random); }

    static std::chrono::steady_clock::time_point afterMicroseconds(int microseconds) {
        return std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds);
    }

    /// A sensible operation on these contents.
    Message next(const Contents& contents) {
        const int id = between(0, idCount - 1);
        const auto size = static_cast<unsigned int>(random());
        if (!contents.contains(id)) {
            return {Message::started, Message::create, id, size};
        }
        const bool removes = between(0, 2) == 0;
        return {Message::started, removes ? Message::remove : Message::modify, id, size};
    }

    void perform(const Message& message) {
        const std::string id = std::to_string(message.id);
        const auto name = thingName(id.c_str());
        const auto instance = test::thing(id.c_str(), message.size);
        switch (message.kind) {
            case Message::create:
                repository->createInstance(space, *instance);
                break;
            case Message::modify:
                repository->modifyInstance(*name, *instance, std::nullopt, space);
                break;
            case Message::remove:
                repository->deleteInstance(*name, space);
                break;
        }
    }

    [[noreturn]] void work(int pipe, Contents contents) {
        try {
            open();
            while (true) {
                Message message = next(contents);
                writeAll(pipe, &message, sizeof message);
                perform(message);
                carryOut(message, contents);
                message.phase = Message::acknowledged;
                writeAll(pipe, &message, sizeof message);
            }
        } catch (...) {
            ::_exit(1);
        }
    }

    /// Takes in what the child has told so far. Messages are smaller than what a pipe passes on in one piece.
    bool receive(const ChildProcess& child, int milliseconds) {
        Message message{};
        if (child.read(&message, sizeof message, milliseconds) != sizeof message) {
            return false;
        }
        if (message.phase == Message::acknowledged) {
            carryOut(message, acknowledged);
            ++count;
            underWay.reset();
        } else {
            underWay = message;
        }
        return true;
    }

    Contents stored() {
        Contents contents;
        for (const Object& found : repository->enumerateInstances(space, "EX_Thing")) {
            contents[std::stoi(valueOf(found, "Id"))] =
                static_cast<unsigned int>(std::stoul(valueOf(found, "Size")));
        }
        return contents;
    }

    std::mt19937 random{std::random_device{}()};
    Contents acknowledged;
    std::optional<Message> underWay;
    int count = 0;
};

TEST_F(Crash, LosesNothingThatWasAcknowledged) {
    for (int round = 0; round < rounds; ++round) {
        close();
        {
            random.discard(1);
            ChildProcess child([this](int pipe) { work(pipe, acknowledged); });
            ASSERT_TRUE(receive(child, -1));
            for (const int wanted = count + between(0, 3); count < wanted;) {
                ASSERT_TRUE(receive(child, -1));
            }
            // The moment of the end, not a wait for anything.
            const auto end = afterMicroseconds(between(0, 8000));
            while (std::chrono::steady_clock::now() < end) {
                receive(child, 0);
            }
            child.kill();
            while (receive(child, -1)) {
            }
        }
        open();
        const Contents found = stored();
        Contents alternative = acknowledged;
        if (underWay) {
            carryOut(*underWay, alternative);
        }
        ASSERT_TRUE(found == acknowledged || found == alternative) << "after round " << round;
        acknowledged = found;
        underWay.reset();
    }
    RecordProperty("acknowledged", count);
}

TEST_F(Crash, LeavesAFileThatOpens_WhenItWasJustBeingMade) {
    for (int round = 0; round < rounds / 2; ++round) {
        close();
        std::filesystem::remove_all(folder.file(""));
        std::filesystem::create_directory(folder.file(""));
        {
            ChildProcess child([this](int pipe) {
                writeAll(pipe, "x", 1);
                open();
                repository->createNamespace(space);
                writeAll(pipe, "y", 1);
                ::pause();
            });
            char answer = 0;
            ASSERT_EQ(child.read(&answer, 1), 1U);
            const auto end = afterMicroseconds(between(0, 15'000));
            while (std::chrono::steady_clock::now() < end) {
            }
            child.kill();
            const bool wasCreated = child.readAll() == "y";
            open();
            ASSERT_TRUE(!wasCreated || repository->nameSpaces().size() == 1U);
        }
        if (repository->nameSpaces().empty()) {
            repository->createNamespace(space);
        }
        ASSERT_EQ(repository->nameSpaces().size(), 1U);
    }
}

}  // namespace
