#include "velmd/providers/ProviderFolder.h"

#include "tests/support/LogCapture.h"
#include "tests/unit/server/services/TemporaryFolder.h"
#include "tests/unit/velmd/providers/ProviderSupport.h"

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace velm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr uid_t stranger = 65534;

/// Module files of the build are copied into a folder of the test's own, under names that a loader looks for.
class ProviderFolderTest : public testing::Test {
protected:
    ProviderFolderTest() : recorder(new RecordingSubscriber), observer(recorder) {
        std::filesystem::create_directory(directory());
        chmod(directory().c_str(), 0755);
    }

    std::string directory() const { return folder.file("providers"); }
    std::string path(const std::string& name) const { return directory() + "/lib" + name + "_provider.so"; }

    /// A provider file made of `module`.
    std::string add(const std::string& module, const std::string& name) const {
        const std::string file = path(name);
        std::filesystem::copy_file(std::string(VELM_TEST_PROVIDERS) + "/" + module + ".so", file);
        chmod(file.c_str(), 0644);
        return file;
    }

    void load() { loaded = std::make_unique<ProviderFolder>(directory(), host()); }

    ProviderHost host() {
        return {observer, space, findTestNamespace, [this](std::string_view name) {
                    askedFor.emplace_back(name);
                    return ORVString(folder.file("journal"));
                }};
    }

    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& provider : loaded->providers()) {
            result.push_back(provider->name());
        }
        return result;
    }

    std::vector<std::string> lines(OrvoTraceLog::Severity severity) const {
        std::vector<std::string> result;
        for (const ORVLogRecord& record : log.records()) {
            if (record.severity == severity && record.component == ORVString("ProviderFolder")) {
                result.emplace_back(record.message.view());
            }
        }
        return result;
    }
    std::vector<std::string> errors() const { return lines(OrvoTraceLog::SeverityError); }

    static std::string refusal(const std::string& file, const std::string& why) {
        return fmt::format("Refused the provider '{}': {}", file, why);
    }

    /// Only root can give a file away.
    static bool mayGiveAway() { return geteuid() == 0; }

    LogCapture log;
    const TemporaryFolder folder;
    RecordingSubscriber* recorder;
    ORVSmrPtr<IOrvoSubscriber> observer;
    std::vector<std::string> askedFor;
    std::unique_ptr<ProviderFolder> loaded;
};

TEST_F(ProviderFolderTest, LoadsInOrderOfFileNames) {
    const std::string first = add("beta", "1_first");
    add("alpha", "2_second");
    load();
    EXPECT_THAT(names(), ElementsAre("beta", "alpha"));
    EXPECT_THAT(folder.lines("journal"), ElementsAre("created beta", "created alpha"));
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_THAT(lines(OrvoTraceLog::SeverityInformation),
                testing::Contains("Loaded the provider beta from '" + first +
                                  "'; it serves CIM_DataFile, CIM_Directory"));
}

