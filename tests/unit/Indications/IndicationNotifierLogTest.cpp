#include "Indications/IndicationNotifier.h"
#include "foundation/services/VELMConfigManager.h"
#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/ScriptedListener.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The log belongs to the process, and the first notifier that ends closes it for good. So every test here
// runs in a process of its own, with a directory of its own.

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace fs = std::filesystem;

namespace {

const std::string stamp =
    "[0-3][0-9]-[A-Z][a-z][a-z]-[0-9][0-9][0-9][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9][0-9][0-9] - ";
const std::string startLine = stamp + "CIMOM started\\.\n";
const std::string marker = std::string(60, '#') + "\n";

/// A directory for one log, the configured one.
class LogDirectory {
public:
    LogDirectory() {
        std::string name = (fs::temp_directory_path() / "notifier-log-XXXXXX").string();
        _path = ::mkdtemp(name.data());
        VELMConfigManager::getInstance()->setString("Log", "LogDir", _path.c_str());
    }
    LogDirectory(const LogDirectory&) = delete;
    LogDirectory& operator=(const LogDirectory&) = delete;
    ~LogDirectory() { fs::remove_all(_path); }

    const fs::path& path() const { return _path; }
    fs::path file() const { return _path / "LegacyIndicationsLog.txt"; }

    std::string content() const {
        std::ifstream stream(file());
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }

    void write(const std::string& text) const { std::ofstream(file()) << text; }

private:
    fs::path _path;
};

/// A log directory, a notifier, and deliveries made on this thread.
struct Fixture {
    LogDirectory directory;
    SelfOwned owned;
    ScriptedListener listener;
    std::optional<CIndicationNotifier> notifier;
    Delivery delivery{owned.self, &everyHostIsRemote};

    void startNotifier() { notifier.emplace(owned.self); }

    bool deliver(const ORVSmrPtr<IOrvoIndication>& indication = creation()) {
        return delivery.fire(subscriberAt(listener.port()), indication);
    }

    /// The line for a delivery, as a regular expression.
    std::string deliveryLine() const {
        return stamp + "CIMOM Fired indication to '127\\.0\\.0\\.1:" + listener.port() +
               "': [^\n]*CIM_DataFile[^\n]*\n";
    }
};

/// An indication that can be sent, but whose text form fails.
class WithoutText : public COrvoIndication {
public:
    WithoutText()
        : COrvoIndication(makeObject("CIM_DataFile"), IndicationCreation, nullptr, nullptr, IntentReport,
                          nullptr, false) {}
    ORVString toString() const override { throw 42; }
};

/// Runs `body` in a fresh process and takes over its verdict.
void inFreshProcess(const std::function<void()>& body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [&] {
        body();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

/// A log whose file cannot be written: the device that is always full.
void makeFull(const LogDirectory& directory) {
    fs::create_symlink("/dev/full", directory.file());
}

}  // namespace

TEST(IndicationsLog, HasItsStartLine_WhileRecordingIsOff) {
    inFreshProcess([] {
        Fixture f;
        f.directory.write("from the last run\n");
        f.startNotifier();
        EXPECT_THAT(f.directory.content(), MatchesRegex("from the last run\n" + startLine));
    });
}

TEST(IndicationsLog, RecordsDeliveries_FromTheNextOneAfterSwitchingOn) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        EXPECT_TRUE(f.deliver());
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine));

        CIndicationNotifier::logIndications(true);
        EXPECT_TRUE(f.deliver());
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine + f.deliveryLine()));

        CIndicationNotifier::logIndications(false);
        EXPECT_TRUE(f.deliver());
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine + f.deliveryLine()));
    });
}

TEST(IndicationsLog, EndsTheDeliveryLine_WithTheIndicationsText) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        const auto indication = creation();
        EXPECT_TRUE(f.deliver(indication));
        EXPECT_THAT(f.directory.content(),
                    testing::EndsWith("CIMOM Fired indication to '127.0.0.1:" + f.listener.port() +
                                      "': " + indication->toString().data() + "\n"));
    });
}

