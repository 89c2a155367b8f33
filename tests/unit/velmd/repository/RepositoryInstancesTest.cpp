// Instances, what is reported of them, and associations.

#include "tests/unit/velmd/repository/RepositorySupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class Instances : public RepositoryTest {
protected:
    Name create(const Object& instance) { return repository->createInstance(space, *instance); }

    Object find(const Name& name) { return repository->findInstance(*name, space); }

    void modify(const Name& name, const Object& instance,
                const std::optional<std::vector<std::string>>& properties = std::nullopt) {
        repository->modifyInstance(*name, *instance, properties, space);
    }

    std::string creationRefusal(const Object& instance) {
        return refusal([&] { create(instance); });
    }

    std::string modificationRefusal(
        const Name& name, const Object& instance,
        const std::optional<std::vector<std::string>>& properties = std::nullopt) {
        return refusal([&] { modify(name, instance, properties); });
    }

    Object link(const Name& antecedent, const Name& dependent) {
        return object("EX_Link",
                      {{"Antecedent", reference(antecedent)}, {"Dependent", reference(dependent)}});
    }

    std::vector<std::string> referenceNames(const Name& name) {
        std::vector<std::string> names;
        for (const Object& found : repository->references(*name)) {
            names.emplace_back(nameOf(found)->toString().view());
        }
        return names;
    }
};

TEST_F(Instances, AreKeptWithDefaultsAndNulls_InTheRepositorysSpelling) {
    const auto name = create(object("ex_THING", {{"ID", text("one")}, {"tags", strings({"a", "b, c"})}}));
    EXPECT_EQ(name->toString().view(), "root/test:EX_Thing.Id=\"one\"");
    for (const bool again : {false, true}) {
        if (again) {
            reopen();
        }
        const auto found = find(name);
        ASSERT_FALSE(found.IsNull());
        EXPECT_EQ(found->getClassName().view(), "EX_Thing");
        EXPECT_EQ(nameOf(found)->toString().view(), name->toString().view());
        EXPECT_EQ(found->getProperty(0U)->getName().view(), "Id");
        EXPECT_EQ(valueOf(found, "Id"), "one");
        EXPECT_EQ(valueOf(found, "Caption"), "none");
        EXPECT_EQ(valueOf(found, "Size"), "NULL");
        EXPECT_EQ(found->getProperty(ORVString("Size"))->getValue()->getType()->getName().view(), "uint32");
        EXPECT_EQ(found->getProperty(ORVString("Tags"))->getValue()->getElements()->entries(), 2U);
    }
}

TEST_F(Instances, KeepANullThatWasGiven_InPlaceOfTheDefault) {
    const auto name =
        create(object("EX_Thing", {{"Id", text("1")}, {"Caption", COrvoValue::null(COrvoType::string)}}));
    EXPECT_EQ(valueOf(find(name), "Caption"), "NULL");
}

TEST_F(Instances, TakeInheritedKeysAndProperties) {
    const auto name = create(object("EX_Part", {{"Id", text("p")}, {"Size", uint32(7)}}));
    EXPECT_EQ(name->toString().view(), "root/test:EX_Part.Id=\"p\"");
    EXPECT_EQ(valueOf(find(name), "Size"), "7");
    EXPECT_EQ(valueOf(find(name), "Weight"), "NULL");
}

TEST_F(Instances, KeepEveryCharacter) {
    const char* odd = " <a href=\"x\">&amp;\t\n\r'\xC3\xA9\xF0\x9F\x98\x80\\ ";
    const auto name = create(object("EX_Thing", {{"Id", text(odd)}, {"Caption", text(odd)}}));
    reopen();
    const auto found = find(name);
    ASSERT_FALSE(found.IsNull());
    EXPECT_EQ(valueOf(found, "Id"), odd);
    EXPECT_EQ(valueOf(found, "Caption"), odd);
    EXPECT_EQ(nameOf(found)->toString().view(), name->toString().view());
}

TEST_F(Instances, AreFoundUnderAnySpellingOfTheirName_AndUnderNoOther) {
    create(thing("a"));
    EXPECT_FALSE(
        repository->findInstance(COrvoInstanceName("/ROOT/Test", "EX_THING", "iD", "a"), "root/elsewhere")
            .IsNull());
    EXPECT_TRUE(find(thingName("A")).IsNull());
    EXPECT_TRUE(find(thingName("a", "EX_Part")).IsNull());
}

