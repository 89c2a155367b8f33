#include "velmd/providers/ReportCheck.h"

#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "tests/unit/velmd/providers/ProviderSupport.h"

#include <functional>
#include <ostream>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using std::chrono::system_clock;

ReportCheck check() {
    return ReportCheck(space, findTestNamespace);
}

/// Another implementation than the object model's, as a provider might bring one.
class ForeignIndication : public IOrvoIndication {
public:
    explicit ForeignIndication(const Report& original) : _original(original) {}

    IndicationType getType() const override { return _original->getType(); }
    IndicationIntent getIntent() const override { return IntentDeliver; }
    ORVSmrPtr<IOrvoObject> getObject() const override { return _original->getObject(); }
    ORVSmrPtr<ORVValSlist<ORVString>> getChangedProperties() const override {
        return _original->getChangedProperties();
    }
    void* getContext() const override { return nullptr; }
    unsigned int getRoutingScope() const override { return ScopeClassOnly; }
    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() const override { return nullptr; }
    void setClassNames(const ORVSmrPtr<ORVValSlist<ORVString>>& /*classNames*/) override {}
    system_clock::time_point getTime() const override { return system_clock::from_time_t(1'000'000); }
    ORVString toString() const override { return "foreign"; }

private:
    const Report _original;
};

struct Case {
    const char* what;
    std::function<Report()> make;
    const char* expected;
};

void PrintTo(const Case& each, std::ostream* out) {
    *out << each.what;
}

std::string nameOfCase(const testing::TestParamInfo<Case>& info) {
    std::string name = info.param.what;
    std::ranges::replace_if(
        name, [](char letter) { return !std::isalnum(letter); }, '_');
    return name;
}

// What is canonical passes as it is.

class CanonicalReport : public testing::TestWithParam<Case> {};

TEST_P(CanonicalReport, PassesWithoutACopy) {
    const Report original = GetParam().make();
    EXPECT_EQ(check().canonical(original), original);
}

INSTANTIATE_TEST_SUITE_P(
    All, CanonicalReport,
    testing::Values(
        Case{"creation", [] { return report(file()); }, ""},
        Case{"change with its properties",
             [] {
                 return report(file(), IOrvoIndication::IndicationChange, {"FileSize", "Tags"});
             },
             ""},
        Case{"object without properties", [] { return report(objectOf("CIM_DataFile", fileNamed("a"), {})); },
             ""},
        Case{"NULL property",
             [] {
                 return report(objectOf("CIM_DataFile", fileNamed("a"),
                                        {{"FileSize", COrvoValue::null(COrvoType::uint64)}}));
             },
             ""},
        Case{"other known namespace",
             [] {
                 const Name name = named("root/Other", "CIM_DataFile", {{"Name", text("a")}});
                 return report(objectOf("CIM_DataFile", name, {}));
             },
             ""},
        Case{"class without keys",
             [] { return report(objectOf("CIM_Nothing", named(space, "CIM_Nothing", {}), {})); }, ""},
        Case{"two keys",
             [] {
                 const Value one(new COrvoValue(1u, COrvoType::uint32));
                 const Name name = named(space, "CIM_Chunk", {{"Name", text("a")}, {"Number", one}});
                 return report(objectOf("CIM_Chunk", name, {}));
             },
             ""}),
    nameOfCase);

// What is not is rewritten.

class RewrittenReport : public testing::TestWithParam<Case> {};

TEST_P(RewrittenReport, IsInTheSpellingOfTheRepository) {
    const Report original = GetParam().make();
    const Report result = check().canonical(original);
    EXPECT_EQ(textOf(result), GetParam().expected);
    EXPECT_NE(result, original);
    EXPECT_EQ(result->getType(), original->getType());
    EXPECT_EQ(result->getTime(), original->getTime());
    EXPECT_EQ(result->getRoutingScope(), original->getRoutingScope());
    EXPECT_EQ(result->getIntent(), IOrvoIndication::IntentReport);
    EXPECT_EQ(result->getContext(), &COrvoIndication::reportedKindOf(original->getType()));
}

