/*
 * Certificate files move into a folder per domain, when all configuration files are written. Nothing remembers how
 * far a job came: moving what is still there is what a second run does.
 */
#include "filejobs/file_jobs.h"

#include "driver/run_context.h"
#include "ledger/tell.h"
#include "platform/platform.h"
#include "tree/stored_files.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

int32_t (*const fix_func_array[])(int32_t from_version) = {
    migr_fix_adom_cert_dirs,
    nullptr,
};

const char *const cert_dirs2fix[] = {
    "/data/etc/cert/local",      "/data/etc/cert/signca",
    "/data/etc/cert/ca",         "/data/etc/cert/intmed",
    "/data/etc/cert/remote",     "/data/etc/cert/crl",
    "/data/etc/cert/tslca",      "/data/etc/cert/xml_server",
    "/data/etc/cert/xml_client", nullptr,
};

namespace {

constexpr char   config_folder[] = MIGR_CONFIG_FOLDER "/";
constexpr char   root_domain[] = "root";
constexpr char   root_domain_file[] = "sys_domain.root.conf.gz";
constexpr size_t path_size = 512;

bool is_dots(const char *name)
{
    return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

/* Moves one entry of a certificate folder into the root domain's subfolder. Folders are the domains', and a link that
 * the root domain has under that name keeps its place. 0, or what the copying gave. */
int32_t move_to_root_domain(const char *folder, const char *name)
{
    char source[path_size];
    char target[path_size];
    snprintf(source, sizeof source, "%s/%s", folder, name);
    snprintf(target, sizeof target, "%s/%s/%s", folder, root_domain, name);
    if (is_dir(source) || is_lnk(target))
        return 0;
    int32_t result = copy_file(source, target);
    if (result != 0) {
        printf("migr_fix_root_adom_cert %d copy_file(%s ,%s) error", __LINE__, source, target);
        return result;
    }
    unlink(source);
    ledger::tell_file(MIGR_FILE_MOVED, target, source);
    return 0;
}

int32_t fix_root_folder(const char *folder)
{
    DIR *entries = opendir(folder);
    if (!entries) {
        printf("migr_fix_root_adom_cert %d opendir %s error\n", __LINE__, folder);
        return 1;
    }
    int32_t result = 0;
    while (const dirent *entry = result == 0 ? readdir(entries) : nullptr)
        if (!is_dots(entry->d_name) && strcmp(entry->d_name, root_domain) != 0)
            result = move_to_root_domain(folder, entry->d_name);
    closedir(entries);
    return result;
}

/* "sys_domain.NAME.conf.gz": the name ends at the first full stop, so a domain cannot have one in it. */
void fix_domain_of_file(const char *file)
{
    char pieces[sizeof dirent::d_name];
    snprintf(pieces, sizeof pieces, "%s", file);
    char       *rest = nullptr;
    const char *first = strtok_r(pieces, ".", &rest);
    if (!first || strncmp(first, "sys_domain", strlen("sys_domain")) != 0)
        return;
    const char *domain = strtok_r(nullptr, ".", &rest);
    if (domain)
        migr_fix_other_adom_cert(domain);
    else
        printf("migr_fix_adom_cert_dirs %d get adom_name from file %s error\n", __LINE__, file);
}

int32_t fix_other_domains()
{
    DIR *entries = opendir(config_folder);
    if (!entries) {
        printf("migr_fix_adom_cert_dirs %d opendir %s error\n", __LINE__, config_folder);
        return 1;
    }
    while (const dirent *entry = readdir(entries))
        if (!is_dots(entry->d_name) && strcmp(entry->d_name, root_domain_file) != 0)
            fix_domain_of_file(entry->d_name);
    closedir(entries);
    return 0;
}

} // namespace

/* The files of certificates move into a folder for each domain. */
int32_t migr_fix_all_files(int32_t from_version)
{
    int32_t result = 0;
    for (auto fix = fix_func_array; *fix; fix++)
        result = (*fix)(from_version);
    return result;
}

/*
 * 5.20 gave every domain certificates of its own: what lay in one folder per kind moved into one subfolder per domain.
 * Before 5.10 there is no domain but root. The other domains of later releases each start with all that root has.
 */
int32_t migr_fix_adom_cert_dirs(int32_t from_version)
{
    int32_t result = migr_fix_root_adom_cert();
    if (result != 0) {
        printf("%s %d fix root cert_dir error\n", __func__, __LINE__);
        return result;
    }
    if (from_version < MIGR_RELEASE(5, 10) || from_version >= MIGR_RELEASE(5, 20))
        return 0;
    return fix_other_domains();
}

int32_t migr_fix_root_adom_cert(void)
{
    int32_t result = crwinit_cert_dir(root_domain);
    if (result != 0) {
        puts("init certdir of root  error ");
        return result;
    }
    for (auto folder = cert_dirs2fix; *folder; folder++) {
        result = fix_root_folder(*folder);
        if (result != 0)
            return result;
    }
    return 0;
}

int32_t migr_fix_other_adom_cert(const char *domain)
{
    for (auto folder = cert_dirs2fix; *folder; folder++) {
        char source[path_size];
        char target[path_size];
        snprintf(source, sizeof source, "%s/%s", *folder, root_domain);
        snprintf(target, sizeof target, "%s/%s", *folder, domain);
        int32_t result = copy_dir(source, target);
        if (result != 0) {
            printf("%s %d copy_dir(%s ,%s) error", __func__, __LINE__, source, target);
            return result;
        }
        ledger::tell_file(MIGR_FILE_COPIED, target, source);
    }
    return 0;
}

int32_t is_lnk(const char *path)
{
    struct stat st = {};
    return access(path, F_OK) == 0 && lstat(path, &st) == 0 && S_ISLNK(st.st_mode) ? 1 : 0;
}
