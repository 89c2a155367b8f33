#include "foundation/services/CIMOMException.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/requests/RequestSupport.h"

#include <stdexcept>

// Subscribe, Unsubscribe and HeartBeat, as the indication manager sees them.

namespace velm::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const IParameters me = subscriber("listener.example", "5990", "7");

IParameters::value_type type(const char* name) {
    return {"IndicationType", value(name)};
}
IParameters::value_type ofClass(const char* name) {
    return {"ClassName", className(name)};
}
IParameters::value_type ofInstance(const char* id) {
    return {"InstanceName", instanceName("ex_thing", id)};
}

const std::string fileName =
    "<INSTANCENAME CLASSNAME=\"ex_FILE\"><KEYBINDING NAME=\"path\"><KEYVALUE>p</KEYVALUE></KEYBINDING>"
    "<KEYBINDING NAME=\"DRIVE\"><KEYVALUE>007</KEYVALUE></KEYBINDING></INSTANCENAME>";

struct CallCase {
    const char* name;
    IParameters parameters;
    /// The call without the operation and the subscriber.
    const char* call;
};

void PrintTo(const CallCase& row, std::ostream* out) {
    *out << row.name;
}

const CallCase callCases[]{
    {"ChangeOfAClass",
     {type("Change"), ofClass("ex_THING")},
     "Change root/Test:EX_Thing filter NULL class-wide"},
    {"ChangeOfAClassAsText",
     {type("change"), {"classNAME", value("EX_Part")}},
     "Change root/Test:EX_Part filter NULL class-wide"},
    {"ChangeOfAClassSaidToBeWide",
     {type("CHANGE"), ofClass("EX_Thing"), {"ClassWide", value("TRUE")}},
     "Change root/Test:EX_Thing filter NULL class-wide"},
    {"ChangeOfAnInstance",
     {type("Change"), ofInstance("a")},
     "Change root/Test:EX_Thing.Id=\"a\" filter NULL one"},
    {"ChangeOfAnInstanceInOtherSpelling",
     {type("Change"), {"InstanceName", fileName}},
     "Change root/Test:EX_File.Drive=7,Path=\"p\" filter NULL one"},
    {"ChangeOfTheClassOfAnInstance",
     {type("Change"), ofInstance("a"), {"ClassWide", value("true")}},
     "Change root/Test:EX_Thing.Id=\"a\" filter NULL class-wide"},
    {"ChangeOfAnInstanceSaidToBeOne",
     {type("Change"), ofInstance("a"), {"ClassWide", value("FALSE")}},
     "Change root/Test:EX_Thing.Id=\"a\" filter NULL one"},
    {"NullsAreAbsent",
     {type("Change"), ofInstance("a"), {"ClassName", ""}, {"Filter", ""}, {"EndOne", ""}, {"ClassWide", ""}},
     "Change root/Test:EX_Thing.Id=\"a\" filter NULL one"},
    {"FilterOfProperties",
     {type("Change"), ofClass("EX_Part"), {"Filter", array({"WEIGHT", "size", "Weight"})}},
     "Change root/Test:EX_Part filter [Weight, Size] class-wide"},
    {"FilterOfAClass",
     {type("Change"), ofClass("EX_Thing"), {"Filter", className("ex_part")}},
     "Change root/Test:EX_Thing filter EX_Part[] class-wide"},
    {"FilterOfAClassAsText",
     {type("Change"), ofInstance("a"), {"Filter", value("ex_thing")}},
     "Change root/Test:EX_Thing.Id=\"a\" filter EX_Thing[] one"},

    {"CreationOfAClass", {type("Creation"), ofClass("ex_thing")}, "Creation <string EX_Thing> <null> <null>"},
    {"CreationOfAnything", {type("Creation")}, "Creation <null> <null> <null>"},
    {"DestructionOfTheClassOfAnInstance",
     {type("destruction"), ofInstance("a")},
     "Destruction <reference root/Test:EX_Thing.Id=\"a\"> <null> <null>"},
    {"AdditionBetweenClasses",
     {type("Addition"), ofClass("ex_link"), {"EndOne", className("ex_thing")}, {"EndTwo", value("EX_PART")}},
     "Addition <string EX_Link> <string EX_Thing> <string EX_Part>"},
    {"RemovalBetweenInstances",
     {type("Removal"), ofClass("EX_Link"), {"EndTwo", fileName}, {"EndOne", instanceName("ex_part", "b")}},
     "Removal <string EX_Link> <reference root/Test:EX_Part.Id=\"b\"> <reference "
     "root/Test:EX_File.Drive=7,Path=\"p\">"},
    {"EnterRelationshipOfAnyClass",
     {type("EnterRelationship"), {"EndOne", className("EX_Thing")}, {"EndTwo", className("EX_Thing")}},
     "EnterRelationship <null> <string EX_Thing> <string EX_Thing>"},
    {"LeaveRelationship",
     {type("LEAVErelationship"), {"EndOne", className("EX_Thing")}, {"EndTwo", className("EX_Thing")}},
     "LeaveRelationship <null> <string EX_Thing> <string EX_Thing>"},
    {"EnterAssociation",
     {type("EnterAssociation"), {"EndOne", className("EX_Thing")}, {"EndTwo", className("EX_Thing")}},
     "EnterAssociation <null> <string EX_Thing> <string EX_Thing>"},
    {"LeaveAssociation",
     {type("LeaveAssociation"), {"EndOne", className("EX_Thing")}, {"EndTwo", className("EX_Thing")}},
     "LeaveAssociation <null> <string EX_Thing> <string EX_Thing>"},
};

