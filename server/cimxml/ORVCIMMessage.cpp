#include "foundation/cimxml/ORVCIMMessage.h"

#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "server/xml/SecureXMLReader.h"

#include <array>
#include <charconv>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace {

constexpr velm::XMLLimits strangerLimits{std::size_t{1024} * 1024, 64};
constexpr int failedStatus = 1;

enum class Place { document, cim, message, simpleExpRsp, expMethodResponse, returnValue, value, error };

struct Step {
    Place parent;
    std::string_view name;
    Place child;
};

/// The elements that are read. All others are passed over, with what is in them.
constexpr std::array steps{
    Step{Place::document, "CIM", Place::cim},
    Step{Place::cim, "MESSAGE", Place::message},
    Step{Place::message, "SIMPLEEXPRSP", Place::simpleExpRsp},
    Step{Place::simpleExpRsp, "EXPMETHODRESPONSE", Place::expMethodResponse},
    Step{Place::expMethodResponse, "RETURNVALUE", Place::returnValue},
    Step{Place::expMethodResponse, "ERROR", Place::error},
    Step{Place::returnValue, "VALUE", Place::value},
};

/// A text that is none of its type stays a string: whoever reads a number from it then learns what it says.
ORVSmrPtr<IOrvoValue> readValue(const ORVString& text, const ORVString& typeName) {
    const ORVSmrPtr<IOrvoType> type = COrvoType::fromName(typeName);
    try {
        return COrvoValue::parse(text, type.IsNull() ? COrvoType::string : type);
    } catch (const ORVTypeException&) {
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(text));
    }
}

int readStatus(const ORVString& text) {
    int status = failedStatus;
    std::from_chars(text.data(), text.data() + text.length(), status);
    return status;
}

/// Collects the answer to an export request. Where an element comes twice, the first one counts.
class MessageReader : public velm::XMLHandler {
public:
    explicit MessageReader(bool checksVersions) : _checksVersions(checksVersions) {}

    void startElement(std::string_view name, const velm::XMLAttributes& attributes) override {
        const Step* step = _skipped == 0 ? _findStep(name) : nullptr;
        if (_depth == 0 && !step) {
            fail("the document is no CIM message");
        }
        if (!step || !_enter(step->child, attributes)) {
            ++_skipped;
            return;
        }
        _path[_depth++] = step->child;
    }

    void endElement() override {
        if (_skipped > 0) {
            --_skipped;
            return;
        }
        _leave(_path[--_depth]);
    }

    void characters(std::string_view text) override {
        if (_skipped == 0 && _place() == Place::value) {
            _text += text;
        }
    }

    bool hasMessage() const { return _hasMessage; }
    const ORVString& id() const { return _id; }
    const ORVSmrPtr<ORVCIMSimpleExpRsp>& simpleExpRsp() const { return _simpleExpRsp; }

private:
    Place _place() const { return _depth == 0 ? Place::document : _path[_depth - 1]; }
    const Step* _findStep(std::string_view name) const;
    bool _enter(Place place, const velm::XMLAttributes& attributes);
    void _leave(Place place);
    void _checkVersion(const velm::XMLAttributes& attributes, std::string_view name,
                       std::string_view major) const;

    const bool _checksVersions;
    /// The elements that are open, the root first; each has a place of its own.
    std::array<Place, steps.size()> _path{};
    std::size_t _depth = 0;
    /// Elements open inside one that is passed over; 0 outside.
    std::size_t _skipped = 0;

    std::string _text;
    ORVString _typeName;
    bool _hasMessage = false;
    ORVString _id;
    ORVSmrPtr<IOrvoValue> _value = ORVSmrPtr<IOrvoValue>::none();
    ORVSmrPtr<ORVCIMReturnValue> _returnValue = ORVSmrPtr<ORVCIMReturnValue>::none();
    ORVSmrPtr<ORVCIMError> _error = ORVSmrPtr<ORVCIMError>::none();
    ORVSmrPtr<ORVCIMExpMethodResponse> _methodResponse = ORVSmrPtr<ORVCIMExpMethodResponse>::none();
    ORVSmrPtr<ORVCIMSimpleExpRsp> _simpleExpRsp = ORVSmrPtr<ORVCIMSimpleExpRsp>::none();
};

const Step* MessageReader::_findStep(std::string_view name) const {
    const Place parent = _place();
    for (const Step& step : steps) {
        if (step.parent == parent && step.name == name) {
            return &step;
        }
    }
    return nullptr;
}

/// False when the element does not count.
bool MessageReader::_enter(Place place, const velm::XMLAttributes& attributes) {
    switch (place) {
        case Place::cim:
            _checkVersion(attributes, "CIMVERSION", "2.");
            _checkVersion(attributes, "DTDVERSION", "2.");
            return true;
        case Place::message:
            if (_hasMessage) {
                return false;
            }
            _checkVersion(attributes, "PROTOCOLVERSION", "1.");
            _hasMessage = true;
            _id = attributes.value("ID");
            return true;
        case Place::simpleExpRsp:
            return _simpleExpRsp.IsNull();
        case Place::expMethodResponse:
            return _methodResponse.IsNull();
        case Place::returnValue:
            _typeName = attributes.value("PARAMTYPE");
            if (_typeName.isNull()) {
                _typeName = attributes.value("TYPE");
            }
            return _returnValue.IsNull();
        case Place::value:
            return _value.IsNull();
        case Place::error:
            if (!_error.IsNull()) {
                return false;
            }
            _error = new ORVCIMError(readStatus(attributes.value("CODE")), attributes.value("DESCRIPTION"));
            return true;
        case Place::document:
            break;
    }
    return false;
}

void MessageReader::_leave(Place place) {
    switch (place) {
        case Place::value:
            _value = readValue(ORVString(std::string_view(_text)), _typeName);
            break;
        case Place::returnValue:
            _returnValue = new ORVCIMReturnValue(_value);
            break;
        case Place::expMethodResponse:
            _methodResponse = new ORVCIMExpMethodResponse(_returnValue, _error);
            break;
        case Place::simpleExpRsp:
            _simpleExpRsp = new ORVCIMSimpleExpRsp(_methodResponse);
            break;
        default:
            break;
    }
}

void MessageReader::_checkVersion(const velm::XMLAttributes& attributes, std::string_view name,
                                  std::string_view major) const {
    if (!_checksVersions) {
        return;
    }
    const ORVString version = attributes.value(name);
    if (!version.view().starts_with(major)) {
        fail(fmt::format("{} is \"{}\" where {}x is understood", name, version.view(), major));
    }
}

}  // namespace

ORVCIMMessage::ORVCIMMessage(std::istream& stream, bool checksVersions, bool fromStranger) {
    MessageReader reader(checksVersions);
    velm::SecureXMLReader(fromStranger ? strangerLimits : velm::XMLLimits()).parse(stream, reader);
    if (!reader.hasMessage()) {
        throw ORVXMLError("the document holds no MESSAGE");
    }
    _id = reader.id();
    _simpleExpRsp = reader.simpleExpRsp();
}

ORVCIMMessage::~ORVCIMMessage() = default;
