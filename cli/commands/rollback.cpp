/* migr rollback ROOT [SNAPSHOT]: asks, and has it done. The way back is worked out in appliance/way_back.h. */
#include "appliance/appliance_state.h"
#include "commands/subcommand.h"
#include "output/console.h"
#include "output/json.h"
#include "output/printable.h"
#include "run/waiting.h"

#include <unistd.h>

namespace command {

namespace {

std::vector<std::string> since_texts(const Root &root, const RollbackPlan &plan)
{
    std::vector<std::string> texts;
    for (const Since &one : plan.since)
        texts.push_back(one.what + ": " + root.shows(one.path) +
                        (one.replaced ? ", and going back replaces it" : ", and stays as it is now"));
    return texts;
}

void tell_what_came_since(const Root &root, const RollbackPlan &plan)
{
    say("Since then, these have changed or come:");
    for (const std::string &text : since_texts(root, plan))
        say("  " + text);
}

/* True when it may be done. */
bool is_agreed(const Root &root, const Arguments &arguments, const RollbackPlan &plan, Interrupts &interrupts)
{
    if (plan.since.empty())
        return true;
    if (arguments.json && !arguments.yes)
        throw Failure(Status::unusable,
                      "Nothing was changed. Something changed or came since; say --yes to go back all "
                      "the same.",
                      since_texts(root, plan));
    tell_what_came_since(root, plan);
    if (arguments.yes)
        return true;
    if (!isatty(STDIN_FILENO))
        throw Failure(Status::unusable, "Nothing was changed. Say --yes to go back all the same; what is replaced is "
                                        "kept in a snapshot.");
    return is_answered_yes(stdout, "Go back all the same? What is replaced is kept in a snapshot. [y/N] ", interrupts);
}

void tell(const Root &root, const RollbackPlan &plan, const std::string &name, const std::string &kept, bool json)
{
    if (json)
        return print_answer("rollback", Status::done,
                            {{"root", root.shown()},
                             {"release", plan.to},
                             {"undone", Json::list(plan.undone)},
                             {"snapshot", shown_snapshot(root, kept)},
                             {"since", Json::list(since_texts(root, plan))}});
    say(root.shown() + ": back at " + plan.to + ", as it was before the snapshot " + shown_snapshot(root, name) + ".");
    say("To undo this:  migr rollback " + shell_word(root.shown()) + " " + kept);
}

/* A signal ends the question; once the way back has begun, it waits until all is back. */
Status roll_back_appliance(const Arguments &arguments)
{
    if (arguments.snapshot && arguments.snapshot->empty())
        throw Failure(Status::unusable, "The name of the snapshot is empty. See which there are: migr snapshots " +
                                            shell_word(arguments.root));
    Root       root(arguments.root);
    Interrupts interrupts;
    root.lock();
    settle_last_commit(root, true, [](const std::string &line) { say(line); });
    std::string  name = chosen_snapshot(root, arguments.snapshot);
    RollbackPlan plan = plan_rollback(root, name);
    if (!is_agreed(root, arguments, plan, interrupts)) {
        say("Nothing was changed.");
        return Status::done;
    }
    std::string kept = roll_back(root, name);
    do_or_complain("It is done, and not all of it can be told", [&] { tell(root, plan, name, kept, arguments.json); });
    return Status::done;
}

} // namespace

const Subcommand rollback_command = {
    "rollback",
    "Put back what was before an upgrade",
    {
        {"ROOT", &Arguments::root, "The appliance's root folder", true},
        {"SNAPSHOT", &Arguments::snapshot,
         "To before which command: its snapshot, by name or path; if not given, the newest upgrade's"},
        {"--yes", &Arguments::yes, "Do not ask when something changed or came since"},
        {"--json", &Arguments::json, "Print what was done as JSON; asks nothing"},
    },
    roll_back_appliance,
};

} // namespace command
