/*
 * Files from before 4.0 belong to an XML proxy that kept one folder per certificate, its name being the
 * certificate's, with the files "ca.pem", "key.pem" and "password" in it. From 4.0 on these are flat files in the
 * folder of local certificates. Nothing else is known of the old layout, so what else lies in a folder stays there.
 */
#include "tree/legacy_certificates.h"

#include "ledger/tell.h"
#include "platform/platform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char   source_folder[] = "/data/etc/xmlproxy/certs/";
constexpr char   target_folder[] = "/data/etc/cert/local/";
constexpr size_t folder_path_size = 256;
constexpr size_t file_path_size = 512;

/* The certificate that came with the product; it is dropped, not moved. */
constexpr char default_certificate[] = "default";

struct certificate_file {
    const char *old_name;
    const char *ending;
};

constexpr certificate_file certificate_files[] = {
    {"ca.pem", ".cer"},
    {"key.pem", ".key"},
    {"password", ".password"},
};

void move_file(const char *path, const char *certificate, const char *name)
{
    for (const certificate_file &file : certificate_files) {
        if (strcmp(name, file.old_name) != 0)
            continue;
        char target[file_path_size];
        snprintf(target, sizeof target, "%s%s%s", target_folder, certificate, file.ending);
        if (rename(path, target) == 0)
            ledger::tell_file(MIGR_FILE_MOVED, target, path);
        return;
    }
    message("Unknown file [%s]\n", name);
}

void convert_file(const char *folder, const char *certificate, const char *name)
{
    if (strlen(folder) + strlen(name) + 1 >= file_path_size) {
        message("The file path is too long!\n");
        return;
    }
    char path[file_path_size];
    snprintf(path, sizeof path, "%s/%s", folder, name);
    if (strcmp(certificate, default_certificate) == 0) {
        if (unlink(path) == 0)
            ledger::tell_file(MIGR_FILE_REMOVED, path, nullptr);
        return;
    }
    if (strlen(certificate) + sizeof target_folder - 1 + strlen(".password") >= file_path_size) {
        message("The file path is too long!\n");
        return;
    }
    move_file(path, certificate, name);
}

void convert_folder(const char *certificate)
{
    if (strlen(certificate) + sizeof source_folder - 1 >= folder_path_size) {
        message("The dir path is too long!\n");
        return;
    }
    char folder[folder_path_size];
    snprintf(folder, sizeof folder, "%s%s", source_folder, certificate);
    dirent **files = nullptr;
    int      count = scandir(folder, &files, file_select, nullptr);
    if (count <= 0) {
        message("No files!\n");
        free_namelist(files, count);
        return;
    }
    for (int i = 0; i < count; i++)
        convert_file(folder, certificate, files[i]->d_name);
    free_namelist(files, count);
    if (rmdir(folder) == 0)
        ledger::tell_file(MIGR_FILE_REMOVED, folder, nullptr);
}

} // namespace

/* 4.0 keeps the certificates of the XML proxy among all local ones, so their files move there. */
int32_t file_conversion(void)
{
    struct stat st = {};
    if (stat(source_folder, &st) != 0) {
        message("Can not stat the source dir!\n");
        return -1;
    }
    dirent **folders = nullptr;
    int      count = scandir(source_folder, &folders, dir_select, nullptr);
    if (count < 0) {
        message("Scandir failed!\n");
        return -2;
    }
    for (int i = 0; i < count; i++)
        convert_folder(folders[i]->d_name);
    if (rmdir(source_folder) == 0)
        ledger::tell_file(MIGR_FILE_REMOVED, source_folder, nullptr);
    free_namelist(folders, count);
    return 0;
}

int dir_select(const dirent *entry)
{
    return entry->d_type == DT_DIR && entry->d_name[0] != '.';
}

int file_select(const dirent *entry)
{
    return entry->d_type == DT_REG;
}

void free_namelist(dirent **list, int count)
{
    for (int i = 0; i < count; i++)
        free(list[i]);
    free(list);
}
