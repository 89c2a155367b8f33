#include "velmctl/commands/ImportPlan.h"

#include "tests/support/VelmdProcess.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using velm::test::TemporaryDirectory;

namespace {

std::string declarations(const std::string& content) {
    std::string document = "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP>\n";
    return document + content + "</DECLGROUP></DECLARATION></CIM>";
}

std::string object(const std::string& element) {
    return "<VALUE.OBJECT>" + element + "</VALUE.OBJECT>\n";
}

std::string classNamed(const std::string& name, const std::string& superClass = "") {
    return object("<CLASS NAME=\"" + name + "\"" +
                  (superClass.empty() ? "" : " SUPERCLASS=\"" + superClass + "\"") + "></CLASS>");
}

std::string instanceOf(const std::string& name) {
    return object("<INSTANCE CLASSNAME=\"" + name + "\"></INSTANCE>");
}

constexpr const char* qualifier =
    "<QUALIFIER.DECLARATION NAME=\"Key\" TYPE=\"boolean\"></QUALIFIER.DECLARATION>\n";

std::vector<std::string> namesOf(const std::vector<PlannedDeclaration>& plan) {
    std::vector<std::string> names;
    for (const PlannedDeclaration& declaration : plan) {
        names.push_back(std::string(declaration.kind()) + " " + declaration.name());
    }
    return names;
}

std::string problemIn(const std::vector<std::string>& files) {
    try {
        planImport(files);
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
    return "none";
}

}  // namespace

TEST(ImportPlan, HasWhatOthersNeedFirst) {
    const TemporaryDirectory directory;
    const auto first = directory.write(
        "first.xml",
        declarations(instanceOf("EX_C") + classNamed("EX_C", "ex_b") + classNamed("EX_B", "EX_A")));
    const auto second = directory.write(
        "second.xml", declarations(classNamed("EX_A") + classNamed("EX_D", "CIM_Other") + qualifier));
    EXPECT_THAT(namesOf(planImport({first, second})),
                ElementsAre("qualifier Key", "class EX_A", "class EX_B", "class EX_C", "class EX_D",
                            "instance EX_C"));
}

TEST(ImportPlan, EndsWhenClassesInheritInACircle) {
    const TemporaryDirectory directory;
    const auto file =
        directory.write("a.xml", declarations(classNamed("EX_A", "EX_B") + classNamed("EX_B", "EX_A")));
    EXPECT_EQ(planImport({file}).size(), 2U);
}

TEST(ImportPlan, KnowsThePlaceOfEach) {
    const TemporaryDirectory directory;
    const std::string file =
        directory.write("a.xml", declarations(classNamed("EX_A") + instanceOf("EX_A") + qualifier)).string();
    const auto plan = planImport({file});
    EXPECT_EQ(plan[0].place(), file + ": qualifier Key");
    EXPECT_EQ(plan[1].place(), file + ": line 2: class EX_A");
    EXPECT_EQ(plan[2].place(), file + ": line 3: instance of EX_A");
}

TEST(ImportPlan, NamesTheFileAndTheLineOfWhatItCannotRead) {
    const TemporaryDirectory directory;
    const std::string missing = (directory.path() / "none.xml").string();
    EXPECT_EQ(problemIn({missing}), missing + ": there is no such file");
    EXPECT_EQ(problemIn({directory.path().string()}), directory.path().string() + ": it is no file");
    const std::string broken = directory.write("broken.xml", "<CIM>\n<x").string();
    EXPECT_THAT(problemIn({broken}), AllOf(HasSubstr(broken), HasSubstr("line 2")));
    const std::string other = directory.write("other.xml", "<html/>").string();
    EXPECT_THAT(problemIn({other}), AllOf(HasSubstr(other), HasSubstr("root is not CIM")));
    const std::string nameless =
        directory.write("nameless.xml", declarations(object("<CLASS></CLASS>"))).string();
    EXPECT_THAT(problemIn({nameless}), AllOf(HasSubstr(nameless), HasSubstr("line 2"), HasSubstr("NAME")));
}
