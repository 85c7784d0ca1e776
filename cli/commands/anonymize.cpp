/* migr anonymize: how it is asked for and what it tells. What it does is told by anonymize/anonymize.h. */
#include "anonymize/anonymize.h"
#include "anonymize/same_upgrade.h"
#include "appliance/staged_input.h"
#include "commands/options.h"
#include "output/console.h"
#include "output/json.h"
#include "output/printable.h"
#include "report/result_lines.h"
#include "run/output_file.h"
#include "run/waiting.h"
#include "system/files.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/random.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

std::string random_secret()
{
    std::string bytes(32, '\0');
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw Failure(Status::failed, "The machine gives no random bytes. Try again.");
    return bytes;
}

/* Without a file nobody ever knows the secret. */
std::string secret_of(const Arguments &arguments, Interrupts &interrupts)
{
    static constexpr size_t shortest = 16;
    if (arguments.key.empty())
        return random_secret();
    std::string secret = read_input(arguments.key, interrupts);
    if (secret.size() < shortest)
        throw Failure(Status::unusable, arguments.key + ": a key of less than " + std::to_string(shortest) +
                                            " bytes could be guessed. Make one with: head -c 32 /dev/urandom >KEY");
    return secret;
}

void require_new(const std::string &out)
{
    struct stat st = {};
    if (lstat(out.c_str(), &st) == 0)
        throw Failure(Status::unusable, out + " is there already. Name one with -o that is not.");
}

/* The appliance is not written to, nor is anything below its folder. */
void require_outside(const Arguments &arguments)
{
    std::error_code error;
    fs::path        root = fs::canonical(arguments.file, error);
    fs::path        from_root = fs::weakly_canonical(arguments.output, error).lexically_relative(root);
    if (root != "/" && !from_root.empty() && *from_root.begin() != "..")
        throw Failure(Status::unusable, arguments.output + " lies in " + arguments.file +
                                            ", which is left as it is. Name another place with -o.");
}

/* A folder that goes again unless all went well. */
class NewFolder {
  public:
    explicit NewFolder(std::string path) : path_(std::move(path))
    {
        if (mkdir(path_.c_str(), 0700) != 0)
            throw PathError{"make", path_, errno};
        fd_ = Fd(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!fd_)
            throw PathError{"open", path_, errno};
    }
    ~NewFolder()
    {
        std::error_code ignored;
        if (!is_kept_)
            fs::remove_all(path_, ignored);
    }
    NewFolder(const NewFolder &) = delete;
    NewFolder &operator=(const NewFolder &) = delete;

    int fd() const
    {
        return fd_.get();
    }
    void keep()
    {
        is_kept_ = true;
    }

  private:
    std::string path_;
    Fd          fd_;
    bool        is_kept_ = false;
};

Anonymized anonymize_input(const Arguments &arguments, const AnonymizeKey &key, Interrupts &interrupts)
{
    if (is_root_folder(arguments.file)) {
        require_outside(arguments);
        Root appliance(arguments.file);
        appliance.lock();
        NewFolder  out(arguments.output);
        Anonymized done = anonymize_appliance(appliance, out.fd(), key, interrupts);
        out.keep();
        return done;
    }
    AnonymizedFile file =
        anonymize_file(read_input(arguments.file, interrupts), shown_input(arguments.file), key, interrupts);
    write_output(arguments.output, file.bytes, Readers::owner, interrupts);
    return {file.counts, {}, {}, {}, {}};
}

/* The other one has a name that tells nothing of what it is. */
SingleRequest request_for_output(const Arguments &arguments)
{
    static constexpr std::string_view domain = "sys_domain.";
    SingleRequest                     request = {arguments.output, arguments.as, arguments.domain};
    std::string                       name = fs::path(arguments.file).filename().string();
    if (is_root_folder(arguments.file) || !request.as.empty() || !request.domain.empty())
        return request;
    if (name.starts_with("sys_global"))
        request.as = "global";
    else if (name.starts_with(domain))
        request.domain = name.substr(domain.size(), name.find('.', domain.size()) - domain.size());
    return request;
}

