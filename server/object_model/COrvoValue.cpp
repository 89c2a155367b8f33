#include "foundation/object_model/COrvoValue.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "server/object_model/ValueText.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace {

namespace text = velm::text;

ORVString typeText(const ORVSmrPtr<IOrvoType>& type) {
    return type->isArray() ? type->getName() + "[]" : type->getName();
}

ORVString nameOf(const ORVSmrPtr<IOrvoType>& type) {
    return type->getName().toLower();
}

[[noreturn]] void raise(std::string_view message) {
    throw ORVTypeException("COrvoValue", message);
}

template <class... Arguments>
[[noreturn]] void raise(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    raise(std::string_view(fmt::format(format, std::forward<Arguments>(arguments)...)));
}

template <class T>
const ORVSmrPtr<T>& notNull(const ORVSmrPtr<T>& handle) {
    static_cast<void>(handle.operator->());
    return handle;
}

const ORVSmrPtr<IOrvoType>& arrayElement(const COrvoValue::Elements& elements,
                                         const ORVSmrPtr<IOrvoType>& type) {
    for (const auto& element : *elements) {
        auto found = element->getType();
        if (!element->isNull() &&
            (found->isArray() ||
             found->getName().compareTo(type->getName(), ORVString::caseInsensitive) != 0)) {
            raise("an element of type {} in an array of {}", typeText(found).view(), type->getName().view());
        }
    }
    return type;
}

bool isIntegerContent(std::optional<text::Content> content) {
    return content == text::Content::signedInteger || content == text::Content::unsignedInteger;
}

ORVString listText(const ORVValSlist<ORVSmrPtr<IOrvoValue>>& elements) {
    std::string result;
    for (const auto& element : elements) {
        result += result.empty() ? "" : ", ";
        result += element->toString().view();
    }
    return std::string_view("{" + result + "}");
}

ORVString instanceText(const IOrvoObject& instance) {
    std::string result = "instance of " + std::string(instance.getClassName().view()) + " {";
    for (unsigned int position = 0; position < instance.getPropertyCount(); ++position) {
        auto property = instance.getProperty(position);
        result += position == 0 ? "" : ", ";
        result += property->getName().view();
        result += " = ";
        result += property->getValue()->toString().view();
    }
    return std::string_view(result + "}");
}

}  // namespace

COrvoValue::COrvoValue(Content content, const ORVSmrPtr<IOrvoType>& type)
    : _content(std::move(content)), _type(notNull(type)) {
}

COrvoValue::COrvoValue(ORVSmrPtr<IOrvoInstanceName> instanceName)
    : COrvoValue(Content(notNull(instanceName)), COrvoType::reference) {
}

COrvoValue::COrvoValue(const ORVString& text)
    : COrvoValue(text.isNull() ? Content() : Content(text), COrvoType::string) {
}

COrvoValue::COrvoValue(const char* text) : COrvoValue(ORVString(text)) {
}

COrvoValue::COrvoValue(bool value) : COrvoValue(Content(value), COrvoType::boolean) {
}

COrvoValue::COrvoValue(unsigned int value, const ORVSmrPtr<IOrvoType>& type)
    : COrvoValue(std::uint64_t{value}, type) {
}

COrvoValue::COrvoValue(std::int64_t value, const ORVSmrPtr<IOrvoType>& type)
    : COrvoValue(_integer(value, type), type) {
}

COrvoValue::COrvoValue(std::uint64_t value, const ORVSmrPtr<IOrvoType>& type)
    : COrvoValue(_integer(value, type), type) {
}

COrvoValue::COrvoValue(double value, const ORVSmrPtr<IOrvoType>& type)
    : COrvoValue(_real(value, type), type) {
}

COrvoValue::COrvoValue(ORVSmrPtr<IOrvoObject> instance)
    : COrvoValue(Content(notNull(instance)), COrvoType::instance) {
}

COrvoValue::COrvoValue(Elements elements, const ORVSmrPtr<IOrvoType>& elementType)
    : COrvoValue(Content(elements), COrvoType::arrayOf(arrayElement(elements, elementType))) {
}

COrvoValue::~COrvoValue() = default;

template <class Integer>
COrvoValue::Content COrvoValue::_integer(Integer value, const ORVSmrPtr<IOrvoType>& type) {
    const ORVString name = nameOf(type);
    auto content = text::contentOf(name.view());
    if (type->isArray() || !isIntegerContent(content)) {
        raise("{} is no integer type", typeText(type).view());
    }
    if (!text::fits(value, name.view())) {
        raise("{} does not fit type {}", value, name.view());
    }
    return content == text::Content::signedInteger ? Content(static_cast<std::int64_t>(value))
                                                   : Content(static_cast<std::uint64_t>(value));
}

COrvoValue::Content COrvoValue::_real(double value, const ORVSmrPtr<IOrvoType>& type) {
    const ORVString name = nameOf(type);
    if (type->isArray() || text::contentOf(name.view()) != text::Content::real) {
        raise("{} is no real type", typeText(type).view());
    }
    if (name.view() == "real64" || !std::isfinite(value)) {
        return value;
    }
    if (std::abs(value) > static_cast<double>(std::numeric_limits<float>::max())) {
        raise("{} does not fit type real32", value);
    }
    return static_cast<double>(static_cast<float>(value));
}

ORVSmrPtr<IOrvoValue> COrvoValue::null(const ORVSmrPtr<IOrvoType>& type) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(Content(), type));
}

ORVSmrPtr<IOrvoValue> COrvoValue::parse(const ORVString& text, const ORVSmrPtr<IOrvoType>& type) {
    if (text.isNull()) {
        return null(type);
    }
    if (type->isArray()) {
        raise("a value of type {} is not written as one text", typeText(type).view());
    }
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(_parsed(text, nameOf(type).view()), type));
}

