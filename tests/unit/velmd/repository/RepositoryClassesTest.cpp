// Namespaces, classes and qualifier types.

#include "tests/unit/velmd/repository/RepositorySupport.h"
#include "velmd/wire/CIMWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class RepositoryClasses : public RepositoryTest {
protected:
    std::vector<std::string> subClasses(const char* name) {
        std::vector<std::string> names;
        for (const auto& found : repository->find(space).classes->subClasses(name)) {
            names.push_back(found->name());
        }
        return names;
    }

    std::string classText(const char* name) {
        std::string xml;
        CIMSelection everything;
        everything.includeClassOrigin = true;
        writeClass(xml, repository->getClass(space, name)->declaration, everything);
        return xml;
    }

    std::string creationRefusal(const std::string& xml) {
        return refusal([&] { repository->createClass(space, classFrom(xml)); });
    }

    std::vector<std::string> qualifierNames() {
        std::vector<std::string> names;
        for (const auto& found : repository->enumerateQualifiers(space)) {
            names.push_back(found.name);
        }
        return names;
    }
};

const char* const narrowedLink =
    R"(<CLASS NAME="EX_SubLink" SUPERCLASS="EX_Link"><PROPERTY.REFERENCE NAME="Dependent" )"
    R"(REFERENCECLASS="EX_Later"></PROPERTY.REFERENCE></CLASS>)";

const char* const plain = R"(<CLASS NAME="EX_Plain"></CLASS>)";

std::string qualifierXML(const std::string& name, const std::string& value) {
    return "<QUALIFIER.DECLARATION NAME=\"" + name +
           R"(" TYPE="string" TOINSTANCE="true"><SCOPE CLASS="true" PROPERTY="true"></SCOPE><VALUE>)" +
           value + "</VALUE></QUALIFIER.DECLARATION>";
}

TEST_F(RepositoryClasses, KeepsNamespacesInOrderOfCreation_AsTheyWereSpelled) {
    repository->createNamespace("/Root/Other/");
    repository->createNamespace("interop");
    EXPECT_THAT(repository->nameSpaces(), ElementsAre(space, "Root/Other", "interop"));
    reopen();
    EXPECT_THAT(repository->nameSpaces(), ElementsAre(space, "Root/Other", "interop"));
}

TEST_F(RepositoryClasses, FindsNamespaces_LetterCaseAndOuterSlashesIgnored) {
    EXPECT_EQ(repository->find("/ROOT/Test/").name, space);
    EXPECT_EQ(repository->getClass("ROOT/TEST", "ex_thing")->name(), "EX_Thing");
    EXPECT_EQ(refusal([this] { repository->find("root"); }), "3: there is no namespace 'root'");
    EXPECT_EQ(refusal([this] { repository->find(""); }), "3: there is no namespace ''");
}

TEST_F(RepositoryClasses, RefusesNamespaces_ThatAreThereOrCannotBe) {
    EXPECT_EQ(refusal([this] { repository->createNamespace("ROOT/Test/"); }),
              "11: there is a namespace 'ROOT/Test' already");
    for (const char* name : {"", "/", "a//b", "a b", "a/1"}) {
        EXPECT_THAT(refusal([&] { repository->createNamespace(name); }), StartsWith("4: ")) << name;
    }
    EXPECT_THAT(repository->nameSpaces(), ElementsAre(space));
}

TEST_F(RepositoryClasses, DeletesNamespaces_OnceTheyAreEmpty) {
    EXPECT_EQ(refusal([this] { repository->deleteNamespace("root/TEST"); }),
              "20: namespace root/test has classes");
    repository->createNamespace("other");
    repository->setQualifier("other", qualifierFrom(qualifierXML("Unit", "m")));
    repository->createClass("other", classFrom(plain));
    EXPECT_THAT(refusal([this] { repository->deleteNamespace("other"); }), StartsWith("20: "));
    repository->deleteClass("other", "EX_Plain");
    repository->deleteNamespace("Other");
    EXPECT_THAT(refusal([this] { repository->deleteNamespace("other"); }), StartsWith("3: "));
    repository->createNamespace("other");
    EXPECT_THAT(repository->enumerateQualifiers("other"), IsEmpty());
}

