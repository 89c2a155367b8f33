#include "velmd/model/ObjectNames.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "tests/unit/velmd/model/ClassBuilders.h"
#include "velmd/model/CIMStatus.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::ElementsAre;
using testing::HasSubstr;
using Name = ORVSmrPtr<IOrvoInstanceName>;
using Object = ORVSmrPtr<IOrvoObject>;
using Keys = std::vector<std::pair<std::string, Value>>;

Name makeName(const char* nameSpace, const std::string& className, const Keys& keys = {}) {
    COrvoInstanceName::KeyBindings bindings;
    for (const auto& [name, value] : keys) {
        bindings.append({std::string_view(name), value});
    }
    return Name(new COrvoInstanceName(nameSpace, std::string_view(className), bindings));
}

Value refer(const Name& name) {
    return Value(new COrvoValue(name));
}

std::vector<CIMClass> classes() {
    const auto numbers = COrvoType::arrayOf(COrvoType::uint16);
    CIMProperty source = makeProperty("Source");
    source.embedding = CIMEmbedding::instance;
    return {makeClass("EX_File", "",
                      {makeKey("Name"), makeProperty("FileSize", COrvoType::uint64),
                       makeProperty("Codes", numbers), makeProperty("Written", COrvoType::datetime)}),
            makeClass("EX_TextFile", "EX_File"),
            makeClass(
                "EX_Slot", "",
                {makeKey("Number", COrvoType::uint32), makeKey("Open", COrvoType::boolean), makeKey("Label"),
                 makeKey("Offset", COrvoType::sint8), makeKey("Weight", COrvoType::real32),
                 makeKey("Mark", COrvoType::char16), makeKey("Since", COrvoType::datetime)}),
            makeClass("EX_Link", "", {makeEnd("Parent", "EX_File"), makeEnd("Child", "EX_File")},
                      {makeQualifier("Association")}),
            makeClass("EX_Chain", "", {makeEnd("Next", "EX_Chain")}),
            makeClass("EX_Note", "", {makeKey("Id"), makeEnd("About", "EX_File", false), source}),
            makeClass("EX_Setting", "", {makeProperty("Value")})};
}

/// The namespace root/cimv2 with all classes, and Interop with none but EX_File.
class ObjectNamesTest : public testing::Test {
protected:
    ObjectNames::NamespaceView find(std::string_view name) const {
        const std::string path = checkedNamespace(name);
        if (sameName(path, "root/cimv2")) {
            return {"root/cimv2", all};
        }
        if (sameName(path, "interop")) {
            return {"Interop", some};
        }
        throwStatus(CIMStatus::invalidNamespace, "no namespace " + path);
    }

    std::string canonical(const Name& name, const char* nameSpace = "root/cimv2") const {
        return std::string(names.canonicalName(*name, nameSpace)->toString().view());
    }

    Refusal refusalOfName(const Name& name) const {
        return refusalOf([&] { canonical(name); });
    }

    std::shared_ptr<const ClassTree> all = ClassTree().with(classes());
    std::shared_ptr<const ClassTree> some = ClassTree().with({makeClass("EX_File", "", {makeKey("Name")})});
    ObjectNames names{[this](std::string_view name) { return find(name); }};
};

class CanonicalName : public ObjectNamesTest {};

TEST_F(CanonicalName, HasTheSpellingOfTheRepository) {
    const std::string expected = "root/cimv2:EX_File.Name=\"/Etc\"";
    EXPECT_EQ(canonical(makeName("ROOT/CIMv2", "ex_FILE", {{"NAME", makeValue("/Etc")}})), expected);
    EXPECT_EQ(canonical(makeName("/root/cimv2/", "EX_File", {{"name", makeValue("/Etc")}})), expected);
    EXPECT_EQ(canonical(makeName("", "EX_File", {{"Name", makeValue("/Etc")}}), "//Root/Cimv2"), expected);
    EXPECT_EQ(canonical(makeName("INTEROP", "ex_file", {{"name", makeValue("/Etc")}})),
              "Interop:EX_File.Name=\"/Etc\"");
}

