/* Packing, unpacking, and one question to each machine. Names of appliances are only in the files that are sent. */
#include "fleet/remote.h"

#include "fleet/bundle.h"
#include "fleet/entries.h"
#include "fleet/folder_copy.h"
#include "fleet/hand_out.h"
#include "output/console.h"
#include "output/printable.h"
#include "system/files.h"
#include "system/temporary_folder.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr char sent_ending[] = ".sent";
constexpr char returned_ending[] = ".returned";

/* "8/ssh -l me box" without the number of its processors. */
std::string login_of(const std::string &line)
{
    size_t slash = line.find('/');
    bool   has_number = slash != line.npos && slash > 0 && line.find_first_not_of("0123456789") == slash;
    return has_number ? line.substr(slash + 1) : line;
}

/* The machines of a file, without comments. */
std::vector<std::string> machines_in(const std::string &file)
{
    std::vector<std::string> machines;
    std::istringstream       text(read_file(file, Links::follow));
    for (std::string line; std::getline(text, line);)
        if (!line.empty() && line[0] != '#')
            machines.push_back(line);
    if (machines.empty())
        throw Failure(Status::unusable, file + " names no machine. Write one a line.");
    return machines;
}

} // namespace

std::string identity_line(const Identity &identity)
{
    return identity.version + ", image " + identity.image;
}

std::vector<std::string> hosts_that_answer(const std::string &file, const std::string &image, const Identity &identity,
                                           Interrupts &interrupts)
{
    std::vector<std::string>           machines = machines_in(file);
    std::map<std::string, std::string> answers;
    TemporaryFolder                    folder("");
    std::string                        where = folder.make("hosts");
    HandOut                            request;
    request.log = where + "/log";
    request.further = {"--nonall", "--tag", "--sshloginfile", file};
    request.template_ = {"migr", "fleet", "identity"};
    if (!image.empty())
        request.template_.insert(request.template_.end(), {"--image", shell_word(fs::absolute(image).string())});
    request.printed = [&](const std::string &line) {
        size_t tab = line.find('\t');
        if (tab != line.npos)
            answers[line.substr(0, tab)] = line.substr(tab + 1);
    };
    request.complained = [](const std::string &line) { complain(line); };
    hand_out(request, interrupts);
    interrupts.stop_here("Nothing was begun.");
    std::vector<std::string> good;
    for (const std::string &machine : machines) {
        auto answer = answers.find(login_of(machine));
        if (answer == answers.end())
            complain(machine + ": gives no answer, and is left out.");
        else if (answer->second != identity_line(identity))
            throw Failure(Status::unusable, machine + " has " + printable(answer->second) + ", and this machine " +
                                                identity_line(identity) + ". Put the same there, or leave it out.");
        else
            good.push_back(machine);
    }
    return good;
}

EntryResult upgrade_sent(EntryJob job, const std::string &sent, const std::string &returned, Interrupts &interrupts)
{
    TemporaryFolder folder("");
    Root            entry(folder.make("entry"));
    unpack_bundle(sent, entry);
    auto first = fs::directory_iterator(entry.path());
    if (first == fs::directory_iterator())
        throw Failure(Status::unusable, sent + " holds no appliance.");
    job.path = first->path();
    job.out = folder.make("results");
    EntryResult result = upgrade_entry(job, interrupts);
    pack_bundle(job.out, returned);
    return result;
}

Shipments::Shipments(const ResultsFolder &results) : results_(results)
{
    if (mkdir(folder().c_str(), 0700) != 0 && errno != EEXIST)
        throw PathError{"make", folder(), errno};
}

std::string Shipments::folder() const
{
    return joined(results_.work(), "shipments");
}

std::string Shipments::send(size_t number, const std::string &path) const
{
    static constexpr int digits = 8;
    std::ostringstream   name;
    name << std::setw(digits) << std::setfill('0') << number << sent_ending;
    TemporaryFolder work(results_.work());
    std::string     place = work.make("entry") + "/" + file_name_of(path);
    if (form_of(path) == EntryForm::folder)
        copy_folder(path, place);
    else
        fs::copy_file(path, place);
    std::error_code ignored;
    fs::remove(joined(folder(), name.str()), ignored);
    pack_bundle(folder_of(place), joined(folder(), name.str()));
    return name.str();
}

/* What has come back is whole when it has its name, and goes when its line is written. */
void Shipments::take_in(const std::function<bool(const EntryResult &result)> &is_here) const
{
    for (const auto &file : fs::directory_iterator(folder())) {
        if (file.path().extension() != returned_ending)
            continue;
        TemporaryFolder work(results_.work());
        Root            bundle(work.make("returned"));
        unpack_bundle(file.path(), bundle);
        results_.take_in(bundle.path(), is_here);
        fs::remove(file.path());
        fs::remove(fs::path(file.path()).replace_extension(sent_ending));
    }
}

void Shipments::clear() const
{
    fs::remove_all(folder());
}

} // namespace command
