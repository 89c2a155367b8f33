#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/SharedFolder.h"
#include "tests/unit/server/services/TemporaryFolder.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;
using Value = ORVSmrPtr<IOrvoValue>;
using Names = ORVSmrPtr<ORVValSlist<ORVString>>;

/// An indication whose time is known: 2026-11-20 15:19:18.000042 UTC.
class DatedIndication : public COrvoIndication {
public:
    DatedIndication(const ORVSmrPtr<IOrvoObject>& object, IndicationType type, const Names& changed = {},
                    const ReportedKind* kind = nullptr)
        : COrvoIndication(object, type, changed, const_cast<ReportedKind*>(kind), IntentDeliver, {}, false) {}

    std::chrono::system_clock::time_point getTime() const override {
        using namespace std::chrono_literals;
        constexpr std::chrono::sys_days day = std::chrono::year(2026) / 11 / 20;
        return day + 15h + 19min + 18s + 42us;
    }
};

template <class... Arguments>
Value make(const Arguments&... arguments) {
    return Value(new COrvoValue(arguments...));
}

Names makeNames(std::initializer_list<const char*> names) {
    Names list(new ORVValSlist<ORVString>);
    for (const char* name : names) {
        list->append(name);
    }
    return list;
}

ORVSmrPtr<IOrvoObject> makeFile() {
    auto* object = new COrvoObject("CIM_DataFile", ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(
                                                       "root/cimv2", "CIM_DataFile", "Name", "/a<b")));
    ORVSmrPtr<IOrvoObject> handle(object);
    object->setProperty("Name", make("/a<b"));
    return handle;
}

std::string exported(IOrvoIndication& indication, const char* host = "192.0.2.1", const char* port = "5988",
                     bool withSourceInstance = true, bool onChannel = false) {
    std::ostringstream stream;
    ORVString localHost = host;
    ORVString localPort = port;
    CIMUtil::StreamIndication(stream, indication, localHost, localPort, withSourceInstance, onChannel);
    return stream.str();
}

std::string message(IOrvoIndication& indication) {
    std::ostringstream stream;
    CIMUtil::StreamMessageHeader(stream, 1);
    stream << exported(indication);
    CIMUtil::StreamMessageTrailer(stream);
    return stream.str();
}

const std::string begin =
    "<SIMPLEEXPREQ><EXPMETHODCALL NAME=\"ExportIndication\"><EXPPARAMVALUE NAME=\"NewIndication\">"
    "<INSTANCE CLASSNAME=\"";
const std::string time =
    "\"><PROPERTY NAME=\"IndicationTime\" "
    "TYPE=\"datetime\"><VALUE>20261120151918.000042+000</VALUE></PROPERTY>";
const std::string source =
    "<PROPERTY NAME=\"SourceInstance\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>"
    "&lt;INSTANCE CLASSNAME=\"CIM_DataFile\"&gt;&lt;PROPERTY NAME=\"Name\" TYPE=\"string\"&gt;"
    "&lt;VALUE&gt;/a&amp;lt;b&lt;/VALUE&gt;&lt;/PROPERTY&gt;&lt;/INSTANCE&gt;</VALUE></PROPERTY>";
const std::string path =
    "<PROPERTY NAME=\"SourceInstanceModelPath\" TYPE=\"string\">"
    "<VALUE>root/cimv2:CIM_DataFile.Name=\"/a&lt;b\"</VALUE></PROPERTY>";
const std::string host =
    "<PROPERTY NAME=\"SourceInstanceHost\" TYPE=\"string\"><VALUE>192.0.2.1:5988</VALUE></PROPERTY>";
const std::string end = "</INSTANCE></EXPPARAMVALUE></EXPMETHODCALL></SIMPLEEXPREQ>";

std::string delivery(const std::string& number, const std::string& kind) {
    return "<PROPERTY NAME=\"IndicationType\" TYPE=\"uint16\"><VALUE>" + number +
           "</VALUE></PROPERTY><PROPERTY NAME=\"IndicationKind\" TYPE=\"string\"><VALUE>" + kind +
           "</VALUE></PROPERTY>";
}

struct KindCase {
    IOrvoIndication::IndicationType type;
    const char* className;
    const char* kindName;
};

class EachKind : public testing::TestWithParam<KindCase> {};

TEST_P(EachKind, IsExportedAsItsClass) {
    const auto [type, className, kindName] = GetParam();
    DatedIndication indication(makeFile(), type);
    EXPECT_EQ(exported(indication), begin + className + time + source + path + host +
                                        delivery(std::to_string(static_cast<unsigned int>(type)), kindName) +
                                        end);
}

