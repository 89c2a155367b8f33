#include "foundation/utilities/CI_ExFatal.h"

#include <string_view>

#include <fmt/format.h>

const unsigned long CI_String::NPOS = static_cast<unsigned long>(-1);

// Never destroyed: a thread that outlives main() may still fail.
const CI_String& CI_String::none = *new CI_String("", 0);

CI_String::CI_String(const char* text, unsigned long length)
    : _text(length == NPOS ? std::string(text) : std::string(text, length)) {
}

CI_ExFatal::CI_ExFatal(unsigned int line, const CI_String& file, int code, const CI_String& expression,
                       const CI_String& detail1, const CI_String& detail2, const CI_String& detail3,
                       const CI_String& detail4, const CI_String& detail5)
    : _line(line),
      _code(code),
      _text(fmt::format("{}:{}: fatal assertion 0x{:X}: {}", file.data(), line,
                        static_cast<unsigned int>(code), expression.data())) {
    for (const CI_String* detail : {&detail1, &detail2, &detail3, &detail4, &detail5}) {
        const std::string_view text = detail->data();
        if (!text.empty()) {
            _text.append(", ").append(text);
        }
    }
}

CI_ExFatal::~CI_ExFatal() = default;

void CI_ExFatal::throwThis() const {
    throw CI_ExFatal(*this);
}

const char* CI_ExFatal::what() const noexcept {
    return _text.c_str();
}