TEST_F(CanonicalName, KeepsACanonicalOneAsItIs) {
    const auto once =
        names.canonicalName(*makeName("", "EX_File", {{"name", makeValue("a\"b\\")}}), "interop");
    EXPECT_EQ(canonical(once), std::string(once->toString().view()));
}

TEST_F(CanonicalName, GivesAKeyWithoutNameThatOfTheOnlyKey) {
    EXPECT_EQ(canonical(makeName("", "EX_TextFile", {{unnamedKey, makeValue("/a")}})),
              "root/cimv2:EX_TextFile.Name=\"/a\"");
    const auto refusal = refusalOfName(makeName("", "EX_Link", {{unnamedKey, makeValue("/a")}}));
    EXPECT_EQ(refusal.status, 4);
    EXPECT_THAT(refusal.text, HasSubstr("EX_Link has 2"));
    EXPECT_EQ(
        refusalOfName(makeName("", "EX_File", {{unnamedKey, makeValue("/a")}, {"Name", makeValue("/a")}}))
            .status,
        4);
}

/// A key of EX_Slot as a client gives it, and its text in the canonical name; an empty text for a refusal.
struct KeyCase {
    const char* key;
    Value given;
    std::string text;
};

void PrintTo(const KeyCase& rule, std::ostream* stream) {
    *stream << rule.key << " given as " << rule.given->getType()->getName().view() << " "
            << rule.given->toString().view();
}

class RetypedKey : public ObjectNamesTest, public testing::WithParamInterface<KeyCase> {};

TEST_P(RetypedKey, HasTheDeclaredType) {
    Keys keys{{"Number", makeValue("1")},
              {"Open", makeValue("true")},
              {"Label", makeValue("x")},
              {"Offset", makeValue("-1")},
              {"Weight", makeValue("1")},
              {"Mark", makeValue("m")},
              {"Since", makeValue("00000001000000.000000:000")}};
    for (auto& [name, value] : keys) {
        value = name == GetParam().key ? GetParam().given : value;
    }
    const auto given = makeName("", "EX_Slot", keys);
    if (GetParam().text.empty()) {
        const auto refusal = refusalOfName(given);
        EXPECT_EQ(refusal.status, 4);
        EXPECT_THAT(refusal.text, HasSubstr(GetParam().key));
        return;
    }
    const std::string text = canonical(given);
    EXPECT_THAT(text, HasSubstr(std::string(GetParam().key) + "=" + GetParam().text));
    EXPECT_EQ(canonical(names.canonicalName(*given, "root/cimv2")), text);
}

const Value anEnd = refer(makeName("root/cimv2", "EX_File", {{"Name", makeValue("/a")}}));

INSTANTIATE_TEST_SUITE_P(
    ObjectNames, RetypedKey,
    testing::Values(
        KeyCase{"Number", makeValue("7"), "7,"}, KeyCase{"Number", makeValue("007"), "7,"},
        KeyCase{"Number", makeValue("0x7"), "7,"}, KeyCase{"Number", makeValue(" +7\n"), "7,"},
        KeyCase{"Number", makeValue(std::int64_t{7}, COrvoType::sint64), "7,"},
        KeyCase{"Number", makeValue(std::uint64_t{4294967295}, COrvoType::uint64), "4294967295,"},
        KeyCase{"Number", makeValue("4294967296"), ""}, KeyCase{"Number", makeValue("-1"), ""},
        KeyCase{"Number", makeValue("seven"), ""}, KeyCase{"Number", makeValue(""), ""},
        KeyCase{"Number", makeValue(true), ""}, KeyCase{"Number", makeValue(7.0, COrvoType::real64), ""},
        KeyCase{"Number", anEnd, ""}, KeyCase{"Open", makeValue("true"), "TRUE,"},
        KeyCase{"Open", makeValue("False"), "FALSE,"}, KeyCase{"Open", makeValue(false), "FALSE,"},
        KeyCase{"Open", makeValue("1"), ""}, KeyCase{"Label", makeValue("007"), "\"007\","},
        KeyCase{"Label", makeValue(" true "), "\" true \","}, KeyCase{"Label", makeValue(""), "\"\","},
        KeyCase{"Label", makeValue(7U, COrvoType::uint8), "\"7\","},
        KeyCase{"Label", makeValue(true), "\"TRUE\","}, KeyCase{"Label", anEnd, ""},
        KeyCase{"Offset", makeValue("-0x80"), "-128,"}, KeyCase{"Offset", makeValue("128"), ""},
        KeyCase{"Weight", makeValue("1.50"), "1.5"}, KeyCase{"Weight", makeValue("15e-1"), "1.5"},
        KeyCase{"Weight", makeValue(std::int64_t{3}, COrvoType::sint64), "3.0"},
        KeyCase{"Weight", makeValue("heavy"), ""},
        KeyCase{"Mark", makeValue("\xE2\x82\xAC"), "\"\xE2\x82\xAC\","}, KeyCase{"Mark", makeValue("ab"), ""},
        KeyCase{"Since", makeValue(" 20261120151918.123456+000"), "\"20261120151918.123456+000\","},
        KeyCase{"Since", makeValue("yesterday"), ""}));

