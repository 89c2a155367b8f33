#include "tests/support/SharedFolder.h"
#include "tests/unit/velmd/repository/ChildProcess.h"
#include "tests/unit/velmd/repository/RepositorySupport.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/CIMWriter.h"
#include "velmd/wire/XMLElement.h"

#include <chrono>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class Import : public RepositoryTest {
protected:
    static Repository::Declarations declarations() {
        Repository::Declarations all;
        all.qualifiers.push_back(qualifierFrom(
            R"(<QUALIFIER.DECLARATION NAME="Unit" TYPE="string"><SCOPE PROPERTY="true"></SCOPE>)"
            "</QUALIFIER.DECLARATION>"));
        all.classes.push_back(classFrom(R"(<CLASS NAME="EX_B2" SUPERCLASS="EX_B"></CLASS>)"));
        all.classes.push_back(classFrom(R"(<CLASS NAME="EX_C" SUPERCLASS="EX_Thing"></CLASS>)"));
        all.classes.push_back(classFrom(R"(<CLASS NAME="EX_B" SUPERCLASS="EX_Thing"></CLASS>)"));
        all.instances.push_back(object("EX_B2", {{"Id", text("1")}}));
        all.instances.push_back(object("EX_C", {{"Id", text("2")}}));
        return all;
    }

    std::vector<std::string> classNames() {
        std::vector<std::string> names;
        for (const auto& found : repository->find(space).classes->withDescendants("")) {
            names.push_back(found->name());
        }
        return names;
    }

    std::string importRefusal(const Repository::Declarations& all) {
        return refusal([&] { repository->import(space, all); });
    }

    void expectNothingImported() {
        EXPECT_THAT(repository->enumerateQualifiers(space), IsEmpty());
        EXPECT_EQ(repository->find(space).classes->size(), 4U);
        EXPECT_THAT(repository->enumerateInstances(space, "EX_Thing"), IsEmpty());
        EXPECT_THAT(changes, IsEmpty());
    }
};

TEST_F(Import, AddsEverything_InWhateverOrderItCame) {
    observe();
    repository->import("ROOT/Test", declarations());
    const auto names = classNames();
    EXPECT_THAT(names, ElementsAre("EX_Thing", "EX_Part", "EX_C", "EX_B", "EX_B2", "EX_Base", "EX_Link"));
    EXPECT_THAT(idsOf(repository->enumerateInstances(space, "EX_Thing")), ElementsAre("1", "2"));
    EXPECT_THAT(repository->enumerateQualifiers(space), SizeIs(1));
    ASSERT_THAT(changes, SizeIs(2));
    EXPECT_EQ(valueOf(changes[1].object, "Id"), "2");
    reopen();
    EXPECT_EQ(classNames(), names);
    EXPECT_THAT(idsOf(repository->enumerateInstances(space, "EX_Thing")), ElementsAre("1", "2"));
}

TEST_F(Import, CreatesTheNamespace_WithEverythingOrNotAtAll) {
    auto all = declarations();
    EXPECT_THAT(refusal([&] { repository->import("root/new", all); }), StartsWith("10: "));
    EXPECT_THAT(repository->nameSpaces(), ElementsAre(space));
    all.classes.push_back(thingClass());
    repository->import("/root/new/", all);
    EXPECT_THAT(repository->nameSpaces(), ElementsAre(space, "root/new"));
    EXPECT_EQ(repository->find("root/new").classes->size(), 4U);
    EXPECT_THAT(refusal([&] { repository->import("root//new", all); }), StartsWith("4: "));
}

TEST_F(Import, AddsNothing_WhenAClassIsDeclaredTwice) {
    observe();
    auto all = declarations();
    all.classes.push_back(thingClass());
    all.classes.push_back(classFrom(R"(<CLASS NAME="ex_thing"></CLASS>)"));
    EXPECT_EQ(importRefusal(all), "11: the class EX_Thing is declared twice");
    expectNothingImported();
    reopen();
    expectNothingImported();
}

