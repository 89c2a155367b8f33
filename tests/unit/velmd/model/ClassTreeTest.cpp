#include "velmd/model/ClassTree.h"

#include "tests/unit/velmd/model/ClassBuilders.h"

#include <algorithm>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> namesOf(const std::vector<ResolvedClassHandle>& classes) {
    std::vector<std::string> names;
    std::transform(classes.begin(), classes.end(), std::back_inserter(names),
                   [](const auto& found) { return found->name(); });
    return names;
}

template <class Element>
std::vector<std::string> namesOf(const std::vector<Element>& elements) {
    std::vector<std::string> names;
    std::transform(elements.begin(), elements.end(), std::back_inserter(names),
                   [](const auto& element) { return element.name; });
    return names;
}

/// Properties as "name of origin, propagated or own".
std::vector<std::string> originsOf(const ResolvedClass& found) {
    std::vector<std::string> texts;
    for (const CIMProperty& property : found.declaration.properties) {
        texts.push_back(property.name + " of " + property.classOrigin +
                        (property.isPropagated ? ", propagated" : ", own"));
    }
    return texts;
}

std::vector<CIMClass> devices() {
    return {makeClass("EX_Disk", "EX_Device", {makeProperty("Size", COrvoType::uint64)}),
            makeClass("EX_Fan", "ex_device"), makeClass("EX_Floppy", "EX_DISK"),
            makeClass("EX_Device", "", {makeKey("DeviceID"), makeProperty("Caption")}),
            makeClass("EX_Person")};
}

TEST(ClassTree, FindsClasses_WhateverTheLetterCase) {
    const auto tree = ClassTree().with(devices());
    EXPECT_EQ(tree->size(), 5U);
    ASSERT_TRUE(tree->find("ex_disk"));
    EXPECT_EQ(tree->find("ex_disk")->name(), "EX_Disk");
    EXPECT_FALSE(tree->find("EX_Dis"));
    EXPECT_FALSE(tree->find(""));
}

TEST(ClassTree, TakesDeclarationsInAnyOrder) {
    auto declared = devices();
    const auto byName = [](const CIMClass& left, const CIMClass& right) { return left.name < right.name; };
    std::sort(declared.begin(), declared.end(), byName);
    do {
        const auto tree = ClassTree().with(declared);
        const auto floppy = tree->find("EX_Floppy");
        EXPECT_THAT(originsOf(*floppy),
                    ElementsAre("DeviceID of EX_Device, propagated", "Caption of EX_Device, propagated",
                                "Size of EX_Disk, propagated"));
        EXPECT_EQ(floppy->superClass, tree->find("EX_Disk"));
    } while (std::next_permutation(declared.begin(), declared.end(), byName));
}

TEST(ClassTree, SpellsTheSuperclassAsItWasDeclared) {
    const auto tree = ClassTree().with(devices());
    EXPECT_EQ(tree->find("EX_Fan")->declaration.superClass, "EX_Device");
    EXPECT_EQ(tree->find("EX_Device")->declaration.superClass, "");
}

TEST(ClassTree, ListsClassesInOrderOfCreation) {
    const auto tree = ClassTree().with(devices())->with({makeClass("EX_Cpu", "EX_Device")});
    EXPECT_THAT(namesOf(tree->subClasses("")), ElementsAre("EX_Device", "EX_Person"));
    EXPECT_THAT(namesOf(tree->subClasses("ex_DEVICE")), ElementsAre("EX_Disk", "EX_Fan", "EX_Cpu"));
    EXPECT_THAT(namesOf(tree->subClasses("EX_Cpu")), IsEmpty());
    EXPECT_THAT(namesOf(tree->subClasses("EX_Nothing")), IsEmpty());
    EXPECT_THAT(namesOf(tree->withDescendants("EX_device")),
                ElementsAre("EX_Device", "EX_Disk", "EX_Floppy", "EX_Fan", "EX_Cpu"));
    EXPECT_THAT(namesOf(tree->withDescendants("")),
                ElementsAre("EX_Device", "EX_Disk", "EX_Floppy", "EX_Fan", "EX_Cpu", "EX_Person"));
    EXPECT_THAT(namesOf(tree->withDescendants("EX_Nothing")), IsEmpty());
    EXPECT_THAT(namesOf(ClassTree().withDescendants("")), IsEmpty());
}

