#include "foundation/services/CIMUtil.h"
#include "foundation/services/ORVLog.h"
#include "foundation/services/VELMConfigManager.h"
#include "tests/support/LogCapture.h"
#include "velmd/settings/Settings.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {
namespace {

/// What Settings::applyToLibrary hands on; the library's usual configuration comes back at the end.
class LibrarySettingsTest : public testing::Test {
public:
    ~LibrarySettingsTest() override {
        VELMConfigManager::getInstance()->clear();
        ORVLog::setThreshold(OrvoTraceLog::SeverityDetail);
        ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);
    }

protected:
    static void apply(const Settings::Overrides& overrides) { Settings({}, {}, overrides).applyToLibrary(); }

    static std::string text(const char* section, const char* key) {
        ORVString value("absent");
        VELMConfigManager::getInstance()->getString(section, key, value);
        return std::string(value.view());
    }
};

TEST_F(LibrarySettingsTest, ReachTheConfigurationOfTheLibrary) {
    apply({{"VELM.SubscriberTimeout", "17"}, {"Log.LogDir", "/somewhere"}});
    int number = 0;
    EXPECT_TRUE(VELMConfigManager::getInstance()->getSint32("VELM", "SubscriberTimeout", number));
    EXPECT_EQ(number, 17);
    EXPECT_TRUE(VELMConfigManager::getInstance()->getSint32("VELM", "CimTransactionTimeout", number));
    EXPECT_EQ(number, 600);
    EXPECT_EQ(text("Log", "LogDir"), "/somewhere");
    EXPECT_EQ(text("Server", "Port"), "absent");
    EXPECT_EQ(text("VELM", "MaxSubscribers"), "absent") << "the daemon keeps that bound itself";
}

TEST_F(LibrarySettingsTest, KeepTheRecordOfIndicationsInTheStateDirectory_WhenNothingElseIsSaid) {
    apply({{"Server.StateDirectory", "/state"}});
    EXPECT_EQ(text("Log", "LogDir"), "/state");
}

TEST_F(LibrarySettingsTest, SetTheThresholdsOfTheLog) {
    const test::LogCapture log;
    apply({{"Log.Severity", "2"}, {"Log.TraceSeverity", "4"}});
    for (const auto severity : {OrvoTraceLog::SeverityWarning, OrvoTraceLog::SeverityInformation}) {
        ORVLog::log("c", "m", severity, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
    }
    EXPECT_THAT(log.records(),
                testing::ElementsAre(test::IsLogLine("c", "m", OrvoTraceLog::SeverityWarning)));
    EXPECT_TRUE(CIMUtil::IsLogged(OrvoTraceLog::SeverityDetail, ORVLog::CIMOMLOG));
}

}  // namespace
}  // namespace velm
