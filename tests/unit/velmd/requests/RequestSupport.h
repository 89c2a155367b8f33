#pragma once

#include "tests/unit/server/services/TemporaryFolder.h"
#include "tests/unit/velmd/requests/RecordingManager.h"
#include "tests/unit/velmd/requests/ScriptedProvider.h"
#include "velmd/providers/ProviderTable.h"
#include "velmd/repository/Repository.h"
#include "velmd/requests/Instances.h"
#include "velmd/requests/RequestHandler.h"

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

/// Requests as clients send them, and what is answered.
namespace velm::test {

/// What came back.
struct Answer {
    HTTPResponse http;

    /// The value of a header; "none" without it.
    std::string header(std::string_view name) const;
    /// The CODE of ERROR; 0 without one.
    int code() const;
    /// Its DESCRIPTION as it stands in the document; empty without one.
    std::string description() const;
    /// What stands inside IRETURNVALUE; "nothing" without that element.
    std::string returned() const;
};

/// Shows status and body.
void PrintTo(const Answer& answer, std::ostream* out);

/// Name and content of each IPARAMVALUE.
using IParameters = std::vector<std::pair<std::string, std::string>>;
/// `left` and what `right` adds.
IParameters operator+(IParameters left, const IParameters& right);
/// The identity of a subscriber.
IParameters subscriber(const std::string& host, const std::string& port, const std::string& session);

/// SIMPLEREQ with an IMETHODCALL, in a whole message.
std::string intrinsicCall(const std::string& method, const IParameters& parameters,
                          const std::string& nameSpace = "root/test");
/// A message around `content`.
std::string message(const std::string& content, const std::string& id = "1001");

/// A POST with headers that fit an IMETHODCALL.
HTTPRequest post(const std::string& body, const std::string& method,
                 const std::string& nameSpace = "root/test");
/// Replaces the value of a header, adds the header, or with "-" takes it away.
HTTPRequest withHeader(HTTPRequest request, const std::string& name, const std::string& value);

// Elements.

std::string value(const std::string& text);
std::string array(const std::vector<std::string>& texts);
std::string className(const std::string& name);
std::string keyBinding(const std::string& name, const std::string& text, const std::string& type = "string");
/// One key, called Id.
std::string instanceName(const std::string& className, const std::string& id);
std::string linkName(const std::string& antecedent, const std::string& dependent,
                     const std::string& className = "EX_Link");
std::string property(const std::string& name, const std::string& text, const std::string& type = "string");
/// A reference to an EX_Thing.
std::string reference(const std::string& name, const std::string& id,
                      const std::string& className = "EX_Thing");
std::string instance(const std::string& className, const std::string& content);

/// As the server writes them.

/// OBJECTPATH around an INSTANCEPATH of root/Test.
std::string objectPath(const std::string& instanceName);
std::string namespacePath(const std::string& nameSpace = "root/Test");

/// A handler over a real repository. The namespace root/Test, which providers serve, holds:
///
///     EX_Thing (key Id; Caption, Size, Tags; the method Reset) - EX_Part (Weight; overrides Caption)
///     EX_Sealed, abstract (key Id)
///     EX_Link, association (keys Antecedent and Dependent, both EX_Thing; Note) - EX_StrongLink
///     EX_File (keys Path and Drive; Size; Owner, a reference to EX_Thing) - EX_TextFile (Lines)
///     EX_Holding, association (keys Holder: EX_Thing, Held: EX_File)
///
/// and the qualifier types Key, Description, Abstract and Association. A provider serves EX_File and
/// EX_Holding. The namespace root/Other holds EX_Thing and EX_Foreign, its subclass.
class RequestTest : public testing::Test {
protected:
    RequestTest();
    ~RequestTest() override;

    /// Every message that is answered is validated.
    Answer send(const HTTPRequest& request);
    Answer call(const std::string& method, const IParameters& parameters = {},
                const std::string& nameSpace = "root/test");

    // Without a fault, or the test fails.

    void create(const std::string& instance, const std::string& nameSpace = "root/test");
    void createThing(const std::string& id, const std::string& more = "");
    void createLink(const std::string& antecedent, const std::string& dependent,
                    const std::string& className = "EX_Link");

    /// Which classes were created, as the handler told.
    std::vector<std::string> created;
    std::mutex createdLock;

    const TemporaryFolder folder;
    Repository repository;
    ScriptedProvider provider;
    ProviderTable providers;
    RecordingManager manager;
    Instances instances;
    RequestHandler handler;
};

}  // namespace velm::test
