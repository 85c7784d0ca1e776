/* Tables for a terminal: as wide as their texts, however wide the terminal is. */
#include "output/table.h"

#include "output/printable.h"

#include <algorithm>

namespace command {

static std::vector<size_t> widths_of(const std::vector<Row> &rows)
{
    std::vector<size_t> widths;
    for (const Row &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t column = 0; column < row.size(); column++)
            widths[column] = std::max(widths[column], columns(printable(row[column])));
    }
    return widths;
}

static std::string padded(const std::string &cell, size_t width, bool right)
{
    std::string text = printable(cell);
    std::string blanks(width - columns(text), ' ');
    return right ? blanks + text : text + blanks;
}

void show_table(const std::vector<Row> &rows, const std::vector<size_t> &right, Print print)
{
    std::vector<size_t> widths = widths_of(rows);
    for (const Row &row : rows) {
        std::string line;
        for (size_t column = 0; column < row.size(); column++) {
            bool to_right = std::find(right.begin(), right.end(), column) != right.end();
            line += (column == 0 ? "" : "  ") + padded(row[column], widths[column], to_right);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        print(line);
    }
}

} // namespace command
