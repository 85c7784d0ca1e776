/*
 * The one file that knows the option parser: subcommands come as tables, and go off as plain arguments. What a
 * subcommand does, and what it prints, is its own.
 */
#include "command.h"

#include "commands/subcommand.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"
#include "system/refused_memory.h"

#include <algorithm>
#include <cerrno>
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <new>
#include <numeric>
#include <openssl/crypto.h>
#include <sstream>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace command {

namespace {

constexpr char fleet_group_help[] = "Upgrade a folder of saved appliances, each into a folder of results";

/* In the order in which --help shows them. */
constexpr const Subcommand *subcommands[] = {
    &convert_command,       &explain_command,       &account_command,        &blame_command,
    &report_command,        &plan_command,          &check_command,          &upgrade_command,
    &rollback_command,      &snapshots_command,     &version_command,        &ml_command,
    &lint_command,          &fleet_upgrade_command, &fleet_summary_command,  &fleet_list_command,
    &fleet_compare_command, &fleet_one_command,     &fleet_identity_command, &anonymize_command,
};

constexpr char footer[] = "Exit status: 0 all done, or nothing to do; 1 some file was not upgraded, and why has been "
                          "told; 2 wrong usage or unusable root, nothing was touched; 3 the run failed and all is as "
                          "it was.";

/* A file that migr opens must not get the number of a standard stream. */
void open_missing_streams()
{
    for (int fd = 0; fd <= 2; fd++)
        if (fcntl(fd, F_GETFD) < 0)
            open("/dev/null", O_RDWR);
}

/* A pager that goes, or a file that may grow no further, is an error of that one call and must not end a run. */
void ignore_deadly_signals()
{
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

/* With a zone of its own making, the C library looks for no zone file in the appliance's folder. */
void settle_time_zone()
{
    setenv("TZ", "UTC0", 1);
    tzset();
}

/* libcrypto reads no configuration, so it keeps to its own provider, which is no file: nothing is loaded when a child
 * asks for it in an appliance's root folder. Who does not ask need not wait for it. */
void settle_libcrypto()
{
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
}

template <typename Kind> CLI::Option *add_kind(CLI::App &app, const Option &option, Kind &target)
{
    return app.add_option(option.names, target, option.help);
}

CLI::Option *add_kind(CLI::App &app, const Option &option, bool &target)
{
    return app.add_flag(option.names, target, option.help);
}

CLI::Option *add_kind(CLI::App &app, const Option &option, unsigned &target)
{
    return app.add_option(option.names, target, option.help)->capture_default_str()->check(CLI::Range(1U, 1'000'000U));
}

CLI::Option *add_kind(CLI::App &app, const Option &option, std::optional<unsigned> &target)
{
    return app.add_option(option.names, target, option.help)->check(CLI::Range(0U, 1'000'000U));
}

void add_option(CLI::App &app, const Option &option, Arguments &given)
{
    auto         add = [&](auto target) { return add_kind(app, option, given.*target); };
    CLI::Option *added = std::visit(add, option.target);
    added->required(option.required);
    if (!option.choices.empty())
        added->check(CLI::IsMember(option.choices));
}

std::string last_word(std::string_view name)
{
    return std::string(name.substr(name.rfind(' ') + 1));
}

/* "fleet upgrade" is a subcommand of "fleet", which does nothing by itself. */
CLI::App &owner_of(CLI::App &app, const Subcommand &subcommand)
{
    const char *blank = strchr(subcommand.name, ' ');
    if (!blank)
        return app;
    std::string             group(subcommand.name, blank);
    std::vector<CLI::App *> there = app.get_subcommands([&](CLI::App *one) { return one->get_name() == group; });
    if (!there.empty())
        return *there.front();
    return *app.add_subcommand(group, fleet_group_help)->require_subcommand(1);
}

void add_subcommand(CLI::App &app, const Subcommand &subcommand, Arguments &given, const Subcommand *&chosen)
{
    CLI::App *added = owner_of(app, subcommand).add_subcommand(last_word(subcommand.name), subcommand.help);
    for (const Option &option : subcommand.options)
        add_option(*added, option, given);
    if (subcommand.footer)
        added->footer(subcommand.footer);
    added->callback([&] { chosen = &subcommand; });
}

/* Of the subcommands the one that is named, or all: most runs need no more, and to describe all takes a while. */
void describe(CLI::App &app, const Subcommand *named, Arguments &given, const Subcommand *&chosen)
{
    app.require_subcommand(1);
    app.footer(footer);
    app.set_version_flag("--version", "migr " MIGR_VERSION ", for images of " + release_text(image_release()),
                         "Print the versions of this command and of the image that it carries files forward to");
    for (const Subcommand *subcommand : subcommands)
        if (!named || subcommand == named)
            add_subcommand(app, *subcommand, given, chosen);
}

/* Whoever reads the answer must not take half of it for the whole. What has been done to an appliance or a file is done
 * all the same, and its status tells that. */
int status_behind_output(Status status, bool acts = false)
{
    if (is_all_printed())
        return static_cast<int>(status);
    print_line(stderr, "migr: standard output: cannot write all of it, so the answer is not complete.");
    return static_cast<int>(acts ? status : Status::failed);
}

int print_help(const CLI::App &app, const CLI::Success &asked)
{
    std::ostringstream out, ignored;
    app.exit(asked, out, ignored);
    fputs(out.str().c_str(), stdout);
    return status_behind_output(Status::done);
}

/* A failure of the whole command, as a person or a program learns of it. Gives the exit status. */
Status tell(const Failure &failure, const Subcommand *subcommand, bool json)
{
    try {
        if (json)
            print_failure(subcommand ? subcommand->name : nullptr, failure);
    } catch (const PathError &) {
        return Status::failed;
    }
    if (!json) {
        for (const std::string &detail : failure.details)
            complain(detail);
        complain(failure.what());
    }
    return failure.status;
}

/* Runs it, and makes a Failure of whatever else it throws. */
Status run_or_fail(const Subcommand &subcommand, const Arguments &arguments)
{
    try {
        return subcommand.run(arguments);
    } catch (const PathError &error) {
        Failure failure = failure_of(error, error.path);
        throw Failure(failure.status, error.error == ENOMEM ? failure.what() : with_likely_cause(failure.what()));
    } catch (const std::bad_alloc &) {
        throw Failure(Status::failed,
                      "There is not enough memory for this. Nothing was changed that has not been told.");
    } catch (const Failure &failure) {
        throw Failure(failure.status, with_likely_cause(failure.what()), failure.details);
    } catch (const std::exception &error) {
        throw Failure(Status::unusable, error.what());
    }
}

int run(const Subcommand &subcommand, const Arguments &arguments)
{
    bool writes_files = &subcommand == &convert_command && !arguments.output.empty() && arguments.output != "-";
    bool acts = writes_files || &subcommand == &upgrade_command || &subcommand == &rollback_command;
    try {
        return status_behind_output(run_or_fail(subcommand, arguments), acts);
    } catch (const Failure &failure) {
        return status_behind_output(tell(failure, &subcommand, arguments.json), acts);
    }
}

/* How many letters have to be changed, put in or taken out to make one word of the other. */
size_t distance(std::string_view one, std::string_view other)
{
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t at = 1; at <= one.size(); at++) {
        size_t corner = std::exchange(row[0], at);
        for (size_t to = 1; to <= other.size(); to++) {
            size_t changed = corner + (one[at - 1] == other[to - 1] ? 0 : 1);
            corner = row[to];
            row[to] = std::min({changed, row[to] + 1, row[to - 1] + 1});
        }
    }
    return row.back();
}

const Subcommand *subcommand_named(const std::string &word)
{
    auto at = std::find_if(std::begin(subcommands), std::end(subcommands),
                           [&](const Subcommand *subcommand) { return subcommand->name == word; });
    return at == std::end(subcommands) ? nullptr : *at;
}

bool is_group(const std::string &word)
{
    return std::any_of(std::begin(subcommands), std::end(subcommands), [&](const Subcommand *subcommand) {
        return std::string_view(subcommand->name).starts_with(word + " ");
    });
}

/* What a command line names: its first word, or the first two where one is for a group. */
std::string name_given(int count, const char *const *arguments)
{
    std::string word = count > 1 ? arguments[1] : "-";
    bool        has_second = count > 2 && arguments[2][0] != '-' && is_group(word);
    return has_second ? word + " " + arguments[2] : word;
}

/* What is said of words that are no subcommand. */
std::string misspelt(const std::string &word)
{
    const char *nearest = nullptr;
    size_t      least = 4; /* further away it is another word */
    for (const Subcommand *subcommand : subcommands) {
        size_t letters = distance(word, subcommand->name);
        if (letters < least) {
            least = letters;
            nearest = subcommand->name;
        }
    }
    return "there is no command \"" + word + "\"" + (nearest ? ". Did you mean: migr " + std::string(nearest) : "") +
           ". See: migr --help";
}

/* Of a command line that may be too wrong to be taken apart. */
bool asks_for_json(int count, const char *const *arguments)
{
    for (int at = 1; at < count && strcmp(arguments[at], "--") != 0; at++)
        if (strcmp(arguments[at], "--json") == 0)
            return true;
    return false;
}

int parse_and_run(int count, const char *const *arguments)
{
    bool              json = asks_for_json(count, arguments);
    std::string       word = name_given(count, arguments);
    const Subcommand *named = subcommand_named(word);
    keep_lines(json);
    if (!named && word[0] != '-' && !is_group(word))
        return status_behind_output(tell({Status::unusable, misspelt(word)}, nullptr, json));
    Arguments         given;
    const Subcommand *chosen = nullptr;
    CLI::App          app("Carries the configuration of an appliance forward to this image's release.", "migr");
    describe(app, named, given, chosen);
    try {
        app.parse(count, arguments);
    } catch (const CLI::Success &asked) {
        return print_help(app, asked);
    } catch (const CLI::ParseError &error) {
        return status_behind_output(
            tell({Status::unusable, std::string(error.what()) + ". See: migr --help"}, named, json));
    }
    keep_lines(given.json);
    return run(*chosen, given);
}

} // namespace

void prepare_process()
{
    rlimit no_core = {0, 0}; /* it would hold configuration text */
    setrlimit(RLIMIT_CORE, &no_core);
    open_missing_streams();
    ignore_deadly_signals();
    settle_time_zone();
    settle_libcrypto();
}

int run_command(int count, const char *const *arguments)
{
    prepare_process();
    try {
        return parse_and_run(count, arguments);
    } catch (const std::bad_alloc &) { /* what tells of other failures needs memory itself */
        fputs("migr: There is not enough memory to begin, or to tell what was done.\n", stderr);
        return static_cast<int>(Status::failed);
    }
}

} // namespace command
