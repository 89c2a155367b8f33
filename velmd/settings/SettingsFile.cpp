#include "velmd/settings/SettingSources.h"
#include "velmd/settings/Words.h"

#include <cerrno>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

using boost::property_tree::ptree;

constexpr std::size_t longestFile = 1 << 20;

class UnreadableFile : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const int error = errno;
    std::error_code ignored;
    if (!file) {
        throw UnreadableFile("cannot be read: " + std::generic_category().message(error));
    }
    if (std::filesystem::is_directory(path, ignored)) {
        throw UnreadableFile("is a directory");
    }
    std::string text(longestFile + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad()) {
        throw UnreadableFile("cannot be read to its end");
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > longestFile) {
        throw UnreadableFile(fmt::format("is longer than {} bytes", longestFile));
    }
    return text;
}

/// Property trees keep no lines and end at the first mistake, so that a tree is read from each line on its
/// own.
class FileReader {
public:
    explicit FileReader(std::string path) : _path(std::move(path)) {}

    std::vector<GivenSetting> read(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            ++_line;
            _readLine(line);
        }
        return std::move(_given);
    }

private:
    enum class Place { beforeSections, unknownSection, knownSection };

    void _readLine(const std::string& line) {
        const bool opensSection = trimmed(line).starts_with('[');
        // A section without a key would leave no trace in the tree.
        std::istringstream stream(opensSection ? line + "\nkey=" : line);
        ptree tree;
        try {
            boost::property_tree::read_ini(stream, tree);
        } catch (const boost::property_tree::ini_parser_error&) {
            // Whatever section was meant, what follows is not in the one before.
            _place = opensSection ? Place::unknownSection : _place;
            _reject(quotation(trimmed(line)) + " is neither [Section] nor Key = value");
            return;
        }
        for (const auto& [name, content] : tree) {
            opensSection ? _enter(name) : _take(name, content.data());
        }
    }

    void _enter(const std::string& name) {
        const auto section = sectionNamed(name);
        _place = section ? Place::knownSection : Place::unknownSection;
        if (!section) {
            _reject(fmt::format("section {} is {}", quotation(name), unknownWord(name, sectionNames())));
            return;
        }
        _section = *section;
        if (const auto [first, isNew] = _firstLines.emplace("[" + _section, _line); !isNew) {
            _reject(fmt::format("section {} has begun before, in line {}", _section, first->second));
        }
    }

    void _take(const std::string& key, const std::string& value) {
        if (_place == Place::beforeSections) {
            _reject(quotation(key) + " stands before the first section");
        } else if (_place == Place::knownSection) {
            const std::string name = folded(_section + "." + key);
            if (const auto [first, isNew] = _firstLines.emplace(name, _line); isNew) {
                _given.push_back({_origin(), _section, key, value, ""});
            } else {
                _reject(fmt::format("key {} of section {} is set already, in line {}", quotation(key),
                                    _section, first->second));
            }
        }
    }

    std::string _origin() const { return fmt::format("{}, line {}", _path, _line); }
    void _reject(const std::string& mistake) { _given.push_back({_origin(), "", "", "", mistake}); }

    const std::string _path;
    unsigned long _line = 0;
    std::string _section;
    Place _place = Place::beforeSections;
    /// Where each section ("[Section") and key ("section.key") was first seen.
    std::map<std::string, unsigned long> _firstLines;
    std::vector<GivenSetting> _given;
};

}  // namespace

std::vector<GivenSetting> settingsInFile(const std::filesystem::path& path) {
    try {
        return FileReader(path.string()).read(contentOf(path.string()));
    } catch (const UnreadableFile& reason) {
        return {{path.string(), "", "", "", reason.what()}};
    }
}

}  // namespace velm
