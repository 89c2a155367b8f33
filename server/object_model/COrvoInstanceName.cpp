#include "foundation/object_model/COrvoInstanceName.h"

#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "server/object_model/ValueText.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
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
    auto inner = text.substr(first, text.find_last_not_of('/') - first + 1);
    return inner.size() == text.size() ? nameSpace : ORVString(inner);
}

/// Two instances whose names could be read as each other's would share one text.
void refuseSeparators(const ORVString& name, const char* what, std::string_view separators) {
    if (name.view().find_first_of(separators) != std::string_view::npos) {
        raise(fmt::format("the {} '{}' holds one of the characters {}", what, name.view(), separators));
    }
}

void refuseKeyName(const ORVString& name) {
    if (name.length() == 0) {
        raise("a key has no name");
    }
    refuseSeparators(name, "key name", ".:=,\"");
}

void refuseKeyWithoutValue(const ORVString& name, bool hasNoValue) {
    if (hasNoValue) {
        raise(fmt::format("the key '{}' has no value", name.view()));
    }
}

int compareNames(const COrvoKeyBinding* left, const COrvoKeyBinding* right) {
    return left->name.compareTo(right->name, ORVString::caseInsensitive);
}

using OrderedKeys = std::vector<const COrvoKeyBinding*>;

OrderedKeys ordered(const KeyBindings& keys) {
    OrderedKeys sorted;
    sorted.reserve(keys.entries());
    for (const auto& key : keys) {
        refuseKeyName(key.name);
        refuseKeyWithoutValue(key.name, key.value.IsNull() || key.value->isNull());
        sorted.push_back(&key);
    }
    std::sort(sorted.begin(), sorted.end(),
              [](const auto* left, const auto* right) { return compareNames(left, right) < 0; });
    auto twice = std::adjacent_find(sorted.begin(), sorted.end(), [](const auto* left, const auto* right) {
        return compareNames(left, right) == 0;
    });
    if (twice != sorted.end()) {
        raise(fmt::format("the key '{}' is named twice", (*std::next(twice))->name.view()));
    }
    return sorted;
}

/// Whether a value made from the text alone would be the same.
bool isPlainString(const IOrvoValue& value) {
    return typeid(value) == typeid(COrvoValue) && value.getType() == COrvoType::string;
}

bool arePlainStrings(const KeyBindings& keys) {
    return std::all_of(keys.begin(), keys.end(), [](const auto& key) { return isPlainString(*key.value); });
}

bool arePlainStrings(const OrderedKeys& keys) {
    return std::all_of(keys.begin(), keys.end(), [](const auto* key) { return isPlainString(*key->value); });
}