TEST_F(Import, ReplacesClassesThatAreThere) {
    auto all = declarations();
    all.classes.push_back(classFrom(R"(<CLASS NAME="ex_part" SUPERCLASS="EX_C"></CLASS>)"));
    all.classes.push_back(thingClass());
    CIMClass& thing = all.classes.back();
    thing.properties.push_back(
        classFrom(R"(<CLASS NAME="X"><PROPERTY NAME="Color" TYPE="string"></PROPERTY></CLASS>)")
            .properties[0]);
    repository->import(space, all);
    const auto check = [this] {
        EXPECT_THAT(classNames(),
                    ElementsAre("EX_Thing", "EX_C", "EX_Part", "EX_B", "EX_B2", "EX_Base", "EX_Link"));
        const auto part = repository->getClass(space, "EX_Part");
        EXPECT_EQ(part->superClass->name(), "EX_C");
        EXPECT_FALSE(part->declaration.property("Weight"));
        EXPECT_TRUE(part->declaration.property("Color"));
        EXPECT_TRUE(repository->getClass(space, "EX_B2")->declaration.property("Color"));
        EXPECT_THAT(idsOf(repository->enumerateInstances(space, "EX_Thing")), ElementsAre("1", "2"));
    };
    check();
    reopen();
    check();
}

TEST_F(Import, IsTheSameWhenItComesAgain) {
    repository->import(space, declarations());
    const auto names = classNames();
    auto again = declarations();
    again.instances.clear();
    repository->import(space, again);
    EXPECT_EQ(classNames(), names);
    reopen();
    EXPECT_EQ(classNames(), names);
}

TEST_F(Import, LetsInstancesOfAReplacedClassTakeWhatIsNew) {
    repository->createInstance(space, *thing("1", 5));
    repository->createInstance(space, *object("EX_Part", {{"Id", text("2")}}));
    Repository::Declarations all;
    all.classes.push_back(thingClass());
    all.classes[0].properties.push_back(
        classFrom(
            R"(<CLASS NAME="X"><PROPERTY NAME="Color" TYPE="string"><VALUE>red</VALUE></PROPERTY></CLASS>)")
            .properties[0]);
    repository->import(space, all);
    reopen();
    const auto found = repository->enumerateInstances(space, "EX_Thing");
    ASSERT_THAT(idsOf(found), ElementsAre("1", "2"));
    EXPECT_EQ(valueOf(found[0], "Color"), "red");
    EXPECT_EQ(valueOf(found[0], "Size"), "5");
    EXPECT_EQ(valueOf(found[1], "Color"), "red");
    repository->deleteInstance(*thingName("2", "EX_Part"), space);
}

struct MisfitCase {
    const char* name;
    /// Takes the place of a class of the repository.
    const char* declaration;
    const char* problem;
};

void PrintTo(const MisfitCase& misfit, std::ostream* out) {
    *out << misfit.name;
}

class ImportMisfit : public Import, public testing::WithParamInterface<MisfitCase> {};

TEST_P(ImportMisfit, AddsNothing_WhenInstancesDoNotFitTheirClassAnyMore) {
    repository->createInstance(space, *object("EX_Part", {{"Id", text("1")}}));
    observe();
    auto all = declarations();
    all.classes.push_back(classFrom(GetParam().declaration));
    EXPECT_EQ(importRefusal(all),
              std::string("9: the class EX_Part has instances, which its new declaration does not fit: ") +
                  GetParam().problem);
    reopen();
    EXPECT_EQ(repository->find(space).classes->size(), 4U);
    EXPECT_THAT(idsOf(repository->enumerateInstances(space, "EX_Part")), ElementsAre("1"));
    EXPECT_THAT(repository->enumerateQualifiers(space), IsEmpty());
}

#define ID_KEY                                                                                                  \
    R"(<PROPERTY NAME="Id" TYPE="string"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>true</VALUE></QUALIFIER>)" \
    R"(</PROPERTY>)"

