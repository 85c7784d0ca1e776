/*
 * Two rounds over the files, in a child inside the appliance's folder: keys and certificates are looked at first, since
 * one may belong to one that comes later; then each file is written anew, or left empty if no upgrade reads what is in
 * it.
 */
#include "anonymize/anonymize.h"

#include "anonymize/configuration.h"
#include "anonymize/key_blocks.h"
#include "anonymize/word_scan.h"
#include "appliance/inside.h"
#include "appliance/places.h"
#include "appliance/staging.h"
#include "system/config_path.h"
#include "system/files.h"
#include "system/gzip_text.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <sys/stat.h>

namespace command {

static auto fields_of(RenamedFile &file)
{
    return std::tie(file.old_name, file.new_name);
}

static auto fields_of(Anonymized &done)
{
    return std::tie(done.counts, done.configurations, done.emptied, done.unreadable, done.left_out);
}

static auto fields_of(AnonymizedFile &file)
{
    return std::tie(file.bytes, file.counts);
}

namespace {

/* In the place of a file that was one: an upgrade refuses it, as it refuses the other. */
constexpr std::string_view broken_gzip = "\x1f\x8b";

/* Folders of certificates and of what goes with them, and files of one secret. */
constexpr std::string_view text_folders[] = {"/data/etc/cert/",        "/data/etc/globalcert/", "/data/etc/xmlproxy/",
                                             "/data/etc/ws_security/", "/data/etc/wvs/",        "/etc/cert/"};
constexpr std::string_view secret_files[] = {"/data/etc/key.secret"};
constexpr std::string_view secret_endings[] = {".password", "/password"};

enum class FileKind { configuration, text, secret, unread };

FileKind kind_of(std::string_view path)
{
    auto begins = [&](std::string_view folder) { return path.starts_with(folder); };
    auto ends = [&](std::string_view ending) { return path.ends_with(ending); };
    if (std::find(std::begin(secret_files), std::end(secret_files), path) != std::end(secret_files))
        return FileKind::secret;
    if (begins("/data/config/") || (begins("/var/log/sys_") && ends(".conf")))
        return FileKind::configuration;
    if (std::none_of(std::begin(text_folders), std::end(text_folders), begins))
        return FileKind::unread;
    return std::any_of(std::begin(secret_endings), std::end(secret_endings), ends) ? FileKind::secret : FileKind::text;
}

/* Links by what they lead to: what a file is, is told by the path on which an upgrade comes to it. */
using LinksByTarget = std::map<std::string, std::string>;

LinksByTarget links_among(const Entries &entries)
{
    LinksByTarget links;
    for (const auto &[path, entry] : entries) {
        std::error_code error;
        std::string     target = entry.type == 'l' ? std::filesystem::weakly_canonical(path, error).string() : "";
        if (!error && !target.empty() && target != path)
            links.emplace(target, path);
    }
    return links;
}

std::string path_through_links(std::string path, const LinksByTarget &links)
{
    static constexpr int most_links = 8;
    for (int followed = 0; followed < most_links; followed++) {
        auto link = std::find_if(links.begin(), links.end(), [&](const auto &one) {
            return path == one.first || path.starts_with(one.first + "/");
        });
        if (link == links.end())
            break;
        path = link->second + path.substr(link->first.size());
    }
    return path;
}

/* What an upgrade would read of the file, unpacked; nothing for what it does not, or cannot. */
std::optional<std::string> content_of(const std::string &path, const Entry &entry, FileKind kind)
{
    static constexpr uint64_t largest_text = 1 << 20;
    if (kind == FileKind::unread || (kind != FileKind::configuration && entry.size > largest_text))
        return std::nullopt;
    std::string bytes = read_file(path, Links::refuse);
    if (kind == FileKind::configuration && looks_like_gzip(bytes))
        return gunzip(bytes);
    bool is_binary = kind != FileKind::configuration && bytes.find('\0') != std::string::npos;
    return is_binary ? std::nullopt : std::optional(std::move(bytes));
}

/* Of a file with one secret in a line. */
std::string first_line_of(std::string_view text)
{
    return std::string(text.substr(0, text.find_first_of("\r\n")));
}

struct Workshop {
    explicit Workshop(const AnonymizeKey &key)
        : permutation(key.secret), texts(key.known, permutation), names(key.known, permutation), blocks(names)
    {
        texts.of_block = [this](std::string_view block) { return blocks.of(block); };
    }

    void learn(FileKind kind, const std::string &text)
    {
        blocks.learn(text);
        if (kind == FileKind::secret)
            blocks.learn_passphrase(first_line_of(text));
        if (kind == FileKind::configuration)
            for (const std::string &passphrase : passphrases_in(text))
                blocks.learn_passphrase(passphrase);
    }

    std::string other(FileKind kind, const std::string &text)
    {
        if (kind == FileKind::configuration)
            return other_configuration(text, texts);
        return texts.of(text, kind == FileKind::secret ? TextUse::secret : TextUse::setting);
    }

    Replacements counts() const
    {
        Replacements all = texts.counts;
        all.keys += names.counts.keys;
        all.certificates += names.counts.certificates;
        all.blocks += names.counts.blocks;
        return all;
    }

