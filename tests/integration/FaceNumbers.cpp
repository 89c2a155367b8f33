#include "tests/integration/FaceNumbers.h"

#include <algorithm>
#include <array>
#include <regex>
#include <stdexcept>

#include <boost/json.hpp>

namespace velm::test {

namespace {

namespace json = boost::json;

using Labels = std::map<std::string, std::string>;

void add(Numbers& numbers, const std::string& kind, const std::string& name, std::uint64_t number) {
    if (number != 0) {
        numbers[kind][name] += number;
    }
}

std::string textOf(const json::value& value) {
    return std::string(value.as_string());
}

std::uint64_t numberOf(const json::value& value) {
    return value.is_bool() ? std::uint64_t{value.as_bool()} : value.to_number<std::uint64_t>();
}

/// As the page writes it.
std::uint64_t numberOf(std::string text) {
    std::erase(text, ',');
    return std::stoull(text);
}

void addSubscriber(Numbers& numbers, const json::object& subscriber) {
    const std::string name = textOf(subscriber.at("host")) + ":" + textOf(subscriber.at("port")) + "/" +
                             textOf(subscriber.at("session")) + " ";
    for (const char* count : {"waiting", "delivered", "failed", "dropped"}) {
        add(numbers, "subscriber", name + count, numberOf(subscriber.at(count)));
    }
    add(numbers, "subscriber", name + "failing", numberOf(subscriber.at("isFailing")));
    add(numbers, "server", "waiting", numberOf(subscriber.at("waiting")));
}

std::string spaced(std::string label) {
    std::ranges::replace(label, '_', ' ');
    return label;
}

/// A sample of /metrics, where the other faces have the same number.
void addSample(Numbers& numbers, const std::string& name, Labels labels, std::uint64_t number) {
    static const std::map<std::string, std::array<const char*, 2>> plain{
        {"velm_classes", {"server", "classes"}},
        {"velm_indications_waiting", {"server", "waiting"}},
        {"velm_indications_reported_total", {"indications", "reported"}},
        {"velm_indications_matched_total", {"indications", "matched"}},
        {"velm_indications_queued_total", {"indications", "queued"}},
        {"velm_indications_delivered_total", {"indications", "delivered"}},
        {"velm_indications_improper_answers_total", {"indications", "improperAnswers"}},
        {"velm_delivery_latency_seconds_count", {"server", "timed deliveries"}},
    };
    static const std::map<std::string, std::array<const char*, 2>> labelled{
        {"velm_indications_failed_total", {"failed", "reason"}},
        {"velm_indications_dropped_total", {"dropped", "rule"}},
        {"velm_subscribers_removed_total", {"removed", "reason"}},
    };
    static const std::regex destination(
        "velm_destination_(failing|waiting|delivered|failed|dropped)(_total)?");
    std::smatch match;
    if (const auto found = plain.find(name); found != plain.end()) {
        add(numbers, found->second[0], found->second[1], number);
    } else if (const auto kind = labelled.find(name); kind != labelled.end()) {
        add(numbers, kind->second[0], spaced(labels[kind->second[1]]), number);
    } else if (name == "velm_requests_total") {
        add(numbers, "requests", labels["operation"] + " " + labels["status"], number);
    } else if (std::regex_match(name, match, destination)) {
        add(numbers, "subscriber",
            labels["host"] + ":" + labels["port"] + "/" + labels["session"] + " " + match.str(1), number);
    }
}

/// Calls `take` with each match of `pattern` in `text`.
template <class Take>
void forEach(const std::string& text, const std::regex& pattern, Take take) {
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
        take(*match);
    }
}

/// The part of a page from behind `begin` to `end`; throws where there is none.
std::string between(const std::string& page, const std::string& begin, const std::string& end) {
    const auto found = page.find(begin);
    if (found == std::string::npos) {
        throw std::runtime_error("the page has no " + begin);
    }
    const auto from = found + begin.size();
    return page.substr(from, page.find(end, from) - from);
}

std::string withoutMarks(const std::string& html) {
    static const std::regex mark("<[^>]*>");
    return std::regex_replace(html, mark, "");
}

/// The names and counts of the table with this caption.
std::map<std::string, std::uint64_t> countsOf(const std::string& page, const std::string& caption) {
    static const std::regex row(
        R"(<th scope="row"[^>]*>(.*?)</th>(?:<td class="bar">.*?</td>)?<td class="number[^>]*>([0-9,]+)</td>)");
    std::map<std::string, std::uint64_t> counts;
    forEach(between(page, "<caption>" + caption + "</caption>", "</table>"), row,
            [&](const std::smatch& match) { counts[withoutMarks(match.str(1))] = numberOf(match.str(2)); });
    return counts;
}

void addSubscribers(Numbers& numbers, const std::string& page) {
    static const std::regex row(
        R"re(<tr class="(\w+)">.*?<bdi>([^<]*)</bdi><div class="when">\w+, session <bdi>(\d+)<([\s\S]*?)</tr>)re");
    static const std::regex cell(
        R"re(data-label="(Waiting|Delivered|Failed|Dropped)" class="number[^>]*>([0-9,]+)</td>)re");
    const std::string section = between(page, R"(<h2 id="subscribers">)", "</section>");
    forEach(section, row, [&](const std::smatch& subscriber) {
        const std::string name = subscriber.str(2) + "/" + subscriber.str(3) + " ";
        add(numbers, "subscriber", name + "failing", subscriber.str(1) == "bad" ? 1 : 0);
        forEach(subscriber.str(4), cell, [&](const std::smatch& count) {
            std::string what = count.str(1);
            what[0] = static_cast<char>(what[0] - 'A' + 'a');
            add(numbers, "subscriber", name + what, numberOf(count.str(2)));
        });
    });
}

/// What is counted in all stands on a card for each, too.
void requireCard(const std::string& page, const std::string& card, std::uint64_t number) {
    const std::string shown =
        between(between(page, "<span class=\"what\">" + card + "</span>", "</figcaption>"),
                "<span class=\"total\">", " in all");
    if (numberOf(shown) != number) {
        throw std::runtime_error("the card " + card + " says " + shown + " rather than " +
                                 std::to_string(number));
    }
}

std::uint64_t sumOf(const std::map<std::string, std::uint64_t>& counts) {
    std::uint64_t sum = 0;
    for (const auto& [name, count] : counts) {
        sum += count;
    }
    return sum;
}

}  // namespace

