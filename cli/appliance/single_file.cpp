/*
 * A file's name and content tell what it is, and the operator's word goes ahead of both. The throw-away appliance gets
 * that file and nothing else, so references to others lead nowhere.
 */
#include "appliance/single_file.h"

#include "appliance/inside.h"
#include "appliance/stored_text.h"
#include "driver/run_context.h"
#include "language/damage.h"
#include "output/console.h"
#include "output/release_text.h"
#include "run/waiting.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "tree/split.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr char    domain_prefix[] = "sys_domain.";
constexpr char    syntax_copy[] = "/syntax.txt";           /* of the image's syntax file */
constexpr int32_t certificates_in_configuration = 0x50050; /* 5.80: certificates and keys are read from their files */
constexpr size_t  longest_domain = 127;                    /* the library keeps no more of it */

std::string unpacked(const std::string &bytes, const std::string &shown)
{
    std::optional<std::string> text = looks_like_gzip(bytes) ? gunzip(bytes) : bytes;
    if (!text)
        throw Failure(Status::left_alone, shown + ": a damaged gzip file. Take a good copy of it.");
    return std::move(*text);
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
    bool before_split = file.facts.release < MIGR_RELEASE(5, 10);
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

/* What a first look at the text gives. */
struct Look {
    int32_t                  release = -1;
    std::vector<std::string> names;
    Counts                   counts;
};

auto fields_of(Counts &counts)
{
    return std::tie(counts.global, counts.domain);
}

auto fields_of(Look &look)
{
    return std::tie(look.release, look.names, look.counts);
}

Look look_at_text(const Root &root, const std::string &text, const std::string &syntax)
{
    return inside(root, [&] {
        write_new(syntax_copy, syntax);
        Look look = {inspect_text(text, Depth::headers).release, {}, {}};
        for (TopLevelConfig &config : top_level_configs(text))
            look.names.push_back(std::move(config.name));
        look.counts = count_kinds(look.names, syntax_copy);
        unlink(syntax_copy);
        return look;
    });
}

} // namespace

SingleFile lay_out_single_file(const SingleRequest &request, const Root &root, const std::string &syntax,
                               Interrupts &interrupts)
{
    if (request.as == "global" && !request.domain.empty())
        throw Failure(Status::unusable, "--domain goes with a domain file, not with --as global.");
    SingleFile file;
    file.path = request.file;
    file.shown = shown_input(request.file);
    file.stored = global_name;
    file.bytes = read_input(request.file, interrupts);
    std::string text = unpacked(file.bytes, file.shown);
    Look        look = look_at_text(root, text, syntax);
    file.facts.release = look.release;
    if (file.facts.release >= 0 && file.facts.release < image_release()) {
        file.names = look.names;
        file.domain = domain_of(request, file, look.counts);
    }
    if (file.is_domain()) {
        check_domain_name(file.domain, file.shown);
        file.stored = domain_prefix + file.domain + ".conf.gz";
    }
    inside(root, [&] {
        fs::create_directories(config_folder);
        fs::create_directories("/tmp");
        if (looks_like_gzip(file.bytes))
            store_packed(file.stored, file.bytes);
        else
            store_text(file.stored, text);
    });
    return file;
}

std::string what_is_missing(const SingleFile &file)
{
    bool certificates = std::any_of(file.names.begin(), file.names.end(),
                                    [](const std::string &name) { return name.starts_with("system,certificate"); });
    if (file.is_domain() && file.facts.release < MIGR_RELEASE(5, 20))
        return "up to 5.20 a domain's certificate blocks (config system certificate) come from the global file, which "
               "is not there. They are missing from the result. Upgrade the whole appliance with: migr upgrade";
    if (certificates && file.facts.release < certificates_in_configuration)
        return "up to 5.80 certificates and keys lay in files of the appliance, which are not there. The result names "
               "them without their content. Upgrade the whole appliance with: migr upgrade";
    return "";
}

} // namespace command