COrvoValue::Content COrvoValue::_parsed(const ORVString& value, std::string_view type) {
    if (type == "string" || (type == "char16" && text::isChar16(value.view()))) {
        return value;
    }
    if (type == "datetime" && text::isDateTime(text::trim(value.view()))) {
        return ORVString(text::trim(value.view()));
    }
    auto literal = text::toLiteral(value.view(), type);
    if (std::holds_alternative<std::monostate>(literal)) {
        raise("'{}' is no value of type {}", value.view(), type);
    }
    return std::visit([](auto found) { return Content(found); }, literal);
}

ORVSmrPtr<IOrvoType> COrvoValue::getType() const {
    return _type;
}

bool COrvoValue::isNull() const {
    return std::holds_alternative<std::monostate>(_content);
}

ORVString COrvoValue::getString() const {
    return isNull() ? ORVString() : toString();
}

template <class T>
const T& COrvoValue::_get(const char* wanted) const {
    const T* content = std::get_if<T>(&_content);
    if (!content) {
        _refuse(wanted);
    }
    return *content;
}

void COrvoValue::_refuse(const char* wanted) const {
    raise("{} of type {} cannot be read as {}", isNull() ? "NULL" : "a value", typeText(_type).view(),
          wanted);
}

const ORVString* COrvoValue::_stringContent() const {
    return nameOf(_type).view() == "string" ? std::get_if<ORVString>(&_content) : nullptr;
}

bool COrvoValue::getBoolean() const {
    const ORVString* string = _stringContent();
    auto parsed = string ? text::toBoolean(string->view()) : std::nullopt;
    return parsed ? *parsed : _get<bool>("boolean");
}

template <class Integer>
Integer COrvoValue::_integerAs(const char* wanted) const {
    auto fitting = [this, wanted](auto number) {
        if (!std::in_range<Integer>(number)) {
            raise("{} of type {} does not fit {}", number, typeText(_type).view(), wanted);
        }
        return static_cast<Integer>(number);
    };
    if (const auto* number = std::get_if<std::int64_t>(&_content)) {
        return fitting(*number);
    }
    if (const auto* number = std::get_if<std::uint64_t>(&_content)) {
        return fitting(*number);
    }
    if (const ORVString* string = _stringContent()) {
        if (auto number = text::toSigned(string->view())) {
            return fitting(*number);
        }
        if (auto number = text::toUnsigned(string->view())) {
            return fitting(*number);
        }
    }
    _refuse(wanted);
}

std::int32_t COrvoValue::getSint32() const {
    return _integerAs<std::int32_t>("sint32");
}

std::uint32_t COrvoValue::getUint32() const {
    return _integerAs<std::uint32_t>("uint32");
}

std::int64_t COrvoValue::getSint64() const {
    return _integerAs<std::int64_t>("sint64");
}

std::uint64_t COrvoValue::getUint64() const {
    return _integerAs<std::uint64_t>("uint64");
}

double COrvoValue::getReal64() const {
    const ORVString* string = _stringContent();
    auto parsed = string ? text::toReal64(string->view()) : std::nullopt;
    return parsed ? *parsed : _get<double>("real64");
}

ORVSmrPtr<IOrvoInstanceName> COrvoValue::getReference() const {
    return _get<ORVSmrPtr<IOrvoInstanceName>>("reference");
}

ORVSmrPtr<IOrvoObject> COrvoValue::getInstance() const {
    return _get<ORVSmrPtr<IOrvoObject>>("instance");
}

ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoValue>>> COrvoValue::getElements() const {
    return _get<Elements>("an array");
}

ORVString COrvoValue::toString() const {
    struct Writer {
        const IOrvoType& type;

        ORVString operator()(std::monostate) const { return "NULL"; }
        ORVString operator()(bool value) const { return value ? "TRUE" : "FALSE"; }
        ORVString operator()(std::int64_t value) const {
            return std::string_view(fmt::format_int(value).c_str());
        }
        ORVString operator()(std::uint64_t value) const {
            return std::string_view(fmt::format_int(value).c_str());
        }
        ORVString operator()(double value) const {
            bool isFloat = type.getName().compareTo("real32", ORVString::caseInsensitive) == 0;
            return std::string_view(isFloat ? text::fromReal32(value) : text::fromReal64(value));
        }
        ORVString operator()(const ORVString& value) const { return value; }
        ORVString operator()(const ORVSmrPtr<IOrvoInstanceName>& value) const { return value->toString(); }
        ORVString operator()(const ORVSmrPtr<IOrvoObject>& value) const { return instanceText(*value); }
        ORVString operator()(const Elements& value) const { return listText(*value); }
    };
    return std::visit(Writer{*_type}, _content);
}

void COrvoValue::prefetchText() const noexcept {
    if (const auto* text = std::get_if<ORVString>(&_content)) {
        text->prefetch();
    }
}

std::string_view COrvoValue::lentText(Digits& digits) const noexcept {
    const auto written = [&digits](auto number) -> std::string_view {
        const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        return {digits.data(), static_cast<std::size_t>(end - digits.data())};
    };
    if (const auto* text = std::get_if<ORVString>(&_content)) {
        return text->view();
    }
    if (const auto* number = std::get_if<std::uint64_t>(&_content)) {
        return written(*number);
    }
    if (const auto* number = std::get_if<std::int64_t>(&_content)) {
        return written(*number);
    }
    const auto* boolean = std::get_if<bool>(&_content);
    return boolean ? (*boolean ? "TRUE" : "FALSE") : std::string_view();
}
