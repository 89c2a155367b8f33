// Many threads on one repository.

#include "tests/unit/velmd/repository/RepositorySupport.h"

#include <atomic>
#include <future>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RepositoryThreads : public RepositoryTest {
protected:
    static constexpr int threadCount = 4;
    static constexpr int perThread = 25;

    template <class Work>
    static void onThreads(Work work) {
        std::vector<std::jthread> threads;
        for (int number = 0; number < threadCount; ++number) {
            threads.emplace_back([&work, number] { work(number); });
        }
    }

    static std::string id(int thread, int number) {
        return std::to_string(thread) + "-" + std::to_string(number);
    }
};

TEST_F(RepositoryThreads, AreReportedInTheOrderOfTheirCommits) {
    observe();
    onThreads([this](int thread) {
        for (int number = 0; number < perThread; ++number) {
            repository->createInstance(space, *test::thing(id(thread, number).c_str()));
        }
    });
    std::vector<Object> reported;
    for (const InstanceChange& change : changes) {
        reported.push_back(change.object);
    }
    EXPECT_THAT(reported, SizeIs(threadCount * perThread));
    EXPECT_EQ(idsOf(reported), idsOf(repository->enumerateInstances(space, "EX_Thing")));
}

TEST_F(RepositoryThreads, CreateAnInstanceOnce_WhenAllTryAtOnce) {
    std::atomic<int> created = 0;
    std::atomic<int> refused = 0;
    onThreads([&](int) {
        for (int number = 0; number < perThread; ++number) {
            const auto answer = refusal(
                [&] { repository->createInstance(space, *test::thing(std::to_string(number).c_str())); });
            ++(answer == "nothing thrown" ? created : refused);
        }
    });
    EXPECT_EQ(created, perThread);
    EXPECT_EQ(refused, (threadCount - 1) * perThread);
    EXPECT_THAT(repository->enumerateInstances(space, "EX_Thing"), SizeIs(perThread));
}

TEST_F(RepositoryThreads, ReadOn_WhileAWriterHasItsTurn) {
    std::promise<void> writing;
    std::promise<void> finish;
    repository->setObserver([&](const InstanceChange&) {
        writing.set_value();
        finish.get_future().wait();
    });
    auto writer =
        std::async(std::launch::async, [this] { repository->createInstance(space, *test::thing("1")); });
    writing.get_future().wait();
    auto reader = std::async(std::launch::async, [this] {
        repository->getClass(space, "EX_Thing");
        repository->enumerateQualifiers(space);
        return idsOf(repository->enumerateInstances(space, "EX_Thing"));
    });
    const bool isFree = reader.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    finish.set_value();
    EXPECT_TRUE(isFree);
    EXPECT_THAT(reader.get(), ElementsAre("1"));
    writer.get();
}

TEST_F(RepositoryThreads, SeeAnImportWholeOrNotAtAll) {
    Repository::Declarations all;
    for (int number = 0; number < 200; ++number) {
        all.instances.push_back(object("EX_Late", {{"Id", text(std::to_string(number).c_str())}}));
    }
    all.classes.push_back(classFrom(R"(<CLASS NAME="EX_Late" SUPERCLASS="EX_Thing"></CLASS>)"));
    std::atomic<bool> done = false;
    auto reader = std::async(std::launch::async, [&] {
        std::vector<std::size_t> odd;
        while (!done) {
            const auto count = repository->enumerateInstances(space, "EX_Thing").size();
            if (count != 0 && count != 200) {
                odd.push_back(count);
            }
        }
        return odd;
    });
    repository->import(space, all);
    done = true;
    EXPECT_THAT(reader.get(), IsEmpty());
    EXPECT_THAT(repository->enumerateInstances(space, "EX_Thing"), SizeIs(200));
}

/// A class that comes and goes with other keys each time: what is read must fit the class that the reader
/// knows.
TEST_F(RepositoryThreads, ReadWhatFitsTheClassTheyKnow_WhileItComesAndGoes) {
    std::atomic<bool> done = false;
    std::vector<std::future<std::vector<std::string>>> readers;
    for (int number = 0; number < 2; ++number) {
        readers.push_back(std::async(std::launch::async, [&] {
            std::vector<std::string> odd;
            while (!done) {
                const auto answer = refusal([&] { repository->enumerateInstances(space, "EX_Flux"); });
                if (answer != "nothing thrown" && answer != "5: there is no class 'EX_Flux' in root/test") {
                    odd.push_back(answer);
                }
            }
            return odd;
        }));
    }
    for (int round = 0; round < 20; ++round) {
        const std::string key = "Key" + std::to_string(round);
        repository->createClass(
            space, classFrom("<CLASS NAME=\"EX_Flux\"><PROPERTY NAME=\"" + key +
                             R"(" TYPE="string"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE>)"
                             "</QUALIFIER></PROPERTY></CLASS>"));
        const auto name =
            repository->createInstance(space, *object("EX_Flux", {{key.c_str(), text("same")}}));
        repository->deleteInstance(*name, space);
        repository->deleteClass(space, "EX_Flux");
    }
    done = true;
    for (auto& reader : readers) {
        EXPECT_THAT(reader.get(), IsEmpty());
    }
}

TEST_F(RepositoryThreads, EachSeeWhatTheyWroteThemselves) {
    onThreads([this](int thread) {
        for (int number = 0; number < perThread; ++number) {
            const std::string mine = id(thread, number);
            const auto name = repository->createInstance(space, *test::thing(mine.c_str(), 1));
            EXPECT_FALSE(repository->findInstance(*name, space).IsNull());
            repository->modifyInstance(*name, *test::thing(mine.c_str(), 2), std::nullopt, space);
            EXPECT_EQ(valueOf(repository->findInstance(*name, space), "Size"), "2");
            repository->deleteInstance(*name, space);
            EXPECT_TRUE(repository->findInstance(*name, space).IsNull());
        }
    });
}

}  // namespace
