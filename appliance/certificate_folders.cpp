/*
 * The certificate folders, each with one subfolder per administrative domain. Only folders are made here; what lies in
 * them is the library's to move.
 */
#include "platform/platform.h"

#include "files.h"
#include "folders.h"

#include <climits>
#include <cstdio>
#include <cstring>

static const char *const CERTIFICATE_FOLDERS[] = {
    "/data/etc/cert/local",  "/data/etc/cert/signca",     "/data/etc/cert/ca",
    "/data/etc/cert/intmed", "/data/etc/cert/remote",     "/data/etc/cert/crl",
    "/data/etc/cert/tslca",  "/data/etc/cert/xml_server", "/data/etc/cert/xml_client",
};

/* A domain must not reach out of its folders. */
static bool names_one_folder(const char *domain)
{
    return !appliance::no_path(domain) && strlen(domain) <= NAME_MAX && !strchr(domain, '/') &&
           strcmp(domain, ".") != 0 && strcmp(domain, "..") != 0;
}

int crwinit_cert_dir(const char *domain)
{
    if (!names_one_folder(domain))
        return -1;
    for (const char *folder : CERTIFICATE_FOLDERS) {
        char path[PATH_MAX];
        snprintf(path, sizeof path, "%s/%s", folder, domain);
        if (!appliance::make_folders(path))
            return -1;
    }
    return 0;
}