    Permutation  permutation;
    Substitution texts;
    Substitution names; /* in certificates */
    KeyBlocks    blocks;
};

/* Part by part, so that what lies together does so afterwards. */
std::string other_path(std::string_view path, Substitution &texts)
{
    std::string other;
    while (!path.empty()) {
        size_t slash = path.find('/');
        other += other_file_name(path.substr(0, slash), texts);
        if (slash == std::string_view::npos)
            break;
        other += '/';
        path.remove_prefix(slash + 1);
    }
    return other;
}

const char *below(const std::string &path)
{
    return path.c_str() + 1;
}

void make_folders_to(int out, const std::string &path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        if (mkdirat(out, below(path.substr(0, slash)), 0700) != 0 && errno != EEXIST)
            throw PathError{"write", path, errno};
}

void write_to(int out, const std::string &path, std::string_view bytes)
{
    Fd file(openat(out, below(path), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file)
        throw PathError{"write", path, errno};
    write_all(file.get(), bytes, path);
}

void make_file(int out, const std::string &path, const Entry &entry, const LinksByTarget &links, Workshop &shop,
               Anonymized &done)
{
    std::string                there = other_path(path, shop.names);
    std::string                reached = path_through_links(path, links);
    FileKind                   kind = kind_of(reached);
    std::optional<std::string> content = content_of(path, entry, kind);
    make_folders_to(out, there);
    std::string folder = std::string(config_folder) + "/";
    if (reached.starts_with(folder)) {
        std::string name = reached.substr(folder.size());
        done.configurations.push_back({name, other_file_name(name, shop.names)});
    }
    if (!content && kind == FileKind::configuration) {
        done.unreadable.push_back(path);
        return write_to(out, there, broken_gzip);
    }
    if (!content) {
        if (entry.size > 0)
            done.emptied.push_back(path);
        return write_to(out, there, "");
    }
    std::string other = shop.other(kind, *content);
    write_to(out, there, path.ends_with(".gz") ? gzip(other) : other);
}

void make_entry(int out, const std::string &path, const Entry &entry, const LinksByTarget &links, Workshop &shop,
                Anonymized &done)
{
    if (entry.type == 'f')
        return make_file(out, path, entry, links, shop, done);
    std::string there = other_path(path, shop.names);
    make_folders_to(out, there);
    if (entry.type == 'd' && mkdirat(out, below(there), 0700) != 0 && errno != EEXIST)
        throw PathError{"write", path, errno};
    if (entry.type == 'l' && symlinkat(other_path(entry.target, shop.names).c_str(), out, below(there)) != 0)
        throw PathError{"write", path, errno};
    if (entry.type == 'o')
        done.left_out.push_back(path);
}

/* The words of letters in the domains' names. */
std::set<std::string> domain_words(const Entries &entries, const LinksByTarget &links)
{
    static const std::string domain = std::string(config_folder) + "/sys_domain.";
    static constexpr char    digits[] = "0123456789";
    std::set<std::string>    words;
    for (const auto &[path, entry] : entries) {
        std::string reached = path_through_links(path, links);
        if (!reached.starts_with(domain))
            continue;
        std::string_view name = std::string_view(reached).substr(domain.size());
        name = name.substr(0, name.rfind(".conf"));
        for (size_t at = 0; at < name.size();) {
            std::string_view word = word_at(name, at);
            at += std::max<size_t>(word.size(), 1);
            word = word.substr(std::min(word.size(), word.find_first_not_of(digits)));
            word = word.substr(0, word.find_first_of(digits));
            if (!word.empty() && std::all_of(word.begin(), word.end(), is_letter))
                words.emplace(word);
        }
    }
    return words;
}

Anonymized anonymize_here(int out, const AnonymizeKey &key)
{
    Workshop      shop(key);
    Anonymized    done;
    Entries       entries = look_at(places_of_staging());
    LinksByTarget links = links_among(entries);
    shop.texts.keep_order(domain_words(entries, links));
    shop.names.keep_order(domain_words(entries, links));
    for (const auto &[path, entry] : entries) {
        FileKind kind = kind_of(path_through_links(path, links));
        if (std::optional<std::string> text = entry.type == 'f' ? content_of(path, entry, kind) : std::nullopt)
            shop.learn(kind, *text);
    }
    for (const auto &[path, entry] : entries)
        make_entry(out, path, entry, links, shop, done);
    for (const char *always : {"etc", "tmp", "var", "var/log"})
        if (mkdirat(out, always, 0700) != 0 && errno != EEXIST)
            throw PathError{"write", always, errno};
    done.counts = shop.counts();
    return done;
}

} // namespace

Anonymized anonymize_appliance(const Root &appliance, int out, const AnonymizeKey &key, Interrupts &interrupts)
{
    return inside(
        appliance, [&] { return anonymize_here(out, key); }, &interrupts);
}

AnonymizedFile anonymize_file(const std::string &bytes, const std::string &shown, const AnonymizeKey &key,
                              Interrupts &interrupts)
{
    bool                       packed = looks_like_gzip(bytes);
    std::optional<std::string> text = packed ? gunzip(bytes) : bytes;
    if (!text)
        throw Failure(Status::left_alone, shown + ": it " + why_not_unpacked(bytes) + ". Take a good copy of it.");
    std::unique_ptr<StagingFolder> place = throw_away_appliance();
    return inside(
        place->root(),
        [&] {
            Workshop shop(key);
            shop.learn(FileKind::configuration, *text);
            std::string other = shop.other(FileKind::configuration, *text);
            return AnonymizedFile{packed ? gzip(other) : other, shop.counts()};
        },
        &interrupts);
}

} // namespace command