INSTANTIATE_TEST_SUITE_P(
    CIMUtilIndication, EachKind,
    testing::Values(KindCase{IOrvoIndication::IndicationChange, "CIM_InstModification", "Change"},
                    KindCase{IOrvoIndication::IndicationAddition, "VELM_InstAddition", "Addition"},
                    KindCase{IOrvoIndication::IndicationRemoval, "VELM_InstRemoval", "Removal"},
                    KindCase{IOrvoIndication::IndicationCreation, "CIM_InstCreation", "Creation"},
                    KindCase{IOrvoIndication::IndicationDestruction, "CIM_InstDeletion", "Destruction"},
                    KindCase{IOrvoIndication::IndicationEnterRelationship, "VELM_InstEnterRelationship",
                             "EnterRelationship"},
                    KindCase{IOrvoIndication::IndicationLeaveRelationship, "VELM_InstLeaveRelationship",
                             "LeaveRelationship"},
                    KindCase{IOrvoIndication::IndicationEnterAssociation, "VELM_InstEnterAssociation",
                             "EnterAssociation"},
                    KindCase{IOrvoIndication::IndicationLeaveAssociation, "VELM_InstLeaveAssociation",
                             "LeaveAssociation"}));

TEST(CIMUtilIndication, NamesTheReportedKind_WhenDeliveredAsAnotherType) {
    const auto& kind = COrvoIndication::reportedKindOf(IOrvoIndication::IndicationDestruction);
    DatedIndication indication(makeFile(), IOrvoIndication::IndicationEnterAssociation, {}, &kind);
    EXPECT_EQ(exported(indication), begin + "CIM_InstDeletion" + time + source + path + host +
                                        delivery("128", "Destruction") + end);
}

TEST(CIMUtilIndication, NamesChangedProperties_WhenAModificationHasSome) {
    DatedIndication indication(makeFile(), IOrvoIndication::IndicationChange, makeNames({"FileSize", "a&b"}));
    EXPECT_EQ(exported(indication),
              begin + "CIM_InstModification" + time + source + path + host +
                  "<PROPERTY.ARRAY NAME=\"ChangedPropertyNames\" TYPE=\"string\"><VALUE.ARRAY>"
                  "<VALUE>FileSize</VALUE><VALUE>a&amp;b</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>" +
                  delivery("1", "Change") + end);
}

TEST(CIMUtilIndication, NamesNoChangedProperties_WhenThereAreNoneOrTheKindHasNone) {
    DatedIndication unnamed(makeFile(), IOrvoIndication::IndicationChange, makeNames({}));
    EXPECT_THAT(exported(unnamed), Not(HasSubstr("ChangedPropertyNames")));
    DatedIndication creation(makeFile(), IOrvoIndication::IndicationCreation, makeNames({"FileSize"}));
    EXPECT_THAT(exported(creation), Not(HasSubstr("ChangedPropertyNames")));
}

TEST(CIMUtilIndication, SaysSo_WhenDeliveredOnAChannel) {
    DatedIndication indication(makeFile(), IOrvoIndication::IndicationCreation);
    EXPECT_EQ(exported(indication, "192.0.2.1", "5988", true, true),
              begin + "CIM_InstCreation" + time + source + path + host + delivery("8", "Creation") +
                  "<PROPERTY NAME=\"DeliveredOnChannel\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></PROPERTY>" +
                  end);
}

TEST(CIMUtilIndication, LeavesTheInstanceOut_WhenItIsNotWanted) {
    DatedIndication indication(makeFile(), IOrvoIndication::IndicationCreation);
    EXPECT_EQ(exported(indication, "192.0.2.1", "5988", false),
              begin + "CIM_InstCreation" + time + path + host + delivery("8", "Creation") + end);
}

TEST(CIMUtilIndication, NamesTheServer) {
    DatedIndication indication(makeFile(), IOrvoIndication::IndicationCreation);
    EXPECT_THAT(exported(indication, "::1", "5988"), HasSubstr("<VALUE>[::1]:5988</VALUE>"));
    EXPECT_THAT(exported(indication, "[::1]", "5988"), HasSubstr("<VALUE>[::1]:5988</VALUE>"));
    EXPECT_THAT(exported(indication, "host.example.org", ""), HasSubstr("<VALUE>host.example.org</VALUE>"));
    EXPECT_THAT(exported(indication, "a<b\r\n", "1"), HasSubstr("<VALUE>a&lt;b&#13;\n:1</VALUE>"));
    EXPECT_THAT(exported(indication, "", ""), Not(HasSubstr("SourceInstanceHost")));
    EXPECT_THAT(exported(indication, nullptr, nullptr), Not(HasSubstr("SourceInstanceHost")));
}

