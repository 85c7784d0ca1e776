#include "appliance/single_file.h"

#include "appliance/outline.h"
#include "driver/run_context.h"
#include "image/image_files.h"
#include "output/console.h"
#include "platform/platform.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "tree/split.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr char    domain_prefix[] = "sys_domain.";
constexpr char    syntax_copy[] = "/syntax.txt";           /* of the image's syntax file */
constexpr int32_t certificates_in_configuration = 0x50050; /* 5.80: certificates and keys are read from their files */
constexpr size_t  longest_domain = 127;                    /* the library keeps no more of it */

/* ---- reading ---- */

std::string read_named(const std::string &path, const std::string &shown)
{
    try {
        return path == "-" ? read_all(STDIN_FILENO, shown) : read_input(path);
    } catch (const PathError &error) {
        throw failure_of(error, shown);
    }
}

std::string unpacked(std::string bytes, const std::string &shown)
{
    if (!looks_like_gzip(bytes))
        return bytes;
    std::optional<std::string> text = gunzip(bytes);
    if (!text)
        throw Failure(Status::left_alone, shown + ": a damaged gzip file. Take a good copy of it.");
    return std::move(*text);
}

/* Names each line at which the library would give up. */
void require_upgradable(const SingleFile &file)
{
    const ConfigFacts &facts = file.facts;
    auto               refuse = [&](int line, const std::string &what) {
        throw Failure(Status::left_alone, file.shown + ", line " + std::to_string(line) + ": " + what);
    };
    if (facts.release < 0)
        refuse(1, "no version line that can be read. Begin the file with the line of the release that wrote it, such "
                  "as: #config-version=QA-A1X-5.50-CV-build0601-170328:opmode=1:vdom=1");
    if (!facts.second_line)
        refuse(2, "no second header line. Put one behind the version line, such as: #conf_file_ver=0");
    for (uint64_t line : facts.empty_sets)
        complain(file.shown + ", line " + std::to_string(line) +
                 ": a `set` without a value. Give it one, or take the line out.");
    if (!facts.empty_sets.empty())
        throw Failure(Status::left_alone, file.shown + " was not upgraded.");
}

/* ---- what it is ---- */

/* How many of the names belong to one of the two kinds of file only. */
struct Counts {
    size_t global = 0;
    size_t domain = 0;
};

Counts count_kinds(const std::vector<std::string> &names, const std::string &syntax)
{
    Counts counts;
    init_path_node(&global_node);
    init_path_node(&domain_node);
    if (load_syntax_to_path_node_array(syntax.c_str()) != 0)
        return counts;
    for (const std::string &name : names) {
        bool global = is_path_node(name.c_str(), &global_node);
        bool domain = is_path_node(name.c_str(), &domain_node);
        counts.global += global && !domain ? 1 : 0;
        counts.domain += domain && !global ? 1 : 0;
    }
    release_path_node(&global_node);
    release_path_node(&domain_node);
    return counts;
}

/* "shop" for ".../sys_domain.shop.conf.gz", and for "sys_domain.shop.txt" too. */
std::string domain_of_name(const std::string &name)
{
    std::string rest = name.substr(sizeof domain_prefix - 1);
    for (const char *ending : {".gz", ".conf"})
        if (rest.ends_with(ending))
            rest.resize(rest.size() - strlen(ending));
    return rest;
}

void check_domain_name(const std::string &name, const std::string &shown)
{
    bool fits = !name.empty() && name.size() <= longest_domain && name.find('/') == std::string::npos &&
                name.find('\0') == std::string::npos;
    if (!fits)
        throw Failure(Status::unusable, shown + ": \"" + name + "\" cannot be a domain's name. Give one of at most " +
                                            std::to_string(longest_domain) +
                                            " characters and without \"/\" with --domain.");
}

/* The domain's name; empty for a global file. */
std::string domain_by_name_or_content(const SingleRequest &request, const SingleFile &file, const Counts &counts)
{
    std::string name = fs::path(request.file).filename().string();
    if (name.starts_with("sys_global"))
        return "";
    if (name.starts_with(domain_prefix) && !domain_of_name(name).empty())
        return domain_of_name(name);
    bool domain = counts.domain > counts.global;
    complain(file.shown + ": taken for a " + (domain ? "domain file of the domain \"root\"" : "global file") +
             ", going by what it holds. If that is wrong, say --as " +
             (domain ? "global, or --as domain --domain NAME." : "domain --domain NAME."));
    return domain ? "root" : "";
}

