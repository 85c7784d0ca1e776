/* How far a run has got: a bar on a terminal, plain lines elsewhere. */
#pragma once

#include <cstdio>
#include <string>

namespace command {

class Progress {
  public:
    /* `stream` null: shows nothing. */
    Progress(FILE *stream, size_t expected_passes);
    ~Progress(); /* leaves the line of the bar */
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void begins(const std::string &file);
    void ends(); /* the last pass is done */

    /* For passes that are not begun one behind the other: so many are done. `text` is about the last of them. */
    void is_done(size_t passes, const std::string &text);

  private:
    void draw(const std::string &file);

    FILE  *stream_;
    bool   bar_;
    bool   drawn_ = false;
    size_t expected_;
    size_t begun_ = 0;
};

} // namespace command