TEST(IndicationsLog, RecordsDeliveriesOnChannelsToo_AndNoFailures) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        ChannelPeer peer;
        EXPECT_TRUE(f.delivery.fire(subscriberAt(f.listener.port(), peer.connection()), creation()));
        EXPECT_FALSE(f.deliver(unsendable()));
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine + f.deliveryLine()));
    });
}

TEST(IndicationsLog, HasOneLineOfSixtySigns_ForEachMarker) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        CIndicationNotifier::placeMarker();
        CIndicationNotifier::placeMarker();
        // A marker reaches the file with the next delivery line.
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine));
        CIndicationNotifier::logIndications(true);
        EXPECT_TRUE(f.deliver());
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine + marker + marker + f.deliveryLine()));
    });
}

TEST(IndicationsLog, IsEmptyAndOpen_AfterAClear) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        CIndicationNotifier::placeMarker();
        EXPECT_TRUE(f.deliver());
        CIndicationNotifier::clearIndicationsLog();
        EXPECT_EQ(f.directory.content(), "");
        EXPECT_TRUE(fs::exists(f.directory.file()));

        EXPECT_TRUE(f.deliver());
        EXPECT_THAT(f.directory.content(), MatchesRegex(f.deliveryLine()));
    });
}

TEST(IndicationsLog, IsLeftAlone_WhenNoNotifierHasOpenedIt) {
    inFreshProcess([] {
        Fixture f;
        f.directory.write("kept\n");
        LogCapture log;
        CIndicationNotifier::logIndications(true);
        CIndicationNotifier::clearIndicationsLog();
        CIndicationNotifier::placeMarker();
        EXPECT_TRUE(f.deliver());
        EXPECT_EQ(f.directory.content(), "kept\n");
        EXPECT_THAT(log.records(), IsEmpty());
    });
}

TEST(IndicationsLog, StaysClosed_WhenASecondNotifierFollowsTheFirst) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        CIndicationNotifier::placeMarker();
        f.notifier.reset();
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine + marker));

        LogCapture log;
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        EXPECT_TRUE(f.deliver());
        CIndicationNotifier::placeMarker();
        CIndicationNotifier::clearIndicationsLog();
        f.notifier.reset();
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine + marker));
        EXPECT_THAT(log.records(), IsEmpty());
    });
}

TEST(IndicationsLog, EndsForBoth_WhenOneOfTwoNotifiersEnds) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        {
            CIndicationNotifier second(f.owned.self);
            EXPECT_TRUE(f.deliver());
        }
        EXPECT_TRUE(f.deliver());
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine + startLine + f.deliveryLine()));
    });
}

TEST(IndicationsLog, HasNoEffect_WhenTheFileCannotBeOpened) {
    inFreshProcess([] {
        Fixture f;
        VELMConfigManager::getInstance()->setString("Log", "LogDir", "/nonexistent");
        LogCapture log;
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        EXPECT_TRUE(f.deliver());
        CIndicationNotifier::placeMarker();
        CIndicationNotifier::clearIndicationsLog();
        EXPECT_THAT(log.records(), IsEmpty());
    });
}

TEST(IndicationsLog, LetsTheDeliveryStand_WhenTheTextFormFails) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        LogCapture log;
        EXPECT_TRUE(f.deliver(ORVSmrPtr<IOrvoIndication>(new WithoutText)));
        EXPECT_THAT(log.records(), ElementsAre(IsLogLine("CIndicationNotifier::logIndication",
                                                         "Exception while writing to indications log.",
                                                         OrvoTraceLog::SeverityError)));
        EXPECT_THAT(f.directory.content(), MatchesRegex(startLine));
    });
}

