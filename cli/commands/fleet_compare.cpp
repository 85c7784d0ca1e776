/* migr fleet compare CORPUS: the same appliances through two images, or two versions of the command. How differences
 * are found is told by fleet/differences.h. */
#include "commands/fleet_options.h"
#include "fleet/differences.h"
#include "output/console.h"
#include "output/printable.h"
#include "system/files.h"
#include "system/temporary_folder.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <sys/stat.h>

namespace command {

namespace {

/* Where the results of both sides go: where the operator says, or where nothing stays. */
struct Sides {
    std::unique_ptr<TemporaryFolder> temporary;
    std::string                      before, after;
};

Sides sides_in(const std::string &output)
{
    if (!output.empty()) {
        if (mkdir(output.c_str(), 0700) != 0 && errno != EEXIST)
            throw PathError{"make", output, errno};
        return {nullptr, joined(output, "old"), joined(output, "new")};
    }
    auto        temporary = std::make_unique<TemporaryFolder>("");
    std::string before = temporary->make("old"), after = temporary->make("new");
    return {std::move(temporary), before, after};
}

void require_two_sides(const Arguments &arguments)
{
    bool two_images = arguments.images.size() == 2;
    if (arguments.images.size() > 2 || (!two_images && arguments.migr.empty()))
        throw Failure(Status::unusable, "There is nothing to compare. Name two images, the old one first (--image OLD "
                                        "--image NEW), or an older command (--migr OLD).");
    if (arguments.accept && arguments.expect.empty())
        throw Failure(Status::unusable, "Name the file that differences are accepted in (--expect FILE).");
    if (!arguments.accept && !arguments.expect.empty() && !is_there(arguments.expect))
        throw Failure(Status::unusable, arguments.expect + ": there is no such file. Have it written with --accept.");
}

std::string number_of(uint64_t count, const std::string &what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void upgrade_side(const Arguments &arguments, bool is_new, const std::string &results, Interrupts &interrupts)
{
    FleetIndex   index;
    FleetRequest request = fleet_request(arguments);
    request.in = arguments.in;
    request.job.out = results;
    request.job.image = arguments.images.empty() ? "" : is_new ? arguments.images.back() : arguments.images.front();
    request.migr = is_new ? "" : arguments.migr;
    request.resume = true;
    complain(std::string("the ") + (is_new ? "new" : "old") + " side" +
             (request.job.image.empty() ? "" : ", with " + request.job.image));
    FleetRun run = upgrade_fleet(request, index, interrupts);
    if (run.left + index.count(EntryEnd::failed) > 0) /* what failed on both sides would look the same */
        throw Failure(Status::failed, number_of(run.left + index.count(EntryEnd::failed), "appliance") +
                                          " could not be tried, so nothing can be said of all. See migr fleet upgrade "
                                          "for what is wrong.");
    if (index.count(EntryEnd::upgraded) + index.count(EntryEnd::current) + index.count(EntryEnd::refused) == 0)
        throw Failure(Status::unusable, arguments.in + " holds no appliance.");
}

bool is_in(const std::vector<Difference> &list, const Difference &one)
{
    return std::any_of(list.begin(), list.end(), [&](const Difference &other) { return one.is_like(other); });
}

/* Those of one list that the other has not. */
std::vector<Difference> without(const std::vector<Difference> &list, const std::vector<Difference> &other)
{
    std::vector<Difference> left;
    for (const Difference &one : list)
        if (!is_in(other, one))
            left.push_back(one);
    return left;
}

void show(const Difference &one)
{
    say(std::string(one.is_new ? "+ " : "- ") + one.what + (one.path.empty() ? "" : " " + one.path) +
        (one.cause.empty() ? "" : ", " + one.cause) + ": " + number_of(one.appliances, "appliance") +
        (one.count > one.appliances ? ", " + std::to_string(one.count) + " times" : ""));
    say("    " + one.first + ": " + one.example);
}

void show_differences(const std::vector<Difference> &differences, size_t allowed, const std::vector<Difference> &gone)
{
    for (const Difference &one : differences)
        show(one);
    for (const Difference &one : gone)
        complain("no longer found: " + std::string(one.is_new ? "+ " : "- ") + one.what + " " + one.path + " " +
                 one.cause);
    say(differences.empty()
            ? "Nothing comes out otherwise" + std::string(allowed == 0 ? "." : " than is accepted.")
            : number_of(differences.size(), "difference") + ": - only with the old, + only with the new.");
}

Json::List list_json(const std::vector<Difference> &differences)
{
    Json::List list;
    for (const Difference &one : differences)
        list.push_back(difference_json(one));
    return list;
}

Status compare(const Arguments &arguments)
{
    require_two_sides(arguments);
    Interrupts interrupts;
    Sides      sides = sides_in(arguments.output);
    upgrade_side(arguments, false, sides.before, interrupts);
    upgrade_side(arguments, true, sides.after, interrupts);
    std::vector<Difference> all = differences_of(sides.before, sides.after, interrupts);
    if (arguments.accept)
        write_differences(arguments.expect, all, interrupts);
    std::vector<Difference> allowed;
    if (!arguments.expect.empty())
        allowed = read_differences(arguments.expect);
    std::vector<Difference> left = without(all, allowed), gone = without(allowed, all);
    Status                  status = left.empty() ? Status::done : Status::left_alone;
    if (arguments.json)
        print_answer(
            "fleet compare", status,
            {{"differences", list_json(left)}, {"accepted", allowed.size() - gone.size()}, {"gone", list_json(gone)}});
    else
        show_differences(left, allowed.size(), gone);
    return status;
}

} // namespace

const Subcommand fleet_compare_command = {
    "fleet compare",
    "Upgrade the same appliances in two ways, and say what comes out otherwise",
    {{"IN", &Arguments::in, "A folder of saved appliances", true},
     {"--image", &Arguments::images, "Folder with an image's files: given twice, the old one and the new one"},
     {"--migr", &Arguments::migr, "An older command, which does the old side"},
     {"--expect", &Arguments::expect, "A file with the differences that are allowed"},
     {"--accept", &Arguments::accept, "Write that file: all that differs now is allowed"},
     {"-o,--output", &Arguments::output, "Keep both folders of results in this one, and go on with what is there"},
     {"--jobs", &Arguments::jobs, "How many are upgraded side by side; without it as many as there are processors"},
     {"--accept-damage", &Arguments::accept_damage, "Upgrade files of which text will be lost, too"},
     {"--json", &Arguments::json, "Print the differences as JSON"}},
    compare,
};

} // namespace command