std::string domain_of(const SingleRequest &request, const SingleFile &file, const Counts &counts)
{
    bool before_split = file.facts.release < MIGR_RELEASE_5_10;
    if (before_split && (request.as == "domain" || !request.domain.empty()))
        throw Failure(Status::unusable, file.shown + ": it is of release " + release_text(file.facts.release) +
                                            ", from before 5.10, when one file held everything, so it is no domain's. "
                                            "Leave --as and --domain out.");
    if (before_split || request.as == "global")
        return "";
    if (!request.domain.empty())
        return request.domain;
    if (request.as.empty())
        return domain_by_name_or_content(request, file, counts);
    std::string name = fs::path(request.file).filename().string();
    std::string own = name.starts_with(domain_prefix) ? domain_of_name(name) : "";
    if (own.empty())
        complain(file.shown + ": taken for the domain \"root\". If that is wrong, say --domain NAME.");
    return own.empty() ? "root" : own;
}

/* ---- laying out ---- */

void write_new(const char *path, std::string_view text)
{
    Fd fd(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        throw PathError{"write", path, errno};
    write_all(fd.get(), text, path);
}

/* Inside the throw-away root. */
void store(const std::string &name, std::string_view text)
{
    static constexpr char plain[] = "/plain.conf";
    std::string           path = config_path(name);
    write_new(plain, text);
    errno = ENOSPC;
    if (cvgzip(plain, path.c_str()) < 0)
        throw PathError{"write", path, errno};
    unlink(plain);
}

/* What a first look at the text gives. */
struct Look {
    Outline outline;
    Counts  counts;
};

Look look_at_text(const Root &root, const std::string &text)
{
    json found = root.run([&] {
        Outline outline = outline_of(text);
        Counts  counts = count_kinds(outline.names, syntax_copy);
        return json{{"names", outline.names}, {"headers", outline.headers}, {"counts", {counts.global, counts.domain}}};
    });
    return {{found["names"].get<std::vector<std::string>>(), found["headers"].get<std::string>()},
            {found["counts"][0].get<size_t>(), found["counts"][1].get<size_t>()}};
}

/* The text lies under the global file's name so far. */
void store_as_domain(const SingleFile &file, const Root &root, const std::string &headers)
{
    root.run([&] {
        std::string path = config_path(file.stored);
        if (rename(config_path(global_name).c_str(), path.c_str()) != 0)
            throw PathError{"write", path, errno};
        store(global_name, headers);
        return json();
    });
}

} // namespace

SingleFile lay_out_single_file(const SingleRequest &request, const Root &root, const std::string &syntax)
{
    if (request.as == "global" && !request.domain.empty())
        throw Failure(Status::unusable, "--domain goes with a domain file, not with --as global.");
    SingleFile file;
    file.shown = request.file == "-" ? "standard input" : request.file;
    file.stored = global_name;
    file.text = unpacked(read_named(request.file, file.shown), file.shown);
    root.run([&] {
        fs::create_directories(config_folder);
        write_new(syntax_copy, syntax);
        store(global_name, file.text);
        return json();
    });
    file.facts = inspect_folder(root, Depth::whole).global()->facts;
    if (is_current(file.facts))
        return file;
    require_upgradable(file);
    Look look = look_at_text(root, file.text);
    file.names = look.outline.names;
    file.domain = domain_of(request, file, look.counts);
    if (!file.is_domain())
        return file;
    check_domain_name(file.domain, file.shown);
    file.stored = domain_prefix + file.domain + ".conf.gz";
    store_as_domain(file, root, look.outline.headers);
    return file;
}

void warn_of_what_is_missing(const SingleFile &file)
{
    bool certificates = std::any_of(file.names.begin(), file.names.end(),
                                    [](const std::string &name) { return name.starts_with("system,certificate"); });
    if (file.is_domain() && file.facts.release < MIGR_RELEASE_5_20)
        complain("warning: " + file.shown +
                 ": up to 5.20 a domain's certificate blocks (config system certificate) "
                 "come from the global file, which is not there. They are missing from the "
                 "result. Upgrade the whole appliance with: migr upgrade");
    else if (certificates && file.facts.release < certificates_in_configuration)
        complain("warning: " + file.shown +
                 ": up to 5.80 certificates and keys lay in files of the appliance, which "
                 "are not there. The result names them without their content. Upgrade the "
                 "whole appliance with: migr upgrade");
}

std::string syntax_of_image(const std::string &image)
{
    open_image(image); /* all of them, so that the message names all that are missing */
    return read_file(image + "/syntax_v510.txt", Links::follow);
}

} // namespace command
