#include "foundation/object_model/COrvoRepository.h"

#include "foundation/services/CIMOMException.h"
#include "tests/support/SharedFolder.h"
#include "tests/unit/server/object_model/ModelSupport.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using velm::test::messageOf;
using velm::test::str;

const char* const nameSpace = "root/test";

/// A document with the class elements `classes`, which start on line 2.
ORVString schema(const std::string& classes) {
    return std::string_view("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP>\n" +
                            classes + "\n</DECLGROUP></DECLARATION></CIM>");
}

std::string declared(const std::string& name, const std::string& superClass = {},
                     const std::string& inside = {}) {
    std::string attribute = superClass.empty() ? "" : " SUPERCLASS=\"" + superClass + "\"";
    return "<VALUE.OBJECT><CLASS NAME=\"" + name + "\"" + attribute + ">" + inside +
           "</CLASS></VALUE.OBJECT>\n";
}

const std::string associationMark =
    "<QUALIFIER NAME=\"association\" TYPE=\"boolean\"><VALUE> true </VALUE></QUALIFIER>";

class Repository : public testing::Test {
protected:
    std::unique_ptr<COrvoRepository> repository = std::make_unique<COrvoRepository>();

    void load(const std::string& classes, const char* file = "test.xml") {
        repository->loadText(schema(classes), file, nameSpace);
    }

    std::string refusal(const ORVString& text, const char* file = "test.xml") {
        return messageOf<CIMOMException>([&] { repository->loadText(text, file, nameSpace); });
    }

    std::string linkRefusal() {
        return messageOf<CIMOMException>([this] { repository->link(); });
    }

    ORVSmrPtr<IOrvoClass> get(const char* name) { return repository->getClass(nameSpace, name); }

    std::vector<std::string> enumerated(const char* space = nameSpace) {
        auto classes = repository->enumerateClasses(space);
        std::vector<std::string> result;
        for (const auto& found : *classes) {
            result.push_back(str(found->getName()));
        }
        return result;
    }

    static std::vector<std::string> subclasses(const ORVSmrPtr<IOrvoClass>& parent) {
        std::vector<std::string> result;
        if (auto list = parent->getSubClasses(); !list.IsNull()) {
            for (const auto& child : *list) {
                result.push_back(str(child->getName()));
            }
        }
        return result;
    }
};

TEST_F(Repository, TiesClassesTogether_WhateverTheirOrder) {
    load(declared("C", "B") + declared("B", "A") + declared("A") + declared("D", "A") + declared("E"));
    EXPECT_THAT(enumerated(), ElementsAre("C", "B", "A", "D", "E"));
    EXPECT_TRUE(get("A")->getSuperClass().IsNull());
    EXPECT_EQ(get("C")->getSuperClass(), get("B"));
    EXPECT_THAT(subclasses(get("A")), ElementsAre("B", "D"));
    EXPECT_TRUE(get("E")->getSubClasses().IsNull());
    EXPECT_TRUE(get("C")->getSubClasses().IsNull());
}

TEST_F(Repository, FindsClasses_LetterCaseIgnored_AndKeepsTheirSpelling) {
    load(declared("CIM_Thing") + declared("CIM_Other", "cim_THING"));
    EXPECT_EQ(str(get("cim_thing")->getName()), "CIM_Thing");
    EXPECT_EQ(get("CIM_OTHER")->getSuperClass(), get("CIM_Thing"));
    EXPECT_TRUE(get("CIM_Thin").IsNull());
    EXPECT_TRUE(get("").IsNull());
    EXPECT_TRUE(get(nullptr).IsNull());
}

TEST_F(Repository, KeepsNamespacesApart) {
    load(declared("A"));
    repository->loadText(schema(declared("B")), "b.xml", "/ROOT/other/");
    EXPECT_THAT(enumerated(), ElementsAre("A"));
    EXPECT_THAT(enumerated("root/other"), ElementsAre("B"));
    EXPECT_THAT(enumerated("root/none"), IsEmpty());
    EXPECT_TRUE(repository->getClass("root/other", "A").IsNull());
    EXPECT_TRUE(repository->getClass("root/none", "A").IsNull());
}