TEST(IndicationsLog, SaysSoEachTime_WhenADeliveryCannotBeWritten) {
    inFreshProcess([] {
        Fixture f;
        makeFull(f.directory);
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        LogCapture log;
        EXPECT_TRUE(f.deliver());
        EXPECT_TRUE(f.deliver());
        const auto isLine =
            IsLogLine("CIndicationNotifier::logIndication", "Exception while writing to indications log.",
                      OrvoTraceLog::SeverityError);
        EXPECT_THAT(log.records(), ElementsAre(isLine, isLine));
    });
}

TEST(IndicationsLog, SaysSo_WhenAMarkerCannotBeWritten) {
    inFreshProcess([] {
        Fixture f;
        makeFull(f.directory);
        f.startNotifier();
        LogCapture log;
        // Markers are not flushed: only a full buffer meets the full disk.
        for (int more = 0; more < 100000 && log.records().empty(); ++more) {
            CIndicationNotifier::placeMarker();
        }
        EXPECT_THAT(log.records(), ElementsAre(IsLogLine("CIndicationNotifier::placeMarker",
                                                         "Exception while writing to indications log.",
                                                         OrvoTraceLog::SeverityError)));
    });
}

TEST(IndicationsLog, SaysSo_WhenItCannotBeCleared) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        fs::remove(f.directory.file());
        fs::create_directories(f.directory.file() / "in the way");
        LogCapture log;
        CIndicationNotifier::clearIndicationsLog();
        EXPECT_THAT(log.records(), ElementsAre(IsLogLine("CIndicationNotifier::clearIndicationsLog",
                                                         "Exception while clearing indications log.",
                                                         OrvoTraceLog::SeverityError)));
    });
}

TEST(IndicationsLog, IsInTheWorkingDirectory_WhenNoDirectoryIsConfigured) {
    inFreshProcess([] {
        LogDirectory directory;
        VELMConfigManager::getInstance()->clear();
        fs::current_path(directory.path());
        EXPECT_EQ(CIndicationNotifier::getIndicationsLogFileName(), ORVString(directory.file().c_str()));

        SelfOwned owned;
        CIndicationNotifier notifier(owned.self);
        EXPECT_THAT(directory.content(), MatchesRegex(startLine));
    });
}

TEST(IndicationsLog, StampsWithPaddedParts_InLocalTime) {
    inFreshProcess([] {
        ::setenv("TZ", "XYZ-2", 1);  // two hours east
        ::tzset();
        EXPECT_EQ(velm::indicationsLogTime({1767582245, 7'999'999}),
                  ORVString("05-Jan-2026 05:04:05.007 - "));
        EXPECT_EQ(velm::indicationsLogTime({1798757999, 999'000'000}),
                  ORVString("01-Jan-2027 00:59:59.999 - "));
    });
}

TEST(IndicationsLog, IsWhole_WhenManyThreadsUseItWhileNotifiersComeAndGo) {
    inFreshProcess([] {
        Fixture f;
        f.startNotifier();
        CIndicationNotifier::logIndications(true);
        std::vector<std::thread> users;
        for (int user = 0; user < 3; ++user) {
            users.emplace_back([&f] {
                Delivery delivery(f.owned.self, &everyHostIsRemote);
                ORVString host = "host";
                ORVString port = "1";
                auto indication = creation();
                for (int turn = 0; turn < 200; ++turn) {
                    delivery._logIndication(host, port, indication);
                    CIndicationNotifier::placeMarker();
                    CIndicationNotifier::logIndications(true);
                }
            });
        }
        CIndicationNotifier::clearIndicationsLog();
        std::optional<CIndicationNotifier> second(f.owned.self);
        for (std::thread& user : users) {
            user.join();
        }
        f.notifier.reset();

        std::istringstream lines(f.directory.content());
        const std::string anyLine =
            "(" + stamp + "CIMOM (started\\.|Fired indication to 'host:1': .*)|" + std::string(60, '#') + ")";
        for (std::string line; std::getline(lines, line);) {
            EXPECT_THAT(line, MatchesRegex(anyLine));
        }
    });
}
