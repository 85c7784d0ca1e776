/* Stages of a test's own, with callbacks that write down what they see. */
#pragma once

#include "support/trees.h"
#include "walk/cursors.h"
#include "walk/walk.h"

#include <functional>
#include <string>
#include <vector>

namespace walk_test {

/* What a recording row does beside recording; called with its round and progress flags. */
using Action = std::function<void(int32_t round, int32_t *progress)>;

/*
 * A stage of up to four rows. Each visit becomes a line: "row:round suffix | top slots | sub slots", where "-" is
 * EMPTY_NODE, "$" is EOB_NODE, and any other node its name; a line has only the row's number when there is one row.
 */
class Recorder {
  public:
    Recorder();
    ~Recorder();

    /* Adds a row and gives its number. */
    int add(const char *scope, int32_t rounds, Action action = {}, int32_t state_size = 0);

    /* Walks migr_main's tree. */
    std::string walk();

    stage_table &table()
    {
        return table_;
    }

  private:
    std::vector<stage_row> rows_;
    stage_table            table_ = {};
};

} // namespace walk_test
