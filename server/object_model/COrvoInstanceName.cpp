#include "foundation/object_model/COrvoInstanceName.h"

#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "server/object_model/ValueText.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace {

using KeyBindings = COrvoInstanceName::KeyBindings;

[[noreturn]] void raise(std::string_view message) {
    throw ORVTypeException("COrvoInstanceName", message);
}

ORVString withoutOuterSlashes(const ORVString& nameSpace) {
    auto text = nameSpace.view();
    auto first = text.find_first_not_of('/');
    if (first == std::string_view::npos) {
        return ORVString::emptyString();
    }
    return text.substr(first, text.find_last_not_of('/') - first + 1);
}

/// Two instances whose names could be read as each other's would share one text.
void refuseSeparators(const ORVString& name, const char* what, std::string_view separators) {
    if (name.view().find_first_of(separators) != std::string_view::npos) {
        raise(fmt::format("the {} '{}' holds one of the characters {}", what, name.view(), separators));
    }
}

int compareNames(const COrvoKeyBinding& left, const COrvoKeyBinding& right) {
    return left.name.compareTo(right.name, ORVString::caseInsensitive);
}

void refuseKey(const COrvoKeyBinding& key) {
    if (key.name.length() == 0) {
        raise("a key has no name");
    }
    refuseSeparators(key.name, "key name", ".:=,\"");
    if (key.value.IsNull() || key.value->isNull()) {
        raise(fmt::format("the key '{}' has no value", key.name.view()));
    }
}

ORVSmrPtr<KeyBindings> ordered(const KeyBindings& keys) {
    std::vector<COrvoKeyBinding> sorted(keys.begin(), keys.end());
    std::for_each(sorted.begin(), sorted.end(), refuseKey);
    std::sort(sorted.begin(), sorted.end(),
              [](const auto& left, const auto& right) { return compareNames(left, right) < 0; });
    ORVSmrPtr<KeyBindings> result(new KeyBindings);
    for (auto& key : sorted) {
        if (!result->isEmpty() && compareNames(result->at(result->entries() - 1), key) == 0) {
            raise(fmt::format("the key '{}' is named twice", key.name.view()));
        }
        result->append(std::move(key));
    }
    return result;
}

void appendQuoted(std::string_view text, std::string& target) {
    target += '"';
    for (char letter : text) {
        if (letter == '"' || letter == '\\') {
            target += '\\';
        }
        target += letter;
    }
    target += '"';
}

void appendValue(const COrvoKeyBinding& key, std::string& target) {
    auto type = key.value->getType();
    auto content = velm::text::contentOf(type->getName().toLower().view());
    if (type->isArray() || !content || content == velm::text::Content::instance) {
        raise(fmt::format("the key '{}' cannot have a value of type {}{}", key.name.view(),
                          type->getName().view(), type->isArray() ? "[]" : ""));
    }
    auto text = key.value->toString();
    if (content == velm::text::Content::text || content == velm::text::Content::reference) {
        appendQuoted(text.view(), target);
    } else {
        target += text.view();
    }
}

ORVString canonicalForm(const KeyBindings& keys) {
    std::string result;
    for (const auto& key : keys) {
        result += result.empty() ? "" : ",";
        result += key.name.view();
        result += '=';
        appendValue(key, result);
    }
    return std::string_view(result);
}

KeyBindings singleKey(const ORVString& name, const ORVString& value) {
    KeyBindings keys;
    keys.append({name, ORVSmrPtr<IOrvoValue>(new COrvoValue(value))});
    return keys;
}

/// Walks a text form from left to right.
class Parser {
public:
    explicit Parser(std::string_view text) : _text(text), _rest(text) {}

    ORVSmrPtr<IOrvoInstanceName> parse() {
        ORVString nameSpace = ORVString::emptyString();
        if (auto stop = _rest.find_first_of(":=\""); stop != std::string_view::npos && _rest[stop] == ':') {
            nameSpace = _take(stop);
            _skip(':');
        }
        ORVString className = _take(_rest.find('.'));
        if (className.length() == 0) {
            _fail("a class name is missing");
        }
        KeyBindings keys;
        if (!_rest.empty()) {
            _skip('.');
            keys.append(_key());
        }
        while (!_rest.empty()) {
            _skip(',');
            keys.append(_key());
        }
        return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(nameSpace, className, keys));
    }

