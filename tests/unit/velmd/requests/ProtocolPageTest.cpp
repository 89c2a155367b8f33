#include "CIMOM_Indications/CIMOMClassManager.h"
#include "Indications/IndicationManager.h"
#include "foundation/services/VELMConfigManager.h"
#include "tests/support/DTDCheck.h"
#include "tests/unit/server/services/TemporaryFolder.h"
#include "velmd/providers/ProviderTable.h"
#include "velmd/repository/RegistryClasses.h"
#include "velmd/requests/Instances.h"
#include "velmd/requests/RequestHandler.h"
#include "velmd/wire/CIMReader.h"

#include <array>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include <boost/algorithm/string/replace.hpp>
#include <gtest/gtest.h>

// The page for authors of clients, played against the handler with the classes that the server ships and a
// real indication manager: what it says is sent is sent, and what it says is answered must be answered.

namespace velm::test {

namespace {

constexpr const char* routed = "root/kob/talmora";

/// A fenced block of the page.
struct Block {
    std::string kind;
    std::string text;

    bool isRequest() const { return text.find("<SIMPLEREQ>") != std::string::npos; }
};

std::vector<Block> blocksOf(const std::string& file) {
    std::ifstream page(file);
    std::vector<Block> blocks;
    bool isInside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("```")) {
            isInside = !isInside;
            if (isInside) {
                blocks.push_back({line.substr(3), ""});
            }
        } else if (isInside) {
            blocks.back().text += (blocks.back().text.empty() ? "" : "\n") + line;
        }
    }
    return blocks;
}

/// An HTTP message as the page writes it, with line feeds only.
struct PageMessage {
    std::string startLine;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    explicit PageMessage(const std::string& text) {
        std::istringstream lines(text);
        std::getline(lines, startLine);
        for (std::string line; std::getline(lines, line) && !line.empty();) {
            const auto colon = line.find(": ");
            headers.emplace_back(line.substr(0, colon), line.substr(colon + 2));
        }
        body = text.substr(text.find("\n\n") + 2);
    }

    std::string header(const std::string& name) const {
        for (const auto& [other, value] : headers) {
            if (other == name) {
                return value;
            }
        }
        return "none";
    }
};

std::string methodIn(const std::string& body) {
    const std::string mark = "IMETHODCALL NAME=\"";
    const auto found = body.find(mark);
    const auto first = found + mark.size();
    return found == std::string::npos ? "none" : body.substr(first, body.find('"', first) - first);
}

HTTPRequest requestOf(const Block& block) {
    HTTPRequest request;
    request.localAddress = "127.0.0.1";
    request.localPort = 5988;
    request.method = "POST";
    request.target = "/cimom";
    if (block.kind == "http") {
        const PageMessage message(block.text);
        EXPECT_EQ(message.startLine, "POST /cimom HTTP/1.1");
        EXPECT_EQ(message.header("Content-Length"), std::to_string(message.body.size()));
        request.headers = message.headers;
        request.body = message.body;
    } else {
        request.headers = {{"Content-Type", "application/xml; charset=\"utf-8\""},
                           {"CIMOperation", "MethodCall"},
                           {"CIMMethod", methodIn(block.text)},
                           {"CIMObject", routed}};
        request.body = block.text;
    }
    EXPECT_EQ(dtdProblem(request.body), "") << request.body;
    return request;
}

std::string responseText(const HTTPResponse& response) {
    std::string text = "HTTP/1.1 " + std::to_string(response.status) + " OK\n";
    for (const auto& [name, value] : response.headers) {
        text += name + ": " + value + "\n";
    }
    return text + "Content-Length: " + std::to_string(response.body.size()) + "\n\n" + response.body;
}

/// What is written on the connection up to the end of the document.
std::string takenOver(const HTTPResponse& response) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    response.takeOver(ends[1]);
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t size = 1; size > 0 && !text.ends_with("</CIM>");) {
        size = ::recv(ends[0], buffer.data(), buffer.size(), 0);
        text.append(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0U);
    }
    ::close(ends[0]);
    return boost::algorithm::replace_all_copy(text, "\r\n", "\n");
}

/// The request with another type of indication, or with another method.
Block changed(Block request, const std::string& from, const std::string& to) {
    boost::algorithm::replace_all(request.text, from, to);
    request.kind = "xml";
    return request;
}

Block bodyOf(const Block& request) {
    return {"xml", PageMessage(request.text).body};
}