TEST_F(CanonicalName, BringsReferencesIntoCanonicalForm) {
    const std::string expected =
        "root/cimv2:EX_Link.Child=\"Interop:EX_File.Name=\\\"/b\\\"\","
        "Parent=\"root/cimv2:EX_TextFile.Name=\\\"/a\\\"\"";
    const auto parent = refer(makeName("", "ex_textfile", {{"NAME", makeValue("/a")}}));
    const auto child = refer(makeName("interop", "ex_file", {{unnamedKey, makeValue("/b")}}));
    EXPECT_EQ(canonical(makeName("", "ex_link", {{"parent", parent}, {"CHILD", child}})), expected);
    const auto texts = makeName("", "EX_Link",
                                {{"Child", makeValue("INTEROP:ex_file.NAME=\"/b\"")},
                                 {"Parent", makeValue("ex_TextFile.name=\"/a\"")}});
    EXPECT_EQ(canonical(texts), expected) << "a reference may also come as its text";
}

TEST_F(CanonicalName, PutsAReferenceIntoTheNamespaceOfTheNameAroundIt) {
    const auto end = refer(makeName("", "EX_File", {{"Name", makeValue("/a")}}));
    EXPECT_THAT(canonical(makeName("root/cimv2", "EX_Link", {{"Parent", end}, {"Child", end}}), "interop"),
                HasSubstr("Parent=\"root/cimv2:EX_File"));
}

TEST_F(CanonicalName, IsRefused_WhenAReferenceIsNone) {
    const auto end = refer(makeName("", "EX_File", {{"Name", makeValue("/a")}}));
    for (const char* text : {"", "/a", "EX_File.Name=", "EX_File"}) {
        const auto refusal =
            refusalOfName(makeName("", "EX_Link", {{"Parent", end}, {"Child", makeValue(text)}}));
        EXPECT_THAT(refusal.status, testing::AnyOf(4, 5)) << text;
    }
}

Name chain(unsigned int length) {
    auto name = makeName("root/cimv2", "EX_File", {{"Name", makeValue("x")}});
    for (unsigned int count = 0; count < length; ++count) {
        name = makeName("root/cimv2", "EX_Chain", {{"next", refer(name)}});
    }
    return name;
}

TEST_F(CanonicalName, NestsUpToALimit) {
    EXPECT_EQ(canonical(chain(ObjectNames::maxNesting)).compare(0, 25, "root/cimv2:EX_Chain.Next="), 0);
    const auto refusal = refusalOfName(chain(ObjectNames::maxNesting + 1));
    EXPECT_EQ(refusal.status, 4);
    EXPECT_THAT(refusal.text, HasSubstr("16"));
}

struct NameRefusal {
    const char* what;
    Name given;
    int status;
    const char* text;
};

void PrintTo(const NameRefusal& rule, std::ostream* stream) {
    *stream << rule.what;
}

class RefusedName : public ObjectNamesTest, public testing::WithParamInterface<NameRefusal> {};

