#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoValue.h"
#include "tests/support/SchemaCheck.h"
#include "tests/support/SharedFolder.h"
#include "tests/unit/providers/file_watch/FileWatchFixture.h"

#include <filesystem>
#include <limits>
#include <string>

#include <gmock/gmock.h>

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using velm::file_watch::FileModel;
using velm::file_watch::FileState;
using velm::test::age;
using velm::test::FileWatchTest;
using velm::test::lineOf;
using velm::test::Report;
using velm::test::TemporaryFolder;
using velm::test::write;

namespace {

class FileInstances : public FileWatchTest {
protected:
    const FileModel model{nameSpace};

    std::vector<std::string> enumerate(const char* className) {
        const auto names = provider().enumerateInstanceNames(nameSpace, className, nullptr);
        std::vector<std::string> texts;
        for (const auto& name : *names) {
            texts.push_back(name->toString().data());
        }
        return texts;
    }

    ORVSmrPtr<IOrvoObject> get(const ORVSmrPtr<IOrvoInstanceName>& name) {
        return provider().getInstance(nameSpace, name, nullptr);
    }

    static std::string propertyOf(const ORVSmrPtr<IOrvoObject>& object, const char* name) {
        return object->getProperty(name)->getValue()->toString().data();
    }
};

TEST_F(FileInstances, AreOfTheClassesThatAreReported) {
    load();
    const auto names = provider().getClassNames();
    EXPECT_THAT((std::vector<ORVString>(names->begin(), names->end())),
                ElementsAre("CIM_DataFile", "CIM_Directory", "CIM_DirectoryContainsFile"));
}

TEST_F(FileInstances, AreEnumeratedAsTheyAreThere) {
    const TemporaryFolder second;
    write(file("a"));
    fs::create_directory(file("directory"));
    fs::create_symlink("a", file("link"));
    write(second.path() / "b");
    load(folder().string() + ":" + second.path().string());

    EXPECT_THAT(enumerate("CIM_DataFile"),
                UnorderedElementsAre(model.fileName(file("a"))->toString().data(),
                                     model.fileName(second.path() / "b")->toString().data()));
    EXPECT_THAT(enumerate("CIM_Directory"),
                UnorderedElementsAre(model.directoryName(folder())->toString().data(),
                                     model.directoryName(second.path())->toString().data()));
    EXPECT_THAT(
        enumerate("cim_directorycontainsfile"),
        UnorderedElementsAre(
            model.containmentName(model.directoryName(folder()), model.fileName(file("a")))
                ->toString()
                .data(),
            model.containmentName(model.directoryName(second.path()), model.fileName(second.path() / "b"))
                ->toString()
                .data()));
    EXPECT_TRUE(provider().enumerateInstanceNames(nameSpace, "CIM_EthernetPort", nullptr).IsNull());
    EXPECT_TRUE(provider().enumerateInstanceNames("root/other", "CIM_DataFile", nullptr)->isEmpty());
}

TEST_F(FileInstances, AreTheObjectsThatTheEventsSpeakOf) {
    load();
    write(file("a"), "12");
    allLinesAfterSync();
    write(file("b"), "123");
    ASSERT_TRUE(observer().waitFor(
        [](const Report& report) { return lineOf(report) == "Creation CIM_DirectoryContainsFile b"; }));
    for (const Report& report : observer().reports()) {
        const auto object = get(report.object->getInstanceName());
        ASSERT_FALSE(object.IsNull()) << lineOf(report);
        EXPECT_EQ(object->getInstanceName()->toString(), report.object->getInstanceName()->toString());
        EXPECT_EQ(object->getPropertyCount(), report.object->getPropertyCount());
    }
    EXPECT_EQ(propertyOf(get(fileName(file("b"))), "FileSize"), "3");
    EXPECT_EQ(propertyOf(get(model.directoryName(folder())), "Readable"), "TRUE");
}

TEST_F(FileInstances, AreGone_WhenTheirDirectoryIs) {
    const fs::path watched = folder() / "watched";
    fs::create_directory(watched);
    load(watched.string());
    fs::remove(watched);
    ASSERT_TRUE(
        observer().waitFor([](const Report& report) { return report.className() == "CIM_Directory"; }));
    EXPECT_TRUE(get(model.directoryName(watched)).IsNull());
    EXPECT_TRUE(get(model.fileName(watched / "a")).IsNull());
    EXPECT_THAT(enumerate("CIM_Directory"), IsEmpty());
    EXPECT_THAT(enumerate("CIM_DataFile"), IsEmpty());
}

TEST_F(FileInstances, AreNotGivenForNamesThatNameNone) {
    write(file("a"));
    fs::create_directory(file("directory"));
    fs::create_symlink("a", file("link"));
    load();
    const auto withKey = [&](const char* key, const char* value) {
        COrvoInstanceName::KeyBindings keys;
        const auto bindings = fileName(file("a"))->getKeyBindings();
        for (const COrvoKeyBinding& binding : *bindings) {
            keys.append(binding.name == ORVString(key)
                            ? COrvoKeyBinding{key, ORVSmrPtr<IOrvoValue>(new COrvoValue(value))}
                            : binding);
        }
        return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(nameSpace, "CIM_DataFile", keys));
    };
    EXPECT_FALSE(get(withKey("FSName", "local")).IsNull());
    EXPECT_TRUE(get(withKey("FSName", "remote")).IsNull());
    EXPECT_TRUE(get(withKey("CSName", "elsewhere")).IsNull());
    EXPECT_TRUE(get(nullptr).IsNull());
    EXPECT_TRUE(get(className("CIM_DataFile")).IsNull());
    EXPECT_TRUE(get(fileName(file("missing"))).IsNull());
    EXPECT_TRUE(get(fileName(file("link"))).IsNull());
    EXPECT_TRUE(get(fileName(file("directory"))).IsNull());
    EXPECT_TRUE(get(fileName(folder().string() + "//a")).IsNull());
    EXPECT_TRUE(get(fileName(folder().string() + "/directory/../a")).IsNull());
    EXPECT_TRUE(get(fileName(file("a").string() + '\0' + "b")).IsNull());
    EXPECT_TRUE(get(fileName("/etc/passwd")).IsNull());
    EXPECT_TRUE(get(fileName(file(std::string(5000, 'x')))).IsNull());
    EXPECT_TRUE(get(model.directoryName(file("directory"))).IsNull());
    EXPECT_TRUE(get(model.containmentName(model.directoryName("/"), model.fileName(file("a")))).IsNull());
    EXPECT_TRUE(
        get(model.containmentName(model.directoryName(folder()), model.fileName(file("missing")))).IsNull());
}

