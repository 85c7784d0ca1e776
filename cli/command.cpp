#include "command.h"

#include "commands/subcommand.h"
#include "output/console.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sstream>
#include <unistd.h>

namespace command {

namespace {

/* In the order in which --help shows them. */
constexpr const Subcommand *subcommands[] = {
    &convert_command,  &explain_command,   &plan_command,    &check_command, &upgrade_command,
    &rollback_command, &snapshots_command, &version_command, &ml_command,    &lint_command,
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

/* libcrypto reads no configuration and loads its provider now, while the root folder is still the machine's. */
void settle_libcrypto()
{
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
    EVP_MD_free(EVP_MD_fetch(nullptr, "SHA256", nullptr));
    unsigned char byte = 0;
    RAND_bytes(&byte, 1);
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

void add_subcommand(CLI::App &app, const Subcommand &subcommand, Arguments &given, const Subcommand *&chosen)
{
    CLI::App *added = app.add_subcommand(subcommand.name, subcommand.help);
    for (const Option &option : subcommand.options)
        add_option(*added, option, given);
    if (subcommand.footer)
        added->footer(subcommand.footer);
    added->callback([&] { chosen = &subcommand; });
}

int print_help(const CLI::App &app, const CLI::Success &asked)
{
    std::ostringstream out, ignored;
    app.exit(asked, out, ignored);
    fputs(out.str().c_str(), stdout);
    return static_cast<int>(Status::done);
}

int run(const Subcommand &subcommand, const Arguments &arguments)
{
    try {
        return static_cast<int>(subcommand.run(arguments));
    } catch (const Failure &failure) {
        for (const std::string &detail : failure.details)
            complain(detail);
        complain(failure.what());
        return static_cast<int>(failure.status);
    } catch (const PathError &error) {
        complain(failure_of(error, error.path).what());
        return static_cast<int>(Status::unusable);
    } catch (const std::exception &error) {
        complain(error.what());
        return static_cast<int>(Status::unusable);
    }
}

} // namespace

void prepare_process()
{
    open_missing_streams();
    ignore_deadly_signals();
    settle_time_zone();
    settle_libcrypto();
}

int run_command(int count, const char *const *arguments)
{
    prepare_process();
    Arguments         given;
    const Subcommand *chosen = nullptr;
    CLI::App          app("Carries the configuration of an appliance forward to this image's release.", "migr");
    app.require_subcommand(1);
    app.footer(footer);
    for (const Subcommand *subcommand : subcommands)
        add_subcommand(app, *subcommand, given, chosen);
    try {
        app.parse(count, arguments);
    } catch (const CLI::Success &asked) {
        return print_help(app, asked);
    } catch (const CLI::ParseError &error) {
        complain(std::string(error.what()) + ". See: migr --help");
        return static_cast<int>(Status::unusable);
    }
    return run(*chosen, given);
}

} // namespace command
