#include "velmctl/commands/HeaderFindings.h"

#include "velmd/model/CIMName.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>

#include <fmt/format.h>

namespace velm {

namespace {

using Grade = HeaderFinding::Grade;

struct Header {
    std::string_view name;
    std::string_view value;
};

struct Judgement {
    Grade grade;
    std::string remark;
};

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

Judgement judgeContentType(std::string_view value) {
    const std::string_view type = trimmed(value.substr(0, value.find(';')));
    if (!sameName(type, "application/xml") && !sameName(type, "text/xml")) {
        return {Grade::wrong, "should be application/xml; charset=utf-8"};
    }
    const std::string folded = foldedName(value);
    return folded.find("charset") != std::string::npos && folded.find("utf-8") == std::string::npos
               ? Judgement{Grade::wrong, "should have charset=utf-8"}
               : Judgement{Grade::good, "as asked for"};
}

Judgement judgeContentLength(std::string_view value) {
    const bool isNumber = !value.empty() && std::all_of(value.begin(), value.end(), [](char letter) {
        return letter >= '0' && letter <= '9';
    });
    return isNumber ? Judgement{Grade::good, "as asked for"} : Judgement{Grade::wrong, "is no number"};
}

Judgement judgeExport(std::string_view value) {
    return sameName(value, "MethodResponse") ? Judgement{Grade::good, "as asked for"}
                                             : Judgement{Grade::wrong, "should be MethodResponse"};
}

Judgement judgeVersion(std::string_view value) {
    return value.starts_with("1.") ? Judgement{Grade::good, "optional"}
                                   : Judgement{Grade::wrong, "should be 1.x"};
}

Judgement judgeEncoding(std::string_view value) {
    return sameName(value, "identity") ? Judgement{Grade::neutral, "may be left out"}
                                       : Judgement{Grade::wrong, "the daemon cannot read this encoding"};
}

struct Rule {
    const char* name;
    std::function<Judgement(std::string_view)> judge;
};

const std::array rules{
    Rule{"CIMExport", judgeExport},
    Rule{"Content-Type", judgeContentType},
    Rule{"Content-Length", judgeContentLength},
    Rule{"CIMProtocolVersion", judgeVersion},
    Rule{"Content-Encoding", judgeEncoding},
    Rule{"Transfer-Encoding",
         [](std::string_view) -> Judgement {
             return {Grade::neutral, "instead of Content-Length"};
         }},
    Rule{"CIMOperation",
         [](std::string_view) -> Judgement {
             return {Grade::wrong, "is for answers to operations; here it is CIMExport"};
         }},
    Rule{"CIMError",
         [](std::string_view) -> Judgement {
             return {Grade::wrong, "the listener says what is wrong"};
         }},
    Rule{"CIMErrorDetails",
         [](std::string_view) -> Judgement {
             return {Grade::wrong, "the listener says what is wrong"};
         }},
};

Judgement judge(const Header& header) {
    for (const Rule& rule : rules) {
        if (sameName(header.name, rule.name)) {
            return rule.judge(header.value);
        }
    }
    return {Grade::neutral, "not asked for, and does no harm"};
}

bool isThere(const std::vector<std::string>& lines, std::string_view name) {
    return std::any_of(lines.begin(), lines.end(), [name](const std::string& line) {
        return sameName(trimmed(std::string_view(line).substr(0, line.find(':'))), name);
    });
}

HeaderFinding findIn(const std::string& line) {
    const auto colon = line.find(':');
    if (colon == std::string::npos) {
        return {Grade::wrong, line, "is no header line: there is no colon in it; the daemon passes it over"};
    }
    const std::string_view text = line;
    const Judgement judgement = judge({trimmed(text.substr(0, colon)), trimmed(text.substr(colon + 1))});
    return {judgement.grade, line, judgement.remark};
}

}  // namespace

std::vector<HeaderFinding> judgeHeaders(const std::vector<std::string>& lines, bool bodyIsExpected) {
    std::vector<HeaderFinding> findings;
    for (const std::string& line : lines) {
        findings.push_back(findIn(line));
    }
    if (bodyIsExpected && !isThere(lines, "CIMExport")) {
        findings.push_back(
            {Grade::wrong, "CIMExport", "missing: should be MethodResponse; the daemon does without"});
    }
    if (bodyIsExpected && !isThere(lines, "Content-Type")) {
        findings.push_back({Grade::wrong, "Content-Type",
                            "missing: should be application/xml; charset=utf-8; the daemon does without"});
    }
    if (!isThere(lines, "Content-Length") && !isThere(lines, "Transfer-Encoding")) {
        findings.push_back(
            {Grade::wrong, "Content-Length", "missing: the daemon has to wait for the connection's end"});
    }
    return findings;
}

}  // namespace velm
