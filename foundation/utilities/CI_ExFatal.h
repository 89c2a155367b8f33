#pragma once

#include "foundation/Export.h"

#include <exception>
#include <string>

/// A text of the runtime support library.
class VELM_EXPORT CI_String {
public:
    /// The empty text: "no detail".
    static const CI_String& none;
    static const unsigned long NPOS;

    /// A copy of the first `length` bytes of `text`; all of it, up to its zero byte, with NPOS.
    CI_String(const char* text, unsigned long length);

    const char* data() const noexcept { return _text.c_str(); }

private:
    std::string _text;
};

/// A condition that the code relies on does not hold: the runtime's fatal assertion.
class VELM_EXPORT CI_ExFatal : public std::exception {
public:
    /// `line` and `file` say where, `code` is the number under which support looks the case up, `expression`
    /// is what should have been true; the five texts are details, CI_String::none where there is none.
    CI_ExFatal(unsigned int line, const CI_String& file, int code, const CI_String& expression,
               const CI_String& detail1, const CI_String& detail2, const CI_String& detail3,
               const CI_String& detail4, const CI_String& detail5);
    ~CI_ExFatal() override;

    /// Throws a copy of this exception.
    [[noreturn]] void throwThis() const;

    unsigned int getLine() const noexcept { return _line; }
    int getCode() const noexcept { return _code; }

    /// "file:line: fatal assertion 0xC902: expression", followed by each detail that is not empty.
    const char* what() const noexcept override;

private:
    unsigned int _line;
    int _code;
    std::string _text;
};
