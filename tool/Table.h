#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// Rows of cells, aligned in columns. The last cell of a row takes the rest of the line, and
/// continues below itself if it does not fit.
class Table {
public:
    enum class Style : std::uint8_t { plain, heading, good, fair, bad };

    struct Cell {
        // By value: most cells are made from a text alone.
        Cell(std::string shown) : text(std::move(shown)) {}
        Cell(const char* shown) : text(shown) {}
        Cell(std::string shown, Style look) : text(std::move(shown)), style(look) {}

        std::string text;
        Style style = Style::plain;
    };

    /// Redacts the cells: foreign text must not control a terminal.
    void add(std::vector<Cell> row);

    /// Without a final line end. `width` is the line length; with 0, lines are neither broken nor
    /// cut.
    std::string text(std::size_t width, bool isColoured) const;

private:
    std::vector<std::size_t> columnWidths() const;

    std::vector<std::vector<Cell>> m_rows;
};

}  // namespace tool