TEST_F(ProviderFolderTest, LooksAtNothingButProviderFiles) {
    for (const char* name : {"alpha_provider.so", "libalpha.so", "libalpha_provider.so.1", "readme"}) {
        folder.write(std::string("providers/") + name, "no shared object");
    }
    load();
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(ProviderFolderTest, DeletesProvidersBeforeTheirLibraries_InReverseOrder) {
    add("alpha", "alpha");
    add("beta", "beta");
    load();
    loaded.reset();
    const auto journal = folder.lines("journal");
    ASSERT_EQ(journal.size(), 6u);
    EXPECT_THAT(std::vector(journal.begin() + 2, journal.end()),
                ElementsAre("deleted beta", "unloaded beta", "deleted alpha", "unloaded alpha"));
}

TEST_F(ProviderFolderTest, LooksUpTheArgument_ByTheNameOfTheProvider) {
    add("alpha", "other");
    load();
    EXPECT_THAT(askedFor, ElementsAre("alpha"));
}

TEST_F(ProviderFolderTest, GivesAnInformation_WhenThereIsNoDirectory) {
    std::filesystem::remove(directory());
    load();
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_THAT(lines(OrvoTraceLog::SeverityInformation),
                ElementsAre("There is no directory '" + directory() + "' to load providers from"));
}

TEST_F(ProviderFolderTest, GivesAnError_WhenTheDirectoryIsNone) {
    std::filesystem::remove(directory());
    folder.write("providers", "a file");
    load();
    EXPECT_THAT(errors(),
                ElementsAre("Cannot read the directory '" + directory() + "' of providers: Not a directory"));
}

TEST_F(ProviderFolderTest, TellsWhatAProviderServes) {
    add("alpha", "alpha");
    load();
    ASSERT_EQ(loaded->providers().size(), 1u);
    EXPECT_THAT(loaded->providers().front()->classNames(), ElementsAre("CIM_DataFile", "CIM_Directory"));
}

TEST_F(ProviderFolderTest, LeavesAClassToTheFirstThatNamesIt) {
    const std::string first = add("beta", "1");
    const std::string second = add("alpha", "2");
    load();
    EXPECT_THAT(loaded->providers()[0]->classNames(), ElementsAre("CIM_DataFile", "CIM_Directory"));
    EXPECT_THAT(loaded->providers()[1]->classNames(), IsEmpty());
    std::vector<std::string> expected;
    for (const char* className : {"CIM_DataFile", "CIM_Directory"}) {
        expected.push_back(
            fmt::format("The provider alpha ('{}') does not serve '{}': the provider beta ('{}') does",
                        second, className, first));
    }
    EXPECT_EQ(lines(OrvoTraceLog::SeverityWarning), expected);
    EXPECT_THAT(lines(OrvoTraceLog::SeverityInformation),
                testing::Contains("Loaded the provider alpha from '" + second + "'; it serves no class"));
}

TEST_F(ProviderFolderTest, WarnsOfAClassThatTheRepositoryLacks) {
    add("alpha", "alpha");
    ProviderHost lacking = host();
    lacking.findNamespace = [](std::string_view) {
        return ObjectNames::NamespaceView{space, std::make_shared<const ClassTree>()};
    };
    loaded = std::make_unique<ProviderFolder>(directory(), lacking);
    EXPECT_THAT(lines(OrvoTraceLog::SeverityWarning),
                testing::Contains("The provider alpha serves 'CIM_DataFile', which namespace root/Main does "
                                  "not have; velmd --import loads the declaration of a class"));
    EXPECT_EQ(loaded->providers().size(), 1u);
}

// Modules that are no provider for this server.

struct BrokenModule {
    const char* module;
    const char* why;
};

void PrintTo(const BrokenModule& broken, std::ostream* out) {
    *out << broken.module;
}

std::string nameOfModule(const testing::TestParamInfo<BrokenModule>& info) {
    std::string name = info.param.module;
    std::ranges::replace(name, '-', '_');
    return name;
}

class BrokenModuleTest : public ProviderFolderTest, public testing::WithParamInterface<BrokenModule> {};

TEST_P(BrokenModuleTest, IsRefused_AndTheRestLoad) {
    add("alpha", "a");
    const std::string file = add(GetParam().module, "b");
    add("beta", "c");
    load();
    EXPECT_THAT(names(), ElementsAre("alpha", "beta"));
    EXPECT_THAT(errors(), ElementsAre(refusal(file, GetParam().why)));
}

INSTANTIATE_TEST_SUITE_P(
    All, BrokenModuleTest,
    testing::Values(
        BrokenModule{"old_version", "built for interface version 1, this server has 2"},
        BrokenModule{"no_entry", "it has no entry point velm_provider"},
        BrokenModule{"no_description", "its entry point returns null"},
        BrokenModule{"throwing_entry", "its entry point failed: an exception of an unknown type"},
        BrokenModule{"misnamed-Gamma",
                     "its name 'misnamed-Gamma' is not made of lower case letters, digits and underscores"},
        BrokenModule{"alpha", "a provider named alpha is loaded already"},
        BrokenModule{"directory", "its name 'directory' is a word of the configuration"},
        BrokenModule{"no_create", "it has no operation to create a provider"},
        BrokenModule{"returns_null", "it created no provider"},
        BrokenModule{"throwing",
                     "it failed to start: there is no device at the place that the argument names"},
        BrokenModule{"unnameable_classes", "it cannot name its classes: the classes are not known yet"}),
    nameOfModule);

TEST_F(ProviderFolderTest, RefusesWhatIsNoSharedObject_WithTheLoadersWords) {
    add("alpha", "a");
    const std::string file = path("b");
    folder.write("providers/libb_provider.so", "no shared object");
    load();
    EXPECT_THAT(names(), ElementsAre("alpha"));
    ASSERT_EQ(errors().size(), 1u);
    EXPECT_THAT(errors().front(), StartsWith(refusal(file, "it cannot be loaded: ")));
    EXPECT_THAT(errors().front(), HasSubstr("file too short"));
}

TEST_F(ProviderFolderTest, RefusesAProvider_WhoseArgumentCannotBeRead) {
    const std::string file = add("alpha", "a");
    ProviderHost failing = host();
    failing.argumentOf = [](std::string_view) -> ORVString { throw std::runtime_error("no such key"); };
    loaded = std::make_unique<ProviderFolder>(directory(), failing);
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(errors(), ElementsAre(refusal(file, "no such key")));
}

// Files that nobody should load code from.

struct Mode {
    mode_t file;
    mode_t directory;
    const char* why;
};

void PrintTo(const Mode& mode, std::ostream* out) {
    *out << fmt::format("{:o} in {:o}", mode.file, mode.directory);
}

class FileMode : public ProviderFolderTest, public testing::WithParamInterface<Mode> {};

TEST_P(FileMode, DecidesWhetherAFileIsLoaded) {
    const std::string file = add("alpha", "a");
    chmod(file.c_str(), GetParam().file);
    chmod(directory().c_str(), GetParam().directory);
    load();
    if (*GetParam().why == '\0') {
        EXPECT_THAT(names(), ElementsAre("alpha"));
        EXPECT_THAT(errors(), IsEmpty());
    } else {
        EXPECT_THAT(names(), IsEmpty());
        EXPECT_THAT(errors(), ElementsAre(refusal(file, GetParam().why)));
        EXPECT_THAT(folder.lines("journal"), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, FileMode,
    testing::Values(Mode{0644, 0755, ""}, Mode{0755, 0755, ""}, Mode{0600, 0700, ""},
                    Mode{0664, 0755, "it can be written by others than its owner (mode 664)"},
                    Mode{0646, 0755, "it can be written by others than its owner (mode 646)"},
                    Mode{0777, 0755, "it can be written by others than its owner (mode 777)"},
                    Mode{0644, 0775, "its directory can be written by others than its owner (mode 775)"},
                    Mode{0644, 0757, "its directory can be written by others than its owner (mode 757)"},
                    Mode{0644, 01777, "its directory can be written by others than its owner (mode 1777)"}));

TEST_F(ProviderFolderTest, RefusesAFileOfAStranger) {
    if (!mayGiveAway()) {
        GTEST_SKIP() << "only root can give a file away";
    }
    const std::string file = add("alpha", "a");
    add("beta", "b");
    ASSERT_EQ(chown(file.c_str(), stranger, static_cast<gid_t>(-1)), 0);
    load();
    EXPECT_THAT(names(), ElementsAre("beta"));
    EXPECT_THAT(errors(),
                ElementsAre(refusal(
                    file, "it belongs to user 65534, who is neither root nor the user of this process")));
}

TEST_F(ProviderFolderTest, RefusesEveryFileInADirectoryOfAStranger) {
    if (!mayGiveAway()) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    const std::string first = add("alpha", "a");
    const std::string second = add("beta", "b");
    ASSERT_EQ(chown(directory().c_str(), stranger, static_cast<gid_t>(-1)), 0);
    load();
    EXPECT_THAT(names(), IsEmpty());
    const char* why = "its directory belongs to user 65534, who is neither root nor the user of this process";
    EXPECT_THAT(errors(), ElementsAre(refusal(first, why), refusal(second, why)));
}

TEST_F(ProviderFolderTest, FollowsALinkWithinTheDirectory) {
    add("alpha", "a");
    std::filesystem::rename(path("a"), directory() + "/alpha.so.2");
    std::filesystem::create_symlink("alpha.so.2", path("a"));
    load();
    EXPECT_THAT(names(), ElementsAre("alpha"));
}

TEST_F(ProviderFolderTest, FindsTheDirectory_ThroughALink) {
    add("alpha", "a");
    std::filesystem::create_directory_symlink(directory(), folder.file("link"));
    loaded = std::make_unique<ProviderFolder>(folder.file("link"), host());
    EXPECT_THAT(names(), ElementsAre("alpha"));
}

TEST_F(ProviderFolderTest, RefusesALinkOutOfTheDirectory) {
    add("alpha", "a");
    const std::string outside = folder.file("alpha.so");
    std::filesystem::rename(path("a"), outside);
    std::filesystem::create_symlink("../alpha.so", path("a"));
    load();
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(errors(),
                ElementsAre(refusal(path("a"),
                                    "it is a link that leads outside its directory, to '" + outside + "'")));
}

TEST_F(ProviderFolderTest, JudgesTheTargetOfALink) {
    add("alpha", "a");
    const std::string target = directory() + "/alpha.so.2";
    std::filesystem::rename(path("a"), target);
    std::filesystem::create_symlink("alpha.so.2", path("a"));
    chmod(target.c_str(), 0666);
    load();
    EXPECT_THAT(errors(),
                ElementsAre(refusal(path("a"), "it can be written by others than its owner (mode 666)")));
}

TEST_F(ProviderFolderTest, RefusesWhatIsNoRegularFile) {
    std::filesystem::create_directory(path("directory"));
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("nothing", path("nowhere"));
    load();
    EXPECT_THAT(errors(),
                ElementsAre(refusal(path("directory"), "it is not a regular file"),
                            refusal(path("fifo"), "it is not a regular file"),
                            refusal(path("nowhere"), "it leads to no file: No such file or directory")));
}

// What providers report goes through their gates.

class LoadedProviderTest : public ProviderFolderTest {
protected:
    LoadedProviderTest() {
        add("alpha", "a");
        load();
        EXPECT_THAT(names(), ElementsAre("alpha"));
    }

    LoadedProvider& alpha() { return *loaded->providers().front(); }

    /// Makes the provider report an instance of this name to the observer that it is given.
    bool registerFor(const Name& name) {
        return alpha()
            .provider()
            .registerObserver(name, observer, IOrvoIndication::IndicationChange, nullptr, nullptr)
            ->getBoolean();
    }
};

TEST_F(LoadedProviderTest, ReportsThroughItsGate_FromItsCreationOn) {
    EXPECT_EQ(alpha().gate().counts().of(ReportFault::noIndication), 1u);
    EXPECT_EQ(log.count("Refused 1 report(s) of provider alpha: no indication"), 1u);
    EXPECT_THAT(recorder->reports(), IsEmpty());
}

TEST_F(LoadedProviderTest, ReportsThroughItsGate_WhenItUsesTheRegisteredObserver) {
    EXPECT_TRUE(registerFor(fileNamed("a")));
    EXPECT_FALSE(registerFor(named(space, "CIM_What", {})));
    EXPECT_EQ(recorder->reports().size(), 1u);
    EXPECT_EQ(alpha().gate().counts().of(ReportFault::unknownClass), 1u);
}

TEST_F(LoadedProviderTest, TellsWhatItWasAskedToWatch_AndNothingThatItDoesNotSay) {
    EXPECT_EQ(alpha().observers().size(), 0u);
    EXPECT_TRUE(registerFor(fileNamed("a")));
    EXPECT_EQ(alpha().observers().size(), 1u);
    EXPECT_THAT(alpha().watched(), IsEmpty());
}

TEST_F(LoadedProviderTest, ReportsNothing_OnceTheGatesAreClosed) {
    loaded->closeGates();
    EXPECT_FALSE(registerFor(fileNamed("a")));
    EXPECT_THAT(recorder->reports(), IsEmpty());
}

}  // namespace
}  // namespace velm::test