TEST_F(FileInstances, MayHaveNamesThatAreNotUTF8) {
    const std::string name = "caf\xE9\nmenu\\x41";
    load();
    write(file(name), "x");
    ASSERT_TRUE(observer().waitFor([&](const Report& report) {
        return report.key("Name") == folder().string() + R"(/caf\xE9\x0Amenu\x5Cx41)";
    }));
    const auto reported = observer().reports().front().object->getInstanceName();
    ASSERT_FALSE(get(reported).IsNull());
    EXPECT_EQ(propertyOf(get(reported), "FileSize"), "1");
    EXPECT_THAT(enumerate("CIM_DataFile"), ElementsAre(reported->toString().data()));

    age(file(name));
    ASSERT_TRUE(start(reported, IOrvoIndication::IndicationChange));
    linesAfterSync();
    write(file(name), "y");
    EXPECT_THAT(linesAfterSync(),
                ElementsAre(R"(Change CIM_DataFile caf\xE9\x0Amenu\x5Cx41 [FileSize LastModified])"));
    fs::remove(file(name));
    EXPECT_THAT(linesAfterSync(), ElementsAre(R"(Destruction CIM_DataFile caf\xE9\x0Amenu\x5Cx41)"));
}

/// The classes that the server starts with, and all of the CIM Schema.
class FileSchema : public testing::TestWithParam<std::string> {};

TEST_P(FileSchema, HasTheKeysPropertiesAndTypesOfTheModel) {
    VELM_SKIP_WITHOUT(GetParam());
    const FileModel model("root/cimv2");
    const velm::test::SchemaCheck schema(GetParam());
    const FileState state{5, {0, 0}, true, true, false};
    const auto file = model.fileName("/a/b");
    const auto directory = model.directoryName("/a");
    EXPECT_THAT(schema.problemsOf(*model.file(file, state)), IsEmpty());
    EXPECT_THAT(schema.problemsOf(*model.directory(directory, state)), IsEmpty());
    EXPECT_THAT(schema.problemsOf(*model.directory(directory, std::nullopt)), IsEmpty());
    EXPECT_THAT(schema.problemsOf(*model.containment(directory, file)), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Schemas, FileSchema,
                         testing::Values(VELM_SOURCE_DIR "/velmd/schema/shipped.xml",
                                         velm::test::realSchema().string()));

TEST_F(FileInstances, SayWhenTheyWereModified_IfCIMCan) {
    const auto modified = [&](time_t seconds, long nanoseconds) {
        return propertyOf(model.file(model.fileName("/a"), {0, {seconds, nanoseconds}, true, true, true}),
                          "LastModified");
    };
    EXPECT_EQ(modified(0, 0), "19700101000000.000000+000");
    EXPECT_EQ(modified(1'000'000'000, 123'456'789), "20010909014640.123456+000");
    EXPECT_EQ(modified(-62'135'596'800, 0), "00010101000000.000000+000");
    EXPECT_EQ(modified(253'402'300'799, 999'999'999), "99991231235959.999999+000");
    EXPECT_EQ(modified(253'402'300'800, 0), "NULL");
    EXPECT_EQ(modified(-62'135'596'801, 0), "NULL");
    EXPECT_EQ(modified(std::numeric_limits<time_t>::max(), 0), "NULL");
}

}  // namespace