/// The identity of a run is a time.
std::string withoutSession(const std::string& text) {
    constexpr std::size_t digits = 10;
    const std::string opening = "<VALUE>";
    for (auto found = text.find(opening); found != std::string::npos; found = text.find(opening, found + 1)) {
        const auto first = found + opening.size();
        const auto end = text.find_first_not_of("0123456789", first);
        if (end == first + digits) {
            return text.substr(0, first) + "SESSION" + text.substr(end);
        }
    }
    return text;
}

class ProtocolPage : public testing::Test {
protected:
    ProtocolPage()
        : _repository(_folder.file("repository.db")),
          _providers(routed, [](std::string_view, std::string_view) { return false; }),
          _instances(_repository, _providers, routed, 30) {
        _repository.createNamespace(routed);
        CIMDeclarations shipped =
            readDeclarations(readXMLTreeFromFile(VELM_SOURCE_DIR "/velmd/schema/shipped.xml", 0, 64));
        _repository.import(routed, {std::move(shipped.qualifiers), std::move(shipped.classes), {}});
        CCIMOMClassManager::initialize(ORVSmrPtr<IOrvoRepository>(new RegistryClasses(_repository)));
        VELMConfigManager::getInstance()->setString("Log", "LogDir", _folder.file("").c_str());
        _manager = std::make_unique<CIndicationManager>(_providers);
        _handler = std::make_unique<RequestHandler>(
            RequestHandler::Parts{_repository, _instances, *_manager, "host.example",
                                  [](std::string_view, const ResolvedClass&) {}},
            MessageLimits());
    }

    /// The whole response as the page writes it.
    std::string play(const Block& request) {
        const HTTPResponse response = _handler->handle(requestOf(request));
        const std::string text = response.takeOver ? takenOver(response) : responseText(response);
        expectValidMessage(PageMessage(text).body);
        return withoutSession(text);
    }

    /// TRUE, rather than FALSE.
    bool answersTrue(const Block& request) {
        const std::string answered = play(request);
        EXPECT_NE(answered.find("</VALUE></IRETURNVALUE>"), std::string::npos) << answered;
        return answered.find("<VALUE>TRUE</VALUE>") != std::string::npos;
    }

private:
    const TemporaryFolder _folder;
    Repository _repository;
    ProviderTable _providers;
    Instances _instances;
    std::unique_ptr<CIndicationManager> _manager;
    std::unique_ptr<RequestHandler> _handler;
};

}  // namespace

TEST_F(ProtocolPage, TellsTheTruth) {
    const std::vector<Block> blocks = blocksOf(VELM_SOURCE_DIR "/docs/protocol.md");
    std::vector<std::string> played;
    for (std::size_t position = 0; position < blocks.size(); ++position) {
        if (!blocks[position].isRequest()) {
            continue;
        }
        ASSERT_LT(position + 1, blocks.size()) << "a request without a response";
        const Block& expected = blocks[position + 1];
        SCOPED_TRACE(blocks[position].text);
        const std::string answered = play(blocks[position]);
        const std::string documented = withoutSession(expected.text);
        EXPECT_EQ(expected.kind == "http" ? answered : PageMessage(answered).body, documented);
        played.push_back(methodIn(blocks[position].text));
    }
    EXPECT_EQ(played, (std::vector<std::string>{"Subscribe", "Unsubscribe", "RegisterNotificationChannel",
                                                "HeartBeat", "LogIndications", "PlaceMarker",
                                                "ClearIndicationsLog"}));
}

TEST_F(ProtocolPage, TellsTheTruth_ThatSubscriptionsAreCounted) {
    const Block page = bodyOf(blocksOf(VELM_SOURCE_DIR "/docs/protocol.md").front());
    const auto start = page.text.find("<IPARAMVALUE NAME=\"Filter\">");
    const std::string filter = page.text.substr(start, page.text.find('\n', start) - start);
    const Block filtered = page;
    const Block unfiltered = changed(page, filter, "");
    const Block creation = changed(unfiltered, "Change", "Creation");
    for (const Block& subscribe : {filtered, unfiltered, creation}) {
        SCOPED_TRACE(subscribe.text);
        const Block unsubscribe = changed(subscribe, "\"Subscribe\"", "\"Unsubscribe\"");
        EXPECT_TRUE(answersTrue(subscribe));
        EXPECT_TRUE(answersTrue(subscribe));
        EXPECT_TRUE(answersTrue(unsubscribe));
        EXPECT_TRUE(answersTrue(unsubscribe));
        EXPECT_FALSE(answersTrue(unsubscribe));
    }
}

}  // namespace velm::test
