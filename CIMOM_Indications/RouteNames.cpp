#include "CIMOM_Indications/RouteNames.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace velm {

const RouteNames& RouteNames::of(const ORVString& className, const RouteNames* base) {
    using Key = std::pair<const RouteNames*, std::string>;
    static std::mutex& lock = *new std::mutex;
    static auto& all = *new std::map<Key, std::unique_ptr<const RouteNames>>;

    const std::lock_guard guard(lock);
    std::unique_ptr<const RouteNames>& names = all[Key(base, className.view())];
    if (!names) {
        names.reset(new RouteNames(className, base));
    }
    return *names;
}

bool RouteNames::isPlain(const ORVString& text) noexcept {
    const std::string_view view = text.view();
    return view.find(':') == std::string_view::npos && view.find('.') == std::string_view::npos;
}

RouteNames::RouteNames(const ORVString& className, const RouteNames* base)
    : _list(new ORVValSlist<ORVString>) {
    _append(base ? className : ORVString("*"));
    if (base) {
        for (const Name& name : base->_names) {
            _append(name.text);
        }
    }
}

void RouteNames::_append(const ORVString& name) {
    _names.push_back({name, hashKeyORVString(name), isPlain(name)});
    _list->append(name);
}

}  // namespace velm