/* Of a kind: what was replaced, and what stayed on purpose. */
struct CountedKind {
    const char *name; /* for programs */
    const char *text;
    uint64_t Replacements::*count;
};

constexpr CountedKind replaced_kinds[] = {
    {"addresses", "addresses", &Replacements::addresses},
    {"devices", "addresses of network cards", &Replacements::devices},
    {"words", "names and words", &Replacements::words},
    {"numbers", "numbers", &Replacements::numbers},
    {"secrets", "secrets", &Replacements::secrets},
    {"keys", "keys", &Replacements::keys},
    {"certificates", "certificates, requests and revocation lists", &Replacements::certificates},
    {"unreadable", "keys and certificates that cannot be read", &Replacements::blocks},
};

constexpr CountedKind kept_kinds[] = {
    {"words", "words that every appliance has", &Replacements::kept_words},
    {"numbers", "small numbers", &Replacements::kept_numbers},
    {"addresses", "addresses that stand for something, and masks", &Replacements::kept_addresses},
};

template <size_t count> Json json_of(const CountedKind (&kinds)[count], const Replacements &counts)
{
    Json::Members members;
    for (const CountedKind &kind : kinds)
        members.emplace_back(kind.name, counts.*kind.count);
    return members;
}

template <size_t count>
void show_kinds(const char *title, const CountedKind (&kinds)[count], const Replacements &counts)
{
    say(title);
    for (const CountedKind &kind : kinds)
        if (counts.*kind.count > 0)
            say("  " + std::to_string(counts.*kind.count) + " " + kind.text);
}

void show_paths(const std::string &title, const std::vector<std::string> &paths)
{
    if (!paths.empty())
        say(title);
    for (const std::string &path : paths)
        say("  " + path);
}

void show_result(const Arguments &arguments, const Anonymized &done, const UpgradeComparison &comparison)
{
    show_kinds("Replaced:", replaced_kinds, done.counts);
    show_kinds("Kept:", kept_kinds, done.counts);
    show_paths("There without their content, which no upgrade reads:", done.emptied);
    show_paths("There as files that cannot be unpacked, as these cannot be:", done.unreadable);
    show_paths("Left out, as they are neither files nor folders:", done.left_out);
    if (comparison.differences.empty())
        say("An upgrade does the same to " + std::to_string(comparison.lines) + " lines of both.");
    say("Written to: " + shell_word(arguments.output));
}

Status anonymize(const Arguments &arguments)
{
    require_new(arguments.output);
    Image             image = open_image(arguments.image);
    Interrupts        interrupts;
    KnownWords        known(image);
    Anonymized        done = anonymize_input(arguments, {known, secret_of(arguments, interrupts)}, interrupts);
    UpgradeComparison comparison = compare_upgrades(single_request(arguments), request_for_output(arguments),
                                                    done.configurations, image, interrupts);
    for (const std::string &difference : comparison.differences)
        complain("warning: an upgrade does something else to the result: " + difference);
    bool   is_all = comparison.differences.empty() && done.unreadable.empty();
    Status status = is_all ? Status::done : Status::left_alone;
    if (arguments.json)
        print_answer("anonymize", status,
                     {{"output", arguments.output},
                      {"replaced", json_of(replaced_kinds, done.counts)},
                      {"kept", json_of(kept_kinds, done.counts)},
                      {"emptied", Json::list(done.emptied)},
                      {"unreadable", Json::list(done.unreadable)},
                      {"left_out", Json::list(done.left_out)},
                      {"compared_lines", comparison.lines},
                      {"differences", Json::list(comparison.differences)}});
    else
        show_result(arguments, done, comparison);
    return status;
}

} // namespace

const Subcommand anonymize_command = {
    "anonymize",
    "Make a configuration that may leave the house, and to which an upgrade does the same",
    joined({root_or_file(),
            {{"-o,--output", &Arguments::output,
              "Where it goes: a folder for ROOT, a file for FILE; must not be there yet", true},
             {"--key", &Arguments::key,
              "A file of secret bytes: with the same key the same names come out again. Without it, a new one that "
              "nobody learns"}},
            image_and_file_kind(),
            {{"--json", &Arguments::json, "Print what was replaced as JSON"}}}),
    anonymize,
};

} // namespace command