TEST_F(RepositoryClasses, KeepsNamespacesApart) {
    repository->createNamespace("other");
    repository->createClass("other", classFrom(plain));
    EXPECT_EQ(refusal([this] { repository->getClass(space, "EX_Plain"); }),
              "5: there is no class 'EX_Plain' in root/test");
    EXPECT_EQ(refusal([this] { repository->getClass("other", "EX_Thing"); }),
              "5: there is no class 'EX_Thing' in other");
}

TEST_F(RepositoryClasses, AnswersThree_ForEveryOperationOnAMissingNamespace) {
    const std::vector<std::function<void()>> operations{
        [this] { repository->getClass("no", "EX_Thing"); },
        [this] { repository->createClass("no", classFrom(plain)); },
        [this] { repository->deleteClass("no", "EX_Thing"); },
        [this] { repository->getQualifier("no", "Unit"); },
        [this] { repository->enumerateQualifiers("no"); },
        [this] { repository->setQualifier("no", qualifierFrom(qualifierXML("Unit", "m"))); },
        [this] { repository->deleteQualifier("no", "Unit"); },
        [this] { repository->enumerateInstances("no", "EX_Thing"); },
        [this] { repository->createInstance("no", *thing("1")); },
    };
    for (const auto& operation : operations) {
        EXPECT_EQ(refusal(operation), "3: there is no namespace 'no'");
    }
}

TEST_F(RepositoryClasses, ResolvesClasses_AndKeepsThemThroughAReopening) {
    const std::string before = classText("EX_Part");
    EXPECT_THAT(before, HasSubstr("\"Caption\""));
    EXPECT_THAT(before, HasSubstr("\"Weight\""));
    reopen();
    EXPECT_EQ(classText("EX_Part"), before);
    EXPECT_EQ(classText("EX_Link"), classText("ex_LINK"));
    EXPECT_TRUE(repository->getClass(space, "EX_Link")->isAssociation);
    EXPECT_TRUE(repository->getClass(space, "EX_Base")->isAbstract);
}

TEST_F(RepositoryClasses, KeepsSubclassesInOrderOfCreation) {
    for (const char* name : {"EX_C", "EX_A", "EX_B"}) {
        repository->createClass(
            space, classFrom(std::string("<CLASS NAME=\"") + name + "\" SUPERCLASS=\"EX_Thing\"></CLASS>"));
    }
    EXPECT_THAT(subClasses("EX_Thing"), ElementsAre("EX_Part", "EX_C", "EX_A", "EX_B"));
    reopen();
    EXPECT_THAT(subClasses("EX_Thing"), ElementsAre("EX_Part", "EX_C", "EX_A", "EX_B"));
}

TEST_F(RepositoryClasses, RefusesClasses_WithTheStatusThatTellsWhy) {
    EXPECT_THAT(creationRefusal(R"(<CLASS NAME="ex_thing"></CLASS>)"), StartsWith("11: "));
    EXPECT_THAT(creationRefusal(R"(<CLASS NAME="A" SUPERCLASS="EX_None"></CLASS>)"), StartsWith("10: "));
    EXPECT_THAT(creationRefusal(R"(<CLASS NAME="A" SUPERCLASS="EX_Thing"><PROPERTY NAME="Id" TYPE="uint8">)"
                                "</PROPERTY></CLASS>"),
                StartsWith("4: "));
    EXPECT_THAT(refusal([this] { repository->getClass(space, "A"); }), StartsWith("5: "));
    reopen();
    EXPECT_THAT(refusal([this] { repository->getClass(space, "A"); }), StartsWith("5: "));
}

TEST_F(RepositoryClasses, DeletesClasses_OnceNothingHangsOnThem) {
    EXPECT_EQ(refusal([this] { repository->deleteClass(space, "EX_None"); }),
              "6: there is no class 'EX_None' in root/test");
    EXPECT_EQ(refusal([this] { repository->deleteClass(space, "ex_thing"); }),
              "8: class EX_Thing has subclasses");
    const auto name = repository->createInstance(space, *object("EX_Part", {{"Id", text("1")}}));
    EXPECT_EQ(refusal([this] { repository->deleteClass(space, "ex_part"); }),
              "9: class EX_Part has instances");
    repository->deleteInstance(*name, space);
    repository->deleteClass(space, "ex_part");
    repository->deleteClass(space, "ex_thing");
    EXPECT_THAT(refusal([this] { repository->getClass(space, "EX_Thing"); }), StartsWith("5: "));
    reopen();
    EXPECT_THAT(refusal([this] { repository->getClass(space, "EX_Thing"); }), StartsWith("5: "));
}

