// The page of a real daemon that has listeners, one of which fails.

#include "tests/support/Browser.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"
#include "tests/unit/velmd/http/TestClient.h"

#include <memory>
#include <string>

#include <boost/json.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::test {

namespace {

namespace json = boost::json;
using testing::HasSubstr;
using testing::Not;

/// The tables have a blank before every 50th character of a name; here it comes before what matters.
constexpr const char* hostileIds[] = {
    "xxxxxxxxxxxxxxxxxxxxxxxxx&lt;img src=//127.0.0.1:PORT/&gt;",
    "xxxxxxxxxxxxxxxxxxxxxxxxx&lt;script&gt;document.title=1&lt;/script&gt;"};
constexpr const char* hostileError = "&lt;img src=//127.0.0.1:PORT/ onerror=document.title=1&gt;";

std::string withPort(std::string text, const ScriptedListener& listener) {
    for (auto found = text.find("PORT"); found != text.npos; found = text.find("PORT")) {
        text.replace(found, 4, listener.port());
    }
    return text;
}

std::string withCommas(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (auto place = digits.size(); place > 3; place -= 3) {
        digits.insert(place - 3, ",");
    }
    return digits;
}

/// The sum over all series of a metric.
std::uint64_t sumOf(const std::string& metrics, const std::string& name) {
    std::uint64_t sum = 0;
    for (auto line = metrics.find("\n" + name); line != metrics.npos;
         line = metrics.find("\n" + name, line + 1)) {
        const char next = metrics[line + 1 + name.size()];
        if (next == ' ' || next == '{') {
            sum += static_cast<std::uint64_t>(std::stod(metrics.substr(metrics.find(' ', line) + 1)));
        }
    }
    return sum;
}

/// The number on the page's card with this name.
std::string totalOn(const std::string& page, const std::string& card) {
    const std::string begin = "<span class=\"total\">";
    const auto found = page.find(begin, page.find("<span class=\"what\">" + card + "</span>")) + begin.size();
    return page.substr(found, page.find(" in all", found) - found);
}

/// Listeners that hear, one where nobody listens and one that answers with an error, all subscribed to items.
class VelmdPage : public testing::Test {
protected:
    void SetUp() override {
        VELM_SKIP_WITHOUT_BROWSER();
        velmd = std::make_unique<VelmdProcess>(directory.path());
        client = std::make_unique<WBEMClient>(velmd->port());
        ASSERT_EQ(client->call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
        complaining.setDefaultAnswer(errorAnswer(withPort(hostileError, victim)));
        for (const std::string& port : {first.port(), second.port(), refusing.port(), complaining.port()}) {
            subscribe(port, {{"IndicationType", value("Creation")}, {"ClassName", className("EX_Item")}});
        }
        for (const char* id : hostileIds) {
            subscribe(first.port(), {{"IndicationType", value("Change")},
                                     {"InstanceName", itemName("EX_Item", withPort(id, victim))}});
        }
    }

    void subscribe(const std::string& port, const WBEMClient::Parameters& wanted) {
        ASSERT_EQ(client->call("Subscribe", WBEMClient::subscriber(port) + wanted).status(), 0);
    }

    void createItems(int count) {
        for (int number = 0; number < count; ++number) {
            ASSERT_EQ(client
                          ->call("CreateInstance",
                                 {{"NewInstance", itemInstance("EX_Item", std::to_string(++_items))}})
                          .status(),
                      0);
        }
    }

    std::string get(const std::string& target) const {
        TestClient connection(velmd->port());
        connection.send("GET " + target + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        const std::string response = connection.receive();
        EXPECT_THAT(response, testing::StartsWith("HTTP/1.1 200 OK\r\n"));
        return response.substr(response.find("\r\n\r\n") + 4);
    }

    json::object status() const { return json::parse(get("/status.json")).as_object(); }

    std::string address(const std::string& target) const {
        return "http://127.0.0.1:" + std::to_string(velmd->port()) + target;
    }

    TemporaryDirectory directory;
    Browser browser;
    ScriptedListener first;
    ScriptedListener second;
    ScriptedListener complaining;
    /// Must not be called.
    ScriptedListener victim;
    RefusingPort refusing;
    std::unique_ptr<VelmdProcess> velmd;
    std::unique_ptr<WBEMClient> client;

private:
    int _items = 0;
};

}  // namespace

TEST_F(VelmdPage, AgreesWithTheStatus) {
    createItems(12);
    ASSERT_TRUE(first.waitForRequests(12) && second.waitForRequests(12));
    // The page and the status are two moments: both sides of the page must say the same.
    std::string page;
    json::object state;
    ASSERT_TRUE(holdsInTime([&] {
        state = status();
        page = browser.documentOf(address("/?refresh=off"));
        return state.at("subscribers") == status().at("subscribers");
    }));
    const std::string metrics = get("/metrics");
    for (const auto& [card, metric] : {std::pair("Reported", "velm_indications_reported_total"),
                                       std::pair("Delivered", "velm_indications_delivered_total"),
                                       std::pair("Failed", "velm_indications_failed_total"),
                                       std::pair("Dropped", "velm_indications_dropped_total")}) {
        EXPECT_GT(sumOf(metrics, metric), 0U) << metric;
        EXPECT_EQ(totalOn(page, card), withCommas(sumOf(metrics, metric))) << card;
    }
    const json::array& subscribers = state.at("subscribers").as_array();
    EXPECT_EQ(subscribers.size(), 4U);
    EXPECT_THAT(page, HasSubstr("<h1>Attention</h1>"));
    EXPECT_THAT(page, HasSubstr("1 of 4 subscribers is failing; 127.0.0.1:" + refusing.port()));
    EXPECT_THAT(page, HasSubstr("<dt>Subscribers</dt><dd>" + withCommas(subscribers.size())));
    EXPECT_THAT(
        page, HasSubstr("<dt>Classes</dt><dd>" + withCommas(state.at("classes").to_number<std::uint64_t>())));
    for (const json::value& each : subscribers) {
        const json::object& subscriber = each.as_object();
        const std::string name =
            "<bdi>127.0.0.1:" + std::string(subscriber.at("port").as_string()) + "</bdi>";
        ASSERT_THAT(page, HasSubstr(name));
        const auto begin = page.find(name);
        const std::string row = page.substr(begin, page.find("</tr>", begin) - begin);
        for (const auto& [label, key] : {std::pair("Waiting", "waiting"), std::pair("Delivered", "delivered"),
                                         std::pair("Failed", "failed"), std::pair("Dropped", "dropped")}) {
            const std::string number = withCommas(subscriber.at(key).to_number<std::uint64_t>());
            EXPECT_THAT(row, testing::ContainsRegex("data-label=\"" + std::string(label) +
                                                    "\" class=\"number( zero)?\">" + number + "</td>"));
        }
    }
}

TEST_F(VelmdPage, RunsNothing_WhateverInstancesAndErrorsAreCalled) {
    createItems(2);
    ASSERT_TRUE(first.waitForRequests(2) && complaining.waitForRequests(1));
    EXPECT_THAT(get("/tables"), AllOf(HasSubstr("<img src=//127.0.0.1:" + victim.port() + "/>"),
                                      HasSubstr("<script>document.title=1</script>")))
        << "the names are there as they are";
    for (const char* target : {"/?refresh=off", "/tables"}) {
        const std::string document = browser.documentOf(address(target));
        EXPECT_THAT(document, HasSubstr("<html"));
        EXPECT_THAT(document, Not(HasSubstr("<title>1</title>"))) << target;
        EXPECT_THAT(document, Not(HasSubstr("<img"))) << target;
        EXPECT_EQ(victim.connectionCount(), 0U) << target;
    }
}

TEST_F(VelmdPage, IsPhotographed) {
    createItems(8);
    ASSERT_TRUE(first.waitForRequests(8) && second.waitForRequests(8));
    const std::filesystem::path pictures = VELM_TEST_PICTURES;
    for (const bool isDark : {false, true}) {
        const std::string scheme = isDark ? "dark" : "light";
        browser.photograph(address("/?refresh=off"), pictures / ("status-1280-" + scheme + ".png"),
                           {1280, 2400, isDark});
        browser.photograph(address("/?refresh=off"), pictures / ("status-400-" + scheme + ".png"),
                           {400, 4200, isDark});
        browser.photograph(address("/tables"), pictures / ("tables-1280-" + scheme + ".png"),
                           {1280, 600, isDark});
    }
    for (const char* name : {"status-1280-light.png", "status-400-dark.png", "tables-1280-dark.png"}) {
        EXPECT_GT(std::filesystem::file_size(pictures / name), 10'000U) << name;
    }
}

}  // namespace velm::test
