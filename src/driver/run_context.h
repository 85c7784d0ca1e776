/*
 * The run context: what one pass over one configuration file knows. A ground-floor header, readable by a C compiler.
 */
#ifndef MIGR_DRIVER_RUN_CONTEXT_H
#define MIGR_DRIVER_RUN_CONTEXT_H

#include "driver/image_release.h"
#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A link of a circular, doubly linked list. A head is such a link too, and points at itself while the list is empty. */
typedef struct migr_list migr_list;
struct migr_list {
    migr_list *next;
    migr_list *prev;
};

/* What the file of a pass is. */
enum migr_mode {
    MIGR_GLOBAL = 0,
    MIGR_DOMAIN = 1,
    MIGR_MACHINE_LEARNING = 2,
};

/* The version code of a release, in signed 32 bits: codes compare as numbers, and -1 is no version. */
#define MIGR_RELEASE(major, minor) (((major) << 16) + (minor))
#define MIGR_RELEASE_IMAGE MIGR_RELEASE(MIGR_IMAGE_MAJOR, MIGR_IMAGE_MINOR)

#define MIGR_MODEL_SIZE 128

/* Reset as a whole at the start of every pass; only one pass runs at a time. */
typedef struct run_context run_context;
struct run_context {
    char        line_buf[MIGR_LINE_SIZE];    /* the last line that any reader of the library has read */
    migr_list   update_list;                 /* update sections of this file, in the order of the update file */
    config_node root;                        /* kind 1: the configuration tree */
    int32_t     cfg_version;                 /* release of the file as read */
    int32_t     img_version;                 /* release of the image */
    int32_t     cfg_build;                   /* build number of the old version line; kept, never consulted */
    int32_t     img_build;                   /* build number of the new version line; kept, never consulted */
    char        first_line[MIGR_LINE_SIZE];  /* the new "#config-version=" line with its newline */
    char        second_line[MIGR_LINE_SIZE]; /* the "#conf_file_ver=" line as read, with its newline */
    uint32_t    modified;                    /* write-only: no decision may depend on it */
    uint32_t    mode;                        /* enum migr_mode */
    char        adom_name[MIGR_NAME_SIZE];   /* the domain's name in a domain file, else empty */
    char        model_text[MIGR_MODEL_SIZE]; /* the version line from the second character of the model on */
    uint32_t    xml_trim_mode;               /* operation mode as _trim_xml_by_mode found it: 4 offline, 8 inspection */
};

extern run_context migr_main;                /* the file being upgraded */
extern run_context migr_sub;                 /* the predefined configuration; only line_buf and root are used */
extern config_node tmp_tree_root;            /* kind 1: what a step of the global file leaves for the domain files */
extern char        bak_line[MIGR_LINE_SIZE]; /* the file's own version line as read */
extern int32_t     vdom_update_flag;         /* 1 while a file from before 5.10 is on its way to the split */

/* Set by the host before a run on that one small model, which keeps more policies than its successors allow. */
extern int32_t qb01a;

/* The image's signature database, open for the whole run; null without one. */
extern struct signature_database *sig_db;

#ifdef __cplusplus
}
#endif

#endif