TEST_F(Repository, AnswersNothing_WhenEmpty) {
    EXPECT_THAT(enumerated(), IsEmpty());
    load("");
    EXPECT_THAT(enumerated(), IsEmpty());
}

TEST_F(Repository, GivesTheCallerAListOfItsOwn) {
    load(declared("A"));
    repository->enumerateClasses(nameSpace)->clear();
    EXPECT_THAT(enumerated(), ElementsAre("A"));
}

TEST_F(Repository, TakesSuperclassesFromLaterFiles) {
    load(declared("B", "A"), "b.xml");
    load(declared("A"), "a.xml");
    EXPECT_EQ(get("B")->getSuperClass(), get("A"));
}

TEST_F(Repository, TakesMoreFiles_AfterLinking) {
    load(declared("A") + declared("B", "A"));
    EXPECT_THAT(subclasses(get("A")), ElementsAre("B"));
    load(declared("C", "A"), "more.xml");
    EXPECT_THAT(subclasses(get("A")), ElementsAre("B", "C"));
}

TEST_F(Repository, KnowsAssociations_AndWhatInheritsFromThem) {
    load(declared("Sub", "Link") + declared("Link", "", associationMark) + declared("Plain"));
    EXPECT_TRUE(get("Link")->isAssociation());
    EXPECT_TRUE(get("Sub")->isAssociation());
    EXPECT_FALSE(get("Plain")->isAssociation());
}

TEST_F(Repository, IsNoAssociation_WhenOnlyAPropertyOrAFalseQualifierSaysSo) {
    load(declared("P", "", "<PROPERTY NAME=\"p\" TYPE=\"string\">" + associationMark + "</PROPERTY>") +
         declared("F", "",
                  "<QUALIFIER NAME=\"Association\" TYPE=\"boolean\"><VALUE>FALSE</VALUE></QUALIFIER>"
                  "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>"));
    EXPECT_FALSE(get("P")->isAssociation());
    EXPECT_FALSE(get("F")->isAssociation());
}

TEST_F(Repository, ReadsPastEverythingElseThatADeclarationMayHold) {
    const std::string qualifier =
        "<QUALIFIER NAME=\"Values\" TYPE=\"string\" "
        "TRANSLATABLE=\"true\"><VALUE.ARRAY><VALUE>a</VALUE><VALUE.NULL/>"
        "</VALUE.ARRAY></QUALIFIER>";
    const std::string inside =
        qualifier + "<PROPERTY NAME=\"p\" TYPE=\"uint8\" CLASSORIGIN=\"A\">" + qualifier +
        "<VALUE>1</VALUE></PROPERTY><PROPERTY.ARRAY NAME=\"q\" TYPE=\"string\" ARRAYSIZE=\"2\"><VALUE.ARRAY>"
        "<VALUE>CLASS</VALUE></VALUE.ARRAY></PROPERTY.ARRAY><PROPERTY.REFERENCE NAME=\"r\" "
        "REFERENCECLASS=\"A\">"
        "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"A\"><KEYBINDING "
        "NAME=\"k\"><KEYVALUE>1</KEYVALUE></KEYBINDING>"
        "</INSTANCENAME></VALUE.REFERENCE></PROPERTY.REFERENCE><METHOD NAME=\"m\" TYPE=\"uint32\">" +
        qualifier + "<PARAMETER NAME=\"x\" TYPE=\"string\"/><PARAMETER.REFARRAY NAME=\"y\"/></METHOD>";
    const std::string path =
        "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>";
    const std::string text =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><!-- x --><CIM CIMVERSION=\"2.0\" "
        "DTDVERSION=\"2.0\"><DECLARATION>"
        "<DECLGROUP>" +
        path +
        "<QUALIFIER.DECLARATION NAME=\"Key\" TYPE=\"boolean\"><SCOPE PROPERTY=\"true\"/><VALUE>FALSE</VALUE>"
        "</QUALIFIER.DECLARATION>" +
        declared("A", "", inside) +
        "<VALUE.OBJECT><INSTANCE CLASSNAME=\"A\"><PROPERTY NAME=\"p\" "
        "TYPE=\"uint8\"/></INSTANCE></VALUE.OBJECT>"
        "</DECLGROUP><DECLGROUP.WITHNAME><NAMESPACEPATH><HOST>h</HOST>" +
        path +
        "</NAMESPACEPATH><VALUE.NAMEDOBJECT><CLASS NAME=\"B\" SUPERCLASS=\"A\"/></VALUE.NAMEDOBJECT>"
        "<VALUE.NAMEDOBJECT><INSTANCENAME CLASSNAME=\"A\"/><INSTANCE CLASSNAME=\"A\"/></VALUE.NAMEDOBJECT>"
        "</DECLGROUP.WITHNAME><DECLGROUP.WITHPATH><VALUE.OBJECTWITHLOCALPATH><LOCALCLASSPATH>" +
        path +
        "<CLASSNAME NAME=\"C\"/></LOCALCLASSPATH><CLASS NAME=\"C\" "
        "SUPERCLASS=\"\"/></VALUE.OBJECTWITHLOCALPATH>"
        "</DECLGROUP.WITHPATH></DECLARATION></CIM>";
    repository->loadText(std::string_view(text), "all.xml", nameSpace);
    EXPECT_THAT(enumerated(), ElementsAre("A", "B", "C"));
    EXPECT_TRUE(get("C")->getSuperClass().IsNull());
}

