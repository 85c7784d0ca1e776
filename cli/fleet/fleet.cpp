/* The order of things: what is there, what is done, the rest handed out, and an answer for each. */
#include "fleet/fleet.h"

#include "fleet/entries.h"
#include "fleet/hand_out.h"
#include "fleet/results_folder.h"
#include "output/console.h"
#include "output/printable.h"
#include "run/progress.h"
#include "system/failure.h"
#include "system/files.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace command {

namespace {

/* What one run knows. */
struct Fleet {
    const FleetRequest  &request;
    FleetIndex          &index;
    Interrupts          &interrupts;
    const ResultsFolder &results;
    Identity             identity;
    size_t               lines = 0; /* of fleet.jsonl that the index has */
    FleetRun             run = {};
};

std::string own_path()
{
    std::error_code error;
    fs::path        path = fs::read_symlink("/proc/self/exe", error);
    if (error)
        throw PathError{"find", "the command itself", error.value()};
    return path;
}

/* Takes in what has come since. */
void read_lines(Fleet &fleet)
{
    fleet.index.begin();
    for_each_line(fleet.results.lines(), [&](const std::string &line, size_t number) {
        if (number > fleet.lines)
            fleet.index.add(result_from(line));
        fleet.lines = std::max(fleet.lines, number);
    });
    fleet.index.commit();
}

/* A result that no process of an appliance's own can write. */
void answer_for(Fleet &fleet, const std::string &name, EntryEnd end, const std::string &why)
{
    EntryResult result;
    result.entry = name;
    result.form = name_of(form_of(joined(fleet.request.in, name)));
    result.identity = fleet.identity;
    result.end = end;
    take_reason({why}, result);
    fleet.results.add_line(result);
}

/* ---- ahead of the run ---- */

bool is_done(Fleet &fleet, const std::string &name)
{
    if (!fleet.request.resume || !fleet.index.has_result(name))
        return false;
    std::string path = joined(fleet.request.in, name);
    Identity    identity = fleet.identity;
    try {
        identity.input = digest_of_entry(path, form_of(path));
    } catch (const PathError &) {
        return false; /* its own process will tell */
    }
    return fleet.index.is_done(name, identity);
}

/* The names are taken down first, since the folder may be read for as long as appliances are looked at. */
void find_work(Fleet &fleet)
{
    FleetIndex &index = fleet.index;
    index.begin();
    fleet.run.hidden = for_each_entry(fleet.request.in, [&](const std::string &name) {
        std::string trouble = why_no_entry_name(name);
        if (!trouble.empty())
            answer_for(fleet, printable(name), EntryEnd::refused, trouble);
        else if (is_done(fleet, name))
            fleet.run.done_before++;
        else
            index.expect(name);
    });
    index.commit();
    fleet.interrupts.stop_here("Nothing was begun.");
}

/* A job for each appliance that is expected, in the index's order. */
void write_jobs(const Fleet &fleet, const std::string &path)
{
    std::ofstream jobs(path, std::ios::trunc);
    fleet.index.for_each_expected([&](const std::string &name) { jobs << job_line(fleet.request, name) << "\n"; });
    jobs.close();
    if (!jobs)
        throw PathError{"write", path, errno};
}

/* ---- the run ---- */

/* "about 3 min left"; nothing while nobody can tell. */
std::string estimate(std::chrono::steady_clock::time_point start, uint64_t done, uint64_t all)
{
    static constexpr uint64_t few = 5;
    static constexpr double   minute = 60;
    if (done < few || done == all)
        return "";
    double passed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double left = passed / static_cast<double>(done) * static_cast<double>(all - done);
    return left < minute ? ", about " + std::to_string(static_cast<int>(left) + 1) + " s left"
                         : ", about " + std::to_string(static_cast<int>(left / minute) + 1) + " min left";
}

bool run_jobs(Fleet &fleet, const std::string &jobs, const std::string &log)
{
    uint64_t all = fleet.index.expected(), done = 0;
    Progress progress(fleet.request.progress, all);
    auto     start = std::chrono::steady_clock::now();
    HandOut  request;
    request.jobs = jobs;
    request.log = log;
    request.at_once = fleet.request.at_once;
    request.timeout = fleet.request.timeout;
    request.halt = fleet.request.halt;
    request.printed = [&](const std::string &line) {
        done++;
        progress.is_done(done, line + estimate(start, done, all));
    };
    request.complained = [](const std::string &line) { complain(line); };
    return hand_out(request, fleet.interrupts);
}

/* ---- behind it ---- */

std::string why_no_answer(const Fleet &fleet, const BadEnd &end)
{
    if (end.status < 0 && fleet.request.timeout)
        return "It took longer than the " + std::to_string(*fleet.request.timeout) +
               " s that an appliance may take. Try it with more (--timeout).";
    if (end.signal != 0)
        return "Its process was ended by a signal (" + std::string(strsignal(end.signal)) + "). Try it again.";
    return "Its process ended with the status " + std::to_string(end.status) + " ahead of a result.";
}

/* For each process that ended and left none. */
void answer_for_the_silent(Fleet &fleet, const std::string &log)
{
    for (const BadEnd &end : bad_ends(log)) {
        std::string name = fleet.index.unanswered(end.number);
        if (!name.empty())
            answer_for(fleet, name, EntryEnd::failed, why_no_answer(fleet, end));
    }
    read_lines(fleet);
}

std::string shown_call(const FleetRequest &request)
{
    return "migr fleet upgrade " + shell_word(request.in) + " " + shell_word(request.job.out);
}

} // namespace

