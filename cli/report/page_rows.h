/*
 * The rows of a file on a page: every line of the result with where it came from, and between them the lines that are
 * no longer there. The rows are the page's one copy of the text: read as they are without a script, and by the page's
 * script as its data. How a page is built around them is told by page.cpp.
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace command {

/* What became of a line or a block, as the ledger has it. Lines count from 1, 0 is none. */
struct PageChange {
    char                     mark = '-'; /* '-' dropped, '~' rewritten, '+' added, '>' moved */
    uint32_t                 in = 0, in_last = 0, in_end = 0;
    uint32_t                 out = 0, out_last = 0, out_end = 0;
    std::string              from; /* the short name of the old file, when that is another one */
    std::vector<std::string> path;
    std::vector<uint32_t>    causes;          /* their numbers on the page */
    std::string              before;          /* its old lines */
    std::string              note;            /* what else there is to say of it */
    bool                     is_away = false; /* it is in another file's result, and has its rows there */
    bool                     by_hand = false; /* a person had set what was lost */
};

struct PageText {
    std::string                                text; /* of the result */
    std::vector<PageChange>                    changes;
    std::vector<std::vector<uint32_t>>         unchanged; /* [line in the old file, in the result, how many] */
    std::vector<std::pair<uint32_t, uint32_t>> continued; /* lines of values behind their first */
};

/* A piece of the rows; a link leads to its beginning. */
struct RowPiece {
    std::string anchor; /* "1204", "was-87"; empty: no link leads here */
    std::string rows;
    bool        opens_part = false; /* a new lot of rows: a browser leaves lots that nobody looks at for later */
};

inline constexpr unsigned rows_of_a_part = 500;

/*
 * A row is MARK OLD-LINE, a tabulator, NEW-LINE, a tabulator, the numbers of causes, a tabulator, the text, and where
 * there is more to say, a tabulator and that. MARK is a blank for what is kept. The new line's number is missing in a
 * row with old text. A `"` in the place of causes says that the row goes on with the value of the row above.
 * `anchors` are the lines that links lead to: "1204" of the result, "was-87" of the old file.
 */
std::vector<RowPiece> page_rows(const PageText &text, const std::vector<std::string> &anchors);

} // namespace command
