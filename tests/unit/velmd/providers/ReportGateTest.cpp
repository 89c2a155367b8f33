#include "velmd/providers/ReportGate.h"

#include "foundation/services/CIMOMException.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/providers/ProviderSupport.h"

#include <functional>
#include <future>
#include <latch>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using ::testing::ElementsAre;

using Target = ORVSmrPtr<IOrvoSubscriber>;

/// Does what it is told to when it is notified.
class ScriptedSubscriber : public IOrvoSubscriber {
public:
    explicit ScriptedSubscriber(std::function<bool()> script) : _script(std::move(script)) {}
    bool notify(ORVSmrPtr<IOrvoIndication> /*indication*/) override { return _script(); }

private:
    const std::function<bool()> _script;
};

/// Its first question throws.
class ThrowingIndication : public COrvoIndication {
public:
    explicit ThrowingIndication(std::function<void()> thrower)
        : COrvoIndication(file(), IndicationCreation, nullptr, nullptr, IntentReport, nullptr, false),
          _thrower(std::move(thrower)) {}
    IndicationType getType() const override {
        _thrower();
        return IndicationCreation;
    }

private:
    const std::function<void()> _thrower;
};

/// Throws again when it is asked for its text.
class ThrowingException : public OrvoBaseException {
public:
    ThrowingException() : OrvoBaseException("", "", "", 0) {}
    ORVString getMessage() const override { throw std::runtime_error("no text"); }
};

class ReportGateTest : public testing::Test {
protected:
    ReportGateTest() : recorder(new RecordingSubscriber), target(recorder) {}

    static ReportGate gateTo(const Target& target) {
        return ReportGate("files", ReportCheck(space, findTestNamespace), target);
    }

    std::vector<std::string> lines() const {
        std::vector<std::string> texts;
        for (const ORVLogRecord& record : log.records()) {
            EXPECT_EQ(record.severity, OrvoTraceLog::SeverityWarning);
            EXPECT_EQ(record.component, ORVString("ReportGate"));
            texts.emplace_back(record.message.view());
        }
        return texts;
    }

    LogCapture log;
    RecordingSubscriber* recorder;
    Target target;
};

TEST_F(ReportGateTest, PassesWhatIsCanonical_AndAnswersAsTheTarget) {
    const Target refusing(new RecordingSubscriber(false));
    ReportGate gate = gateTo(target);
    ReportGate other = gateTo(refusing);
    const Report original = report(file());

    EXPECT_TRUE(gate.notify(original));
    EXPECT_FALSE(other.notify(original));

    EXPECT_THAT(recorder->reports(), ElementsAre(original));
    EXPECT_EQ(gate.counts().passed, 1u);
    EXPECT_EQ(other.counts().passed, 1u);
    EXPECT_THAT(lines(), ElementsAre());
}

TEST_F(ReportGateTest, RewritesTheRest) {
    ReportGate gate = gateTo(target);
    EXPECT_TRUE(gate.notify(report(objectOf("cim_datafile", fileNamed("a"), {}))));
    ASSERT_EQ(recorder->reports().size(), 1u);
    EXPECT_EQ(textOf(recorder->reports().front()), R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {} [])");
}

TEST_F(ReportGateTest, HasAnInstanceForgottenThatIsDestroyed) {
    ObserverTable observers;
    ReportGate gate("files", ReportCheck(space, findTestNamespace), target, &observers);
    observers.add(*fileNamed("a"), IOrvoIndication::IndicationChange, nullptr);
    observers.add(*fileNamed("b"), IOrvoIndication::IndicationChange, nullptr);
    gate.notify(report(file("a"), IOrvoIndication::IndicationChange, {"FileSize"}));
    EXPECT_EQ(observers.size(), 2u);
    gate.notify(report(objectOf("cim_datafile", named(space, "cim_datafile", {{"NAME", text("a")}}), {}),
                       IOrvoIndication::IndicationDestruction));
    ASSERT_EQ(observers.size(), 1u) << "whatever the provider's spelling";
    EXPECT_EQ(observers.first(1)[0].subject, fileNamed("b")->toString().view());
}

TEST_F(ReportGateTest, LogsRefusals_WheneverTheirNumberDoubles) {
    ReportGate gate = gateTo(target);
    for (int count = 0; count < 9; ++count) {
        EXPECT_FALSE(gate.notify(report(objectOf("CIM_DataFile", nullptr, {}))));
    }
    EXPECT_THAT(lines(), ElementsAre("Refused 1 report(s) of provider files: no instance name",
                                     "Refused 2 report(s) of provider files: no instance name",
                                     "Refused 4 report(s) of provider files: no instance name",
                                     "Refused 8 report(s) of provider files: no instance name"));
    EXPECT_EQ(gate.counts().of(ReportFault::noInstanceName), 9u);
    EXPECT_EQ(gate.counts().passed, 0u);
    EXPECT_TRUE(recorder->reports().empty());
}

TEST_F(ReportGateTest, CountsEachFaultOnItsOwn) {
    ReportGate gate = gateTo(target);
    gate.notify(nullptr);
    gate.notify(report(nullptr));
    gate.notify(nullptr);
    gate.notify(report(file()));
    EXPECT_THAT(lines(), ElementsAre("Refused 1 report(s) of provider files: no indication",
                                     "Refused 1 report(s) of provider files: no object",
                                     "Refused 2 report(s) of provider files: no indication"));
    const ReportGate::Counts counts = gate.counts();
    EXPECT_EQ(counts.of(ReportFault::noIndication), 2u);
    EXPECT_EQ(counts.of(ReportFault::noObject), 1u);
    EXPECT_EQ(counts.of(ReportFault::unknownKind), 0u);
    EXPECT_EQ(counts.passed, 1u);
}

