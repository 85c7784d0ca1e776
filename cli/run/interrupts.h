/* SIGINT, SIGQUIT, SIGTERM and SIGHUP as something to be asked for: a run must not die half-way, it has something to
 * put back. */
#pragma once

#include "system/file_descriptor.h"

#include <csignal>
#include <string>

namespace command {

class Interrupts {
  public:
    Interrupts(); /* holds the signals back from here on, in this process and in the children it makes */
    ~Interrupts();
    Interrupts(const Interrupts &) = delete;
    Interrupts &operator=(const Interrupts &) = delete;

    int fd() const
    {
        return fd_.get();
    } /* readable when a signal has come */

    /* Whether a signal has come since the beginning. */
    bool came();

    /* Throws Failure if one has. `state` says what that leaves behind. */
    void stop_here(const std::string &state);

  private:
    sigset_t before_ = {};
    Fd       fd_;
    bool     came_ = false;
};

} // namespace command
