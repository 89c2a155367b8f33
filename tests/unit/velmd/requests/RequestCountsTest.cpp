#include "velmd/requests/RequestCounts.h"

#include "tests/unit/velmd/requests/RequestSupport.h"

#include <thread>
#include <vector>

namespace velm::test {
namespace {

using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class CountedRequests : public RequestTest {
protected:
    static auto counted(const char* operation, int status, std::uint64_t count) {
        return Pair(Pair(operation, status), count);
    }
};

TEST_F(CountedRequests, AreNone_BeforeTheFirst) {
    EXPECT_THAT(handler.counts(), IsEmpty());
}

TEST_F(CountedRequests, AreToldByOperationAndStatus) {
    call("GetClass", {{"ClassName", className("EX_Thing")}});
    call("GetClass", {{"ClassName", className("EX_Thing")}});
    call("GetClass", {{"ClassName", className("EX_Missing")}});
    EXPECT_THAT(handler.counts(),
                UnorderedElementsAre(counted("GetClass", RequestCounts::ok, 2), counted("GetClass", 6, 1)));
}

TEST_F(CountedRequests, HaveOneNameForAllThatAreNone) {
    call("Invent1");
    call("Invent2");
    EXPECT_THAT(handler.counts(), UnorderedElementsAre(counted("other", 7, 2)));
}

TEST_F(CountedRequests, AreRefused_WhenTheyAreNoMessage) {
    send(post("<CIM", "GetClass"));
    send(post("no XML at all", "GetClass"));
    EXPECT_THAT(handler.counts(), UnorderedElementsAre(counted("other", RequestCounts::refused, 2)));
}

TEST(RequestCounts, LoseNothing_WhenManyThreadsCount) {
    RequestCounts counts;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int count = 0; count < 1000; ++count) {
                counts.count("GetClass", count % 2);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counts.counts().at({"GetClass", 0}), 2000U);
    EXPECT_EQ(counts.counts().at({"GetClass", 1}), 2000U);
}

}  // namespace
}  // namespace velm::test