TEST(CIMUtilIndication, LeavesThePathOut_WhenTheObjectHasNoName) {
    DatedIndication indication(ORVSmrPtr<IOrvoObject>(new COrvoObject("C", {})),
                               IOrvoIndication::IndicationCreation);
    EXPECT_THAT(exported(indication), Not(HasSubstr("SourceInstanceModelPath")));
}

TEST(CIMUtilIndication, WritesNothing_WhenThereIsNoObject) {
    DatedIndication indication({}, IOrvoIndication::IndicationCreation);
    std::ostringstream stream;
    ORVString localHost = "h";
    ORVString localPort = "1";
    EXPECT_THROW(CIMUtil::StreamIndication(stream, indication, localHost, localPort, true, false),
                 ORVNullPointerException);
    EXPECT_EQ(stream.str(), "");
}

TEST(CIMUtilIndication, TakesTheKindOfTheType_WhenAnIndicationHasNoContext) {
    class Bare : public DatedIndication {
    public:
        using DatedIndication::DatedIndication;
        void* getContext() const override { return nullptr; }
    };
    Bare indication(makeFile(), IOrvoIndication::IndicationRemoval);
    EXPECT_THAT(exported(indication), HasSubstr("<INSTANCE CLASSNAME=\"VELM_InstRemoval\">"));
}

struct Outcome {
    int status;
    std::string output;
};

Outcome run(const std::string& command) {
    std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (!pipe) {
        return {-1, "popen failed"};
    }
    Outcome result{};
    std::array<char, 4096> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe)) {
        result.output.append(block.data(), count);
    }
    result.status = ::pclose(pipe);
    return result;
}

/// Asks the XML parser of libxml2, in a process of its own, whether documents are what the DTD allows.
class Document : public testing::TestWithParam<KindCase> {
protected:
    void SetUp() override { VELM_SKIP_WITHOUT(velm::test::documentType()); }

    void expectValid(const std::string& text) {
        const std::string file = folder.write("message.xml", text);
        const Outcome result = run("xmllint --nonet --noout --dtdvalid '" +
                                   velm::test::documentType().string() + "' '" + file + "'");
        EXPECT_EQ(result.status, 0) << result.output << '\n' << text;
    }

    /// The text of the embedded instance that `text` holds, read by the parser.
    std::string embeddedIn(const std::string& text, const std::string& property) {
        const std::string file = folder.write("message.xml", text);
        const Outcome result =
            run("xmllint --nonet --xpath 'string(//*[@NAME=\"" + property + "\"]//VALUE)' '" + file + "'");
        EXPECT_EQ(result.status, 0) << result.output;
        return result.output;
    }

    /// An embedded instance is valid when a message that holds it in its place is.
    void expectValidInstance(const std::string& instance) {
        expectValid(
            "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\">"
            "<SIMPLEEXPREQ><EXPMETHODCALL NAME=\"e\"><EXPPARAMVALUE NAME=\"n\">" +
            instance + "</EXPPARAMVALUE></EXPMETHODCALL></SIMPLEEXPREQ></MESSAGE></CIM>");
    }

    velm::test::TemporaryFolder folder;
};

void addScalars(COrvoObject& object) {
    object.setProperty("True", make(true));
    object.setProperty("False", make(false));
    for (const auto& type : {COrvoType::uint8, COrvoType::sint8, COrvoType::uint16, COrvoType::sint16,
                             COrvoType::uint32, COrvoType::sint32, COrvoType::uint64, COrvoType::sint64}) {
        object.setProperty(type->getName(), make(127u, type));
        object.setProperty("Null" + type->getName(), COrvoValue::null(type));
    }
    object.setProperty("Real32", make(1.5, COrvoType::real32));
    object.setProperty("Real64", make(std::numeric_limits<double>::denorm_min(), COrvoType::real64));
    object.setProperty("Infinite", make(std::numeric_limits<double>::infinity(), COrvoType::real64));
    object.setProperty("NotANumber", make(std::numeric_limits<double>::quiet_NaN(), COrvoType::real32));
    object.setProperty("Char", COrvoValue::parse("<", COrvoType::char16));
    object.setProperty("Time", COrvoValue::parse("00000001000000.000000:000", COrvoType::datetime));
}

