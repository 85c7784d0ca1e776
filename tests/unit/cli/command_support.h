/* Tiny appliances, and the command run on them as its own process. */
#pragma once

#include "support/appliance_root.h"
#include "support/image_line.h"

#include "appliance/upgrade.h"

#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace support {

/* The version line of a release, and the second header line. */
std::string headers(const std::string &release, const std::string &model = "QA-A1X");

/* An image's folder with small files. */
class TinyImage {
  public:
    TinyImage();
    std::string path() const
    {
        return folder_.path().string() + "/image";
    }
    const ApplianceRoot &folder() const
    {
        return folder_;
    }

  private:
    ApplianceRoot folder_;
};

/* An appliance of release 5.50 with a global file and one domain file; the image's files are in it. */
class TinyAppliance : public ApplianceRoot {
  public:
    TinyAppliance();
    std::string root() const
    {
        return path().string();
    }

    /* A configuration file of that release. */
    void config(const std::string &name, const std::string &release, const std::string &text,
                const std::string &model = "QA-A1X") const;
    void drop(const std::string &inside) const; /* removes a file or folder */

    /* All but what migr keeps for itself. */
    Listing                  without_snapshots() const;
    std::vector<std::string> snapshots() const;
};

struct Outcome {
    int         status = -1; /* exit status; -1 when a signal ended it */
    int         signal = 0;
    std::string out;
    std::string err;

    std::string all() const
    {
        return out + err;
    }
};

/* What a test changes in the process ahead of the command. */
using Ahead = std::function<void()>;

constexpr unsigned patience = 60; /* seconds until a process that waits for nothing is killed */

/* In such a process: sends a signal once `ready`, to that process or, for 0, to its group. One that comes early is
 * held.
 */
void signal_soon(int signal, const std::function<bool()> &ready, pid_t to = getpid());

/* Whether a file of that name lies anywhere below the folder, in which others may be at work. */
bool has_file_below(const std::string &folder, const std::string &name);

/* That text is its standard input. */
Ahead with_input(const std::string &text);

/* Somebody sits at a terminal and answers with that. */
Ahead person_who_says(const std::string &answer);

/* `migr ARGUMENTS...`; an upgrade gets the image of this build if the arguments name none. */
Outcome migr(const std::vector<std::string> &arguments, const Ahead &ahead = {});

/* An upgrade in a process of its own, with another function in the library's place if the request says so. */
Outcome run_request(const command::UpgradeRequest &request, const Ahead &ahead = {});

/* Runs anything in a process of its own, and gives what it printed. */
Outcome run_process(const std::function<int()> &work, const Ahead &ahead = {});

/* A user who is nobody here, as whom a test looks at permission bits. When it is not root who runs the tests, that user
 * serves, and these two do nothing. */
constexpr unsigned nobody = 12345; /* not the number that stands for owners from outside a user namespace */
void               become_nobody();
void               give_to_nobody(const std::string &path); /* with all below */

/* Whether such a user can change its root folder on this machine. */
bool users_may_chroot();

/* Asks for more memory than there can be, and goes on without, as if it did not matter. */
void be_refused_memory();

/* From now on whatever asks is refused, for good: not for the test's own process. */
void use_up_memory();

/* From now on the kernel refuses those system calls with that error, whoever makes them: not for the test's own
 * process.
 */
void refuse_calls(const std::vector<int> &calls, int error);

/* No control character but the newline. */
bool is_clean(const std::string &text);

} // namespace support