TEST(ClassTree, KnowsWhatAClassIs) {
    const auto floppy = ClassTree().with(devices())->find("EX_Floppy");
    EXPECT_TRUE(floppy->isA("EX_FLOPPY"));
    EXPECT_TRUE(floppy->isA("ex_device"));
    EXPECT_FALSE(floppy->isA("EX_Fan"));
    EXPECT_FALSE(floppy->isA(""));
}

TEST(ClassTree, SharesItsClassesWithTheNextTree) {
    const auto former = ClassTree().with(devices());
    const auto next = former->with({makeClass("EX_Cpu", "EX_Device")});
    EXPECT_FALSE(former->find("EX_Cpu"));
    EXPECT_THAT(namesOf(former->subClasses("EX_Device")), ElementsAre("EX_Disk", "EX_Fan"));
    EXPECT_EQ(next->find("EX_Disk"), former->find("EX_Disk"));
    EXPECT_EQ(next->find("EX_Cpu")->superClass, former->find("EX_Device"));
}

TEST(ClassTree, LosesAClass) {
    const auto former = ClassTree().with(devices());
    const auto next = former->without("ex_floppy");
    EXPECT_FALSE(next->find("EX_Floppy"));
    EXPECT_THAT(namesOf(next->withDescendants("EX_Device")), ElementsAre("EX_Device", "EX_Disk", "EX_Fan"));
    EXPECT_TRUE(former->find("EX_Floppy"));
    EXPECT_EQ(next->size(), 4U);
    const auto again = next->with({makeClass("EX_FLOPPY", "EX_Fan")});
    EXPECT_EQ(again->find("EX_Floppy")->name(), "EX_FLOPPY");
}

TEST(ClassTree, PutsOverridesWhereTheyWereIntroduced) {
    const auto tree = ClassTree().with(
        {makeClass("EX_A", "", {makeProperty("First"), makeProperty("Second"), makeProperty("Third")}),
         makeClass("EX_B", "EX_A", {makeProperty("Fourth"), makeProperty("SECOND")}),
         makeClass("EX_C", "EX_B")});
    EXPECT_THAT(originsOf(*tree->find("EX_B")),
                ElementsAre("First of EX_A, propagated", "SECOND of EX_A, own", "Third of EX_A, propagated",
                            "Fourth of EX_B, own"));
    EXPECT_THAT(originsOf(*tree->find("EX_C")),
                ElementsAre("First of EX_A, propagated", "SECOND of EX_A, propagated",
                            "Third of EX_A, propagated", "Fourth of EX_B, propagated"));
}

TEST(ClassTree, IgnoresWhatADeclarationSaysOfOriginAndPropagation) {
    CIMProperty property = makeProperty("Size");
    property.classOrigin = "EX_Elsewhere";
    property.isPropagated = true;
    const auto tree = ClassTree().with({makeClass("EX_A", "", {property})});
    EXPECT_THAT(originsOf(*tree->find("EX_A")), ElementsAre("Size of EX_A, own"));
}

TEST(ClassTree, InheritsWhatAnOverrideLeavesOpen) {
    CIMProperty general = makeEnd("End", "EX_A", false);
    CIMProperty list = makeProperty("List", COrvoType::arrayOf(COrvoType::string));
    list.arraySize = 7;
    list.embedding = CIMEmbedding::instance;
    CIMProperty number = makeProperty("Number", COrvoType::uint8);
    number.value = makeValue(5U, COrvoType::uint8);
    const auto tree = ClassTree().with(
        {makeClass("EX_A", "", {general, list, number}),
         makeClass("EX_B", "EX_A",
                   {makeEnd("End", "", false), makeProperty("List", COrvoType::arrayOf(COrvoType::string)),
                    makeProperty("Number", COrvoType::uint8)})});
    const CIMClass& found = tree->find("EX_B")->declaration;
    EXPECT_EQ(found.property("end")->referenceClass, "EX_A");
    EXPECT_EQ(found.property("list")->arraySize, 7U);
    EXPECT_EQ(found.property("list")->embedding, CIMEmbedding::instance);
    EXPECT_EQ(found.property("number")->value->getUint32(), 5U);
}

