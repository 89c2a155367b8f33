#include "velmd/wire/XMLElement.h"

#include "server/xml/SecureXMLReader.h"

#include <algorithm>

namespace velm {

namespace {

/// Keeps the elements that are open; a closed one moves into its parent.
class TreeBuilder final : public XMLHandler {
public:
    void startElement(std::string_view name, const XMLAttributes& attributes) override {
        XMLElement element;
        element.name = name;
        element.line = position().line;
        element.attributes.reserve(attributes.size());
        for (std::size_t index = 0; index < attributes.size(); ++index) {
            element.attributes.emplace_back(attributes.nameAt(index).view(),
                                            attributes.valueAt(index).view());
        }
        _open.push_back(std::move(element));
    }

    void endElement() override {
        XMLElement closed = std::move(_open.back());
        _open.pop_back();
        if (_open.empty()) {
            root = std::move(closed);
        } else {
            _open.back().children.push_back(std::move(closed));
        }
    }

    void characters(std::string_view text) override {
        if (!_open.empty()) {
            _open.back().text += text;
        }
    }

    XMLElement root;

private:
    std::vector<XMLElement> _open;
};

}  // namespace

const std::string* XMLElement::attribute(std::string_view attributeName) const {
    const auto found =
        std::find_if(attributes.begin(), attributes.end(),
                     [attributeName](const auto& candidate) { return candidate.first == attributeName; });
    return found == attributes.end() ? nullptr : &found->second;
}

const XMLElement* XMLElement::child(std::string_view childName) const {
    const auto found =
        std::find_if(children.begin(), children.end(),
                     [childName](const XMLElement& candidate) { return candidate.name == childName; });
    return found == children.end() ? nullptr : &*found;
}

XMLElement readXMLTree(std::string_view document, std::size_t maxBytes, std::size_t maxDepth) {
    TreeBuilder builder;
    SecureXMLReader({maxBytes, maxDepth}, XMLEncoding::utf8).parse(document, builder);
    return std::move(builder.root);
}

XMLElement readXMLTreeFromFile(const std::string& path, std::size_t maxBytes, std::size_t maxDepth) {
    TreeBuilder builder;
    SecureXMLReader({maxBytes, maxDepth}).parseFile(path, builder);
    return std::move(builder.root);
}

}  // namespace velm