struct Thrown {
    const char* text;
    std::function<void()> thrower;
};

TEST_F(ReportGateTest, RefusesAReportThatThrows) {
    const std::vector<Thrown> all{
        {"broken", [] { throw OrvoBaseException("here", "me", "broken", 1); }},
        {"torn", [] { throw std::runtime_error("torn"); }},
        {"an exception of an unknown type", [] { throw 42; }},
        {"an exception that cannot be asked for its text", [] { throw ThrowingException(); }},
        {"the database is locked", [] { throw CIMOMException("here", "the database is locked", 1); }},
    };
    for (const Thrown& thrown : all) {
        log.clear();
        ReportGate gate = gateTo(target);
        EXPECT_FALSE(gate.notify(Report(new ThrowingIndication(thrown.thrower))));
        EXPECT_EQ(gate.counts().of(ReportFault::exception), 1u);
        ASSERT_TRUE(gate.refusals().last());
        EXPECT_EQ(gate.refusals().last()->text, std::string("a report was refused: ") + thrown.text);
        EXPECT_THAT(lines(),
                    ElementsAre(std::string("Refused 1 report(s) of provider files: ") + thrown.text));
    }
    EXPECT_TRUE(recorder->reports().empty());
}

TEST_F(ReportGateTest, CutsTheTextOfAnException) {
    ReportGate gate = gateTo(target);
    gate.notify(Report(new ThrowingIndication([] { throw std::runtime_error(std::string(100'000, 'x')); })));
    ASSERT_EQ(lines().size(), 1u);
    EXPECT_LT(lines().front().size(), 400u);
}

TEST_F(ReportGateTest, KeepsWhatTheTargetThrowsFromTheProvider) {
    ReportGate gate =
        gateTo(Target(new ScriptedSubscriber([]() -> bool { throw std::runtime_error("out of memory"); })));
    EXPECT_FALSE(gate.notify(report(file())));
    EXPECT_EQ(gate.counts().of(ReportFault::exception), 1u);
    EXPECT_EQ(gate.counts().passed, 0u);
    EXPECT_THAT(lines(), ElementsAre("Refused 1 report(s) of provider files: out of memory"));
}

TEST_F(ReportGateTest, DropsEverything_OnceItIsClosed) {
    ReportGate gate = gateTo(target);
    gate.close();
    gate.close();
    EXPECT_FALSE(gate.notify(report(file())));
    EXPECT_FALSE(gate.notify(nullptr));
    EXPECT_TRUE(recorder->reports().empty());
    EXPECT_EQ(gate.counts().of(ReportFault::closed), 2u);
    EXPECT_THAT(lines(), ElementsAre());
}

TEST_F(ReportGateTest, DropsEverything_OnceTheTargetIsDetached) {
    ReportGate gate = gateTo(target);
    target.Set(nullptr);
    const std::unique_ptr<RecordingSubscriber> detached(recorder);
    EXPECT_FALSE(gate.notify(report(file())));
    EXPECT_TRUE(detached->reports().empty());
}

TEST_F(ReportGateTest, ClosesOnlyWhenNoCallIsUnderWay) {
    std::latch entered(1);
    std::promise<void> release;
    std::atomic<bool> hasLeft = false;
    ReportGate gate = gateTo(Target(new ScriptedSubscriber([&] {
        entered.count_down();
        release.get_future().wait();
        hasLeft = true;
        return true;
    })));
    std::thread reporter([&] { gate.notify(report(file())); });
    entered.wait();
    auto closed = std::async(std::launch::async, [&] {
        gate.close();
        return hasLeft.load();
    });
    EXPECT_EQ(closed.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    release.set_value();
    EXPECT_TRUE(closed.get());
    reporter.join();
}

TEST_F(ReportGateTest, TouchesNothingBehindIt_AfterItsClosing) {
    std::atomic<bool> isOver = false;
    std::atomic<unsigned int> late = 0;
    std::atomic<unsigned int> seen = 0;
    auto find = [&](std::string_view nameSpace) {
        late += isOver;
        return findTestNamespace(nameSpace);
    };
    ReportGate gate("files", ReportCheck(space, find), Target(new ScriptedSubscriber([&] {
                        late += isOver;
                        ++seen;
                        return true;
                    })));
    std::atomic<bool> stop = false;
    std::vector<std::jthread> reporters;
    for (int count = 0; count < 4; ++count) {
        reporters.emplace_back([&] {
            while (!stop) {
                gate.notify(report(file()));
                gate.notify(report(objectOf("cim_datafile", fileNamed("b"), {})));
            }
        });
    }
    while (seen < 100) {
        std::this_thread::yield();
    }
    gate.close();
    isOver = true;
    while (gate.counts().of(ReportFault::closed) < 100) {
        std::this_thread::yield();
    }
    stop = true;
    reporters.clear();
    EXPECT_EQ(late, 0u);
    EXPECT_EQ(gate.counts().passed, seen);
}

TEST_F(ReportGateTest, CountsEveryReportOfManyThreads) {
    ReportGate gate = gateTo(target);
    {
        std::vector<std::jthread> reporters;
        for (int count = 0; count < 4; ++count) {
            reporters.emplace_back([&] {
                for (int each = 0; each < 100; ++each) {
                    gate.notify(report(file()));
                    gate.notify(nullptr);
                }
            });
        }
    }
    EXPECT_EQ(gate.counts().passed, 400u);
    EXPECT_EQ(gate.counts().of(ReportFault::noIndication), 400u);
    EXPECT_EQ(recorder->reports().size(), 400u);
    EXPECT_EQ(lines().size(), 9u);
}

}  // namespace
}  // namespace velm::test