TEST(ClassTree, LetsAReferenceBeOverridden_WithAnyClass) {
    const auto tree = ClassTree().with({makeClass("EX_A"), makeClass("EX_Link", "", {makeEnd("End", "EX_A")}),
                                        makeClass("EX_Narrow", "EX_Link", {makeEnd("End", "EX_Unknown")})});
    EXPECT_EQ(tree->find("EX_Narrow")->declaration.property("End")->referenceClass, "EX_Unknown");
}

TEST(ClassTree, OrdersKeysByName) {
    const auto tree = ClassTree().with(
        {makeClass("EX_A", "",
                   {makeKey("b"), makeProperty("plain"), makeKey("C"), makeKey("a_"), makeKey("aB")}),
         makeClass("EX_B", "EX_A", {makeProperty("own")})});
    for (const char* name : {"EX_A", "EX_B"}) {
        const auto found = tree->find(name);
        std::vector<std::string> keys;
        for (const std::size_t position : found->keys) {
            keys.push_back(found->declaration.properties[position].name);
        }
        EXPECT_THAT(keys, ElementsAre("a_", "aB", "b", "C")) << name;
    }
}

TEST(ClassTree, LetsAPropertyBecomeAKey_WhenThereAreNoKeysAbove) {
    const auto tree = ClassTree().with({makeClass("EX_A", "", {makeProperty("Name")}),
                                        makeClass("EX_B", "EX_A", {makeKey("Name"), makeKey("Other")})});
    EXPECT_THAT(tree->find("EX_A")->keys, IsEmpty());
    EXPECT_THAT(tree->find("EX_B")->keys, ElementsAre(0U, 1U));
}

struct FlavorCase {
    const char* what;
    CIMQualifier qualifier;
    bool isInherited;
    bool isOverridable;
};

void PrintTo(const FlavorCase& rule, std::ostream* stream) {
    *stream << rule.what;
}

CIMFlavor flavor(bool toSubclass, bool isOverridable) {
    CIMFlavor result;
    result.toSubclass = toSubclass;
    result.isOverridable = isOverridable;
    return result;
}

class Flavors : public testing::TestWithParam<FlavorCase> {
protected:
    /// A class with the qualifier, and one below it that has it with FALSE, or not at all.
    static std::shared_ptr<const ClassTree> tree(bool overrides) {
        std::vector<CIMQualifier> own;
        if (overrides) {
            own.push_back(makeQualifier(GetParam().qualifier.name, makeValue(false)));
        }
        return ClassTree().with(
            {makeClass("EX_A", "",
                       {makeProperty("P", COrvoType::string, {GetParam().qualifier}),
                        makeProperty("Untouched", COrvoType::string, {GetParam().qualifier})},
                       {GetParam().qualifier}),
             makeClass("EX_B", "EX_A", {makeProperty("P", COrvoType::string, own)}, own),
             makeClass("EX_C", "EX_B")});
    }
};

TEST_P(Flavors, DecideWhatIsInherited) {
    const auto found = tree(false);
    for (const char* name : {"EX_B", "EX_C"}) {
        const CIMClass& declaration = found->find(name)->declaration;
        for (const auto& qualifiers : {declaration.qualifiers, declaration.property("P")->qualifiers,
                                       declaration.property("Untouched")->qualifiers}) {
            const CIMQualifier* inherited = findQualifier(qualifiers, GetParam().qualifier.name);
            ASSERT_EQ(inherited != nullptr, GetParam().isInherited) << name;
            if (inherited) {
                EXPECT_TRUE(inherited->isPropagated);
                EXPECT_EQ(inherited->flavor, GetParam().qualifier.flavor);
            }
        }
    }
}

