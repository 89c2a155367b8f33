#include "tests/support/ResponseReader.h"

#include "tests/support/DTDCheck.h"

#include <algorithm>
#include <cctype>

namespace velm::test {

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

std::string attributeAfter(const std::string& text, std::string_view element, const std::string& name) {
    const auto at = text.find(element);
    const auto start = at == std::string::npos ? at : text.find(name + "=\"", at);
    if (start == std::string::npos) {
        return {};
    }
    const auto first = start + name.size() + 2;
    return text.substr(first, text.find('"', first) - first);
}

WBEMAnswer readHead(const std::string& head) {
    WBEMAnswer answer;
    answer.httpStatus = static_cast<unsigned int>(std::stoul(head.substr(9, 3)));
    for (std::size_t line = head.find("\r\n") + 2; line < head.size();) {
        const std::size_t end = head.find("\r\n", line);
        const std::size_t colon = head.find(':', line);
        answer.headers[lower(head.substr(line, colon - line))] = head.substr(colon + 2, end - colon - 2);
        line = end + 2;
    }
    return answer;
}

}  // namespace

int WBEMAnswer::status() const {
    const std::string code = attributeAfter(body, "<ERROR ", "CODE");
    return code.empty() ? 0 : std::stoi(code);
}

std::string WBEMAnswer::description() const {
    return attributeAfter(body, "<ERROR ", "DESCRIPTION");
}

std::optional<WBEMAnswer> ResponseReader::next() {
    const std::size_t headEnd = _unread.find("\r\n\r\n");
    if (headEnd == std::string::npos) {
        return std::nullopt;
    }
    WBEMAnswer answer = readHead(_unread.substr(0, headEnd + 2));
    const auto length = answer.headers.find("content-length");
    const std::size_t size = length == answer.headers.end() ? 0 : std::stoul(length->second);
    if (_unread.size() < headEnd + 4 + size) {
        return std::nullopt;
    }
    answer.body = _unread.substr(headEnd + 4, size);
    _unread.erase(0, headEnd + 4 + size);
    if (answer.httpStatus == 200 && !answer.body.empty()) {
        expectValidMessage(answer.body);
    }
    return answer;
}

}  // namespace velm::test
