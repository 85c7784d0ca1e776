#include "sweep.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>

using namespace support;

namespace {

constexpr char headers[] = "#config-version=QA-A1X-5.40-CV-build0100-140101:r\n#conf_file_ver=17\n";

/* A database with its tables and nothing in them. Made once: its making waits for the disk. */
const std::string &empty_database()
{
    static const std::string bytes = [] {
        ApplianceRoot root;
        root.database("create table class_map(main_class_id, sub_class_id, discard);"
                      "create table signature_rule(signature_id, FP_mitigation, score);");
        return root.read("/data/etc/signature.db");
    }();
    return bytes;
}

/* A global file and one domain, of a few lines each, that no migration changes: every mechanism runs, and what comes
 * out is known whatever fails. */
const sweep::Appliance smallest = {
    .lay_out =
        [](const ApplianceRoot &root) {
            std::string text = std::string(headers) +
                               "config server-policy setting\nend\n"
                               "config router nowhere\n    set name \"two\nlines\"\n    edit 1\n        set x 1\n"
                               "        config list\n            edit 1\n            next\n        end\n    next\nend\n";
            root.write("/data/etc/update_config", "");
            root.write("/data/etc/signature.db", empty_database());
            root.write_gzip("/data/config/sys_global.conf.gz", text);
            root.write_gzip("/data/config/sys_domain.root.conf.gz", text);
        },
    .stored = {"/data/config/sys_global.conf.gz", "/data/config/sys_domain.root.conf.gz"},
    .may_stop_at = {},
    .touched = {},
};

TEST(Faults, EachAllocationOfTheSmallestAppliance)
{
    EXPECT_GT(sweep::run(smallest, faults::Kind::memory, faults::Span::once), 30u);
}

TEST(Faults, MemoryRunsOutForGoodInTheSmallestAppliance)
{
    EXPECT_GT(sweep::run(smallest, faults::Kind::memory, faults::Span::for_good), 30u);
}

TEST(Faults, EachFileCallOfTheSmallestAppliance)
{
    EXPECT_GT(sweep::run(smallest, faults::Kind::files, faults::Span::once), 50u);
}

/* Calls that may fail. When the library begins to use one of them that is not swept yet, faults.cpp has to learn how
 * it fails, and options.cmake its name. */
constexpr const char *fallible[] = {
    "aligned_alloc", "asprintf", "calloc", "getdelim", "getline", "malloc", "memalign", "mmap", "open_memstream",
    "posix_memalign", "realloc", "reallocarray", "realpath", "strdup", "strndup", "tsearch", "vasprintf",
    "access", "chdir", "chmod", "chown", "close", "closedir", "copy_file_range", "creat", "dirfd", "dup", "dup2",
    "execv", "fchmod", "fchown", "fclose", "fdopen", "fdopendir", "fflush", "fgetc", "fgets", "fileno", "flock",
    "fopen", "fopen64", "fork", "fprintf", "fputc", "fputs", "fread", "freopen", "fseek", "fseeko", "fstat", "fstatat",
    "fsync", "ftell", "ftruncate", "fts_open", "ftw", "fwrite", "fwrite_unlocked", "getc", "glob", "lchown", "link",
    "lseek", "lstat", "mkdir", "mkdirat", "mkdtemp", "mkstemp", "mount", "nftw", "open", "open64", "openat", "opendir",
    "popen", "pread", "putc", "pwrite", "read", "readdir", "readlink", "readv", "rename", "renameat", "rewinddir",
    "rmdir", "scandir", "sendfile", "stat", "statfs", "symlink", "system", "tmpfile", "truncate", "unlink", "unlinkat",
    "utime", "utimensat", "vfprintf", "write", "writev",
    "copy_dir", "copy_file", "crwinit_cert_dir", "cvgunzip", "cvgzip", "db_open", "global_white_list_read_db",
    "init_db_object",
};

/* On an open stream it cannot fail. */
constexpr const char *safe[] = {"fileno"};

TEST(Faults, EveryCallThatMayFailIsSwept)
{
    std::istringstream    words(SWEPT_CALLS);
    std::set<std::string> swept(safe, std::end(safe));
    for (std::string word; words >> word;)
        swept.insert(word);
    FILE *undefined = popen("nm -u " MIGR_BUILD_DIR "/libmigr.a", "r");
    ASSERT_NE(undefined, nullptr);
    std::set<std::string> used;
    char                  line[4096];
    char                  name[4096];
    while (fgets(line, sizeof line, undefined))
        if (sscanf(line, " U %4095s", name) == 1)
            used.insert(name);
    EXPECT_EQ(pclose(undefined), 0);
    EXPECT_TRUE(used.contains("malloc"));
    for (const char *call : fallible)
        EXPECT_TRUE(!used.contains(call) || swept.contains(call)) << call;
}

} // namespace
