#include "tests/unit/velmd/requests/RequestSupport.h"

#include "tests/support/DTDCheck.h"
#include "velmd/model/CIMName.h"
#include "velmd/wire/CIMReader.h"

#include <algorithm>

namespace velm::test {

namespace {

constexpr const char* thingClass =
    R"(<CLASS NAME="EX_Thing"><QUALIFIER NAME="Description" TYPE="string" TRANSLATABLE="true"><VALUE>A thing</VALUE></QUALIFIER>)"
    R"(<PROPERTY NAME="Id" TYPE="string"><QUALIFIER NAME="Key" TYPE="boolean" OVERRIDABLE="false"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>)"
    R"(<PROPERTY NAME="Caption" TYPE="string"><VALUE>none</VALUE></PROPERTY>)"
    R"(<PROPERTY NAME="Size" TYPE="uint32"/><PROPERTY.ARRAY NAME="Tags" TYPE="string"/>)"
    R"(<METHOD NAME="Reset" TYPE="uint32"><PARAMETER NAME="Force" TYPE="boolean"/></METHOD></CLASS>)";

constexpr const char* declarations =
    R"(<CIM CIMVERSION="2.0" DTDVERSION="2.0"><DECLARATION><DECLGROUP>)"
    R"(<QUALIFIER.DECLARATION NAME="Key" TYPE="boolean" OVERRIDABLE="false"><SCOPE PROPERTY="true" REFERENCE="true"/><VALUE>FALSE</VALUE></QUALIFIER.DECLARATION>)"
    R"(<QUALIFIER.DECLARATION NAME="Description" TYPE="string" TRANSLATABLE="true"><SCOPE CLASS="true"/></QUALIFIER.DECLARATION>)"
    R"(<QUALIFIER.DECLARATION NAME="Abstract" TYPE="boolean" TOSUBCLASS="false"><SCOPE CLASS="true"/><VALUE>FALSE</VALUE></QUALIFIER.DECLARATION>)"
    R"(<QUALIFIER.DECLARATION NAME="Association" TYPE="boolean" OVERRIDABLE="false"><SCOPE ASSOCIATION="true"/><VALUE>FALSE</VALUE></QUALIFIER.DECLARATION>)"
    R"(<VALUE.OBJECT><CLASS NAME="EX_Part" SUPERCLASS="EX_Thing"><PROPERTY NAME="Caption" TYPE="string"><VALUE>a part</VALUE></PROPERTY>)"
    R"(<PROPERTY NAME="Weight" TYPE="real32"/></CLASS></VALUE.OBJECT>)"
    R"(<VALUE.OBJECT><CLASS NAME="EX_Sealed"><QUALIFIER NAME="Abstract" TYPE="boolean" TOSUBCLASS="false"><VALUE>TRUE</VALUE></QUALIFIER>)"
    R"(<PROPERTY NAME="Id" TYPE="string"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY></CLASS></VALUE.OBJECT>)"
    R"(<VALUE.OBJECT><CLASS NAME="EX_Link"><QUALIFIER NAME="Association" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER>)"
    R"(<PROPERTY.REFERENCE NAME="Antecedent" REFERENCECLASS="EX_Thing"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY.REFERENCE>)"
    R"(<PROPERTY.REFERENCE NAME="Dependent" REFERENCECLASS="EX_Thing"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY.REFERENCE>)"
    R"(<PROPERTY NAME="Note" TYPE="string"/></CLASS></VALUE.OBJECT>)"
    R"(<VALUE.OBJECT><CLASS NAME="EX_StrongLink" SUPERCLASS="EX_Link"/></VALUE.OBJECT>)"
    R"(<VALUE.OBJECT><CLASS NAME="EX_File"><PROPERTY NAME="Path" TYPE="string"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>)"
    R"(<PROPERTY NAME="Drive" TYPE="uint16"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>)"
    R"(<PROPERTY NAME="Size" TYPE="uint64"/><PROPERTY.REFERENCE NAME="Owner" REFERENCECLASS="EX_Thing"/></CLASS></VALUE.OBJECT>)"
    R"(<VALUE.OBJECT><CLASS NAME="EX_TextFile" SUPERCLASS="EX_File"><PROPERTY NAME="Lines" TYPE="uint32"/></CLASS></VALUE.OBJECT>)"
    R"(<VALUE.OBJECT><CLASS NAME="EX_Holding"><QUALIFIER NAME="Association" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER>)"
    R"(<PROPERTY.REFERENCE NAME="Holder" REFERENCECLASS="EX_Thing"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY.REFERENCE>)"
    R"(<PROPERTY.REFERENCE NAME="Held" REFERENCECLASS="EX_File"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY.REFERENCE>)"
    R"(</CLASS></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>)";

constexpr const char* foreignClass = R"(<CLASS NAME="EX_Foreign" SUPERCLASS="EX_Thing"/>)";

CIMClass classFrom(const char* xml) {
    return readClass(readXMLTree(xml, 0, 100));
}

void fill(Repository& repository) {
    repository.createNamespace("root/Test");
    CIMDeclarations read = readDeclarations(readXMLTree(declarations, 0, 100));
    read.classes.insert(read.classes.begin(), classFrom(thingClass));
    repository.import("root/Test", {std::move(read.qualifiers), std::move(read.classes), {}});
    repository.createNamespace("root/Other");
    repository.createClass("root/Other", classFrom(thingClass));
    repository.createClass("root/Other", classFrom(foreignClass));
}

/// What stands between the first `begin` and the `end` behind it; `otherwise` without them.
std::string between(const std::string& text, const std::string& begin, const std::string& end,
                    const std::string& otherwise) {
    const auto from = text.find(begin);
    const auto to = from == std::string::npos ? from : text.find(end, from + begin.size());
    return to == std::string::npos ? otherwise : text.substr(from + begin.size(), to - from - begin.size());
}

std::string localNamespacePath(std::string_view nameSpace) {
    std::string xml = "<LOCALNAMESPACEPATH>";
    while (!nameSpace.empty()) {
        const std::string_view part = nameSpace.substr(0, nameSpace.find('/'));
        xml += "<NAMESPACE NAME=\"" + std::string(part) + "\"/>";
        nameSpace.remove_prefix(std::min(part.size() + 1, nameSpace.size()));
    }
    return xml + "</LOCALNAMESPACEPATH>";
}

}  // namespace

std::string Answer::header(std::string_view name) const {
    for (const auto& [other, value] : http.headers) {
        if (sameName(other, name)) {
            return value;
        }
    }
    return "none";
}

int Answer::code() const {
    return std::stoi(between(http.body, "<ERROR CODE=\"", "\"", "0"));
}

std::string Answer::description() const {
    return between(http.body, "DESCRIPTION=\"", "\"></ERROR>", "");
}

std::string Answer::returned() const {
    return between(http.body, "<IRETURNVALUE>", "</IRETURNVALUE>", "nothing");
}

void PrintTo(const Answer& answer, std::ostream* out) {
    *out << answer.http.status << ' ' << answer.header("CIMError") << ' ' << answer.header("CIMErrorDetails")
         << ' ' << answer.http.body;
}

IParameters operator+(IParameters left, const IParameters& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

IParameters subscriber(const std::string& host, const std::string& port, const std::string& session) {
    return {{"SubscriberHost", value(host)}, {"SubscriberPort", value(port)}, {"SessionID", value(session)}};
}

std::string message(const std::string& content, const std::string& id) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE "
           "ID=\"" +
           id + "\" PROTOCOLVERSION=\"1.0\">" + content + "</MESSAGE></CIM>";
}

std::string intrinsicCall(const std::string& method, const IParameters& parameters,
                          const std::string& nameSpace) {
    std::string xml = "<SIMPLEREQ><IMETHODCALL NAME=\"" + method + "\">" + localNamespacePath(nameSpace);
    for (const auto& [name, content] : parameters) {
        xml += "<IPARAMVALUE NAME=\"" + name + "\">" + content + "</IPARAMVALUE>";
    }
    return message(xml + "</IMETHODCALL></SIMPLEREQ>");
}

HTTPRequest post(const std::string& body, const std::string& method, const std::string& nameSpace) {
    HTTPRequest request;
    request.method = "POST";
    request.target = "/cimom";
    request.headers = {{"Host", "127.0.0.1:5988"},
                       {"Content-Type", "application/xml; charset=\"utf-8\""},
                       {"CIMOperation", "MethodCall"},
                       {"CIMMethod", method},
                       {"CIMObject", nameSpace}};
    request.body = body;
    request.localAddress = "127.0.0.9";
    request.localPort = 5988;
    return request;
}

HTTPRequest withHeader(HTTPRequest request, const std::string& name, const std::string& value) {
    std::erase_if(request.headers, [&name](const auto& header) { return sameName(header.first, name); });
    if (value != "-") {
        request.headers.emplace_back(name, value);
    }
    return request;
}

std::string value(const std::string& text) {
    return "<VALUE>" + text + "</VALUE>";
}

std::string array(const std::vector<std::string>& texts) {
    std::string xml = "<VALUE.ARRAY>";
    for (const std::string& text : texts) {
        xml += value(text);
    }
    return xml + "</VALUE.ARRAY>";
}

std::string className(const std::string& name) {
    return "<CLASSNAME NAME=\"" + name + "\"></CLASSNAME>";
}

std::string keyBinding(const std::string& name, const std::string& text, const std::string& type) {
    const std::string kind = type == "string" ? "string" : "numeric";
    return "<KEYBINDING NAME=\"" + name + "\"><KEYVALUE VALUETYPE=\"" + kind + "\" TYPE=\"" + type + "\">" +
           text + "</KEYVALUE></KEYBINDING>";
}

std::string instanceName(const std::string& className, const std::string& id) {
    return "<INSTANCENAME CLASSNAME=\"" + className + "\">" + keyBinding("Id", id) + "</INSTANCENAME>";
}

namespace {

std::string valueReference(const std::string& className, const std::string& id) {
    return "<VALUE.REFERENCE><LOCALINSTANCEPATH>" + localNamespacePath("root/Test") +
           instanceName(className, id) + "</LOCALINSTANCEPATH></VALUE.REFERENCE>";
}

}  // namespace

std::string linkName(const std::string& antecedent, const std::string& dependent,
                     const std::string& className) {
    return "<INSTANCENAME CLASSNAME=\"" + className + "\"><KEYBINDING NAME=\"Antecedent\">" +
           valueReference("EX_Thing", antecedent) + "</KEYBINDING><KEYBINDING NAME=\"Dependent\">" +
           valueReference("EX_Thing", dependent) + "</KEYBINDING></INSTANCENAME>";
}

std::string property(const std::string& name, const std::string& text, const std::string& type) {
    return "<PROPERTY NAME=\"" + name + "\" TYPE=\"" + type + "\">" + value(text) + "</PROPERTY>";
}

std::string reference(const std::string& name, const std::string& id, const std::string& className) {
    return "<PROPERTY.REFERENCE NAME=\"" + name + "\">" + valueReference(className, id) +
           "</PROPERTY.REFERENCE>";
}

std::string instance(const std::string& className, const std::string& content) {
    return "<INSTANCE CLASSNAME=\"" + className + "\">" + content + "</INSTANCE>";
}

std::string namespacePath(const std::string& nameSpace) {
    return "<NAMESPACEPATH><HOST>host.example</HOST>" + localNamespacePath(nameSpace) + "</NAMESPACEPATH>";
}

std::string objectPath(const std::string& instanceName) {
    return "<OBJECTPATH><INSTANCEPATH>" + namespacePath() + instanceName + "</INSTANCEPATH></OBJECTPATH>";
}

RequestTest::RequestTest()
    : repository(folder.file("repository.db")),
      providers("root/Test",
                [this](std::string_view className, std::string_view ancestor) {
                    const auto found = repository.find("root/Test").classes->find(className);
                    return found && found->isA(ancestor);
                }),
      instances(repository, providers, "root/Test", 30),
      handler({repository, instances, manager, "host.example",
               [this](std::string_view nameSpace, const ResolvedClass& made) {
                   const std::lock_guard guard(createdLock);
                   created.push_back(std::string(nameSpace) + ":" + made.name());
               }},
              {}) {
    fill(repository);
    providers.add("scripted", provider, {"ex_file", "EX_Holding"});
}

RequestTest::~RequestTest() = default;

Answer RequestTest::send(const HTTPRequest& request) {
    Answer answer{handler.handle(request)};
    if (answer.http.status == 200 && !answer.http.body.empty()) {
        EXPECT_EQ(dtdProblem(answer.http.body), "") << answer.http.body;
        EXPECT_EQ(answer.header("Content-Type"), "application/xml; charset=utf-8");
        EXPECT_EQ(answer.header("CIMOperation"), "MethodResponse");
    }
    return answer;
}

Answer RequestTest::call(const std::string& method, const IParameters& parameters,
                         const std::string& nameSpace) {
    return send(post(intrinsicCall(method, parameters, nameSpace), method, nameSpace));
}

void RequestTest::create(const std::string& instance, const std::string& nameSpace) {
    const Answer answer = call("CreateInstance", {{"NewInstance", instance}}, nameSpace);
    ASSERT_EQ(answer.code(), 0) << answer.http.body;
}

void RequestTest::createThing(const std::string& id, const std::string& more) {
    create(instance("EX_Thing", property("Id", id) + more));
}

void RequestTest::createLink(const std::string& antecedent, const std::string& dependent,
                             const std::string& className) {
    create(instance(className, reference("Antecedent", antecedent) + reference("Dependent", dependent)));
}

}  // namespace velm::test
