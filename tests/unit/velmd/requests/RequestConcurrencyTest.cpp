#include "tests/unit/velmd/requests/RequestSupport.h"

#include <atomic>
#include <barrier>
#include <thread>

#include <fmt/format.h>

// One handler, many workers.

namespace velm::test {

namespace {

constexpr int rounds = 8;
constexpr int workers = 4;

IParameters subscription(int worker) {
    return subscriber("127.0.0.1", std::to_string(6000 + worker), "1") +
           IParameters{{"IndicationType", value("Change")}, {"ClassName", className("EX_Thing")}};
}

/// The name of the EX_Link from the thing "all" to one of another class.
std::string linkTo(const std::string& id, const std::string& itsClass) {
    std::string name = linkName("all", id);
    return name.replace(name.rfind("EX_Thing"), 8, itsClass);
}

class RequestConcurrency : public RequestTest {
protected:
    /// Fails the test when the request is not answered with `code`.
    void expect(const std::string& method, const IParameters& parameters, int code = 0) {
        const HTTPResponse response = handler.handle(post(intrinsicCall(method, parameters), method));
        EXPECT_EQ(Answer{response}.code(), code) << method << response.body;
        EXPECT_EQ(response.status, 200U);
    }

    /// Makes, changes, reads and deletes what is its own, among what everybody has.
    void work(int worker) {
        for (int round = 0; round < rounds; ++round) {
            const std::string id = fmt::format("{}-{}", worker, round);
            const std::string own = fmt::format("EX_Own{}_{}", worker, round);
            expect("CreateInstance", {{"NewInstance", instance("EX_Thing", property("Id", id))}});
            expect("CreateInstance", {{"NewInstance", instance("EX_Link", reference("Antecedent", "all") +
                                                                              reference("Dependent", id))}});
            expect("CreateClass", {{"NewClass", "<CLASS NAME=\"" + own + "\" SUPERCLASS=\"EX_Part\"/>"}});
            expect("CreateInstance", {{"NewInstance", instance(own, property("Id", id))}});
            expect("CreateInstance",
                   {{"NewInstance",
                     instance("EX_Link", reference("Antecedent", "all") + reference("Dependent", id, own))}});
            expect("EnumerateInstances", {{"ClassName", className("EX_Thing")}});
            expect("Associators", {{"ObjectName", instanceName("EX_Thing", "all")}});
            expect("EnumerateClasses",
                   {{"ClassName", className("EX_Thing")}, {"DeepInheritance", value("TRUE")}});
            expect("Subscribe", subscription(worker));
            expect("ModifyInstance",
                   {{"ModifiedInstance", "<VALUE.NAMEDINSTANCE>" + instanceName("EX_Thing", id) +
                                             instance("EX_Thing", property("Caption", "new")) +
                                             "</VALUE.NAMEDINSTANCE>"}});
            expect("EnumerateInstances", {{"ClassName", className("EX_File")}});
            expect("DeleteInstance", {{"InstanceName", linkTo(id, own)}});
            expect("DeleteInstance", {{"InstanceName", instanceName(own, id)}});
            expect("DeleteClass", {{"ClassName", className(own)}});
            expect("GetClass", {{"ClassName", className(own)}}, 6);
            expect("DeleteInstance", {{"InstanceName", linkName("all", id)}});
            expect("DeleteInstance", {{"InstanceName", instanceName("EX_Thing", id)}});
            expect("GetInstance", {{"InstanceName", instanceName("EX_Thing", id)}}, 6);
            expect("Unsubscribe", subscription(worker));
        }
    }
};

}  // namespace

TEST_F(RequestConcurrency, AnswersEachAsIfItWereAlone_WhenManyWorkersReadAndWrite) {
    createThing("all");
    std::vector<std::thread> threads;
    std::barrier start(workers);
    for (int worker = 0; worker < workers; ++worker) {
        threads.emplace_back([this, worker, &start] {
            start.arrive_and_wait();
            work(worker);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(call("EnumerateInstanceNames", {{"ClassName", className("EX_Thing")}}).returned(),
              instanceName("EX_Thing", "all"));
    EXPECT_EQ(manager.calls().size(), 2U * workers * rounds);
    EXPECT_EQ(created.size(), std::size_t{workers} * rounds);
}

/// The same class, created and deleted by everybody: each answer is one that some order gives.
TEST_F(RequestConcurrency, AnswersWhatSomeOrderGives_WhenWorkersContendForOneClass) {
    std::atomic<int> made{0};
    std::atomic<int> deleted{0};
    std::vector<std::thread> threads;
    for (int worker = 0; worker < workers; ++worker) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                const auto codeOf = [this](const std::string& method, const IParameters& parameters) {
                    return Answer{handler.handle(post(intrinsicCall(method, parameters), method))}.code();
                };
                const int create = codeOf("CreateClass", {{"NewClass", "<CLASS NAME=\"EX_Contended\"/>"}});
                EXPECT_TRUE(create == 0 || create == 11) << create;
                made += create == 0 ? 1 : 0;
                const int get = codeOf("GetClass", {{"ClassName", className("EX_Contended")}});
                EXPECT_TRUE(get == 0 || get == 6) << get;
                const int remove = codeOf("DeleteClass", {{"ClassName", className("EX_Contended")}});
                EXPECT_TRUE(remove == 0 || remove == 6) << remove;
                deleted += remove == 0 ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const bool isLeft = call("GetClass", {{"ClassName", className("EX_Contended")}}).code() == 0;
    EXPECT_EQ(made, deleted + (isLeft ? 1 : 0));
    EXPECT_LE(created.size(), static_cast<std::size_t>(made));
}

}  // namespace velm::test
