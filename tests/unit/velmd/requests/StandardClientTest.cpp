#include "tests/unit/velmd/requests/RequestSupport.h"
#include "velmd/wire/CIMReader.h"

// What clients in the field send, in the order in which they send it: the objects of a standard subscription
// are ordinary instances here, and a client that manages them must find its way.

namespace velm::test {

namespace {

using testing::HasSubstr;

std::string keyProperty(const std::string& name) {
    return "<PROPERTY NAME=\"" + name +
           "\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" "
           "TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>";
}

std::string keyReference(const std::string& name, const std::string& className) {
    return "<PROPERTY.REFERENCE NAME=\"" + name + "\" REFERENCECLASS=\"" + className +
           "\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY.REFERENCE>";
}

const std::string systemKeys = keyProperty("SystemCreationClassName") + keyProperty("SystemName") +
                               keyProperty("CreationClassName") + keyProperty("Name");

const std::string destinationClass = "<CLASS NAME=\"CIM_ListenerDestinationCIMXML\">" + systemKeys +
                                     "<PROPERTY NAME=\"Destination\" TYPE=\"string\"/>"
                                     "<PROPERTY NAME=\"PersistenceType\" TYPE=\"uint16\"/></CLASS>";
const std::string filterClass = "<CLASS NAME=\"CIM_IndicationFilter\">" + systemKeys +
                                "<PROPERTY.ARRAY NAME=\"SourceNamespaces\" TYPE=\"string\"/>"
                                "<PROPERTY NAME=\"Query\" TYPE=\"string\"/></CLASS>";
const std::string subscriptionClass =
    "<CLASS NAME=\"CIM_IndicationSubscription\"><QUALIFIER NAME=\"Association\" "
    "TYPE=\"boolean\"><VALUE>TRUE</VALUE>"
    "</QUALIFIER>" +
    keyReference("Filter", "CIM_IndicationFilter") +
    keyReference("Handler", "CIM_ListenerDestinationCIMXML") +
    "<PROPERTY NAME=\"SubscriptionDuration\" TYPE=\"uint64\"/></CLASS>";

std::string systemProperties(const std::string& className, const std::string& name) {
    return property("SystemCreationClassName", "CIM_ComputerSystem") +
           property("SystemName", "host.example.org") + property("CreationClassName", className) +
           property("Name", name);
}

/// In canonical order, and with TYPE or as an older client writes it.
std::string systemName(const std::string& className, const std::string& name, bool withTypes = true) {
    std::string xml = "<INSTANCENAME CLASSNAME=\"" + className + "\">";
    for (const auto& [key, text] : {std::pair<std::string, std::string>("CreationClassName", className),
                                    {"Name", name},
                                    {"SystemCreationClassName", "CIM_ComputerSystem"},
                                    {"SystemName", "host.example.org"}}) {
        xml += withTypes ? keyBinding(key, text)
                         : "<KEYBINDING NAME=\"" + key + "\"><KEYVALUE>" + text + "</KEYVALUE></KEYBINDING>";
    }
    return xml + "</INSTANCENAME>";
}

std::string localPath(const std::string& name) {
    return "<LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"interop\"/></LOCALNAMESPACEPATH>" +
           name + "</LOCALINSTANCEPATH>";
}

std::string hostPath(const std::string& name, const std::string& host) {
    return "<INSTANCEPATH><NAMESPACEPATH><HOST>" + host +
           "</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"interop\"/></LOCALNAMESPACEPATH></NAMESPACEPATH>" +
           name + "</INSTANCEPATH>";
}

std::string referenceProperty(const std::string& name, const std::string& path) {
    return "<PROPERTY.REFERENCE NAME=\"" + name + "\"><VALUE.REFERENCE>" + path +
           "</VALUE.REFERENCE></PROPERTY.REFERENCE>";
}

const std::string destination = systemName("CIM_ListenerDestinationCIMXML", "dest-1");
const std::string filter = systemName("CIM_IndicationFilter", "example:filter-1");

std::string subscriptionName(const std::string& filterPath, const std::string& handlerPath) {
    return "<INSTANCENAME CLASSNAME=\"CIM_IndicationSubscription\"><KEYBINDING "
           "NAME=\"Filter\"><VALUE.REFERENCE>" +
           filterPath + "</VALUE.REFERENCE></KEYBINDING><KEYBINDING NAME=\"Handler\"><VALUE.REFERENCE>" +
           handlerPath + "</VALUE.REFERENCE></KEYBINDING></INSTANCENAME>";
}

const std::string subscription = subscriptionName(localPath(filter), localPath(destination));

class StandardClient : public RequestTest {
protected:
    StandardClient() {
        repository.createNamespace("interop");
        for (const std::string& declaration : {destinationClass, filterClass, subscriptionClass}) {
            repository.createClass("interop", readClass(readXMLTree(declaration, 0, 64)));
        }
    }

    Answer ask(const std::string& method, const IParameters& parameters) {
        return call(method, parameters, "interop");
    }

