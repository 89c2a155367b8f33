#pragma once

#include "velmctl/output/Output.h"

#include <optional>
#include <string>
#include <vector>

namespace velm {

/// A table for a terminal: columns as wide as what is in them, and the widest ones narrower where there is
/// not enough room; their cells go on in further lines then. Where no column has a title, there is no line of
/// them. Used by one thread.
class TextTable {
public:
    struct Column {
        std::string title;
        /// Numbers stand at the right.
        bool isNumber = false;
    };

    struct Cell {
        Cell(std::string words) : text(std::move(words)) {}
        Cell(const char* words) : text(words) {}
        Cell(std::uint64_t number) : text(std::to_string(number)) {}
        Cell(std::string words, Colour shade) : text(std::move(words)), colour(shade) {}

        /// May hold line ends. Fit for a terminal.
        std::string text;
        std::optional<Colour> colour;
    };

    explicit TextTable(std::vector<Column> columns) : _columns(std::move(columns)) {}

    /// Requires: as many cells as columns.
    void add(std::vector<Cell> cells);
    /// Lines below the last row, from the left on and across all columns.
    void addNote(std::string text, Colour colour);

    /// The titles, and the rows below them.
    std::vector<std::string> lines(std::size_t width, const Output& output) const;

private:
    struct Note {
        std::string text;
        Colour colour;
    };
    struct Row {
        std::vector<Cell> cells;
        std::vector<Note> notes;
    };

    std::vector<std::size_t> _widths(std::size_t width) const;
    void _write(std::vector<std::string>& lines, const std::vector<Cell>& cells,
                const std::vector<std::size_t>& widths, const Output& output) const;

    const std::vector<Column> _columns;
    std::vector<Row> _rows;
};

}  // namespace velm