TEST_F(Instances, CannotBeFound_WhenTheNameItselfIsWrong) {
    const auto found = [this](const char* name) {
        return refusal([&] { repository->findInstance(*COrvoInstanceName::parse(name), space); });
    };
    EXPECT_THAT(found("no:EX_Thing.Id=\"1\""), StartsWith("3: "));
    EXPECT_THAT(found("EX_None.Id=\"1\""), StartsWith("5: "));
    EXPECT_THAT(found("EX_Thing.Nr=\"1\""), StartsWith("4: "));
    EXPECT_THAT(found("EX_Thing"), StartsWith("4: "));
}

struct Refusal {
    const char* name;
    Object instance;
    const char* expected;
};

TEST_F(Instances, AreRefused_WithTheStatusThatTellsWhy) {
    create(thing("there"));
    const std::vector<Refusal> rows{
        {"unknown class", object("EX_None", {{"Id", text("1")}}), "5: there is no class 'EX_None'"},
        {"no class", object("", {{"Id", text("1")}}), "5: there is no class ''"},
        {"abstract", object("EX_Base", {{"Id", text("1")}}), "4: class EX_Base is abstract"},
        {"key missing", object("EX_Thing", {{"Size", uint32(1)}}), "4: "},
        {"key NULL", object("EX_Thing", {{"Id", COrvoValue::null(COrvoType::string)}}), "4: "},
        {"unknown property", object("EX_Thing", {{"Id", text("1")}, {"Color", text("red")}}), "12: "},
        {"another type", object("EX_Thing", {{"Id", text("1")}, {"Size", text("5")}}), "13: "},
        {"array wanted", object("EX_Thing", {{"Id", text("1")}, {"Tags", text("5")}}), "13: "},
        {"there already", thing("there", 7), "11: there is an instance"},
        {"unknown property and there already", object("EX_Thing", {{"Id", text("there")}, {"X", text("")}}),
         "11: "},
        {"unknown property and no key", object("EX_Thing", {{"X", text("")}}), "4: "},
        {"unknown property in an abstract class", object("EX_Base", {{"X", text("")}}), "4: "},
    };
    observe();
    for (const Refusal& row : rows) {
        EXPECT_THAT(creationRefusal(row.instance), StartsWith(row.expected)) << row.name;
    }
    EXPECT_THAT(idsOf(repository->enumerateInstances(space, "EX_Thing")), ElementsAre("there"));
    EXPECT_EQ(valueOf(find(thingName("there")), "Size"), "0");
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(Instances, AreRefused_OfAClassWithoutKeys) {
    repository->createClass(space, classFrom(R"(<CLASS NAME="EX_Keyless"></CLASS>)"));
    EXPECT_EQ(creationRefusal(object("EX_Keyless", {})),
              "4: class EX_Keyless has no key, so that it cannot have instances");
}

TEST_F(Instances, AreEnumeratedWithThoseOfSubclasses_InOrderOfCreation) {
    create(thing("1"));
    create(object("EX_Part", {{"Id", text("2")}}));
    create(thing("3"));
    create(object("EX_Part", {{"Id", text("4")}}));
    EXPECT_THAT(idsOf(repository->enumerateInstances("ROOT/test", "ex_thing")),
                ElementsAre("1", "2", "3", "4"));
    const auto parts = repository->enumerateInstances(space, "EX_Part");
    EXPECT_THAT(idsOf(parts), ElementsAre("2", "4"));
    EXPECT_EQ(nameOf(parts[0])->toString().view(), "root/test:EX_Part.Id=\"2\"");
    EXPECT_THAT(repository->enumerateInstances(space, "EX_Link"), IsEmpty());
    EXPECT_THAT(refusal([this] { repository->enumerateInstances(space, "EX_None"); }), StartsWith("5: "));
}

TEST_F(Instances, AreReportedOnce_WhenCreatedChangedAndDeleted) {
    observe();
    const auto name = create(thing("1", 5));
    modify(name, object("EX_Thing", {{"tags", strings({"x"})}, {"caption", text("c")}}));
    repository->deleteInstance(*name, space);
    ASSERT_THAT(changes, SizeIs(3));
    EXPECT_EQ(changes[0].kind, IOrvoIndication::IndicationCreation);
    EXPECT_EQ(valueOf(changes[0].object, "Caption"), "none");
    EXPECT_EQ(changes[1].kind, IOrvoIndication::IndicationChange);
    EXPECT_THAT(changes[1].changedProperties, ElementsAre("Caption", "Tags"));
    EXPECT_EQ(valueOf(changes[1].object, "Caption"), "c");
    EXPECT_EQ(valueOf(changes[1].object, "Size"), "5");
    EXPECT_EQ(changes[2].kind, IOrvoIndication::IndicationDestruction);
    EXPECT_EQ(valueOf(changes[2].object, "Tags"), "{x}");
    for (const InstanceChange& change : changes) {
        EXPECT_EQ(nameOf(change.object)->toString().view(), name->toString().view());
    }
}

TEST_F(Instances, AreWrittenBeforeTheyAreReported) {
    std::vector<std::string> seen;
    repository->setObserver([&](const InstanceChange& change) {
        const auto found = find(nameOf(change.object));
        seen.push_back(found.IsNull() ? "nothing" : valueOf(found, "Size"));
    });
    const auto name = create(thing("1", 5));
    modify(name, thing("1", 6));
    repository->deleteInstance(*name, space);
    EXPECT_THAT(seen, ElementsAre("5", "6", "nothing"));
}

TEST_F(Instances, AreNotReported_WhenNothingDiffers) {
    const auto name = create(object("EX_Thing", {{"Id", text("1")}, {"Tags", strings({"a", "b"})}}));
    observe();
    modify(name, object("EX_Thing", {}));
    modify(name, find(name));
    modify(name, object("EX_Thing", {{"Caption", text("other")}}), std::vector<std::string>{});
    modify(name, object("EX_Thing", {{"Size", COrvoValue::null(COrvoType::uint32)}}));
    EXPECT_THAT(changes, IsEmpty());
    modify(name, object("EX_Thing", {{"Tags", strings({"a, b"})}}));
    modify(name, object("EX_Thing", {{"Caption", text("NULL")}}));
    modify(name, object("EX_Thing", {{"Caption", COrvoValue::null(COrvoType::string)}}));
    EXPECT_THAT(changes, SizeIs(3));
}

TEST_F(Instances, TakeTheListedPropertiesOnly_AndDefaultsForThoseNotGiven) {
    const auto name = create(
        object("EX_Thing",
               {{"Id", text("1")}, {"Caption", text("c")}, {"Size", uint32(1)}, {"Tags", strings({"a"})}}));
    modify(name, object("EX_Thing", {{"Size", uint32(2)}, {"Tags", strings({"b"})}, {"Color", text("red")}}),
           std::vector<std::string>{"SIZE", "caption"});
    reopen();
    const auto found = find(name);
    EXPECT_EQ(valueOf(found, "Size"), "2");
    EXPECT_EQ(valueOf(found, "Caption"), "none");
    EXPECT_EQ(valueOf(found, "Tags"), "{a}");
    modify(name, object("EX_Thing", {}), std::vector<std::string>{"Tags"});
    EXPECT_EQ(valueOf(find(name), "Tags"), "NULL");
}

TEST_F(Instances, AreLeftAsTheyWere_WhenAModificationIsRefused) {
    const auto name = create(thing("1", 5));
    observe();
    EXPECT_THAT(modificationRefusal(thingName("2"), thing("2")), StartsWith("6: there is no instance"));
    EXPECT_THAT(modificationRefusal(thingName("1", "EX_None"), thing("1")), StartsWith("5: "));
    EXPECT_THAT(modificationRefusal(name, object("EX_Part", {})), StartsWith("4: "));
    EXPECT_THAT(modificationRefusal(name, object("EX_Thing", {{"Color", text("red")}})), StartsWith("12: "));
    EXPECT_THAT(modificationRefusal(name, thing("1", 6), std::vector<std::string>{"Color"}),
                StartsWith("12: "));
    EXPECT_THAT(modificationRefusal(name, object("EX_Thing", {{"Size", text("7")}})), StartsWith("13: "));
    EXPECT_EQ(modificationRefusal(name, thing("2", 6)), "4: Id is a key of EX_Thing and cannot change");
    EXPECT_THAT(modificationRefusal(name, object("EX_Thing", {}), std::vector<std::string>{"Id"}),
                StartsWith("4: "));
    EXPECT_EQ(valueOf(find(name), "Size"), "5");
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(Instances, AreGone_WhenDeleted) {
    const auto name = create(thing("1"));
    repository->deleteInstance(COrvoInstanceName("", "ex_thing", "ID", "1"), "ROOT/TEST");
    EXPECT_TRUE(find(name).IsNull());
    EXPECT_THAT(refusal([&] { repository->deleteInstance(*name, space); }),
                StartsWith("6: there is no instance"));
    EXPECT_THAT(refusal([&] { repository->deleteInstance(*thingName("1", "EX_None"), space); }),
                StartsWith("5: "));
    create(thing("1", 9));
    EXPECT_EQ(valueOf(find(name), "Size"), "9");
}

TEST_F(Instances, AreReferredTo_ByAssociationsInAnyNamespace_InOrderOfCreation) {
    repository->createNamespace("other");
    repository->createClass("other", thingClass());
    repository->createClass("other", linkClass());
    const auto one = create(thing("1"));
    const auto two = create(thing("2"));
    const auto first = create(link(one, two));
    const auto far = repository->createInstance("other", *link(one, one));
    const auto last = create(link(two, one));
    EXPECT_THAT(referenceNames(one),
                ElementsAre(first->toString().view(), far->toString().view(), last->toString().view()));
    EXPECT_THAT(referenceNames(two), ElementsAre(first->toString().view(), last->toString().view()));
    EXPECT_THAT(referenceNames(thingName("3")), IsEmpty());
    reopen();
    EXPECT_THAT(referenceNames(two), ElementsAre(first->toString().view(), last->toString().view()));
}

TEST_F(Instances, KeepReferencesInCanonicalForm_HoweverTheyWereSpelled) {
    const auto one = create(thing("1"));
    const Name spelled(new COrvoInstanceName("", "ex_THING", "ID", "1"));
    const auto name = create(link(spelled, spelled));
    const auto found = find(name);
    EXPECT_EQ(valueOf(found, "Antecedent"), one->toString().view());
    EXPECT_EQ(found->getProperty(0U)->getName().view(), "Antecedent");
    EXPECT_THAT(referenceNames(one), ElementsAre(name->toString().view()));
    EXPECT_FALSE(find(nameOf(found)).IsNull());
}

TEST_F(Instances, AreReferredToNoMore_WhenTheAssociationGoes_AndStillWhenTheyGoThemselves) {
    const auto one = create(thing("1"));
    const auto two = create(thing("2"));
    const auto name = create(link(one, two));
    repository->deleteInstance(*two, space);
    EXPECT_THAT(referenceNames(two), SizeIs(1));
    modify(name, object("EX_Link", {{"Note", text("kept")}}));
    EXPECT_THAT(referenceNames(one), SizeIs(1));
    repository->deleteInstance(*name, space);
    EXPECT_THAT(referenceNames(one), IsEmpty());
}

TEST_F(Instances, KeepTheClassesThatTheyReferTo) {
    const auto part = create(object("EX_Part", {{"Id", text("1")}}));
    const auto name = create(link(part, part));
    repository->deleteInstance(*part, space);
    EXPECT_EQ(refusal([this] { repository->deleteClass(space, "EX_Part"); }),
              "9: association instances refer to instances of class EX_Part");
    modify(name, object("EX_Link", {{"Note", text("still here")}}));
    EXPECT_EQ(valueOf(find(name), "Note"), "still here");
    repository->deleteInstance(*name, space);
    repository->deleteClass(space, "EX_Part");
}

TEST_F(Instances, AreReferredToByTheirNewTargets_WhenAReferenceChanges) {
    repository->createClass(
        space,
        classFrom(R"(<CLASS NAME="EX_Pointer"><QUALIFIER NAME="Association" TYPE="boolean"><VALUE>TRUE)"
                  R"(</VALUE></QUALIFIER><PROPERTY NAME="Id" TYPE="string"><QUALIFIER NAME="Key" )"
                  R"(TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY><PROPERTY.REFERENCE )"
                  R"(NAME="Target" REFERENCECLASS="EX_Thing"></PROPERTY.REFERENCE></CLASS>)"));
    const auto one = create(thing("1"));
    const auto two = create(thing("2"));
    const auto name = create(object("EX_Pointer", {{"Id", text("p")}, {"Target", reference(one)}}));
    observe();
    modify(name, object("EX_Pointer", {{"Target", reference(two)}}));
    EXPECT_THAT(changes.at(0).changedProperties, ElementsAre("Target"));
    EXPECT_THAT(referenceNames(one), IsEmpty());
    EXPECT_THAT(referenceNames(two), SizeIs(1));
    modify(name, object("EX_Pointer", {{"Target", COrvoValue::null(COrvoType::reference)}}));
    EXPECT_THAT(referenceNames(two), IsEmpty());
    EXPECT_EQ(valueOf(find(name), "Target"), "NULL");
}

}  // namespace