    void createBoth() {
        create(instance("CIM_ListenerDestinationCIMXML",
                        systemProperties("CIM_ListenerDestinationCIMXML", "dest-1") +
                            property("Destination", "https://[2001:db8::7]:25989/") +
                            property("PersistenceType", "2", "uint16")),
               "interop");
        create(instance("CIM_IndicationFilter",
                        systemProperties("CIM_IndicationFilter", "example:filter-1") +
                            property("Query",
                                     "SELECT * FROM CIM_AlertIndication WHERE PerceivedSeverity &gt;= 5") +
                            "<PROPERTY.ARRAY NAME=\"SourceNamespaces\" TYPE=\"string\"><VALUE.ARRAY>"
                            "<VALUE>root/cimv2</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"),
               "interop");
    }
};

}  // namespace

TEST_F(StandardClient, ManagesTheObjectsOfASubscription_FromBeginningToEnd) {
    for (const char* name :
         {"CIM_ListenerDestinationCIMXML", "CIM_IndicationFilter", "CIM_IndicationSubscription"}) {
        EXPECT_EQ(ask("EnumerateInstances", {{"ClassName", className(name)}}).returned(), "");
    }
    createBoth();
    EXPECT_EQ(ask("EnumerateInstanceNames", {{"ClassName", className("CIM_IndicationFilter")}}).returned(),
              filter);
    const Answer answer = ask(
        "CreateInstance",
        {{"NewInstance",
          instance("CIM_IndicationSubscription", referenceProperty("Filter", localPath(filter)) +
                                                     referenceProperty("Handler", localPath(destination)) +
                                                     property("SubscriptionDuration", "3600", "uint64"))}});
    // Clients recognise their own by these paths, which are local.
    EXPECT_EQ(answer.returned(), subscription);
    EXPECT_THAT(
        ask("GetInstance", {{"InstanceName", answer.returned()}}).returned(),
        HasSubstr("<PROPERTY.REFERENCE NAME=\"Handler\" REFERENCECLASS=\"CIM_ListenerDestinationCIMXML\">"
                  "<VALUE.REFERENCE>" +
                  localPath(destination) + "</VALUE.REFERENCE></PROPERTY.REFERENCE>"));
    const IParameters ofFilter{{"ObjectName", filter},
                               {"ResultClass", className("CIM_IndicationSubscription")}};
    EXPECT_EQ(ask("ReferenceNames", ofFilter).returned(),
              "<OBJECTPATH>" + hostPath(subscription, "host.example") + "</OBJECTPATH>");
    EXPECT_EQ(ask("DeleteInstance", {{"InstanceName", subscription}}).returned(), "nothing");
    EXPECT_EQ(ask("ReferenceNames", ofFilter).returned(), "");
    EXPECT_EQ(ask("DeleteInstance", {{"InstanceName", filter}}).code(), 0);
    EXPECT_EQ(ask("DeleteInstance", {{"InstanceName", destination}}).code(), 0);
}

TEST_F(StandardClient, MayWriteReferencesWithAHostAndKeysWithoutTypes) {
    createBoth();
    const std::string hosted =
        hostPath(systemName("CIM_IndicationFilter", "example:filter-1", false), "127.0.0.1");
    const std::string bare = systemName("CIM_ListenerDestinationCIMXML", "dest-1", false);
    EXPECT_EQ(
        ask("CreateInstance", {{"NewInstance", instance("CIM_IndicationSubscription",
                                                        "<QUALIFIER NAME=\"Association\" TYPE=\"boolean\">"
                                                        "<VALUE>TRUE</VALUE></QUALIFIER>" +
                                                            referenceProperty("Handler", bare) +
                                                            referenceProperty("Filter", hosted))}})
            .returned(),
        subscription);
    EXPECT_EQ(
        ask("GetInstance", {{"InstanceName", subscriptionName(hosted, bare)}, {"PropertyList", array({})}})
            .returned(),
        instance("CIM_IndicationSubscription", ""));
}

TEST_F(StandardClient, MayRepeatItsMessageIDAndEncodeTheNamespace) {
    for (int count = 0; count < 2; ++count) {
        HTTPRequest request =
            post(intrinsicCall("EnumerateClassNames", {}, "interop"), "EnumerateClassNames");
        request = withHeader(withHeader(request, "CIMObject", "%69nterop"), "CIMProtocolVersion", "1.0");
        EXPECT_EQ(send(withHeader(request, "Connection", "Keep-Alive, TE")).code(), 0);
    }
}

TEST_F(StandardClient, AsksForNamespacesThatAreNotThere_AndLearnsWhichOnesAre) {
    const IParameters namespaces{{"ClassName", className("CIM_Namespace")}};
    EXPECT_EQ(call("EnumerateInstanceNames", namespaces, "root/interop").code(), 3);
    EXPECT_EQ(ask("EnumerateInstanceNames", namespaces).code(), 5);
}

}  // namespace velm::test
