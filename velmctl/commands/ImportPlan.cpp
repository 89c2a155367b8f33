#include "velmctl/commands/ImportPlan.h"

#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "velmd/model/CIMName.h"
#include "velmd/wire/CIMReader.h"

#include <filesystem>
#include <stdexcept>
#include <unordered_map>

#include <fmt/format.h>

namespace velm {

namespace {

using Plan = std::vector<PlannedDeclaration>;

constexpr std::size_t anySize = 0;
constexpr std::size_t deepestDeclaration = 64;

[[noreturn]] void refuse(const std::string& file, std::string_view problem) {
    throw std::runtime_error(fmt::format("{}: {}", file, problem));
}

CIMDeclarations readFile(const std::string& file) {
    if (!std::filesystem::is_regular_file(file)) {
        refuse(file, std::filesystem::exists(file) ? "it is no file" : "there is no such file");
    }
    try {
        return readDeclarations(readXMLTreeFromFile(file, anySize, deepestDeclaration));
    } catch (const ORVXMLError& error) {
        refuse(file, error.GetErrorMessage().view());
    } catch (const CIMSyntaxError& error) {
        refuse(file, error.what());
    } catch (const OrvoBaseException& error) {
        refuse(file, error.getMessage().view());
    }
}

/// Each class behind its superclass, if that is among them.
class InTreeOrder {
public:
    explicit InTreeOrder(Plan& classes) : _classes(classes), _isPlaced(classes.size()) {
        for (std::size_t index = 0; index < classes.size(); ++index) {
            _positions.emplace(classAt(index).name, index);
        }
    }

    Plan order() {
        for (std::size_t index = 0; index < _classes.size(); ++index) {
            _placeWithAncestors(index);
        }
        return std::move(_result);
    }

private:
    const CIMClass& classAt(std::size_t index) const { return std::get<CIMClass>(_classes[index].content); }

    /// A circle ends where it began; the server refuses the classes in it.
    void _placeWithAncestors(std::size_t index) {
        std::vector<std::size_t> line;
        for (std::size_t at = index; !_isPlaced[at];) {
            _isPlaced[at] = true;
            line.push_back(at);
            const auto found = _positions.find(classAt(at).superClass);
            if (found == _positions.end()) {
                break;
            }
            at = found->second;
        }
        for (auto at = line.rbegin(); at != line.rend(); ++at) {
            _result.push_back(_classes[*at]);
        }
    }

    Plan& _classes;
    std::vector<bool> _isPlaced;
    std::unordered_map<std::string, std::size_t, CIMNameHash, CIMNameEqual> _positions;
    Plan _result;
};

}  // namespace

const char* PlannedDeclaration::kind() const {
    constexpr const char* kinds[] = {"qualifier", "class", "instance"};
    return kinds[content.index()];
}

std::string PlannedDeclaration::name() const {
    if (const auto* qualifier = std::get_if<CIMQualifierDeclaration>(&content)) {
        return qualifier->name;
    }
    if (const auto* declared = std::get_if<CIMClass>(&content)) {
        return declared->name;
    }
    return std::string(std::get<Instance>(content)->getClassName().view());
}

std::string PlannedDeclaration::place() const {
    const char* of = std::holds_alternative<Instance>(content) ? "instance of" : kind();
    return line == 0 ? fmt::format("{}: {} {}", file, of, name())
                     : fmt::format("{}: line {}: {} {}", file, line, of, name());
}

std::vector<PlannedDeclaration> planImport(const std::vector<std::string>& files) {
    Plan plan;
    Plan classes;
    Plan instances;
    for (const std::string& file : files) {
        CIMDeclarations declared = readFile(file);
        for (CIMQualifierDeclaration& qualifier : declared.qualifiers) {
            plan.push_back({std::move(qualifier), file, 0});
        }
        for (std::size_t index = 0; index < declared.classes.size(); ++index) {
            classes.push_back({std::move(declared.classes[index]), file, declared.classLines[index]});
        }
        for (std::size_t index = 0; index < declared.instances.size(); ++index) {
            instances.push_back({declared.instances[index], file, declared.instanceLines[index]});
        }
    }
    for (Plan part : {InTreeOrder(classes).order(), std::move(instances)}) {
        std::move(part.begin(), part.end(), std::back_inserter(plan));
    }
    return plan;
}

}  // namespace velm
