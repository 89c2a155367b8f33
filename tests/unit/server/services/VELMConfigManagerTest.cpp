#include "foundation/services/VELMConfigManager.h"

#include "foundation/services/CIMOMException.h"
#include "foundation/services/ORVLog.h"
#include "tests/unit/server/services/TemporaryFolder.h"

#include <atomic>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;

class VELMConfigManagerTest : public testing::Test, public IORVLogObserver {
public:
    VELMConfigManagerTest() {
        config.clear();
        ORVLog::setObserver(this);
    }
    ~VELMConfigManagerTest() override {
        ORVLog::setObserver(nullptr);
        ORVLog::setThreshold(OrvoTraceLog::SeverityDetail);
        ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);
        config.clear();
    }

protected:
    void onLog(const ORVLogRecord& record) noexcept override { records.push_back(record); }

    void load(const std::string& text) { config.load(std::string_view(folder.write("velm.ini", text))); }

    std::string messageOf(const std::string& path) {
        try {
            config.load(std::string_view(path));
        } catch (const CIMOMException& e) {
            EXPECT_EQ(e.getCode(), 1);
            EXPECT_EQ(e.getWho(), "VELMConfigManager::load");
            return e.getMessage().data();
        }
        return "nothing was thrown";
    }

    std::string absolute(const char* path) {
        ORVString text = path;
        config.cvtToAbsolutePath(text);
        return text.data();
    }

    velm::test::TemporaryFolder folder;
    VELMConfigManager& config = *VELMConfigManager::getInstance();
    std::vector<ORVLogRecord> records;
};

TEST_F(VELMConfigManagerTest, IsOneInstance) {
    EXPECT_EQ(VELMConfigManager::getInstance(), &config);
}

TEST_F(VELMConfigManagerTest, ReadsStringsAndNumbers) {
    load("; comment\n[VELM]\nCimTransactionTimeout = 30\nHost=a b\n\n[Log]\nLogDir = /var/log/velm \n");
    ORVString text;
    int number = 0;
    EXPECT_TRUE(config.getSint32("VELM", "CimTransactionTimeout", number));
    EXPECT_EQ(number, 30);
    EXPECT_TRUE(config.getString("VELM", "Host", text));
    EXPECT_EQ(text, "a b");
    EXPECT_TRUE(config.getString("Log", "LogDir", text));
    EXPECT_EQ(text, "/var/log/velm");
}

TEST_F(VELMConfigManagerTest, LeavesTheValue_WhenTheKeyIsAbsent) {
    load("[VELM]\nOther=1\n");
    ORVString text = "kept";
    int number = 600;
    EXPECT_FALSE(config.getString("Log", "LogDir", text));
    EXPECT_FALSE(config.getSint32("VELM", "CimTransactionTimeout", number));
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(number, 600);
    EXPECT_TRUE(records.empty());
}

TEST_F(VELMConfigManagerTest, IsEmpty_WhenTheFileDoesNotExist) {
    config.setString("VELM", "x", "1");
    config.load(std::string_view(folder.file("absent.ini")));
    ORVString text;
    EXPECT_FALSE(config.getString("VELM", "x", text));
}

TEST_F(VELMConfigManagerTest, ReplacesEverything_WhenLoadedAgain) {
    load("[VELM]\na=1\n");
    load("[VELM]\nb=2\n");
    ORVString text;
    EXPECT_FALSE(config.getString("VELM", "a", text));
    EXPECT_TRUE(config.getString("VELM", "b", text));
}

TEST_F(VELMConfigManagerTest, IgnoresLetterCaseOfNamesOnly) {
    load("[velm]\ncimTRANSACTIONtimeout=30\nText=MiXed\n");
    int number = 0;
    ORVString text;
    EXPECT_TRUE(config.getSint32("VELM", "CimTransactionTimeout", number));
    EXPECT_TRUE(config.getString("Velm", "TEXT", text));
    EXPECT_EQ(text, "MiXed");
}

TEST_F(VELMConfigManagerTest, KeepsDotsInNamesAndValues) {
    load("[a.b]\nc.d=e.f\n");
    ORVString text;
    EXPECT_TRUE(config.getString("a.b", "c.d", text));
    EXPECT_EQ(text, "e.f");
}

TEST_F(VELMConfigManagerTest, ReadsKeysBeforeTheFirstSection) {
    load("loose=1\n[VELM]\na=2\n");
    ORVString text;
    EXPECT_TRUE(config.getString("", "loose", text));
    EXPECT_EQ(text, "1");
}

