/*
 * Features that went, and the antivirus files that go back to the image's, from 5.80 to 6.20. Many of these rows
 * work on files and not on the tree: once per file or once per process, as each one's flag says.
 */
#include "stages/system/feature_cleanup.h"

#include "driver/run_context.h"
#include "ledger/tell.h"
#include "tree/file_effects.h"
#include "walk/cursors.h"
#include "walk/toolkit.h"

#include <cstdio>
#include <cstring>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

/* Without a buffer: a block that does not fit on the disk is to be seen when it is written. */
static FILE *open_copy(const char *target)
{
    FILE *stream = fopen(target, "wbe");
    if (stream)
        setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

/* Opening a source as its own target would empty it. */
static bool is_same_file(FILE *open_file, const char *path)
{
    struct stat one = {};
    struct stat other = {};
    return fstat(fileno(open_file), &one) == 0 && stat(path, &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

static int32_t copy_blocks(FILE *from, FILE *to)
{
    char    block[1024];
    int32_t result = 0;
    size_t  got = sizeof block;
    while (got == sizeof block) {
        got = fread(block, 1, sizeof block, from);
        if (got < sizeof block && ferror(from))
            result = -1;
        if (fwrite(block, 1, got, to) < got)
            return -1;
    }
    return result;
}

int32_t legacy_migr_copyfile(const char *source, const char *target)
{
    static constexpr unsigned long remount = 0xc0ed0020; /* MS_REMOUNT with the classic magic */
    FILE                          *from = fopen(source, "rbe");
    if (!from)
        return -1;
    if (is_same_file(from, target)) {
        fclose(from);
        return 0;
    }
    FILE *to = open_copy(target);
    if (!to) {
        fclose(from);
        return -1;
    }
    int32_t result = copy_blocks(from, to);
    fsync(fileno(to));
    fclose(from);
    fclose(to);
    mount(nullptr, "/data", nullptr, remount, nullptr);
    if (result == 0)
        ledger::tell_file(MIGR_FILE_COPIED, target, source);
    return result;
}

static bool exists(const char *path)
{
    return access(path, F_OK) == 0;
}

static void restore_twice(const char *source, const char *target, const char *last_good)
{
    if (!exists(source))
        return;
    legacy_migr_copyfile(source, target);
    legacy_migr_copyfile(source, last_good);
}

/* 5.80 starts from the image's own antivirus engine and signatures. The engine's second copy has a name of its own. */
void _av_vir_file_copy(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<av_vir_file_copy_state *>(memory);
    if (state->done)
        return;
    state->done = 1;
    if (!exists("/var/log"))
        return;
    restore_twice("/data/etc/vir.orig", "/var/log/vir", "/var/log/vir.lastgood");
    restore_twice("/data/etc/virext.orig", "/var/log/virext", "/var/log/virext.lastgood");
    restore_twice("/data/lib/libav.so.orig", "/var/log/libav.so", "/var/log/aven.fc.lastgood");
}

/* 6.10 has no auto-learning: its profiles and patterns go, what names them, and its data. The folder's path has no
 * slash ahead of it, so it is the one below the working folder. */
void _remove_all_autolearn(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<remove_all_autolearn_state *>(memory);
    if (top_cfg_set_end() &&
        top_cfg_in("server-policy,pattern,custom-susp-url", "server-policy,pattern,custom-susp-url-rule",
                   "server-policy,pattern,data-type-group", "server-policy,pattern,suspicious-url-rule",
                   "server-policy,custom-application,url-replacer",
                   "server-policy,custom-application,application-policy",
                   "waf,web-protection-profile,autolearning-profile"))
        cnd_del(top[1]);
    if (top_cfg_is("system,feature-visibility") && top_cfg_set_is("auto-learn"))
        cnd_del(top[3]);
    if (top_cfg_is("server-policy,policy") && top_edt_set_is("waf-autolearning-profile"))
        cnd_del(top[4]);
    if (top_cfg_is("system,accprofile") && top_edt_set_is("learngrp"))
        cnd_del(top[4]);
    if (state->folder_removed)
        return;
    remove_tree("var/log/autolearn_adom");
    state->folder_removed = 1;
}

/* Two of the old names are misspelled, and that is how old files have them. */
static bool is_of_potential_anomalies()
{
    return top_edt_set_in("anomaly-detection-method", "strictness-level-quantile-potential",
                          "strictness-level-quantile-defnite", "strictness-level-automatic-potential",
                          "action-protential", "block-period-potential", "severity-potential", "trigger-potential");
}

static bool is_unknown_to_image()
{
    return top_edt_set_is("threat-model") && migr_main.img_version < MIGR_RELEASE(6, 20);
}

/* What stands behind the old word goes with it. */
static void name_anomaly_setting(config_node *set)
{
    auto ahead = static_cast<int>(strstr(set->name, "definite") - set->name);
    cnd_rename(set, "%.*sanomaly", ahead, set->name);
}

/* 6.10 knows anomalies of one kind, where old files had definite and potential ones. */
void _adjust_ml_policy2(int32_t, void *, int32_t *)
{
    if (is_of_potential_anomalies() || is_unknown_to_image())
        cnd_del(top[4]);
    else if (top_edt_set_in("action-definitely", "block-period-definitely", "severity-definitely",
                            "trigger-definitely"))
        name_anomaly_setting(top[4]);
    else if (top_edt_set_is("strictness-level-automatic-defnite"))
        cnd_rename(top[4], "strictness-level-anomaly");
}

static void reset_scanner_folders()
{
    static int32_t _wvs_once_cleanup;
    if (_wvs_once_cleanup)
        return;
    remove_tree("/data/etc/wvs");
    remove_tree("/var/log/wvs/db");
    remove_tree("/var/log/wvs/report");
    make_folder("/data/etc/wvs", 0777);
    make_folder("/data/etc/wvs/profile", 0777);
    _wvs_once_cleanup = 1;
}

/* 6.10 has a new vulnerability scanner, which cannot read what the old one left. */
void _cleanup_old_wvs(int32_t, void *, int32_t *)
{
    reset_scanner_folders();
    if (top_edt_set_end() && top_suffix_in("schedule", "profile", "policy"))
        cnd_del(top[2]);
}

/* 6.20 sets the strictness by itself. */
void _adjust_ml_policy_620(int32_t, void *, int32_t *)
{
    if (top_edt_set_is("strictness-level-anomaly"))
        cnd_del(top[4]);
}

/* 6.20 brings an engine of another form, so whatever an older image has left in its place goes. The last good copies
 * are not made again. */
void _cleanup_pre620_av_file(int32_t, void *, int32_t *)
{
    static int32_t _av_once_cleanup;
    if (_av_once_cleanup)
        return;
    static constexpr const char *old_files[] = {"/var/log/libav.so", "/var/log/vir", "/var/log/vir.lastgood",
                                                "/var/log/virext", "/var/log/virext.lastgood"};
    for (const char *file : old_files)
        remove_tree(file);
    copy_over("/data/lib/libav.so.orig", "/var/log/libav.so");
    copy_over("/data/etc/vir.orig", "/var/log/vir");
    copy_over("/data/etc/virext.orig", "/var/log/virext");
    _av_once_cleanup = 1;
}

/* The one row of the machine-learning files: a trial of the road, kept since the road needs a row. */
void _ml_adjust_policy(int32_t, void *, int32_t *)
{
    if (config_node *level = top_edt_set_is("strictness-level-anomaly123456"))
        cnd_fmt_value(level, "test--%s", level->value ? level->value : "");
}