std::string job_line(const FleetRequest &request, const std::string &name)
{
    std::string line = shell_word(own_path()) + " fleet one";
    if (!request.job.image.empty())
        line += " --image " + shell_word(fs::absolute(request.job.image).string());
    line += request.job.partial ? " --partial" : "";
    line += request.job.accept_damage ? " --accept-damage" : "";
    line += request.job.page ? " --html" : "";
    return line + " " + shell_word(fs::absolute(joined(request.in, name)).string()) + " " +
           shell_word(fs::absolute(request.job.out).string());
}

void require_folders(const std::string &in, const std::string &out)
{
    for (const std::string &path : {in, out})
        if (printable(path) != path)
            throw Failure(Status::unusable, path + ": its name has characters that a terminal or a shell might act on. "
                                                   "Give it another one.");
    if (!fs::is_directory(in))
        throw Failure(Status::unusable, in + " is no folder. Name the one that holds the saved appliances.");
    std::string source = fs::weakly_canonical(in), results = fs::weakly_canonical(out);
    if ((results + "/").starts_with(source + "/"))
        throw Failure(Status::unusable, out + " lies in " + in + ", which is not written to. Name a folder elsewhere.");
}

void read_results(const std::string &out, FleetIndex &index)
{
    std::string path = joined(out, "fleet.jsonl");
    if (!is_there(path))
        throw Failure(Status::unusable, path + " is not there, so " + out + " has no results of a fleet.");
    index.begin();
    for_each_line(path, [&](const std::string &line, size_t) { index.add(result_from(line)); });
    index.commit();
}

FleetRun upgrade_fleet(const FleetRequest &request, FleetIndex &index, Interrupts &interrupts)
{
    require_parallel();
    require_folders(request.in, request.job.out);
    Identity      identity = identity_of(request.job);
    ResultsFolder results(request.job.out);
    Fd            lock = results.lock();
    if (is_there(results.lines()) && !request.resume)
        throw Failure(Status::unusable, request.job.out + " has results already. Go on with " + shown_call(request) +
                                            " --resume, or name another folder.");
    Fleet fleet = {request, index, interrupts, results, identity};
    read_lines(fleet);
    find_work(fleet);
    index.wait_for_answers();
    std::string jobs = joined(results.work(), "jobs"), log = joined(results.work(), "log");
    write_jobs(fleet, jobs);
    bool went_on = run_jobs(fleet, jobs, log);
    read_lines(fleet);
    if (!went_on)
        throw Failure(Status::failed,
                      "Stopped by a signal. What was done stays. Go on with: " + shown_call(request) + " --resume");
    answer_for_the_silent(fleet, log);
    for (size_t number = 1; number <= index.expected(); number++)
        fleet.run.left += index.unanswered(number).empty() ? 0 : 1;
    return fleet.run;
}

} // namespace command
