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
        throw Failure(Status::left_alone, shown + ": it " + why_not_unpacked(bytes) + ". Take a good copy of it.");
    return std::move(*text);
}

/* ---- what it is ---- */

/* How many of the names belong to one of the two kinds of file only. */
struct Counts {
    size_t global = 0;
    size_t domain = 0;
};

/* The library's reader of the image's syntax file wants a file. */
Counts count_kinds(const std::vector<TopLevelConfig> &configs, const std::string &syntax)
{
    Counts counts;
    write_new(syntax_copy, syntax);
    init_path_node(&global_node);
    init_path_node(&domain_node);
    if (load_syntax_to_path_node_array(syntax_copy) != 0)
        return counts;
    for (const TopLevelConfig &config : configs) {
        bool global = is_path_node(config.name.c_str(), &global_node);
        bool domain = is_path_node(config.name.c_str(), &domain_node);
        counts.global += global && !domain ? 1 : 0;
        counts.domain += domain && !global ? 1 : 0;
    }
    release_path_node(&global_node);
    release_path_node(&domain_node);
    unlink(syntax_copy);
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

/* A domain's name, empty for a global file; and what was taken for granted, in words. */
struct Kind {
    std::string domain;
    std::string assumed;
};

Kind kind_by_content(const std::vector<TopLevelConfig> &configs, const std::string &syntax)
{
    Counts counts = count_kinds(configs, syntax);
    bool   domain = counts.domain > counts.global;
    return {domain ? "root" : "", std::string("taken for a ") +
                                      (domain ? "domain file of the domain \"root\"" : "global file") +
                                      ", going by what it holds. If that is wrong, say --as " +
                                      (domain ? "global, or --as domain --domain NAME." : "domain --domain NAME.")};
}

Kind kind_of(const SingleRequest &request, const std::string &shown, int32_t release,
             const std::vector<TopLevelConfig> &configs, const std::string &syntax)
{
    bool before_split = release < MIGR_RELEASE(5, 10);
    if (before_split && (request.as == "domain" || !request.domain.empty()))
        throw Failure(Status::unusable, shown + ": it is of release " + release_text(release) +
                                            ", from before 5.10, when one file held everything, so it is no domain's. "
                                            "Leave --as and --domain out.");
    if (before_split || request.as == "global")
        return {};
    if (!request.domain.empty())
        return {request.domain, ""};
    std::string name = fs::path(request.file).filename().string();
    std::string own = name.starts_with(domain_prefix) ? domain_of_name(name) : "";
    if (!own.empty())
        return {own, ""};
    if (!request.as.empty())
        return {"root", "taken for the domain \"root\". If that is wrong, say --domain NAME."};
    return name.starts_with("sys_global") ? Kind() : kind_by_content(configs, syntax);
}

/* ---- laying out ---- */

/* What a look at the text gives. */
struct Look {
    ConfigFacts facts;
    Kind        kind;
    bool        has_certificates = false;
};

auto fields_of(Kind &kind)
{
    return std::tie(kind.domain, kind.assumed);
}

auto fields_of(Look &look)
{
    return std::tie(look.facts, look.kind, look.has_certificates);
}

std::string stored_name(const std::string &domain)
{
    return domain.empty() ? global_name : domain_prefix + domain + ".conf.gz";
}

/* Of a file that is to be upgraded. */
void look_at_configs(const SingleRequest &request, const SingleFile &file, const std::vector<TopLevelConfig> &configs,
                     const std::string &syntax, Look &look)
{
    look.kind = kind_of(request, file.shown, look.facts.release, configs, syntax);
    if (!look.kind.domain.empty())
        check_domain_name(look.kind.domain, file.shown);
    look.has_certificates = std::any_of(configs.begin(), configs.end(), [](const TopLevelConfig &config) {
        return config.name.starts_with("system,certificate");
    });
}

void lay_in(const std::string &name, std::string_view packed)
{
    make_folders_above(config_path(name), 0777);
    make_folders_above("/tmp/file", 0777);
    store_packed(name, packed);
}

/* Whether it is sound is asked here, while its text is at hand. */
Look look_and_lay_in(const SingleRequest &request, const SingleFile &file, const std::string &syntax)
{
    std::string                 text = unpacked(file.bytes, file.shown);
    std::vector<TopLevelConfig> configs;
    Look                        look;
    look.facts = inspect_text(text, Depth::whole, &configs);
    look.facts.gzip = true;
    if (look.facts.release >= 0 && look.facts.release < image_release())
        look_at_configs(request, file, configs, syntax, look);
    bool is_packed = looks_like_gzip(file.bytes);
    lay_in(stored_name(look.kind.domain), is_packed ? file.bytes : gzip(text, Packing::none));
    look.facts.stored_size = file.bytes.size();
    return look;
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
    file.bytes = read_input(request.file, interrupts);
    Look look = inside(root, [&] { return look_and_lay_in(request, file, syntax); });
    if (!look.kind.assumed.empty())
        complain(file.shown + ": " + look.kind.assumed);
    file.facts = std::move(look.facts);
    file.domain = std::move(look.kind.domain);
    file.stored = stored_name(file.domain);
    file.has_certificates = look.has_certificates;
    return file;
}

ConfigFolder folder_with(const SingleFile &file)
{
    return {{file.stored}, {{file.stored, file.facts}}};
}

std::string what_is_missing(const SingleFile &file)
{
    if (file.is_domain() && file.facts.release < MIGR_RELEASE(5, 20))
        return "up to 5.20 a domain's certificate blocks (config system certificate) come from the global file, which "
               "is not there. They are missing from the result. Upgrade the whole appliance with: migr upgrade";
    if (file.has_certificates && file.facts.release < certificates_in_configuration)
        return "up to 5.80 certificates and keys lay in files of the appliance, which are not there. The result names "
               "them without their content. Upgrade the whole appliance with: migr upgrade";
    return "";
}

} // namespace command
