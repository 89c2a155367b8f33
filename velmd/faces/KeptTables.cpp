#include "velmd/faces/KeptTables.h"

#include <algorithm>
#include <ostream>
#include <streambuf>
#include <string_view>
#include <utility>

namespace velm {

namespace {

constexpr std::string_view beginOfTable = "<TABLE BORDER>";
constexpr std::string_view endOfTable = "</TABLE>";
constexpr std::string_view endOfRow = "</TR>";

/// Takes so many bytes and no more, at which the stream that writes to it fails.
class Beginning : public std::streambuf {
public:
    explicit Beginning(std::size_t most) : _most(most) {}

    /// What came. Where it was cut, the whole rows of the first table.
    std::string text() && {
        if (_isCut) {
            _text.resize(std::min(_text.find(beginOfTable, 1), _text.size()));
            if (!_text.ends_with(endOfTable)) {
                const auto lastRow = _text.rfind(endOfRow);
                _text.resize(lastRow == _text.npos ? 0 : lastRow + endOfRow.size());
                _text += endOfTable;
            }
        }
        return std::move(_text);
    }
    bool isCut() const { return _isCut; }

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        const std::size_t taken = std::min(static_cast<std::size_t>(size), _most - _text.size());
        _text.append(text, taken);
        _isCut = _isCut || taken < static_cast<std::size_t>(size);
        return static_cast<std::streamsize>(taken);
    }
    int_type overflow(int_type character) override {
        const char one = traits_type::to_char_type(character);
        return xsputn(&one, 1) == 1 ? character : traits_type::eof();
    }

private:
    const std::size_t _most;
    std::string _text;
    bool _isCut = false;
};

/// Adds what `dump` writes.
void append(KeptTables::Excerpt& excerpt, const KeptTables::Dump& dump) {
    Beginning beginning(KeptTables::mostBytes);
    std::ostream stream(&beginning);
    dump(stream);
    excerpt.isCut = excerpt.isCut || beginning.isCut();
    excerpt.tables += std::move(beginning).text();
}

}  // namespace

KeptTables::KeptTables(Dump dumpAll, Dump dumpClasses, std::function<Clock::time_point()> now)
    : _dumpAll(std::move(dumpAll)), _dumpClasses(std::move(dumpClasses)), _now(std::move(now)) {
}

std::shared_ptr<const KeptTables::Excerpt> KeptTables::_take() const {
    auto excerpt = std::make_shared<Excerpt>();
    excerpt->taken = status::Time::clock::now();
    append(*excerpt, _dumpAll);
    if (excerpt->isCut) {
        append(*excerpt, _dumpClasses);
    }
    return excerpt;
}

std::shared_ptr<const KeptTables::Excerpt> KeptTables::excerpt() {
    const std::lock_guard guard(_lock);
    const Clock::time_point begin = _now();
    if (!_excerpt || begin >= _due) {
        _excerpt = _take();
        const Clock::time_point end = _now();
        const bool isBroken = !_excerpt->tables.ends_with(endOfTable);
        const Clock::duration age = isBroken ? ageOfBrokenOnes : shortestAge;
        _due = end + std::max(age, 10 * (end - begin));
    }
    return _excerpt;
}

}  // namespace velm