TEST_P(RefusedName, NamesWhatWasWrong) {
    const auto refusal = refusalOfName(GetParam().given);
    EXPECT_EQ(refusal.status, GetParam().status);
    EXPECT_THAT(refusal.text, HasSubstr(GetParam().text));
    EXPECT_LT(refusal.text.size(), 300U);
}

INSTANTIATE_TEST_SUITE_P(
    ObjectNames, RefusedName,
    testing::Values(
        NameRefusal{"UnknownNamespace", makeName("root/none", "EX_File", {{"Name", makeValue("/a")}}), 3,
                    "root/none"},
        NameRefusal{"UnknownClass", makeName("", "EX_None", {{"Name", makeValue("/a")}}), 5, "EX_None"},
        NameRefusal{"ClassOfAnotherNamespace", makeName("interop", "EX_Link"), 5, "Interop"},
        NameRefusal{"MissingKey", makeName("", "EX_File"), 4, "Name of EX_File is missing"},
        NameRefusal{
            "OneKeyMissing",
            makeName("", "EX_Link", {{"Child", refer(makeName("", "EX_File", {{"Name", makeValue("a")}}))}}),
            4, "Parent of EX_Link is missing"},
        NameRefusal{"UnknownKey",
                    makeName("", "EX_File", {{"Name", makeValue("a")}, {"Title", makeValue("b")}}), 4,
                    "'Title' is no key of EX_File"},
        NameRefusal{"PropertyThatIsNoKey",
                    makeName("", "EX_File", {{"Name", makeValue("a")}, {"FileSize", makeValue("1")}}), 4,
                    "'FileSize'"},
        NameRefusal{"UnknownClassInAReference",
                    makeName("", "EX_Chain", {{"Next", refer(makeName("", "EX_None"))}}), 5, "EX_None"},
        NameRefusal{"MissingKeyInAReference",
                    makeName("", "EX_Chain", {{"Next", refer(makeName("", "EX_File"))}}), 4,
                    "Name of EX_File"},
        NameRefusal{"LongClassName", makeName("", std::string(5000, 'x')), 5, "xxx...'"},
        NameRefusal{"LongKey",
                    makeName("", "EX_Chain", {{"Next", makeValue(ORVString(std::string(5000, 'x')))}}), 5,
                    "xxx...'"},
        NameRefusal{"LongKeyName", makeName("", "EX_File", {{std::string(5000, 'x'), makeValue("a")}}), 4,
                    "xxx...'"}),
    [](const auto& tested) { return std::string(tested.param.what); });

TEST_F(CanonicalName, HasNoKeys_WhenItsClassHasNone) {
    EXPECT_EQ(canonical(makeName("", "ex_setting")), "root/cimv2:EX_Setting");
}

TEST_F(ObjectNamesTest, ALooseNameMayLackKeys) {
    const auto pattern = [this](const Name& name) {
        return std::string(names.canonicalPattern(*name, "root/cimv2")->toString().view());
    };
    const auto end = refer(makeName("", "ex_file", {{"name", makeValue("/a")}}));
    EXPECT_EQ(pattern(makeName("", "ex_link")), "root/cimv2:EX_Link");
    EXPECT_EQ(pattern(makeName("", "ex_link", {{"PARENT", end}})),
              "root/cimv2:EX_Link.Parent=\"root/cimv2:EX_File.Name=\\\"/a\\\"\"");
    EXPECT_EQ(refusalOf([&] { pattern(makeName("", "EX_Link", {{"Other", end}})); }).status, 4);
    EXPECT_EQ(refusalOf([&] { pattern(makeName("", "EX_None")); }).status, 5);
}

class CanonicalObject : public ObjectNamesTest {
protected:
    Object canonicalObject(const COrvoObject& object, const Name& name = {},
                           const char* nameSpace = "Root/CIMV2") const {
        return names.canonicalObject(object, name, nameSpace);
    }

    Refusal refusalOfObject(const COrvoObject& object, const Name& name = {}) const {
        return refusalOf([&] { canonicalObject(object, name); });
    }

    static std::vector<std::string> propertiesOf(const IOrvoObject& object) {
        std::vector<std::string> texts;
        for (unsigned int position = 0; position < object.getPropertyCount(); ++position) {
            const auto property = object.getProperty(position);
            texts.push_back(std::string(property->getName().view()) + "=" +
                            std::string(property->getValue()->toString().view()));
        }
        return texts;
    }
};