ORVSmrPtr<KeyBindings> listOf(const OrderedKeys& keys) {
    ORVSmrPtr<KeyBindings> list(new KeyBindings);
    for (const auto* key : keys) {
        list->append(*key);
    }
    return list;
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

void appendKeys(const OrderedKeys& keys, std::string& target) {
    for (const auto* key : keys) {
        target += key == keys.front() ? "" : ",";
        target += key->name.view();
        target += '=';
        appendValue(*key, target);
    }
}

/// The text up to the keys; `keyLength` is how much of them to expect.
std::string textBeforeKeys(const ORVString& nameSpace, const ORVString& className, std::size_t keyLength) {
    std::string text;
    text.reserve(nameSpace.length() + className.length() + keyLength + sizeof(":.=''"));
    text += nameSpace.view();
    text += nameSpace.length() == 0 ? "" : ":";
    text += className.view();
    return text;
}

/// Walks a text form from left to right.
class Parser {
public:
    explicit Parser(std::string_view text) : _text(text), _rest(text) {}

    /// Of a whole name.
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
            readKeys(keys);
        }
        return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(nameSpace, className, keys));
    }

    /// Of the keys, of which there is one at least.
    void readKeys(KeyBindings& keys) {
        keys.append(_key());
        while (!_rest.empty()) {
            _skip(',');
            keys.append(_key());
        }
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
    : _nameSpace(withoutOuterSlashes(nameSpace)), _className(className) {
    const OrderedKeys inOrder = ordered(keys);
    std::string text = textBeforeKeys(_nameSpace, _className, 32 * inOrder.size());
    text += inOrder.empty() ? "" : ".";
    const std::size_t keysStart = text.size();
    appendKeys(inOrder, text);
    _setText(text, keysStart);
    if (!arePlainStrings(inOrder)) {
        _keys.get([&inOrder] { return listOf(inOrder); });
    }
}

COrvoInstanceName::COrvoInstanceName(const ORVString& nameSpace, const ORVString& className,
                                     const ORVString& keyName, const ORVString& keyValue)
    : _nameSpace(withoutOuterSlashes(nameSpace)), _className(className) {
    refuseKeyName(keyName);
    refuseKeyWithoutValue(keyName, keyValue.isNull());
    std::string text = textBeforeKeys(_nameSpace, _className, keyName.length() + keyValue.length());
    text += '.';
    const std::size_t keysStart = text.size();
    text += keyName.view();
    text += '=';
    appendQuoted(keyValue.view(), text);
    _setText(text, keysStart);
}

COrvoInstanceName::COrvoInstanceName(const ORVString& nameSpace, const ORVString& className)
    : _nameSpace(nameSpace), _className(className) {
}

void COrvoInstanceName::_setText(const std::string& text, std::size_t keysStart) {
    refuseSeparators(_nameSpace, "namespace", ":=\"");
    refuseSeparators(_className, "class name", ".:=,\"");
    _text = ORVString::withTail(text, keysStart);
}

COrvoInstanceName::~COrvoInstanceName() = default;

ORVSmrPtr<IOrvoInstanceName> COrvoInstanceName::parse(const ORVString& text) {
    return Parser(text.view()).parse();
}

bool COrvoInstanceName::isToldByText(const IOrvoInstanceName& name) {
    if (typeid(name) != typeid(COrvoInstanceName)) {
        return false;
    }
    const auto& known = static_cast<const COrvoInstanceName&>(name);
    const auto* keys = known._keys.find();
    return known._className.length() > 0 && (!keys || arePlainStrings(**keys));
}

ORVSmrPtr<IOrvoInstanceName> COrvoInstanceName::ofText(const ORVString& text) {
    std::string_view rest = text.view();
    ORVString nameSpace = ORVString::emptyString();
    if (const auto stop = rest.find_first_of(":=\""); stop != std::string_view::npos && rest[stop] == ':') {
        nameSpace = rest.substr(0, stop);
        rest.remove_prefix(stop + 1);
    }
    std::unique_ptr<COrvoInstanceName> name(new COrvoInstanceName(nameSpace, rest.substr(0, rest.find('.'))));
    name->_text = text;
    return ORVSmrPtr<IOrvoInstanceName>(name.release());
}

ORVSmrPtr<IOrvoInstanceName> COrvoInstanceName::ofParts(const ORVString& nameSpace,
                                                        const ORVString& className,
                                                        const ORVString& keyProperties) {
    std::unique_ptr<COrvoInstanceName> name(new COrvoInstanceName(nameSpace, className));
    std::string text = textBeforeKeys(nameSpace, className, keyProperties.length());
    text += keyProperties.length() == 0 ? "" : ".";
    const std::size_t keysStart = text.size();
    text += keyProperties.view();
    name->_setText(text, keysStart);
    return ORVSmrPtr<IOrvoInstanceName>(name.release());
}

ORVString COrvoInstanceName::getNameSpace() const {
    return _nameSpace;
}

ORVString COrvoInstanceName::getClassName() const {
    return _className;
}

ORVString COrvoInstanceName::getKeyProperties() const {
    return _text.tail();
}

ORVSmrPtr<ORVValSlist<COrvoKeyBinding>> COrvoInstanceName::getKeyBindings() const {
    return _keys.get([this] {
        ORVSmrPtr<KeyBindings> keys(new KeyBindings);
        if (const ORVString text = getKeyProperties(); text.length() > 0) {
            Parser(text.view()).readKeys(*keys);
        }
        return keys;
    });
}

ORVString COrvoInstanceName::toString() const {
    return _text;
}
