// velmd --import: what it loads, and that a file with a fault changes nothing.

#include "tests/support/SharedFolder.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

/// A document of declarations, one on each line from the second on.
std::string documentOf(const std::vector<std::string>& declarations) {
    std::string document = "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP>\n";
    for (const std::string& declaration : declarations) {
        document += "<VALUE.OBJECT>" + declaration + "</VALUE.OBJECT>\n";
    }
    return document + "</DECLGROUP></DECLARATION></CIM>\n";
}

class VelmdImport : public testing::Test {
protected:
    ProgramResult import(const std::vector<std::string>& files, const std::string& nameSpace = "") const {
        std::vector<std::string> command{velmdProgram(), "--state-dir", state.string(), "--import"};
        command.insert(command.end(), files.begin(), files.end());
        if (!nameSpace.empty()) {
            command.insert(command.end(), {"--namespace", nameSpace});
        }
        return runProgram(command);
    }

    std::string write(const std::string& name, const std::vector<std::string>& declarations) const {
        return directory.write(name, documentOf(declarations)).string();
    }

    static std::string classNames(WBEMClient& client) {
        const WBEMAnswer answer = client.call("EnumerateClassNames", {{"DeepInheritance", value("TRUE")}});
        EXPECT_EQ(answer.status(), 0) << answer.body;
        return answer.body;
    }

    /// What a daemon that is started now has.
    std::string classNames() const {
        const VelmdProcess velmd(state);
        WBEMClient client(velmd.port());
        return classNames(client);
    }

    TemporaryDirectory directory;
    const std::filesystem::path state = directory.path() / "state";
};

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

}  // namespace

TEST_F(VelmdImport, TakesALargeSchemaWithinSeconds_AndAgain) {
    VELM_SKIP_WITHOUT(realSchema());
    for (int time = 0; time < 2; ++time) {
        const auto start = std::chrono::steady_clock::now();
        const ProgramResult result = import({realSchema().string()});
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.output,
                  "Imported 1631 classes, 0 qualifier types and 0 instances into root/kob/talmora.\n");
    }
    EXPECT_EQ(countOf(classNames(), "<CLASSNAME "), 1631U);
}

TEST_F(VelmdImport, ReplacesAClassThatIsThere_AndKeepsItsInstances) {
    EXPECT_EQ(import({write("first.xml", {itemClass("EX_Item"), itemClass("EX_SmallItem", "EX_Item"),
                                          itemInstance("EX_SmallItem", "1", "first", 3)})})
                  .output,
              "Imported 2 classes, 0 qualifier types and 1 instances into root/kob/talmora.\n");
    std::string richer = itemClass("ex_item");
    richer.insert(richer.rfind("</CLASS>"),
                  "<PROPERTY NAME=\"Color\" TYPE=\"string\"><VALUE>red</VALUE></PROPERTY>");
    ASSERT_EQ(import({write("second.xml", {richer})}).exitCode, 0);
    VelmdProcess velmd(state);
    WBEMClient client(velmd.port());
    const std::string found = client
                                  .call("GetInstance", {{"InstanceName", itemName("EX_SmallItem", "1")},
                                                        {"LocalOnly", value("FALSE")}})
                                  .body;
    EXPECT_THAT(found, testing::AllOf(HasSubstr("<VALUE>red</VALUE>"), HasSubstr("<VALUE>first</VALUE>")));
    EXPECT_THAT(classNames(client), HasSubstr("\"EX_Item\""));
}

TEST_F(VelmdImport, TakesClassesInAnyOrder_OfSeveralFiles_IntoANamespaceOfTheirOwn) {
    const ProgramResult result = import({write("sub.xml", {itemClass("EX_SmallItem", "EX_Item")}),
                                         write("super.xml", {itemClass("EX_Item")})},
                                        "root/other");
    EXPECT_EQ(result.exitCode, 0) << result.output;
    const VelmdProcess velmd(state);
    WBEMClient other(velmd.port(), "root/other");
    EXPECT_EQ(countOf(classNames(other), "<CLASSNAME "), 2U);
    WBEMClient client(velmd.port());
    EXPECT_THAT(classNames(client), HasSubstr("\"CIM_ManagedElement\""));
}

