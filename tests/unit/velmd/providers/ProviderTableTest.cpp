#include "velmd/providers/ProviderTable.h"

#include "tests/support/providers/SilentProvider.h"
#include "tests/unit/velmd/providers/ProviderSupport.h"

#include <ostream>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ProviderTableTest : public testing::Test {
protected:
    ProviderTableTest() {
        table.add("files", files, {"CIM_DataFile", "CIM_Directory", "cim_datafile"});
        table.add("folders", folders, {"cim_directory", "Ext_Unknown"});
        table.add("reporter", reporter, {});
    }

    /// "null" for a null handle.
    std::vector<std::string> providersOf(const Name& name) {
        const auto list = table.getProviders(name);
        std::vector<std::string> names;
        if (list.IsNull()) {
            names.push_back("null");
        } else {
            for (const auto& info : *list) {
                names.emplace_back(info->getName().view());
            }
        }
        return names;
    }

    std::vector<std::string> textsOf(const std::vector<ProviderTable::Served>& served) const {
        std::vector<std::string> texts;
        for (const auto& each : served) {
            texts.push_back((each.provider == &files ? "files:" : "folders:") + each.className);
        }
        return texts;
    }

    SilentProvider files;
    SilentProvider folders;
    SilentProvider reporter;
    ProviderTable table{space, isTestClassA};
};

TEST_F(ProviderTableTest, AnswersNull_ForANullName) {
    EXPECT_THAT(providersOf(nullptr), ElementsAre("null"));
}

struct Question {
    const char* what;
    const char* nameSpace;
    const char* className;
    bool hasKeys;
    std::vector<std::string> answer;
};

void PrintTo(const Question& question, std::ostream* out) {
    *out << question.what;
}

class ProvidersOfAName : public ProviderTableTest, public testing::WithParamInterface<Question> {};

TEST_P(ProvidersOfAName, AreThoseThatServeIt) {
    const Question& question = GetParam();
    const Keys keys = question.hasKeys ? Keys{{"Name", text("a")}} : Keys{};
    EXPECT_EQ(providersOf(named(question.nameSpace, question.className, keys)), question.answer);
}

INSTANTIATE_TEST_SUITE_P(
    All, ProvidersOfAName,
    testing::Values(
        Question{"an instance of a served class", space, "CIM_DataFile", true, {"files"}},
        Question{"letter case does not matter", space, "CIM_DATAFILE", true, {"files"}},
        Question{"a class that two have named", space, "CIM_Directory", true, {"files"}},
        Question{"an instance of a superclass", space, "CIM_LogicalFile", true, {"null"}},
        Question{"a class that nobody serves", space, "CIM_ResourcePool", true, {"null"}},
        Question{"a served class itself", space, "CIM_DataFile", false, {"files"}},
        Question{"a superclass itself", space, "cim_logicalfile", false, {"files"}},
        Question{"a class itself that nobody serves", space, "CIM_ResourcePool", false, {"null"}},
        Question{
            "a served class that the repository does not know", space, "EXT_unknown", false, {"folders"}},
        Question{"an unknown class", space, "CIM_What", false, {"null"}},
        Question{"a name without namespace", "", "CIM_DataFile", true, {"files"}},
        Question{"the namespace in other letters", "ROOT/main", "CIM_DataFile", true, {"files"}},
        Question{"another namespace", "root/Other", "CIM_DataFile", true, {"null"}},
        Question{"a class itself of another namespace", "root/Other", "CIM_DataFile", false, {"null"}}));

TEST_F(ProviderTableTest, DoesNotServeASubclass_BecauseOfItsSuperclass) {
    SilentProvider all;
    ProviderTable other(space, isTestClassA);
    other.add("all", all, {"CIM_LogicalFile"});
    EXPECT_EQ(other.providerOf("CIM_DataFile"), nullptr);
    EXPECT_TRUE(other.getProviders(named(space, "CIM_DataFile", {})).IsNull());
    EXPECT_EQ(other.providerOf("CIM_LogicalFile"), &all);
}

TEST_F(ProviderTableTest, SelectsTheFirstProviderOfAClass) {
    EXPECT_EQ(table._selectProvider(space, "CIM_Directory"), &files);
    EXPECT_EQ(table._selectProvider("/root/main/", "ext_unknown"), &folders);
    EXPECT_EQ(table._selectProvider("", "CIM_DataFile"), &files);
    EXPECT_EQ(table._selectProvider("root/Other", "CIM_DataFile"), nullptr);
    EXPECT_EQ(table._selectProvider(space, "CIM_LogicalFile"), nullptr);
    EXPECT_EQ(table._selectProvider(space, ORVString()), nullptr);
}

TEST_F(ProviderTableTest, NamesWhatIsServedAtOrBelowAClass) {
    EXPECT_THAT(textsOf(table.servedAtOrBelow("cim_LogicalFile")),
                ElementsAre("files:CIM_DataFile", "files:CIM_Directory"));
    EXPECT_THAT(textsOf(table.servedAtOrBelow("CIM_DataFile")), ElementsAre("files:CIM_DataFile"));
    EXPECT_THAT(table.servedAtOrBelow("CIM_ResourcePool"), IsEmpty());
}

TEST_F(ProviderTableTest, NamesEverythingThatIsServed_EachClassOnce) {
    EXPECT_THAT(textsOf(table.served()),
                ElementsAre("files:CIM_DataFile", "files:CIM_Directory", "folders:Ext_Unknown"));
}

TEST_F(ProviderTableTest, GivesEachCallerAListOfItsOwn) {
    const Name name = fileNamed("a");
    table.getProviders(name)->clear();
    EXPECT_THAT(providersOf(name), ElementsAre("files"));
}

}  // namespace
}  // namespace velm::test