TEST_P(Flavors, DecideWhatIsOverridden) {
    if (!GetParam().isOverridable) {
        const auto refusal = refusalOf([] { tree(true); });
        EXPECT_EQ(refusal.status, 4);
        EXPECT_THAT(refusal.text, HasSubstr("EX_B"));
        EXPECT_THAT(refusal.text, HasSubstr(GetParam().qualifier.name));
        return;
    }
    const auto found = tree(true)->find("EX_B");
    const CIMQualifier* own = findQualifier(found->declaration.qualifiers, GetParam().qualifier.name);
    ASSERT_TRUE(own);
    EXPECT_FALSE(own->isPropagated);
    EXPECT_FALSE(own->value->getBoolean());
}

INSTANTIATE_TEST_SUITE_P(
    ClassTree, Flavors,
    testing::Values(
        FlavorCase{"Default", makeQualifier("Q"), true, true},
        FlavorCase{"Restricted", makeQualifier("Q", makeValue(true), flavor(false, true)), false, true},
        FlavorCase{"RestrictedAndClosed", makeQualifier("Q", makeValue(true), flavor(false, false)), false,
                   true},
        FlavorCase{"Closed", makeQualifier("Q", makeValue(true), flavor(true, false)), true, false},
        FlavorCase{"AbstractOfDefaultFlavor", makeQualifier("Abstract"), false, true},
        FlavorCase{"AbstractClosedByMistake", makeQualifier("ABSTRACT", makeValue(true), flavor(true, false)),
                   false, true},
        FlavorCase{"AssociationOfDefaultFlavor", makeQualifier("association"), true, false},
        FlavorCase{"IndicationOfDefaultFlavor", makeQualifier("Indication"), true, false},
        FlavorCase{"IndicationRestrictedByMistake",
                   makeQualifier("Indication", makeValue(true), flavor(false, true)), true, false},
        FlavorCase{"KeyOfDefaultFlavor", makeQualifier("Key"), true, false}),
    [](const auto& tested) { return std::string(tested.param.what); });

TEST(ClassTree, LetsAClosedQualifierBeRepeated) {
    const auto tree = ClassTree().with(
        {makeClass("EX_A", "", {makeEnd("End", "EX_X")}, {makeQualifier("Association")}),
         makeClass("EX_B", "EX_A", {makeEnd("End", "EX_X")}, {makeQualifier("ASSOCIATION")})});
    const auto found = tree->find("EX_B");
    EXPECT_TRUE(found->isAssociation);
    EXPECT_THAT(namesOf(found->declaration.qualifiers), ElementsAre("ASSOCIATION"));
    EXPECT_FALSE(found->declaration.qualifiers.front().isPropagated);
    EXPECT_THAT(found->keys, ElementsAre(0U));
}

TEST(ClassTree, KnowsAssociationsIndicationsAndAbstractClasses) {
    const auto tree = ClassTree().with(
        {makeClass("EX_Link", "", {}, {makeQualifier("Association"), makeQualifier("Abstract")}),
         makeClass("EX_Event", "", {}, {makeQualifier("Indication")}), makeClass("EX_Below", "EX_Link"),
         makeClass("EX_EventBelow", "EX_Event"),
         makeClass(
             "EX_Plain", "", {},
             {makeQualifier("Association", makeValue(false)), makeQualifier("Abstract", makeValue("TRUE")),
              makeQualifier("Indication", COrvoValue::null(COrvoType::boolean))})});
    const auto link = tree->find("EX_Link");
    EXPECT_TRUE(link->isAssociation && link->isAbstract && !link->isIndication);
    const auto below = tree->find("EX_Below");
    EXPECT_TRUE(below->isAssociation && !below->isAbstract);
    EXPECT_TRUE(tree->find("EX_EventBelow")->isIndication);
    const auto plain = tree->find("EX_Plain");
    EXPECT_FALSE(plain->isAssociation || plain->isAbstract || plain->isIndication);
}

CIMMethod makeMethod(const std::string& name, const Type& type, std::vector<CIMQualifier> qualifiers,
                     std::vector<CIMParameter> parameters) {
    return {name, type, "", false, std::move(qualifiers), std::move(parameters)};
}