TEST_F(CanonicalObject, IsSpelledAndOrderedAsItsClass) {
    COrvoObject given("ex_textfile", nullptr);
    given.setProperty("filesize", makeValue(5U, COrvoType::uint64));
    given.setProperty("NAME", makeValue("/a"));
    const auto object = canonicalObject(given);
    EXPECT_EQ(object->getClassName(), "EX_TextFile");
    EXPECT_EQ(object->getInstanceName()->toString(), "root/cimv2:EX_TextFile.Name=\"/a\"");
    EXPECT_THAT(propertiesOf(*object), ElementsAre("Name=/a", "FileSize=5"));
    EXPECT_EQ(given.getClassName(), "ex_textfile") << "the given one is left alone";
}

TEST_F(CanonicalObject, HasTheNameThatItIsGiven) {
    const auto name =
        names.canonicalName(*makeName("", "EX_File", {{"Name", makeValue("/a")}}), "root/cimv2");
    COrvoObject given("", nullptr);
    given.setProperty("filesize", makeValue(5U, COrvoType::uint64));
    const auto object = canonicalObject(given, name);
    EXPECT_EQ(object->getInstanceName(), name);
    EXPECT_EQ(object->getClassName(), "EX_File");
    EXPECT_THAT(propertiesOf(*object), ElementsAre("FileSize=5"));
}

TEST_F(CanonicalObject, HoldsReferencesInCanonicalForm) {
    COrvoObject given("EX_Link", nullptr);
    given.setProperty("child", refer(makeName("interop", "ex_file", {{"NAME", makeValue("/b")}})));
    given.setProperty("PARENT", refer(makeName("", "ex_file", {{unnamedKey, makeValue("/a")}})));
    const auto object = canonicalObject(given);
    EXPECT_THAT(propertiesOf(*object),
                ElementsAre("Parent=root/cimv2:EX_File.Name=\"/a\"", "Child=Interop:EX_File.Name=\"/b\""));
    EXPECT_EQ(object->getInstanceName()->toString(),
              "root/cimv2:EX_Link.Child=\"Interop:EX_File.Name=\\\"/b\\\"\","
              "Parent=\"root/cimv2:EX_File.Name=\\\"/a\\\"\"");
}

TEST_F(CanonicalObject, MayHoldNULL_WhereThereIsNoKey) {
    COrvoObject given("EX_Note", nullptr);
    given.setProperty("Id", makeValue("1"));
    given.setProperty("About", COrvoValue::null(COrvoType::reference));
    given.setProperty("Source", COrvoValue::null(COrvoType::instance));
    EXPECT_THAT(propertiesOf(*canonicalObject(given)), ElementsAre("About=NULL", "Id=1", "Source=NULL"));
}

TEST_F(CanonicalObject, HoldsACopyOfWhatItEmbeds) {
    auto* inner = new COrvoObject("EX_Anything", nullptr);
    const Object handle(inner);
    inner->setProperty("x", makeValue("before"));
    COrvoObject given("EX_Note", nullptr);
    given.setProperty("Id", makeValue("1"));
    given.setProperty("Source", Value(new COrvoValue(handle)));
    const auto object = canonicalObject(given);
    inner->setProperty("x", makeValue("after"));
    EXPECT_THAT(propertiesOf(*object->getProperty("Source")->getValue()->getInstance()),
                ElementsAre("x=before"));
    given.setProperty("Source", makeValue("<INSTANCE CLASSNAME=\"EX_Anything\"/>"));
    EXPECT_THAT(propertiesOf(*canonicalObject(given)),
                ElementsAre("Id=1", "Source=<INSTANCE CLASSNAME=\"EX_Anything\"/>"));
}

TEST_F(CanonicalObject, IsRefused_WhenItsClassIsUnknown) {
    const auto refusal = refusalOfObject(COrvoObject("EX_None", nullptr));
    EXPECT_EQ(refusal.status, 5);
    EXPECT_THAT(refusal.text, HasSubstr("'EX_None'"));
    EXPECT_EQ(refusalOfObject(COrvoObject(ORVString(), nullptr)).status, 5);
    EXPECT_EQ(refusalOf([&] { canonicalObject(COrvoObject("EX_File", nullptr), {}, "root/none"); }).status,
              3);
}