private:
    [[noreturn]] void _fail(std::string_view problem) const {
        raise(fmt::format("'{}' is no instance name: {} at character {}", _text, problem,
                          _text.size() - _rest.size() + 1));
    }

    std::string_view _take(std::size_t count) {
        auto taken = _rest.substr(0, count);
        _rest.remove_prefix(taken.size());
        return taken;
    }

    void _skip(char expected) {
        if (_rest.empty() || _rest.front() != expected) {
            _fail(fmt::format("'{}' is missing", expected));
        }
        _rest.remove_prefix(1);
    }

    COrvoKeyBinding _key() {
        auto end = _rest.find('=');
        if (end == 0 || end == std::string_view::npos) {
            _fail("a key name and '=' are missing");
        }
        ORVString name = _take(end);
        _skip('=');
        return {name, _rest.starts_with('"') ? _quoted() : _literal()};
    }

    ORVSmrPtr<IOrvoValue> _quoted() {
        std::string text;
        for (_skip('"'); !_rest.starts_with('"'); _rest.remove_prefix(1)) {
            if (_rest.starts_with('\\')) {
                _rest.remove_prefix(1);
            }
            if (_rest.empty()) {
                _fail("the closing quote is missing");
            }
            text += _rest.front();
        }
        _skip('"');
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(ORVString(std::string_view(text))));
    }

    ORVSmrPtr<IOrvoValue> _literal() {
        auto word = _rest.substr(0, _rest.find(','));
        ORVSmrPtr<IOrvoValue> value;
        if (auto boolean = velm::text::toBoolean(word)) {
            value = new COrvoValue(*boolean);
        } else if (auto number = velm::text::toSigned(word)) {
            value = new COrvoValue(*number, COrvoType::sint64);
        } else if (auto large = velm::text::toUnsigned(word)) {
            value = new COrvoValue(*large, COrvoType::uint64);
        } else if (auto real = velm::text::toReal64(word)) {
            value = new COrvoValue(*real, COrvoType::real64);
        } else {
            _fail("a key value is neither quoted nor a boolean nor a number");
        }
        _take(word.size());
        return value;
    }

    const std::string_view _text;
    std::string_view _rest;
};

}  // namespace

COrvoInstanceName::COrvoInstanceName(const ORVString& nameSpace, const ORVString& className,
                                     const KeyBindings& keys)
    : _nameSpace(withoutOuterSlashes(nameSpace)),
      _className(className),
      _keys(ordered(keys)),
      _keyProperties(canonicalForm(*_keys)) {
    refuseSeparators(_nameSpace, "namespace", ":=\"");
    refuseSeparators(_className, "class name", ".:=,\"");
    _text = (_nameSpace.length() == 0 ? ORVString::emptyString() : _nameSpace + ":") + _className;
    if (!_keys->isEmpty()) {
        _text = _text + "." + _keyProperties;
    }
}

COrvoInstanceName::COrvoInstanceName(const ORVString& nameSpace, const ORVString& className,
                                     const ORVString& keyName, const ORVString& keyValue)
    : COrvoInstanceName(nameSpace, className, singleKey(keyName, keyValue)) {
}

COrvoInstanceName::~COrvoInstanceName() = default;

ORVSmrPtr<IOrvoInstanceName> COrvoInstanceName::parse(const ORVString& text) {
    return Parser(text.view()).parse();
}

ORVString COrvoInstanceName::getNameSpace() const {
    return _nameSpace;
}

ORVString COrvoInstanceName::getClassName() const {
    return _className;
}

ORVString COrvoInstanceName::getKeyProperties() const {
    return _keyProperties;
}

ORVSmrPtr<ORVValSlist<COrvoKeyBinding>> COrvoInstanceName::getKeyBindings() const {
    return _keys;
}

ORVString COrvoInstanceName::toString() const {
    return _text;
}