INSTANTIATE_TEST_SUITE_P(
    All, RewrittenReport,
    testing::Values(
        Case{"class",
             [] {
                 const Name name = named(space, "cim_datafile", {{"Name", text("A")}});
                 return report(objectOf("CIM_DATAFILE", name, {}));
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="A" {} [])"},
        Case{"object without class", [] { return report(objectOf(nullptr, fileNamed("a"), {})); },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {} [])"},
        Case{"namespace",
             [] {
                 const Name name = named("ROOT/main", "CIM_DataFile", {{"Name", text("a")}});
                 return report(objectOf("CIM_DataFile", name, {}));
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {} [])"},
        Case{"no namespace",
             [] {
                 const Name name = named("", "CIM_DataFile", {{"Name", text("a")}});
                 return report(objectOf("CIM_DataFile", name, {}));
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {} [])"},
        Case{"key",
             [] {
                 const Name name = named(space, "CIM_DataFile", {{"NAME", text("a")}});
                 return report(objectOf("CIM_DataFile", name, {}));
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {} [])"},
        Case{"type of a key",
             [] {
                 const Name name = named(space, "CIM_Chunk", {{"Number", text("7")}, {"Name", text("a")}});
                 return report(objectOf("CIM_Chunk", name, {}));
             },
             R"(CIM_Chunk root/Main:CIM_Chunk.Name="a",Number=7 {} [])"},
        Case{"property",
             [] {
                 return report(objectOf("CIM_DataFile", fileNamed("a"), {{"filesize", number(3)}}));
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {FileSize=3} [])"},
        Case{"changed properties",
             [] {
                 return report(file(), IOrvoIndication::IndicationChange, {"filesize", "Tags"});
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {Name=a, FileSize=7} [FileSize, Tags])"},
        Case{
            "references",
            [] {
                const Value parent = reference(named("", "cim_directory", {{"name", text("d")}}));
                const Value child = reference(named("ROOT/MAIN", "cim_datafile", {{"NAME", text("f")}}));
                const Keys ends{{"dependent", child}, {"antecedent", parent}};
                return report(objectOf("cim_directorycontainsfile",
                                       named(space, "cim_directorycontainsfile", ends), ends));
            },
            "CIM_DirectoryContainsFile root/Main:CIM_DirectoryContainsFile."
            R"(Antecedent="root/Main:CIM_Directory.Name=\"d\"",Dependent="root/Main:CIM_DataFile.Name=\"f\"" )"
            R"({Antecedent=root/Main:CIM_Directory.Name="d", Dependent=root/Main:CIM_DataFile.Name="f"} [])"},
        Case{"embedded instance",
             [] {
                 const Value detail(new COrvoValue(file("inside")));
                 return report(objectOf("CIM_DataFile", fileNamed("a"), {{"Detail", detail}}));
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" )"
             R"({Detail=instance of CIM_DataFile {Name = inside, FileSize = 7}} [])"},
        Case{"another implementation",
             [] {
                 return Report(
                     new ForeignIndication(report(file(), IOrvoIndication::IndicationChange, {"FileSize"})));
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {Name=a, FileSize=7} [FileSize])"},
        Case{"an indication that was made for delivery",
             [] {
                 static IOrvoIndication::ReportedKind strange{IOrvoIndication::IndicationChange, nullptr};
                 return Report(new COrvoIndication(file(), IOrvoIndication::IndicationCreation, nullptr,
                                                   &strange, IOrvoIndication::IntentDeliver, nullptr, false));
             },
             R"(CIM_DataFile root/Main:CIM_DataFile.Name="a" {Name=a, FileSize=7} [])"}),
    nameOfCase);

TEST(ReportCheck, KeepsTheRoutingScopeOfWhatItRewrites) {
    auto* original =
        new COrvoIndication(objectOf("cim_datafile", fileNamed("a"), {}), IOrvoIndication::IndicationChange,
                            nullptr, nullptr, IOrvoIndication::IntentReport, nullptr, false);
    const Report handle(original);
    original->setRoutingScope(IOrvoIndication::ScopeInstanceOnly);
    original->setTime(system_clock::from_time_t(77));
    const Report result = check().canonical(handle);
    EXPECT_NE(result, handle);
    EXPECT_EQ(result->getRoutingScope(), IOrvoIndication::ScopeInstanceOnly);
    EXPECT_EQ(result->getTime(), system_clock::from_time_t(77));
}

TEST(ReportCheck, PassesEveryKnownKind) {
    for (unsigned int type = 1; type <= IOrvoIndication::IndicationLeaveAssociation; type *= 2) {
        const Report original = report(file(), static_cast<IOrvoIndication::IndicationType>(type));
        EXPECT_EQ(check().canonical(original), original) << type;
    }
}

// The rest is refused.

struct Refusal {
    const char* what;
    std::function<Report()> make;
    ReportFault fault;
    const char* text;
};

void PrintTo(const Refusal& each, std::ostream* out) {
    *out << each.what;
}

class RefusedReportTest : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedReportTest, NamesItsFault) {
    try {
        check().canonical(GetParam().make());
        FAIL() << "nothing was thrown";
    } catch (const RefusedReport& refused) {
        EXPECT_EQ(refused.fault, GetParam().fault);
        EXPECT_EQ(refused.text, GetParam().text);
    }
}

Report ofKind(unsigned int type) {
    return report(file(), static_cast<IOrvoIndication::IndicationType>(type));
}

Report ofClass(const char* className) {
    return report(objectOf(className, named(space, className, {{"Name", text("a")}}), {}));
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedReportTest,
    testing::Values(
        Refusal{"null", [] { return Report(); }, ReportFault::noIndication, "no indication"},
        Refusal{"kind 0", [] { return ofKind(0); }, ReportFault::unknownKind, "kind 0 is unknown"},
        Refusal{"two kinds at once", [] { return ofKind(9); }, ReportFault::unknownKind, "kind 9 is unknown"},
        Refusal{"kind past the last", [] { return ofKind(512); }, ReportFault::unknownKind,
                "kind 512 is unknown"},
        Refusal{"no object", [] { return report(nullptr); }, ReportFault::noObject, "no object"},
        Refusal{"no instance name", [] { return report(objectOf("CIM_DataFile", nullptr, {})); },
                ReportFault::noInstanceName, "no instance name"},
        Refusal{"unknown class", [] { return ofClass("CIM_What"); }, ReportFault::unknownClass,
                "class 'CIM_What' is unknown"},
        Refusal{"endless class name", [] { return ofClass(std::string(5000, 'x').c_str()); },
                ReportFault::unknownClass,
                "class 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...' is unknown"},
        Refusal{"unknown namespace",
                [] {
                    const Name name = named("root/What", "CIM_DataFile", {{"Name", text("a")}});
                    return report(objectOf("CIM_DataFile", name, {}));
                },
                ReportFault::unknownNamespace, "namespace 'root/What' is unknown"},
        Refusal{"name of another class", [] { return report(objectOf("CIM_Directory", fileNamed("a"), {})); },
                ReportFault::notOfItsClass,
                "an object of class 'CIM_Directory' is named as one of class 'CIM_DataFile'"},
        Refusal{"missing key",
                [] { return report(objectOf("CIM_DataFile", named(space, "CIM_DataFile", {}), {})); },
                ReportFault::notOfItsClass, "the key Name of CIM_DataFile is missing"},
        Refusal{"unknown property",
                [] {
                    return report(objectOf("CIM_DataFile", fileNamed("a"), {{"Colour", text("red")}}));
                },
                ReportFault::notOfItsClass, "CIM_DataFile has no property 'Colour'"},
        Refusal{"property of another type",
                [] {
                    return report(objectOf("CIM_DataFile", fileNamed("a"), {{"FileSize", text("7")}}));
                },
                ReportFault::notOfItsClass, "CIM_DataFile.FileSize has type uint64, not string"},
        Refusal{"unknown changed property",
                [] {
                    return report(file(), IOrvoIndication::IndicationChange, {"FileSize", "Colour"});
                },
                ReportFault::notOfItsClass,
                "class 'CIM_DataFile' has no property 'Colour' that could change"},
        Refusal{"reference to an unknown class",
                [] {
                    const Value stranger = reference(named(space, "CIM_What", {{"Name", text("d")}}));
                    const Keys ends{{"Antecedent", stranger}, {"Dependent", reference(fileNamed("f"))}};
                    return report(objectOf("CIM_DirectoryContainsFile",
                                           named(space, "CIM_DirectoryContainsFile", ends), ends));
                },
                ReportFault::unknownClass, "there is no class 'CIM_What' in root/Main"}));

}  // namespace
}  // namespace velm::test