Numbers numbersOfStatus(const std::string& document) {
    const json::value status = json::parse(document);
    const json::object& counters = status.at("counters").as_object();
    Numbers numbers;
    add(numbers, "server", "classes", numberOf(status.at("classes")));
    for (const char* count : {"reported", "matched", "queued", "delivered", "improperAnswers"}) {
        add(numbers, "indications", count, numberOf(counters.at(count)));
    }
    for (const char* kind : {"failed", "dropped", "removed"}) {
        for (const auto& [name, count] : counters.at(kind).as_object()) {
            add(numbers, kind, name, numberOf(count));
        }
    }
    for (const json::value& count : status.at("latency").at("counts").as_array()) {
        add(numbers, "server", "timed deliveries", numberOf(count));
    }
    add(numbers, "server", "timed deliveries", numberOf(status.at("latency").at("beyond")));
    for (const json::value& operation : status.at("operations").as_array()) {
        add(numbers, "requests", textOf(operation.at("name")) + " " + textOf(operation.at("status")),
            numberOf(operation.at("count")));
    }
    for (const json::value& subscriber : status.at("subscribers").as_array()) {
        addSubscriber(numbers, subscriber.as_object());
    }
    return numbers;
}

Numbers numbersOfMetrics(const std::string& text) {
    static const std::regex sample(R"re(\n(\w+)(?:\{([^\n]*)\})? ([0-9]+)(?=\n))re");
    static const std::regex label(R"re((\w+)="([^"]*)")re");
    Numbers numbers;
    forEach(text, sample, [&](const std::smatch& match) {
        Labels labels;
        forEach(match.str(2), label, [&](const std::smatch& each) { labels[each.str(1)] = each.str(2); });
        addSample(numbers, match.str(1), std::move(labels), std::stoull(match.str(3)));
    });
    return numbers;
}

Numbers numbersOfPage(const std::string& page) {
    Numbers numbers;
    add(numbers, "server", "classes", numberOf(between(page, "<dt>Classes</dt><dd>", "<")));
    add(numbers, "server", "waiting", numberOf(between(page, "<dt>Waiting in queues</dt><dd>", "<")));
    add(numbers, "server", "timed deliveries", sumOf(countsOf(page, "From report to delivery")));
    const auto indications = countsOf(page, "Indications");
    for (const auto& [shown, name] :
         {std::pair("reported", "reported"), std::pair("matched a subscription", "matched"),
          std::pair("queued", "queued"), std::pair("delivered", "delivered"),
          std::pair("and answered improperly", "improperAnswers")}) {
        add(numbers, "indications", name, indications.at(shown));
    }
    for (const auto& [caption, kind] :
         {std::pair("Deliveries that failed", "failed"), std::pair("Indications dropped", "dropped"),
          std::pair("Subscribers removed", "removed")}) {
        for (const auto& [name, count] : countsOf(page, caption)) {
            add(numbers, kind, name, count);
        }
    }
    for (const auto& [operation, count] : countsOf(page, "Requests")) {
        const std::string status = ": status ";
        const auto at = operation.find(status);
        add(numbers, "requests",
            at == std::string::npos ? operation + " ok"
                                    : operation.substr(0, at) + " " + operation.substr(at + status.size()),
            count);
    }
    addSubscribers(numbers, page);
    requireCard(page, "Reported", indications.at("reported"));
    requireCard(page, "Delivered", indications.at("delivered"));
    requireCard(page, "Failed", sumOf(numbers["failed"]));
    requireCard(page, "Dropped", sumOf(numbers["dropped"]));
    return numbers;
}

}  // namespace velm::test
