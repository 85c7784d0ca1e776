/* A forked child that never outlives its parent, nor the record that stands for it. */
#pragma once

#include <functional>
#include <sys/types.h>

namespace command {

class ChildProcess {
  public:
    /* The child runs `work` and ends with what it gives; it must call die_with_parent() when its credentials are
     * settled, since a change of them makes the kernel forget. */
    explicit ChildProcess(const std::function<int()> &work);
    ~ChildProcess(); /* kills it if it still runs */
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    void kill();
    int  wait(); /* its wait status */

  private:
    pid_t pid_ = -1;
    int   status_ = 0;
};

/* In a child made by ChildProcess: the kernel kills it when its parent ends. */
void die_with_parent();

} // namespace command