CIMParameter makeParameter(const std::string& name, std::vector<CIMQualifier> qualifiers = {}) {
    CIMParameter parameter;
    parameter.name = name;
    parameter.type = COrvoType::string;
    parameter.qualifiers = std::move(qualifiers);
    return parameter;
}

TEST(ClassTree, InheritsMethods) {
    const CIMQualifier restricted = makeQualifier("Once", makeValue(true), flavor(false, true));
    CIMClass top = makeClass("EX_A");
    top.methods = {makeMethod("Start", COrvoType::uint32, {makeQualifier("Slow"), restricted},
                              {makeParameter("When", {makeQualifier("In"), restricted})}),
                   makeMethod("Stop", nullptr, {}, {})};
    CIMClass middle = makeClass("EX_B", "EX_A");
    middle.methods = {
        makeMethod("START", COrvoType::uint32, {}, {makeParameter("WHEN"), makeParameter("How")})};
    const auto tree = ClassTree().with({top, middle, makeClass("EX_C", "EX_B"), makeClass("EX_D", "EX_A")});

    const CIMClass& found = tree->find("EX_B")->declaration;
    EXPECT_THAT(namesOf(found.methods), ElementsAre("START", "Stop"));
    const CIMMethod& start = *found.method("start");
    EXPECT_EQ(start.classOrigin, "EX_A");
    EXPECT_FALSE(start.isPropagated);
    EXPECT_THAT(namesOf(start.qualifiers), ElementsAre("Slow"));
    EXPECT_THAT(namesOf(start.parameters), ElementsAre("WHEN", "How"));
    EXPECT_THAT(namesOf(start.parameters.front().qualifiers), ElementsAre("In"));
    EXPECT_TRUE(found.method("Stop")->isPropagated);

    for (const char* name : {"EX_C", "EX_D"}) {
        const CIMMethod& inherited = *tree->find(name)->declaration.method("Start");
        EXPECT_TRUE(inherited.isPropagated);
        EXPECT_THAT(namesOf(inherited.qualifiers), ElementsAre("Slow"));
        EXPECT_THAT(namesOf(inherited.parameters.front().qualifiers), ElementsAre("In"));
    }
}

struct RefusalCase {
    const char* what;
    std::vector<CIMClass> declared;
    int status;
    const char* text;
};

void PrintTo(const RefusalCase& rule, std::ostream* stream) {
    *stream << rule.what;
}

CIMClass withMethods(CIMClass declaration, std::vector<CIMMethod> methods) {
    declaration.methods = std::move(methods);
    return declaration;
}

CIMProperty embedding(CIMProperty property) {
    property.embedding = CIMEmbedding::instance;
    return property;
}

class Refusals : public testing::TestWithParam<RefusalCase> {};