std::string everyByte() {
    std::string text;
    for (int byte = 0; byte < 256; ++byte) {
        text += static_cast<char>(byte);
    }
    return text + "]]>&amp;<!-- \xEF\xBF\xBE\xEF\xBF\xBF\xED\xA0\x80\xC0\x80 -->";
}

Value makeArray(const ORVSmrPtr<IOrvoType>& type, const Value& element) {
    COrvoValue::Elements elements(new ORVValSlist<Value>);
    elements->append(element);
    elements->append(COrvoValue::null(type));
    return make(elements, type);
}

/// An instance that holds each type of value there is.
ORVSmrPtr<IOrvoObject> makeEverything(int levels) {
    auto* object = new COrvoObject("EX_Everything", {});
    ORVSmrPtr<IOrvoObject> handle(object);
    addScalars(*object);
    object->setProperty("Every<\"'&>\r\n\tByte", make(std::string_view(everyByte())));
    COrvoInstanceName::KeyBindings keys;
    keys.append({"Number", make(7u, COrvoType::uint64)});
    keys.append(
        {"Inner", make(ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("a/b", "C", "K", "\r\x01&")))});
    const Value reference = make(ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("root/c<d", "C", keys)));
    object->setProperty("Reference", reference);
    object->setProperty("NullReference", COrvoValue::null(COrvoType::reference));
    object->setProperty("Strings", makeArray(COrvoType::string, make("a&b")));
    object->setProperty("References", makeArray(COrvoType::reference, reference));
    object->setProperty("NullArray", COrvoValue::null(COrvoType::arrayOf(COrvoType::uint8)));
    if (levels > 0) {
        const Value inner = make(makeEverything(levels - 1));
        object->setProperty("Embedded", inner);
        object->setProperty("EmbeddedArray", makeArray(COrvoType::instance, inner));
    }
    return handle;
}

class DocumentOfKind : public Document {};

TEST_P(DocumentOfKind, IsValid) {
    DatedIndication indication(makeFile(), GetParam().type, makeNames({"Name"}));
    expectValid(message(indication));
}

INSTANTIATE_TEST_SUITE_P(CIMUtilIndication, DocumentOfKind,
                         testing::Values(KindCase{IOrvoIndication::IndicationChange, "", ""},
                                         KindCase{IOrvoIndication::IndicationAddition, "", ""},
                                         KindCase{IOrvoIndication::IndicationRemoval, "", ""},
                                         KindCase{IOrvoIndication::IndicationCreation, "", ""},
                                         KindCase{IOrvoIndication::IndicationDestruction, "", ""},
                                         KindCase{IOrvoIndication::IndicationEnterRelationship, "", ""},
                                         KindCase{IOrvoIndication::IndicationLeaveRelationship, "", ""},
                                         KindCase{IOrvoIndication::IndicationEnterAssociation, "", ""},
                                         KindCase{IOrvoIndication::IndicationLeaveAssociation, "", ""}));

class DocumentOfEverything : public Document {};

TEST_F(DocumentOfEverything, IsValidAtEachLevelOfEmbedding) {
    DatedIndication indication(makeEverything(2), IOrvoIndication::IndicationChange);
    const std::string text = message(indication);
    expectValid(text);
    const std::string first = embeddedIn(text, "SourceInstance");
    expectValidInstance(first);
    const std::string second = embeddedIn(first, "Embedded");
    expectValidInstance(second);
    const std::string third = embeddedIn(second, "EmbeddedArray");
    EXPECT_THAT(third, HasSubstr("<INSTANCE CLASSNAME=\"EX_Everything\">"));
    expectValidInstance(third);
}

TEST_F(DocumentOfEverything, ReadsBackTextAsItWas) {
    auto* object = new COrvoObject("C", {});
    const ORVSmrPtr<IOrvoObject> handle(object);
    const std::string text = "  a & b <c> ]]> \"d\" 'e' \r\n\t \xC3\xA9\xF0\x9F\x98\x80 &amp; end";
    object->setProperty("Text", make(std::string_view(text)));
    DatedIndication indication(handle, IOrvoIndication::IndicationChange);
    const std::string instance = embeddedIn(message(indication), "SourceInstance");
    EXPECT_EQ(embeddedIn(instance, "Text"), text + "\n") << "the parser's own line end follows";
}

TEST_F(DocumentOfEverything, IsRefused_WhenItIsBroken) {
    const std::string file = folder.write("broken.xml", "<CIM CIMVERSION=\"2.0\"><MESSAGE/></CIM>");
    EXPECT_NE(
        run("xmllint --nonet --noout --dtdvalid '" + velm::test::documentType().string() + "' '" + file + "'")
            .status,
        0);
}

}  // namespace