TEST_F(Repository, ReadsAClassThatStandsInTheGroupItself) {
    load("<CLASS NAME=\"A\"/>");
    EXPECT_THAT(enumerated(), ElementsAre("A"));
}

TEST_F(Repository, NamesFileLineAndClass_WhenNotWellFormed) {
    EXPECT_THAT(refusal(schema(declared("A") + declared("B", "A", "<PROPERTY NAME=\"p\"></METHOD>"))),
                StartsWith("test.xml: class B: line 3, column "));
    EXPECT_THAT(refusal("<CIM><DECLARATION"), StartsWith("test.xml: line 1, column "));
    EXPECT_THAT(refusal(""), StartsWith("test.xml: line "));
    EXPECT_THAT(enumerated(), IsEmpty());
}

TEST_F(Repository, FailsWithStatusOne) {
    try {
        repository->loadText("", "test.xml", nameSpace);
        FAIL() << "an empty document was read";
    } catch (const CIMOMException& error) {
        EXPECT_EQ(error.getCode(), 1);
        EXPECT_EQ(str(error.getWho()), "COrvoRepository");
    }
}

TEST_F(Repository, RefusesWhatIsNoDeclaration) {
    EXPECT_THAT(refusal("<html/>"), HasSubstr("element html has no place at the root"));
    EXPECT_THAT(
        refusal(
            "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"/></CIM>"),
        HasSubstr("element MESSAGE has no place in CIM"));
    EXPECT_THAT(refusal(schema("<INSTANCE CLASSNAME=\"A\"/>")),
                HasSubstr("element INSTANCE has no place in DECLGROUP"));
    EXPECT_THAT(refusal(schema("<VALUE.OBJECT><CLASS SUPERCLASS=\"A\"/></VALUE.OBJECT>")),
                HasSubstr("line 2, column 38: a class has no name"));
    EXPECT_THAT(refusal(schema("<VALUE.OBJECT><CLASS NAME=\"\"/></VALUE.OBJECT>")),
                HasSubstr("a class has no name"));
}

TEST_F(Repository, RefusesDoctypesAndEntities) {
    const std::string document = str(schema(declared("A", "", "&e;")));
    for (const char* doctype :
         {"<!DOCTYPE CIM>", "<!DOCTYPE CIM SYSTEM \"CIM_DTD_V20.dtd\">",
          "<!DOCTYPE CIM [<!ENTITY e SYSTEM \"/etc/passwd\">]>",
          "<!DOCTYPE CIM [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;&a;\"><!ENTITY e \"&b;&b;&b;\">]>"}) {
        EXPECT_THAT(refusal(std::string_view(doctype + document)),
                    HasSubstr("document type declarations are not accepted"));
    }
    EXPECT_THAT(refusal(std::string_view(document)), StartsWith("test.xml: class A: line 2, column "));
    EXPECT_THAT(enumerated(), IsEmpty());
}

TEST_F(Repository, RefusesDeepDocuments) {
    std::string inside;
    for (int level = 0; level < 100000; ++level) {
        inside += "<PROPERTY>";
    }
    EXPECT_THAT(refusal(schema(declared("A", "", inside))),
                testing::MatchesRegex("test.xml: class A: line 2.*deeper.*"));
}

TEST_F(Repository, RefusesDuplicates_AndAddsNothingOfTheFile) {
    EXPECT_EQ(refusal(schema(declared("A") + declared("B") + declared("a"))),
              "test.xml: class a: line 4: the class is declared already in test.xml, line 2");
    EXPECT_THAT(enumerated(), IsEmpty());
    load(declared("A"), "first.xml");
    EXPECT_EQ(refusal(schema(declared("C") + declared("A")), "second.xml"),
              "second.xml: class A: line 3: the class is declared already in first.xml, line 2");
    EXPECT_THAT(enumerated(), ElementsAre("A"));
    EXPECT_TRUE(get("C").IsNull());
    load(declared("B") + declared("C", "B"), "third.xml");
    EXPECT_THAT(enumerated(), ElementsAre("A", "B", "C"));
}

TEST_F(Repository, RefusesMissingSuperclasses) {
    load(declared("A") + declared("B", "Nowhere"));
    const std::string expected = "test.xml: class B: line 3: the superclass Nowhere is not declared";
    EXPECT_EQ(linkRefusal(), expected);
    EXPECT_EQ(messageOf<CIMOMException>([this] { repository->enumerateClasses(nameSpace); }), expected);
    EXPECT_EQ(messageOf<CIMOMException>([this] { get("A"); }), expected);
    load(declared("Nowhere"), "late.xml");
    EXPECT_EQ(get("B")->getSuperClass(), get("Nowhere"));
}

TEST_F(Repository, RefusesCircles) {
    load(declared("Root") + declared("X", "A") + declared("A", "B") + declared("B", "C") +
         declared("C", "A"));
    EXPECT_EQ(linkRefusal(), "test.xml: class A: line 4: the class inherits from itself through B");
}

TEST_F(Repository, RefusesAClassThatIsItsOwnSuperclass) {
    load(declared("A", "a"));
    EXPECT_EQ(linkRefusal(), "test.xml: class A: line 2: the class inherits from itself through a");
}

TEST_F(Repository, LinksLongChains) {
    constexpr int length = 20000;
    std::string classes;
    for (int number = length; number > 0; --number) {
        classes += declared("C" + std::to_string(number), "C" + std::to_string(number - 1));
    }
    load(classes + declared("C0", "", associationMark));
    EXPECT_TRUE(get("C20000")->isAssociation());
    repository.reset();
}

TEST_F(Repository, NamesTheFile_WhenItCannotBeRead) {
    EXPECT_THAT(
        messageOf<CIMOMException>([this] { repository->loadFile("/nonexistent/schema.xml", nameSpace); }),
        StartsWith("/nonexistent/schema.xml: cannot open"));
    EXPECT_THAT(
        messageOf<CIMOMException>([this] { repository->loadFile(ORVString(testing::TempDir()), nameSpace); }),
        StartsWith(testing::TempDir() + ": cannot read"));
}

TEST_F(Repository, ReadsFiles) {
    std::string path = testing::TempDir() + "COrvoRepositoryTest.xml";
    std::ofstream(path) << schema(declared("A"));
    repository->loadFile(ORVString(path), nameSpace);
    EXPECT_THAT(enumerated(), ElementsAre("A"));
    EXPECT_THAT(messageOf<CIMOMException>([&] { repository->loadFile(ORVString(path), nameSpace); }),
                StartsWith(path + ": class A: line 2: "));
}

TEST_F(Repository, LeavesClassesUsable_WhenItIsGone) {
    load(declared("A", "", associationMark) + declared("B", "A") + declared("C", "B"));
    auto middle = get("B");
    auto list = get("A")->getSubClasses();
    repository.reset();
    EXPECT_EQ(str(middle->getName()), "B");
    EXPECT_TRUE(middle->isAssociation());
    EXPECT_TRUE(middle->getSuperClass().IsNull());
    EXPECT_TRUE(middle->getSubClasses().IsNull());
    EXPECT_EQ(list->at(0), middle);
}

TEST_F(Repository, MayGo_WhileOtherThreadsWalkItsClasses) {
    load(declared("A") + declared("B", "A") + declared("C", "B"));
    auto leaf = get("C");
    std::atomic<bool> isGone = false;
    std::atomic<unsigned int> walks = 0;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&leaf, &isGone, &walks] {
            while (!isGone) {
                for (auto current = leaf; !current.IsNull(); current = current->getSuperClass()) {
                    EXPECT_FALSE(current->getName().isNull());
                    current->getSubClasses();
                }
                ++walks;
            }
        });
    }
    while (walks < 100) {
        std::this_thread::yield();
    }
    repository.reset();
    isGone = true;
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(leaf->getSuperClass().IsNull());
}

