/*
 * An appliance's root folder, and work done inside it.
 *
 * Everything that migr reads or writes there is done by a child process that has that folder as its root folder, so no
 * symbolic link leads anywhere else. The machine's own root folder needs no change of root; the work is then done by
 * a plain child.
 */
#pragma once

#include "run/confinement.h"
#include "run/interrupts.h"
#include "system/failure.h"
#include "system/file_descriptor.h"

#include <cerrno>
#include <functional>
#include <string>

namespace command {

/* A child that ended without an answer: nobody knows how far it came. */
struct ChildEnded : Failure {
    explicit ChildEnded(const std::string &text) : Failure(Status::unusable, text, ECHILD) {}
};

class Root {
  public:
    /* Throws Failure when `path` is no folder. Messages name `shown_as` in its place, if given. */
    explicit Root(const std::string &path, const std::string &shown_as = "");

    /* The folder that is open at `fd`, which messages call `shown_as`. It has no path of its own. */
    Root(Fd fd, const std::string &shown_as);

    const std::string &path() const
    {
        return path_;
    }
    const std::string &shown() const
    {
        return shown_;
    }
    bool is_machine_root() const
    {
        return machine_root_;
    }
    int fd() const
    {
        return fd_.get();
    }

    /* How messages call a path inside ("/data/config/x"). */
    std::string shows(const std::string &inside) const;

    /* Takes the one lock of this appliance, held until this record and all children that inherited it are gone.
     * Throws Failure when somebody else has it and keeps it. */
    void lock() const;

    /*
     * Runs `work` in a child inside the root folder, and gives what it gives. What `work` throws as Failure or
     * PathError comes out as Failure; the child's own end as ChildEnded. With `interrupts`, a signal ends the child,
     * and Failure says so. inside.h has a form for work that gives more than bytes, or nothing.
     */
    std::string run(const std::function<std::string()> &work, Interrupts *interrupts = nullptr) const;

    /*
     * In a child: makes this folder the root and working folder; without CAP_SYS_CHROOT, in a user namespace of its
     * own. There only the rights over files stay, so nothing can be mounted. The child leaves no
     * core dump, dies with its parent, and makes files for its owner alone. Throws PathError.
     */
    void enter() const;

    /* The same for a child of another making, which keeps the lock. For as long as this record lives. */
    Confinement confinement() const;

  private:
    std::string path_;
    std::string shown_;
    Fd          fd_;
    bool        machine_root_ = false;
};

} // namespace command
