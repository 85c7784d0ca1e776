/* The order of things: what is there, what is done, the rest handed out, and an answer for each. */
#include "fleet/fleet.h"

#include "fleet/entries.h"
#include "fleet/hand_out.h"
#include "fleet/remote.h"
#include "fleet/results_folder.h"
#include "output/console.h"
#include "output/printable.h"
#include "run/progress.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/temporary_folder.h"

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
            fleet.index.add(result_in_line(fleet.results.lines(), line, number));
        fleet.lines = std::max(fleet.lines, number);
    });
    fleet.index.commit();
}

EntryForm form_if_known(const std::string &path)
{
    try {
        return form_of(path);
    } catch (const PathError &) {
        return EntryForm::other;
    }
}

/* A result that no process of an appliance's own can write. */
void answer_for(Fleet &fleet, const std::string &name, EntryEnd end, const std::string &why)
{
    EntryResult result;
    result.entry = name;
    result.form = name_of(form_if_known(joined(fleet.request.in, name)));
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

/* Of jobs on other machines, when the process was killed that they were for. */
void take_in_what_came_back(Fleet &fleet)
{
    Shipments shipments(fleet.results);
    shipments.take_in([&](const EntryResult &result) { return fleet.index.is_done(result.entry, result.identity); });
    shipments.clear();
    read_lines(fleet);
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

/* Tells each line that a job prints when it is done. */
class Told {
  public:
    Told(const Fleet &fleet)
        : all_(fleet.index.expected()), progress_(fleet.request.progress, all_),
          start_(std::chrono::steady_clock::now())
    {
    }
    void operator()(const std::string &line)
    {
        done_++;
        progress_.is_done(done_, line + estimate(start_, done_, all_));
    }

  private:
    uint64_t                              all_, done_ = 0;
    Progress                              progress_;
    std::chrono::steady_clock::time_point start_;
};

HandOut hand_out_of(const Fleet &fleet, const std::string &log)
{
    HandOut request;
    request.jobs = joined(fs::absolute(fleet.results.work()), "jobs");
    request.log = log;
    request.at_once = fleet.request.at_once;
    request.timeout = fleet.request.timeout;
    request.halt = fleet.request.halt;
    request.complained = [](const std::string &line) { complain(line); };
    return request;
}

/* False when a signal came. */
bool run_here(Fleet &fleet, const std::string &log)
{
    HandOut request = hand_out_of(fleet, log);
    Told    told(fleet);
    request.printed = std::ref(told);
    write_jobs(fleet, request.jobs);
    bool went_on = hand_out(request, fleet.interrupts);
    read_lines(fleet);
    return went_on;
}

/* ---- on other machines ---- */

/* What is sent of each appliance that has no answer yet. */
std::vector<std::string> send_all(const Fleet &fleet, const Shipments &shipments)
{
    std::vector<std::string> sent;
    fleet.index.for_each_unanswered([&](const std::string &name, size_t number) {
        fleet.interrupts.stop_here("What was done stays.");
        sent.push_back(shipments.send(number, joined(fleet.request.in, name)));
    });
    return sent;
}

void write_lines(const std::string &path, const std::vector<std::string> &lines)
{
    std::ofstream file(path, std::ios::trunc);
    for (const std::string &line : lines)
        file << line << "\n";
    file.close();
    if (!file)
        throw PathError{"write", path, errno};
}

HandOut remote_hand_out(const Fleet &fleet, const Shipments &shipments, const std::string &hosts,
                        const std::string &log)
{
    const EntryJob &job = fleet.request.job;
    HandOut         request = hand_out_of(fleet, log);
    request.folder = shipments.folder();
    request.further = {"--sshloginfile", hosts,          "--workdir", "...", "--transferfile", "{}",
                       "--return",       "{.}.returned", "--cleanup"};
    request.template_ = {"migr", "fleet", "one", "--sent", "{}", "{.}.returned"};
    if (!job.image.empty())
        request.template_.insert(request.template_.end(), {"--image", shell_word(fs::absolute(job.image).string())});
    for (auto [wanted, option] :
         {std::pair(job.partial, "--partial"), {job.accept_damage, "--accept-damage"}, {job.page, "--html"}})
        if (wanted)
            request.template_.push_back(option);
    return request;
}

/* A machine that went away leaves jobs behind that another one can do, so what has no answer is sent again, to those
 * that still answer. */
bool run_there(Fleet &fleet, const std::string &log)
{
    static constexpr int rounds = 3;
    Shipments            shipments(fleet.results);
    Told                 told(fleet);
    auto                 take_in = [&] { shipments.take_in([](const EntryResult &) { return false; }); };
    for (int round = 1; round <= rounds; round++) {
        std::vector<std::string> hosts =
            hosts_that_answer(fleet.request.hosts, fleet.request.job.image, fleet.identity, fleet.interrupts);
        std::vector<std::string> jobs = send_all(fleet, shipments);
        if (hosts.empty() || jobs.empty())
            break;
        std::string list = joined(fs::absolute(fleet.results.work()), "hosts");
        write_lines(list, hosts);
        HandOut request = remote_hand_out(fleet, shipments, list, log);
        write_lines(request.jobs, jobs);
        request.printed = [&](const std::string &line) {
            take_in();
            told(line);
        };
        bool went_on = hand_out(request, fleet.interrupts);
        take_in();
        read_lines(fleet);
        if (!went_on)
            return false;
    }
    shipments.clear();
    return true;
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

/* For each process here that ended and left none. */
void answer_for_silent_jobs(Fleet &fleet, const std::string &log)
{
    for (const BadEnd &end : bad_ends(log)) {
        std::string name = fleet.index.unanswered(end.number);
        if (!name.empty())
            answer_for(fleet, name, EntryEnd::failed, why_no_answer(fleet, end));
    }
}

/* Machines were tried until none was left that answers, or often enough. */
void answer_for_silent_machines(Fleet &fleet)
{
    if (!fleet.request.halt.empty())
        return;
    fleet.index.for_each_unanswered([&](const std::string &name, size_t) {
        answer_for(fleet, name, EntryEnd::failed,
                   "No machine gave an answer for it. See that they are there, and that they need no password.");
    });
}

std::string shown_call(const FleetRequest &request)
{
    return "migr fleet upgrade " + shell_word(request.in) + " " + shell_word(request.job.out);
}

} // namespace

std::string job_line(const FleetRequest &request, const std::string &name)
{
    std::string line =
        shell_word(request.migr.empty() ? own_path() : fs::absolute(request.migr).string()) + " fleet one";
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
    for_each_line(path, [&](const std::string &line, size_t number) { index.add(result_in_line(path, line, number)); });
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
    sweep_temporary_folders(results.work());
    read_lines(fleet);
    take_in_what_came_back(fleet);
    find_work(fleet);
    index.wait_for_answers();
    std::string log = joined(fs::absolute(results.work()), "log");
    bool went_on = index.expected() == 0 || (request.hosts.empty() ? run_here(fleet, log) : run_there(fleet, log));
    if (!went_on)
        throw Failure(Status::failed,
                      "Stopped by a signal. What was done stays. Go on with: " + shown_call(request) + " --resume");
    if (index.expected() == 0)
        return fleet.run;
    if (request.hosts.empty())
        answer_for_silent_jobs(fleet, log);
    else
        answer_for_silent_machines(fleet);
    read_lines(fleet);
    index.for_each_unanswered([&](const std::string &, size_t) { fleet.run.left++; });
    return fleet.run;
}

} // namespace command