TEST_F(RepositoryClasses, TakesAClassAgain_AfterItsDeletion) {
    repository->deleteClass(space, "EX_Part");
    repository->createClass(space, classFrom(R"(<CLASS NAME="ex_PART" SUPERCLASS="EX_Base"></CLASS>)"));
    EXPECT_EQ(repository->getClass(space, "EX_Part")->declaration.superClass, "EX_Base");
    const auto name = repository->createInstance(space, *object("EX_Part", {{"Id", text("1")}}));
    EXPECT_EQ(name->toString().view(), "root/test:ex_PART.Id=\"1\"");
    reopen();
    EXPECT_FALSE(repository->findInstance(*name, space).IsNull());
}

TEST_F(RepositoryClasses, Opens_ThoughAClassCameLaterThanAnOverrideThatRefersToItAndIsOfAnotherKind) {
    repository->createClass(space, classFrom(narrowedLink));
    repository->createClass(space, classFrom(R"(<CLASS NAME="EX_Later"></CLASS>)"));
    const std::string before = classText("EX_SubLink");
    reopen();
    EXPECT_EQ(classText("EX_SubLink"), before);
    EXPECT_EQ(repository->find(space).classes->size(), 6U);
}

TEST_F(RepositoryClasses, Opens_ThoughAnOlderClassWasPutBelowALaterOneAsWell) {
    repository->import(space, {{},
                               {classFrom(R"(<CLASS NAME="EX_Base" SUPERCLASS="EX_Root"></CLASS>)"),
                                classFrom(R"(<CLASS NAME="EX_Root"></CLASS>)")},
                               {}});
    repository->createClass(space, classFrom(narrowedLink));
    repository->createClass(space, classFrom(R"(<CLASS NAME="EX_Later"></CLASS>)"));
    reopen();
    EXPECT_THAT(subClasses("EX_Root"), ElementsAre("EX_Base"));
    EXPECT_EQ(repository->find(space).classes->size(), 7U);
}

TEST_F(RepositoryClasses, AnswersFromTheClassesOfThatMoment_WhateverComesLater) {
    const auto view = repository->find(space);
    repository->deleteClass(space, "EX_Link");
    EXPECT_TRUE(view.classes->find("EX_Link"));
    EXPECT_FALSE(repository->find(space).classes->find("EX_Link"));
}

TEST_F(RepositoryClasses, KeepsQualifierTypes_AndReplacesThemInTheirPlace) {
    repository->setQualifier(space, qualifierFrom(qualifierXML("Unit", "m")));
    repository->setQualifier(space, qualifierFrom(qualifierXML("Other", "x")));
    repository->setQualifier(space, qualifierFrom(qualifierXML("UNIT", "km")));
    reopen();
    const auto found = repository->getQualifier(space, "unit");
    EXPECT_EQ(found.value->toString().view(), "km");
    EXPECT_EQ(found.scopes, CIMQualifierDeclaration::onClass | CIMQualifierDeclaration::onProperty);
    EXPECT_TRUE(found.flavor.toInstance);
    EXPECT_THAT(qualifierNames(), ElementsAre("UNIT", "Other"));
}

TEST_F(RepositoryClasses, DeletesQualifierTypes) {
    repository->setQualifier(space, qualifierFrom(qualifierXML("Unit", "m")));
    repository->deleteQualifier(space, "UNIT");
    EXPECT_THAT(qualifierNames(), IsEmpty());
    EXPECT_EQ(refusal([this] { repository->deleteQualifier(space, "Unit"); }),
              "6: there is no qualifier type 'Unit' in root/test");
    EXPECT_EQ(refusal([this] { repository->getQualifier(space, "Unit"); }),
              "6: there is no qualifier type 'Unit' in root/test");
}

}  // namespace