class SubscriptionCalls : public RequestTest, public testing::WithParamInterface<CallCase> {};

}  // namespace

TEST_P(SubscriptionCalls, ReachTheManagerInTheSpellingOfTheRepository) {
    const CallCase& row = GetParam();
    const std::string who = "listener.example:5990 (7) ";
    EXPECT_EQ(call("Subscribe", me + row.parameters, "ROOT/test").returned(), value("TRUE"));
    EXPECT_EQ(manager.lastCall(), "subscribe " + who + row.call + " at 127.0.0.9 5988");
    manager.answer = false;
    EXPECT_EQ(call("Unsubscribe", row.parameters + me).returned(), value("FALSE"));
    EXPECT_EQ(manager.lastCall(), "unsubscribe " + who + row.call);
}

INSTANTIATE_TEST_SUITE_P(Parameters, SubscriptionCalls, testing::ValuesIn(callCases),
                         [](const auto& row) { return row.param.name; });

// Refusals.

namespace {

struct RefusalCase {
    const char* name;
    IParameters parameters;
    int code;
    const char* text;
};

void PrintTo(const RefusalCase& row, std::ostream* out) {
    *out << row.name;
}

IParameters without(const char* left) {
    IParameters rest = me + IParameters{type("Creation")};
    std::erase_if(rest, [left](const auto& parameter) { return parameter.first == left; });
    return rest;
}

IParameters change(const IParameters& more) {
    return me + IParameters{type("Change")} + more;
}

IParameters creation(const IParameters& more) {
    return me + IParameters{type("Creation")} + more;
}

IParameters addition(const IParameters& more) {
    return me + IParameters{type("Addition")} + more;
}

const IParameters thing{ofClass("EX_Thing")};
const IParameters unknown{ofClass("EX_Nothing")};
const IParameters endOne{{"EndOne", className("EX_Thing")}};
const IParameters endTwo{{"EndTwo", className("EX_Thing")}};

const RefusalCase refusalCases[]{
    {"WithoutHost", without("SubscriberHost"), 4, "'SubscriberHost' is missing"},
    {"WithoutPort", without("SubscriberPort"), 4, "'SubscriberPort' is missing"},
    {"WithoutSession", without("SessionID"), 4, "'SessionID' is missing"},
    {"WithoutType", without("IndicationType"), 4, "'IndicationType' is missing"},
    {"Unknown", creation({{"Nonsense", value("x")}}), 4, "'Nonsense' is no parameter of this operation"},
    {"Repeated", creation({{"sessionid", value("7")}}), 4, "'sessionid' is given twice"},
    {"UnknownType", me + IParameters{type("Alert")}, 4,
     "'IndicationType' must be Change, Addition, Removal, Creation, Destruction, EnterRelationship, "
     "LeaveRelationship, EnterAssociation or LeaveAssociation"},
    {"TypeAsNumber", me + IParameters{type("128")}, 4, "'IndicationType' must be Change"},
    {"TypeInvalid", me + IParameters{type("Invalid")}, 4, "'IndicationType' must be Change"},

    {"ClassAndInstance", change({ofClass("EX_Thing"), ofInstance("a")}), 4,
     "'ClassName' cannot be given beside InstanceName"},
    {"ClassAndInstanceOfAnEvent", creation({ofClass("EX_Thing"), ofInstance("a")}), 4,
     "'ClassName' cannot be given beside InstanceName"},
    {"ChangeOfNothing", change({}), 4, "'ClassName' is missing, and so is InstanceName"},
    {"UnknownClass", change(unknown), 5, "EX_Nothing"},
    {"UnknownClassOfAnEvent", creation(unknown), 5, "EX_Nothing"},
    {"UnknownClassOfAnInstance", change({{"InstanceName", instanceName("EX_Nothing", "a")}}), 5,
     "EX_Nothing"},
    {"MissingKey", change({{"InstanceName", "<INSTANCENAME CLASSNAME=\"EX_Thing\"/>"}}), 4, "Id"},
    {"UnknownKey",
     change({{"InstanceName",
              "<INSTANCENAME CLASSNAME=\"EX_Thing\">" + keyBinding("Key", "a") + "</INSTANCENAME>"}}),
     4, "Key"},
    {"InstanceAsClass", change({{"InstanceName", className("EX_Thing")}}), 4,
     "'InstanceName' must hold INSTANCENAME"},
    {"ClassAsInstance", change({{"ClassName", instanceName("EX_Thing", "a")}}), 4,
     "'ClassName' must hold CLASSNAME"},

    {"NarrowClass", change(thing + IParameters{{"ClassWide", value("FALSE")}}), 4,
     "'ClassWide' cannot be FALSE where a class is named"},
    {"WideOfAnEvent", creation({{"ClassWide", value("TRUE")}}), 4,
     "'ClassWide' goes with the IndicationType Change"},
    {"WideNoBoolean", change(unknown + IParameters{{"ClassWide", value("yes")}}), 4,
     "'ClassWide' must be TRUE or FALSE"},

    {"FilterOfAnEvent", creation({{"Filter", array({"Size"})}}), 4,
     "'Filter' goes with the IndicationType Change"},
    {"FilterOfUnknownProperty", change(thing + IParameters{{"Filter", array({"Size", "Weight"})}}), 12,
     "the filter names 'Weight', which EX_Thing has not"},
    {"FilterOfUnknownClass", change(thing + IParameters{{"Filter", className("EX_Nothing")}}), 5,
     "EX_Nothing"},
    {"FilterOfNothing", change(thing + IParameters{{"Filter", array({})}}), 4, "'Filter' names no property"},
    {"FilterOfNull", change(thing + IParameters{{"Filter", "<VALUE.ARRAY><VALUE.NULL/></VALUE.ARRAY>"}}), 4,
     "'Filter' must hold an array of texts"},
    {"FilterOfAnInstance", change(thing + IParameters{{"Filter", instanceName("EX_Thing", "a")}}), 4,
     "'Filter' must hold CLASSNAME"},

    {"EndOneOfACreation", creation(endOne), 4,
     "'EndOne' goes with the types of indication about associations"},
    {"EndTwoOfAChange", change(thing + endTwo), 4,
     "'EndTwo' goes with the types of indication about associations"},
    {"WithoutEnds", addition({ofClass("EX_Link")}), 4,
     "'EndOne' is missing: a subscription of this IndicationType has two ends"},
    {"WithoutEndOne", addition(endTwo), 4, "'EndOne' is missing"},
    {"WithoutEndTwo", addition(endOne), 4, "'EndTwo' is missing"},
    {"NullEndOne", addition({{"EndOne", ""}, endTwo[0]}), 4, "'EndOne' is missing"},
    {"NullEndTwo", addition({{"EndTwo", ""}, endOne[0]}), 4, "'EndTwo' is missing"},
    {"MissingEndBeforeUnknownClass", addition(unknown + endOne), 4, "'EndTwo' is missing"},
    {"UnknownEndOne", addition(endTwo + IParameters{{"EndOne", className("EX_Nothing")}}), 5, "EX_Nothing"},
    {"UnknownEndTwo", addition(endOne + IParameters{{"EndTwo", instanceName("EX_Nothing", "a")}}), 5,
     "EX_Nothing"},
    {"EmptyEnd", addition(endOne + IParameters{{"EndTwo", value("")}}), 5, "there is no class ''"},
    {"EndOfAnotherFormBeforeUnknownClass",
     addition(unknown + endOne + IParameters{{"EndTwo", array({"EX_Thing"})}}), 4,
     "'EndTwo' must hold CLASSNAME"},
    {"FilterOfNothingBeforeUnknownClass", change(unknown + IParameters{{"Filter", array({})}}), 4,
     "'Filter' names no property"},
    {"FilterOfAnInstanceBeforeUnknownClass",
     change(unknown + IParameters{{"Filter", instanceName("EX_Thing", "a")}}), 4,
     "'Filter' must hold CLASSNAME"},
    {"EndWithoutKeys", addition(endOne + IParameters{{"EndTwo", "<INSTANCENAME CLASSNAME=\"EX_Thing\"/>"}}),
     4, "Id"},
    {"EndAsReference",
     addition(endOne + IParameters{{"EndTwo", "<VALUE.REFERENCE>" + instanceName("EX_Thing", "a") +
                                                  "</VALUE.REFERENCE>"}}),
     4, "'EndTwo' must hold CLASSNAME"},
};

class SubscriptionRefusals : public RequestTest, public testing::WithParamInterface<RefusalCase> {};

}  // namespace