TEST_F(VELMConfigManagerTest, NamesFileAndLine_WhenTheFileIsMalformed) {
    load("[VELM]\na=1\n");
    const std::string path = folder.write("broken.ini", "[VELM]\na=1\nno equals sign\n");
    EXPECT_THAT(messageOf(path), HasSubstr(path + ", line 3: "));
    EXPECT_THAT(messageOf(folder.write("broken.ini", "[VELM\n")), HasSubstr("line 1: "));
    EXPECT_THAT(messageOf(folder.write("broken.ini", "[A]\nx=1\nx=2\n")), HasSubstr("line 3: "));
    ORVString text;
    EXPECT_TRUE(config.getString("VELM", "a", text)) << "the former values stay";
}

TEST_F(VELMConfigManagerTest, Fails_WhenThePathIsAFolder) {
    EXPECT_EQ(messageOf(folder.file("")), "The configuration file " + folder.file("") + " cannot be read");
}

class BadNumber : public VELMConfigManagerTest, public testing::WithParamInterface<const char*> {};

TEST_P(BadNumber, IsLoggedAndCountsAsAbsent) {
    config.setString("VELM", "N", GetParam());
    int number = 600;
    EXPECT_FALSE(config.getSint32("VELM", "N", number));
    EXPECT_EQ(number, 600);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].severity, OrvoTraceLog::SeverityWarning);
    EXPECT_EQ(records[0].component, "VELMConfigManager::getSint32");
    EXPECT_EQ(records[0].message,
              ORVString("The value \"") + GetParam() + "\" of \"VELM\"/\"N\" is no signed 32-bit number");
}

INSTANTIATE_TEST_SUITE_P(VELMConfigManager, BadNumber,
                         testing::Values("", "abc", "30s", "3 0", "2147483648", "-2147483649", "1.5", "0x10",
                                         "-"));

TEST_F(VELMConfigManagerTest, ReadsTheWholeRangeOfNumbers) {
    int number = 0;
    config.setString("VELM", "N", "-2147483648");
    EXPECT_TRUE(config.getSint32("VELM", "N", number));
    EXPECT_EQ(number, -2147483647 - 1);
    config.setString("VELM", "N", "2147483647");
    EXPECT_TRUE(config.getSint32("VELM", "N", number));
    EXPECT_EQ(number, 2147483647);
}

TEST_F(VELMConfigManagerTest, SetsLogThresholds_WhenLoaded) {
    const auto isLogged = [this](OrvoTraceLog::Severity severity) {
        records.clear();
        ORVLog::log("c", "m", severity, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
        return !records.empty();
    };
    load("[Log]\nSeverity=2\nTraceSeverity=4\n");
    EXPECT_TRUE(isLogged(OrvoTraceLog::SeverityWarning));
    EXPECT_FALSE(isLogged(OrvoTraceLog::SeverityInformation));
    EXPECT_TRUE(ORVLog::isTraceOn(OrvoTraceLog::SeverityDetail, ORVLog::CIMOMLOG));
    load("[Log]\nTraceSeverity=1\n");
    EXPECT_TRUE(isLogged(OrvoTraceLog::SeverityDetail)) << "an absent key stands for its default";
    EXPECT_FALSE(ORVLog::isTraceOn(OrvoTraceLog::SeverityWarning, ORVLog::CIMOMLOG));
}

TEST_F(VELMConfigManagerTest, MakesPathsAbsolute) {
    const std::string here = std::filesystem::current_path().string();
    EXPECT_EQ(absolute("."), here);
    EXPECT_EQ(absolute(""), here);
    EXPECT_EQ(absolute("logs"), here + "/logs");
    EXPECT_EQ(absolute("./a//b/../c/"), here + "/a/c");
    EXPECT_EQ(absolute("a/.."), here);
    EXPECT_EQ(absolute("/var//log/./velm/../velm"), "/var/log/velm");
    EXPECT_EQ(absolute("/../.."), "/");
    EXPECT_EQ(absolute("/"), "/");
    EXPECT_EQ(absolute("//"), "/");
    EXPECT_EQ(absolute("//var//log/"), "/var/log");
}

TEST_F(VELMConfigManagerTest, AnswersReaders_WhileItIsLoaded) {
    const std::string path = folder.write("velm.ini", "[VELM]\na=1\n");
    config.load(std::string_view(path));
    std::atomic<bool> stop{false};
    std::jthread reader([this, &stop] {
        while (!stop) {
            ORVString text;
            EXPECT_TRUE(config.getString("VELM", "a", text));
            EXPECT_EQ(text, "1");
        }
    });
    for (int i = 0; i < 50; ++i) {
        config.load(std::string_view(path));
        config.setString("VELM", "b", "2");
    }
    stop = true;
}

}  // namespace