TEST_F(Repository, LinksOnce_WhenManyThreadsAskFirst) {
    load(declared("A") + declared("B", "A"));
    std::vector<unsigned int> counts(8);
    std::vector<std::thread> threads;
    threads.reserve(counts.size());
    for (auto& count : counts) {
        threads.emplace_back([this, &count] {
            count = repository->enumerateClasses(nameSpace)->entries() +
                    repository->getClass(nameSpace, "a")->getSubClasses()->entries();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(counts, testing::Each(3U));
}

/// A schema of real size, which is not part of this tree.
class RealSchemaFile : public Repository {
protected:
    void SetUp() override {
        VELM_SKIP_WITHOUT(velm::test::realSchema());
        repository->loadFile(ORVString(velm::test::realSchema().native()), nameSpace);
    }

    static unsigned int depthOf(ORVSmrPtr<IOrvoClass> current) {
        unsigned int depth = 0;
        for (; !current.IsNull(); current = current->getSuperClass()) {
            ++depth;
        }
        return depth;
    }
};

TEST_F(RealSchemaFile, LoadsWhole) {
    unsigned int roots = 0;
    unsigned int associations = 0;
    unsigned int deepest = 0;
    unsigned int children = 0;
    auto classes = repository->enumerateClasses(nameSpace);
    for (const auto& found : *classes) {
        roots += found->getSuperClass().IsNull() ? 1 : 0;
        associations += found->isAssociation() ? 1 : 0;
        deepest = std::max(deepest, depthOf(found));
        children += found->getSubClasses().IsNull() ? 0 : found->getSubClasses()->entries();
    }
    EXPECT_EQ(classes->entries(), 1631U);
    EXPECT_EQ(roots, 111U);
    EXPECT_EQ(associations, 643U);
    EXPECT_EQ(deepest, 10U);
    EXPECT_EQ(children, 1631U - 111U);
}

TEST_F(RealSchemaFile, AgreesWithTheTableOfClasses) {
    std::ifstream table(velm::test::sharedFile("cim_classes.tsv"));
    unsigned int rows = 0;
    for (std::string name, superClass, association;
         std::getline(table, name, '\t') && std::getline(table, superClass, '\t') &&
         std::getline(table, association);
         ++rows) {
        auto found = get(name.c_str());
        ASSERT_FALSE(found.IsNull()) << name;
        EXPECT_EQ(found->isAssociation(), association == "1") << name;
        auto parent = found->getSuperClass();
        EXPECT_EQ(parent.IsNull() ? "" : str(parent->getName()), superClass) << name;
    }
    EXPECT_EQ(rows, 1631U);
}

}  // namespace