TEST_P(SubscriptionRefusals, NameWhatIsWrong_AndReachNoManager) {
    for (const char* operation : {"Subscribe", "Unsubscribe"}) {
        const Answer answer = call(operation, GetParam().parameters);
        EXPECT_EQ(answer.code(), GetParam().code);
        EXPECT_THAT(answer.description(), HasSubstr(GetParam().text));
    }
    EXPECT_THAT(manager.calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Parameters, SubscriptionRefusals, testing::ValuesIn(refusalCases),
                         [](const auto& row) { return row.param.name; });

// What the manager throws.

using SubscriptionFaults = RequestTest;

TEST_F(SubscriptionFaults, KeepTheStatusOfTheManager_WhenItThrowsOne) {
    manager.fault = [] {
        throw CIMOMException("CIndicationManager", "The Class X is not a recognized class.", 5);
    };
    for (const char* operation : {"Subscribe", "Unsubscribe"}) {
        const Answer answer = call(operation, creation({ofClass("EX_Thing")}));
        EXPECT_EQ(answer.code(), 5);
        EXPECT_EQ(answer.description(), "CIM_ERR_INVALID_CLASS: The Class X is not a recognized class.");
    }
}

TEST_F(SubscriptionFaults, BecomeOne_WhenTheNumberIsNoStatus) {
    for (const int code : {0, -1, 999, 18}) {
        manager.fault = [code] { throw CIMOMException("p", "odd", code); };
        const Answer answer = call("Subscribe", creation({}));
        EXPECT_EQ(answer.code(), 1);
        EXPECT_EQ(answer.description(), "CIM_ERR_FAILED: odd");
    }
}

TEST_F(SubscriptionFaults, TellThatTheSubscriptionStands_WhenAProviderFails) {
    const LogCapture log;
    const std::string expected =
        "the subscription stands, but a provider that was asked to watch failed: no more watches";
    for (const IParameters& parameters : {creation({}), change(thing)}) {
        manager.fault = [] { throw std::runtime_error("no more watches"); };
        const Answer answer = call("Subscribe", parameters);
        EXPECT_EQ(answer.code(), 1);
        EXPECT_EQ(answer.description(), "CIM_ERR_FAILED: " + expected);
        manager.fault = [] { throw 5; };
        EXPECT_THAT(call("Subscribe", parameters).description(),
                    HasSubstr("an exception of an unknown type"));
    }
    EXPECT_EQ(log.records().size(), 4U);
    EXPECT_EQ(log.count("Subscribe failed: " + expected), 2U);
}

TEST_F(SubscriptionFaults, AreTheServersOwn_WhenUnsubscribingFails) {
    const LogCapture log;
    manager.fault = [] { throw std::runtime_error("a detail of the inside"); };
    const Answer answer = call("Unsubscribe", creation({}));
    EXPECT_EQ(answer.code(), 1);
    EXPECT_EQ(answer.description(), "CIM_ERR_FAILED: an internal error");
    EXPECT_EQ(log.count("Unsubscribe failed: a detail of the inside"), 1U);
}

TEST_F(SubscriptionFaults, QuoteNothingThatBreaksTheDocument) {
    manager.fault = [] { throw std::runtime_error("<\"&\r\n\x01\xFF'>"); };
    const Answer answer = call("Subscribe", creation({}));
    EXPECT_THAT(answer.description(),
                testing::EndsWith("&lt;&quot;&amp;&#13;&#10;\xEF\xBF\xBD\xEF\xBF\xBD'&gt;"));
}

TEST_F(SubscriptionFaults, HeartBeat_AnswersNothing_AndTakesNothingMore) {
    const Answer answer = call("HeartBeat", me);
    EXPECT_THAT(answer.http.body, testing::EndsWith("<SIMPLERSP><IMETHODRESPONSE NAME=\"HeartBeat\">"
                                                    "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>"));
    EXPECT_THAT(manager.calls(), ElementsAre("heartBeat listener.example:5990 (7)"));
    for (const char* operation : {"HeartBeat", "RegisterNotificationChannel"}) {
        EXPECT_EQ(call(operation, creation({})).code(), 4);
    }
}

}  // namespace velm::test