INSTANTIATE_TEST_SUITE_P(
    Declarations, ImportMisfit,
    testing::Values(
        MisfitCase{"Abstract",
                   R"(<CLASS NAME="EX_Part" SUPERCLASS="EX_Thing">)"
                   R"(<QUALIFIER NAME="Abstract" TYPE="boolean"><VALUE>true</VALUE></QUALIFIER></CLASS>)",
                   "it is abstract"},
        MisfitCase{"Association",
                   R"(<CLASS NAME="EX_Part" SUPERCLASS="EX_Thing">)"
                   R"(<QUALIFIER NAME="Association" TYPE="boolean"><VALUE>true</VALUE></QUALIFIER></CLASS>)",
                   "it is an association"},
        MisfitCase{"Keyless", R"(<CLASS NAME="EX_Part"></CLASS>)", "it has other keys"},
        MisfitCase{"WithoutAProperty", R"(<CLASS NAME="EX_Part" SUPERCLASS="EX_Thing"></CLASS>)",
                   "the property Weight is gone"},
        MisfitCase{"WithAnotherType",
                   R"(<CLASS NAME="EX_Part" SUPERCLASS="EX_Thing">)"
                   R"(<PROPERTY NAME="Weight" TYPE="string"></PROPERTY></CLASS>)",
                   "the property Weight has another type"},
        MisfitCase{"OfASuperclassWithAnotherType",
                   R"(<CLASS NAME="EX_Thing">)" ID_KEY R"(<PROPERTY NAME="Caption" TYPE="uint8"></PROPERTY>)"
                   R"(<PROPERTY NAME="Size" TYPE="uint32"></PROPERTY>)"
                   R"(<PROPERTY.ARRAY NAME="Tags" TYPE="string"></PROPERTY.ARRAY></CLASS>)",
                   "the property Caption has another type"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(Import, AddsNothing_WhenASubclassThatIsThereDoesNotFit) {
    auto all = declarations();
    all.classes.push_back(classFrom(R"(<CLASS NAME="EX_Thing">)" ID_KEY
                                    R"(<PROPERTY NAME="Weight" TYPE="string"></PROPERTY></CLASS>)"));
    EXPECT_EQ(importRefusal(all), "4: EX_Part.Weight: an override cannot change the type string");
    expectNothingImported();
}

TEST_F(Import, AddsNothing_WhenASuperclassIsMissing) {
    observe();
    auto all = declarations();
    all.classes.pop_back();
    EXPECT_THAT(importRefusal(all), StartsWith("10: "));
    expectNothingImported();
}

TEST_F(Import, AddsNothing_WhenAnInstanceIsWrong) {
    observe();
    auto all = declarations();
    all.instances.push_back(object("EX_B2", {{"Id", text("1")}}));
    EXPECT_THAT(importRefusal(all), StartsWith("11: "));
    try {
        repository->import(space, all);
    } catch (const RefusedInstance& refused) {
        EXPECT_EQ(refused.position, 2U);
    }
    expectNothingImported();
    all.instances.back() = object("EX_B2", {{"Id", text("3")}, {"Color", text("red")}});
    EXPECT_THAT(importRefusal(all), StartsWith("12: "));
    expectNothingImported();
    reopen();
    expectNothingImported();
}

TEST_F(Import, ReplacesQualifierTypesThatAreThere) {
    repository->import(space, declarations());
    Repository::Declarations again;
    again.qualifiers = declarations().qualifiers;
    again.qualifiers[0].value = text("m");
    repository->import(space, again);
    EXPECT_EQ(repository->getQualifier(space, "Unit").value->toString().view(), "m");
}

class RealSchema : public Import {
protected:
    void SetUp() override {
        VELM_SKIP_WITHOUT(realSchema());
        open();
        repository->createNamespace(space);
    }

    /// Every class with all that it inherits, as one text.
    std::string everything() {
        std::string xml;
        for (const auto& found : repository->find(space).classes->withDescendants("")) {
            writeClass(xml, found->declaration, CIMSelection());
        }
        return xml;
    }
};

Repository::Declarations realDeclarations() {
    auto read = readDeclarations(readXMLTreeFromFile(realSchema().string(), 100'000'000, 100));
    return {std::move(read.qualifiers), std::move(read.classes), std::move(read.instances)};
}

TEST_F(RealSchema, IsImportedWithinSeconds_AndIsTheSameAfterAReopening) {
    const auto start = std::chrono::steady_clock::now();
    repository->import(space, realDeclarations());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_EQ(repository->find(space).classes->size(), 1631U);
    std::size_t declared = 0;
    for (const auto& found : repository->find(space).classes->withDescendants("")) {
        for (const CIMProperty& property : found->declaration.properties) {
            declared += property.isPropagated ? 0 : 1;
        }
    }
    EXPECT_EQ(declared, 7154U);
    const std::string before = everything();
    reopen();
    EXPECT_TRUE(everything() == before);
}

TEST_F(RealSchema, IsThereWholeOrNotAtAll_WhenTheProcessIsKilledDuringTheImport) {
    const auto schema = realDeclarations();
    std::size_t found = 0;
    for (int milliseconds = 1; milliseconds < 2000 && found == 0; milliseconds *= 3) {
        close();
        bool isAcknowledged = false;
        {
            ChildProcess child([&](int pipe) {
                open();
                writeAll(pipe, "x", 1);
                repository->import(space, schema);
                writeAll(pipe, "y", 1);
                ::pause();
            });
            char answer = 0;
            ASSERT_EQ(child.read(&answer, 1), 1U);
            // The moment of the end, unless it is done before.
            isAcknowledged = child.read(&answer, 1, milliseconds) == 1U;
        }
        open();
        found = repository->find(space).classes->size();
        EXPECT_TRUE(found == 1631U || (found == 0 && !isAcknowledged)) << found;
    }
}

}  // namespace