TEST_F(VelmdImport, IsRefused_WhileTheDaemonRuns) {
    const VelmdProcess velmd(state);
    const ProgramResult result = import({write("file.xml", {itemClass("EX_Item")})});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "velmd: state directory " + state.string() +
                                 ": is in use by the daemon with process id " + std::to_string(velmd.id()) +
                                 "\n");
    WBEMClient client(velmd.port());
    EXPECT_THAT(classNames(client), Not(HasSubstr("EX_Item")));
}

TEST_F(VelmdImport, TouchesNothing_WhenAFileDoesNotExist) {
    const std::string none = (directory.path() / "none.xml").string();
    const ProgramResult result = import({write("good.xml", {itemClass("EX_Item")}), none});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output,
                testing::AllOf(StartsWith("velmd: " + none + ": "), HasSubstr("No such file or directory")));
    EXPECT_FALSE(std::filesystem::exists(state));
}

namespace {

struct FaultCase {
    const char* name;
    std::string content;
    /// Behind the name of the file.
    std::string problem;
};

void PrintTo(const FaultCase& fault, std::ostream* out) {
    *out << fault.name;
}

class VelmdImportFault : public VelmdImport, public testing::WithParamInterface<FaultCase> {};

}  // namespace

TEST_P(VelmdImportFault, ChangesNothingAndTellsWhereItIs) {
    const std::string before = classNames();
    const std::string file = directory.write("faulty.xml", GetParam().content).string();
    const ProgramResult result = import({write("good.xml", {itemClass("EX_Good")}), file});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, StartsWith("velmd: " + file + ": " + GetParam().problem));
    EXPECT_EQ(classNames(), before);
    const ProgramResult other = import({file}, "root/other");
    EXPECT_EQ(other.exitCode, 1);
    const VelmdProcess velmd(state);
    EXPECT_EQ(WBEMClient(velmd.port(), "root/other").call("EnumerateClassNames").status(), 3);
}

INSTANTIATE_TEST_SUITE_P(
    Files, VelmdImportFault,
    testing::Values(
        FaultCase{"Empty", "", "line 1, column 1: "},
        FaultCase{"NoXML", "class EX_Item {};\n", "line 1, column 1: "},
        FaultCase{"CutOff", documentOf({itemClass("EX_Item")}).substr(0, 100), "line 2, column "},
        FaultCase{"OtherXML", "<?xml version=\"1.0\"?>\n<html></html>\n",
                  "line 2: 'html': the document is no CIM-XML: its root is not CIM\n"},
        FaultCase{"DocumentType", "<!DOCTYPE CIM SYSTEM \"cim.dtd\">\n" + documentOf({}), "line 1, column "},
        FaultCase{"WrongElement", documentOf({itemClass("EX_Item"), "<CLAS NAME=\"EX_A\"/>"}),
                  "line 3: 'CLAS' 'EX_A': it has no place among declarations\n"},
        FaultCase{"UnknownSuperclass", documentOf({itemClass("EX_Item"), itemClass("EX_Sub", "EX_None")}),
                  "line 3: the superclass 'EX_None' of EX_Sub does not exist\n"},
        FaultCase{"DeclaredTwice",
                  documentOf({itemClass("EX_Item"), itemClass("EX_Other"), itemClass("ex_item")}),
                  "line 4: the class "},
        FaultCase{"Circle", documentOf({itemClass("EX_A", "EX_B"), itemClass("EX_B", "EX_A")}), "line "},
        FaultCase{"InstanceOfUnknownClass", documentOf({itemClass("EX_Item"), itemInstance("EX_None", "1")}),
                  "line 3: there is no class 'EX_None' in root/"},
        FaultCase{
            "InstanceTwice",
            documentOf({itemClass("EX_Item"), itemInstance("EX_Item", "1"), itemInstance("EX_Item", "1")}),
            "line 4: there is an instance "}),
    [](const auto& tested) { return std::string(tested.param.name); });