TEST_P(Refusals, NameTheClass) {
    const auto tree = ClassTree().with(
        {makeClass("EX_There", "", {makeKey("Name"), makeProperty("Size", COrvoType::uint64)})});
    const auto refusal = refusalOf([&] { static_cast<void>(tree->with(GetParam().declared)); });
    EXPECT_EQ(refusal.status, GetParam().status);
    EXPECT_THAT(refusal.text, HasSubstr(GetParam().text));
    EXPECT_EQ(tree->size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    ClassTree, Refusals,
    testing::Values(
        RefusalCase{"MissingSuperclass", {makeClass("EX_B", "EX_None")}, 10, "EX_None"},
        RefusalCase{"OwnSuperclass", {makeClass("EX_B", "EX_B")}, 10, "EX_B"},
        RefusalCase{"Circle", {makeClass("EX_B", "EX_C"), makeClass("EX_C", "EX_B")}, 10, "circle"},
        RefusalCase{"ThereAlready", {makeClass("ex_THERE")}, 11, "ex_THERE"},
        RefusalCase{"DeclaredTwice", {makeClass("EX_B"), makeClass("ex_b")}, 11, "ex_b"},
        RefusalCase{"NoName", {makeClass("")}, 4, "''"},
        RefusalCase{"NameWithADot", {makeClass("EX.B")}, 4, "EX.B"},
        RefusalCase{"PropertyWithoutName", {makeClass("EX_B", "", {makeProperty("")})}, 4, "EX_B"},
        RefusalCase{
            "PropertyTwice", {makeClass("EX_B", "", {makeProperty("p"), makeProperty("P")})}, 4, "EX_B"},
        RefusalCase{"MethodTwice",
                    {withMethods(makeClass("EX_B"),
                                 {makeMethod("m", nullptr, {}, {}), makeMethod("M", nullptr, {}, {})})},
                    4,
                    "EX_B: the method M is there twice"},
        RefusalCase{"ParameterTwice",
                    {withMethods(makeClass("EX_B"),
                                 {makeMethod("m", nullptr, {}, {makeParameter("p"), makeParameter("P")})})},
                    4,
                    "EX_B.m: the parameter P is there twice"},
        RefusalCase{"QualifierTwice",
                    {makeClass("EX_B", "", {}, {makeQualifier("q"), makeQualifier("Q")})},
                    4,
                    "EX_B: the qualifier Q is there twice"},
        RefusalCase{"OtherType",
                    {makeClass("EX_B", "EX_There", {makeProperty("Size", COrvoType::uint32)})},
                    4,
                    "EX_B.Size"},
        RefusalCase{
            "ArrayForScalar",
            {makeClass("EX_B", "EX_There", {makeProperty("Size", COrvoType::arrayOf(COrvoType::uint64))})},
            4,
            "EX_B.Size"},
        RefusalCase{"OtherReturnType",
                    {withMethods(makeClass("EX_B"), {makeMethod("m", COrvoType::uint32, {}, {})}),
                     withMethods(makeClass("EX_C", "EX_B"), {makeMethod("m", nullptr, {}, {})})},
                    4,
                    "EX_C.m"},
        RefusalCase{"NewKeyBelowKeys", {makeClass("EX_B", "EX_There", {makeKey("Other")})}, 4, "EX_B.Other"},
        RefusalCase{"PropertyTurnedKeyBelowKeys",
                    {makeClass("EX_B", "EX_There", {makeKey("Size", COrvoType::uint64)})},
                    4,
                    "EX_B.Size"},
        RefusalCase{"ArrayAsKey",
                    {makeClass("EX_B", "", {makeKey("k", COrvoType::arrayOf(COrvoType::string))})},
                    4,
                    "EX_B.k"},
        RefusalCase{"EmbeddedKey", {makeClass("EX_B", "", {embedding(makeKey("k"))})}, 4, "EX_B.k"}),
    [](const auto& tested) { return std::string(tested.param.what); });

std::vector<CIMClass> lineage(std::size_t depth) {
    std::vector<CIMClass> classes;
    for (std::size_t level = depth; level > 0; --level) {
        classes.push_back(
            makeClass("EX_" + std::to_string(level), level == 1 ? "" : "EX_" + std::to_string(level - 1)));
    }
    return classes;
}

TEST(ClassTree, ReachesDownToItsGreatestDepth) {
    const auto tree = ClassTree().with(lineage(ClassTree::maxDepth));
    EXPECT_EQ(tree->withDescendants("EX_1").size(), ClassTree::maxDepth);
    const auto refusal =
        refusalOf([&] { static_cast<void>(tree->with({makeClass("EX_Deeper", "EX_100")})); });
    EXPECT_EQ(refusal.status, 10);
    EXPECT_THAT(refusal.text, HasSubstr("EX_Deeper"));
}

TEST(ClassTree, RefusesDeeperClasses_WhateverTheirOrder) {
    auto classes = lineage(ClassTree::maxDepth + 1);
    EXPECT_EQ(refusalOf([&] { static_cast<void>(ClassTree().with(classes)); }).status, 10);
    std::reverse(classes.begin(), classes.end());
    EXPECT_EQ(refusalOf([&] { static_cast<void>(ClassTree().with(classes)); }).status, 10);
}

}  // namespace
