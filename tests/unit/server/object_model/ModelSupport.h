#pragma once

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <string>
#include <vector>

/// Short ways to objects of the model, and to texts that can be compared.
namespace velm::test {

inline std::string str(const ORVString& text) {
    return std::string(text.view());
}

template <class... Arguments>
ORVSmrPtr<IOrvoValue> value(Arguments&&... arguments) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(std::forward<Arguments>(arguments)...));
}

inline ORVSmrPtr<IOrvoInstanceName> instanceName(const char* text) {
    return COrvoInstanceName::parse(text);
}

template <class T>
std::vector<std::string> strings(const ORVValSlist<T>& list) {
    std::vector<std::string> result;
    for (const auto& element : list) {
        result.push_back(str(element));
    }
    return result;
}

inline ORVSmrPtr<ORVValSlist<ORVString>> names(const std::vector<const char*>& texts) {
    ORVSmrPtr<ORVValSlist<ORVString>> list(new ORVValSlist<ORVString>);
    for (const char* text : texts) {
        list->append(text);
    }
    return list;
}

/// The message of the Exception that `action` throws; "nothing thrown" otherwise.
template <class Exception, class Action>
std::string messageOf(Action action) {
    try {
        action();
    } catch (const Exception& error) {
        return str(error.getMessage());
    }
    return "nothing thrown";
}

}  // namespace velm::test
