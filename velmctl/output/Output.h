#pragma once

#include "velmctl/output/Json.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

enum class Colour { faint, bold, green, yellow, red, cyan };

/// Where the program's words go: results on standard output, everything else on standard error.
///
/// Threads: any; lines never mix. Failure: hasFailed() tells that standard output takes no more, failure()
/// why.
class Output {
public:
    /// Looks at the streams, the locale and the environment (NO_COLOR) once.
    explicit Output(bool writesJson);

    /// Whether results are JSON, one object a line.
    bool writesJson() const noexcept { return _writesJson; }
    /// Whether standard output takes characters that draw boxes.
    bool drawsBoxes() const noexcept { return _drawsBoxes; }
    /// Whether standard output is a terminal.
    bool isTerminal() const noexcept { return _isTerminal; }
    /// The terminal's size as it is now; 80 columns and no end of rows where there is none.
    std::size_t columns() const;
    std::size_t rows() const;
    /// How wide words on standard output are set: as the terminal, but no wider than is good to read.
    std::size_t proseColumns() const;

    /// A result. `text` may hold several lines; a line end is added.
    void line(std::string_view text);
    void json(const Json& object) { line(object.text()); }
    /// A result in words, wrapped.
    void prose(std::string_view text);

    /// The same lines in place of what the terminal shows, as many as it has room for.
    void screen(const std::vector<std::string>& lines);

    /// What a person should know meanwhile, wrapped: {"notice": ...} with JSON.
    void notice(std::string_view text);

    /// The failure that ends the program, wrapped: {"error": ..., "advice": ..., "exitCode": ...} with JSON.
    /// An empty `advice` is left out.
    void error(std::string_view problem, std::string_view advice, int exitCode);

    /// `text` in colour where standard output is a terminal that is to have colours.
    std::string coloured(Colour colour, std::string_view text) const;

    /// Nobody reads standard output any more, or it cannot be written.
    bool hasFailed() const;
    /// Why it cannot be written; empty when it can, and when its reader wanted no more.
    std::string failure() const;

private:
    void _write(const std::string& text);

    const bool _writesJson;
    const bool _isTerminal;
    const bool _hasColours;
    const bool _drawsBoxes;
    mutable std::mutex _lock;
    // Guarded by _lock.
    bool _hasFailed = false;
    int _error = 0;
};

}  // namespace velm
