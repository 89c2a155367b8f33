#include "foundation/services/VELMConfigManager.h"

#include "foundation/services/CIMOMException.h"
#include "foundation/services/ORVLog.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

namespace {

/// Section and key, both in lower case.
using Name = std::pair<std::string, std::string>;
using Values = std::map<Name, ORVString>;

constexpr int failed = 1;

Name nameOf(const ORVString& section, const ORVString& key) {
    return {std::string(section.toLower().view()), std::string(key.toLower().view())};
}

[[noreturn]] void fail(const std::string& message) {
    throw CIMOMException("VELMConfigManager::load", std::string_view(message), failed);
}

boost::property_tree::ptree parse(const std::string& path) {
    std::ifstream file(path);
    std::error_code error;
    if (!file || std::filesystem::is_directory(path, error)) {
        fail("The configuration file " + path + " cannot be read");
    }
    boost::property_tree::ptree tree;
    try {
        boost::property_tree::read_ini(file, tree);
    } catch (const boost::property_tree::ini_parser_error& e) {
        fail("The configuration file " + path + ", line " + std::to_string(e.line()) + ": " + e.message());
    }
    return tree;
}

Values readFile(const std::string& path) {
    Values values;
    std::error_code error;
    if (!std::filesystem::exists(path, error) && !error) {
        return values;
    }
    for (const auto& [section, entries] : parse(path)) {
        if (entries.empty()) {
            values[nameOf("", std::string_view(section))] = std::string_view(entries.data());
        }
        for (const auto& [key, value] : entries) {
            values[nameOf(std::string_view(section), std::string_view(key))] = std::string_view(value.data());
        }
    }
    return values;
}

std::optional<int> numberIn(const ORVString& text) {
    int number = 0;
    const char* end = text.data() + text.length();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

}  // namespace

struct VELMConfigManager::State {
    mutable std::shared_mutex lock;
    Values values;
};

VELMConfigManager::VELMConfigManager() : _state(std::make_unique<State>()) {
}

VELMConfigManager::~VELMConfigManager() = default;

VELMConfigManager* VELMConfigManager::getInstance() {
    static auto* instance = new VELMConfigManager;
    return instance;
}

void VELMConfigManager::load(const ORVString& path) {
    Values values = readFile(path.data());
    {
        const std::unique_lock guard(_state->lock);
        _state->values.swap(values);
    }
    int severity = OrvoTraceLog::SeverityDetail;
    getSint32("Log", "Severity", severity);
    ORVLog::setThreshold(static_cast<OrvoTraceLog::Severity>(severity));
    severity = OrvoTraceLog::SeverityInformation;
    getSint32("Log", "TraceSeverity", severity);
    ORVLog::setTraceThreshold(static_cast<OrvoTraceLog::Severity>(severity));
}

void VELMConfigManager::setString(const ORVString& section, const ORVString& key, const ORVString& value) {
    const std::unique_lock guard(_state->lock);
    _state->values[nameOf(section, key)] = value;
}

void VELMConfigManager::clear() {
    const std::unique_lock guard(_state->lock);
    _state->values.clear();
}

bool VELMConfigManager::getString(const ORVString& section, const ORVString& key, ORVString& value) const {
    const Name name = nameOf(section, key);
    const std::shared_lock guard(_state->lock);
    const auto found = _state->values.find(name);
    if (found == _state->values.end()) {
        return false;
    }
    value = found->second;
    return true;
}

bool VELMConfigManager::getSint32(const ORVString& section, const ORVString& key, int& value) const {
    ORVString text;
    if (!getString(section, key, text)) {
        return false;
    }
    const std::optional<int> number = numberIn(text);
    if (!number) {
        ORVLog::log(
            "VELMConfigManager::getSint32",
            "The value \"" + text + "\" of \"" + section + "\"/\"" + key + "\" is no signed 32-bit number",
            OrvoTraceLog::SeverityWarning, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
        return false;
    }
    value = *number;
    return true;
}

void VELMConfigManager::cvtToAbsolutePath(ORVString& path) const {
    const std::filesystem::path relative = path.length() == 0 ? "." : path.data();
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(relative, error).lexically_normal();
    if (error) {
        return;
    }
    if (!absolute.has_filename() && absolute.has_relative_path()) {
        absolute = absolute.parent_path();
    }
    // Normal form keeps two slashes at the front, which mean no more than one here.
    std::string text = absolute.string();
    text.erase(0, std::min(text.find_first_not_of('/'), text.size()) - 1);
    path = std::string_view(text);
}