TEST_F(CanonicalObject, IsRefused_WhenItsNameIsOfAnotherClass) {
    COrvoObject given("EX_TextFile", nullptr);
    const auto refusal =
        refusalOfObject(given, makeName("root/cimv2", "EX_File", {{"Name", makeValue("/a")}}));
    EXPECT_EQ(refusal.status, 4);
    EXPECT_THAT(refusal.text, HasSubstr("EX_TextFile"));
}

TEST_F(CanonicalObject, IsRefused_WhenAKeyHasNoValue) {
    COrvoObject given("EX_File", nullptr);
    EXPECT_EQ(refusalOfObject(given).status, 4);
    given.setProperty("Name", COrvoValue::null(COrvoType::string));
    const auto refusal = refusalOfObject(given);
    EXPECT_EQ(refusal.status, 4);
    EXPECT_THAT(refusal.text, HasSubstr("Name of EX_File"));
}

struct PropertyRefusal {
    const char* property;
    Value value;
    int status;
};

class RefusedProperty : public CanonicalObject, public testing::WithParamInterface<PropertyRefusal> {};

TEST_P(RefusedProperty, IsNamed) {
    COrvoObject given("EX_File", nullptr);
    given.setProperty("Name", makeValue("/a"));
    given.setProperty(GetParam().property, GetParam().value);
    const auto refusal = refusalOfObject(given);
    EXPECT_EQ(refusal.status, GetParam().status);
    EXPECT_THAT(refusal.text, HasSubstr("EX_File"));
    EXPECT_THAT(refusal.text, HasSubstr(GetParam().property));
}

Value makeArray(const std::vector<Value>& values, const Type& type) {
    COrvoValue::Elements elements(new ORVValSlist<Value>);
    for (const Value& value : values) {
        elements->append(value);
    }
    return Value(new COrvoValue(elements, type));
}

INSTANTIATE_TEST_SUITE_P(
    ObjectNames, RefusedProperty,
    testing::Values(
        PropertyRefusal{"Title", makeValue("x"), 12},
        PropertyRefusal{"Title", COrvoValue::null(COrvoType::string), 12},
        PropertyRefusal{"FileSize", makeValue("5"), 13},
        PropertyRefusal{"FileSize", makeValue(5U, COrvoType::uint32), 13},
        PropertyRefusal{"FileSize", COrvoValue::null(COrvoType::string), 13},
        PropertyRefusal{"FileSize", makeArray({makeValue(5U, COrvoType::uint64)}, COrvoType::uint64), 13},
        PropertyRefusal{"Codes", makeValue(5U, COrvoType::uint16), 13},
        PropertyRefusal{"Codes", makeArray({}, COrvoType::uint8), 13},
        PropertyRefusal{"Name", makeValue(5U, COrvoType::uint16), 13},
        PropertyRefusal{"Name", Value(new COrvoValue(Object(new COrvoObject("EX_File", nullptr)))), 13},
        PropertyRefusal{"Name", refer(makeName("", "EX_File")), 13},
        PropertyRefusal{"Written", makeValue("20261120151918.123456+000"), 13}));

TEST_F(CanonicalObject, IsRefused_WhenAReferenceIsWrong) {
    COrvoObject given("EX_Note", nullptr);
    given.setProperty("Id", makeValue("1"));
    const std::vector<std::pair<Name, int>> rules{
        {makeName("root/none", "EX_File", {{"Name", makeValue("a")}}), 3},
        {makeName("", "EX_None", {{"Name", makeValue("a")}}), 5},
        {makeName("", "EX_File"), 4},
        {makeName("", "EX_File", {{"Other", makeValue("a")}}), 4}};
    for (const auto& [reference, status] : rules) {
        given.setProperty("About", refer(reference));
        EXPECT_EQ(refusalOfObject(given).status, status) << reference->toString().view();
    }
}

}  // namespace
