/* One child for each failing call, and a look at what it left. It knows what must hold of any appliance, and asks of
 * each what more may be. */
#include "sweep.h"

#include "driver/migr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

using namespace support;

namespace sweep {

/* A file's text, or that it is not there. */
struct Stored {
    bool        there;
    std::string text;

    bool operator==(const Stored &) const = default;
};

static Stored stored_at(const ApplianceRoot &root, const std::string &path)
{
    return root.exists(path) ? Stored{true, root.read_gzip(path)} : Stored{false, ""};
}

static std::string plain_copy_of(const std::string &path)
{
    std::string plain = "/var/log" + path.substr(path.rfind('/'));
    return plain.substr(0, plain.size() - 3);
}

/* What the run of one child did. */
struct Run {
    size_t      calls;
    std::string failed; /* the function that failed */
};

static Run run_once(const ApplianceRoot &root, faults::Kind kind, faults::Span span, size_t nth)
{
    Run         run = {};
    ChildResult child = run_in_root(root.path(), [&] {
        faults::start(kind, span, nth);
        migr_main_do_all();
        size_t calls = faults::stop();
        fprintf(stderr, "\n%zu calls, failed: %s.", calls, faults::failed().c_str());
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << "call " << nth << "\n" << child.out << child.err;
    EXPECT_EQ(child.signal, 0) << "call " << nth << "\n" << child.out << child.err;
    char   name[64] = "";
    size_t at = child.err.rfind('\n');
    if (at != std::string::npos && sscanf(child.err.c_str() + at, "\n%zu calls, failed: %63[^.]", &run.calls, name) > 0)
        run.failed = name;
    return run;
}

static bool is_below(const std::string &path, const std::vector<std::string> &prefixes)
{
    for (const std::string &prefix : prefixes)
        if (path.compare(0, prefix.size(), prefix) == 0)
            return true;
    return false;
}

/* Everything that a run has no business with is as before. What it could not remove may be left. */
static void expect_untouched(const Appliance &appliance, const Listing &before, Listing after,
                             const std::string &failed)
{
    std::vector<std::string> touched = appliance.touched;
    for (const std::string &path : appliance.stored) {
        touched.push_back(path.substr(1));
        touched.push_back(plain_copy_of(path).substr(1));
    }
    if (failed == "unlink")
        for (const char *left : {"tmp/", "qx_migr_unzip_tmp"})
            touched.push_back(left);
    auto    mine = [&](const auto &entry) { return is_below(entry.first, touched); };
    Listing expected = before;
    std::erase_if(expected, mine);
    std::erase_if(after, mine);
    EXPECT_EQ(after, expected);
}

struct Clean {
    Listing             before;
    std::vector<Stored> old_files;
    std::vector<Stored> new_files;
};

static void expect_good_file(const Appliance &appliance, const ApplianceRoot &root, const Clean &clean, size_t index,
                             const std::string &failed)
{
    const std::string &path = appliance.stored[index];
    Stored             found = stored_at(root, path);
    if (found == clean.old_files[index] || found == clean.new_files[index])
        return;
    if (found.there && appliance.may_stop_at && appliance.may_stop_at(path, found.text))
        return;
    ASSERT_FALSE(found.there) << path << " holds neither text:\n" << found.text;
    EXPECT_EQ(failed, "cvgzip") << path << " is gone";
    ASSERT_TRUE(root.exists(plain_copy_of(path))) << path << " is gone, and its plain text too";
    std::string kept = root.read(plain_copy_of(path));
    EXPECT_TRUE(kept == clean.new_files[index].text || (appliance.may_stop_at && appliance.may_stop_at(path, kept)))
        << kept;
}

static void sweep_call(const Appliance &appliance, const Clean &clean, faults::Kind kind, faults::Span span, size_t nth)
{
    ApplianceRoot root;
    appliance.lay_out(root);
    Run run = run_once(root, kind, span, nth);
    SCOPED_TRACE("call " + std::to_string(nth) + ", to " + run.failed);
    EXPECT_NE(run.failed, "");
    for (size_t index = 0; index < appliance.stored.size(); index++)
        expect_good_file(appliance, root, clean, index, run.failed);
    expect_untouched(appliance, clean.before, root.listing(), run.failed);
}

size_t run(const Appliance &appliance, faults::Kind kind, faults::Span span, size_t most)
{
    ApplianceRoot root;
    Clean         clean;
    appliance.lay_out(root);
    clean.before = root.listing();
    for (const std::string &path : appliance.stored)
        clean.old_files.push_back(stored_at(root, path));
    size_t calls = run_once(root, kind, span, 0).calls;
    for (const std::string &path : appliance.stored)
        clean.new_files.push_back(stored_at(root, path));
    EXPECT_NE(clean.new_files, clean.old_files) << "the undisturbed run upgrades nothing";
    expect_untouched(appliance, clean.before, root.listing(), "");
    size_t swept = std::min(calls, most);
    for (size_t point = 0; point < swept && !testing::Test::HasFailure(); point++)
        sweep_call(appliance, clean, kind, span, 1 + point * calls / swept);
    testing::Test::RecordProperty("calls", static_cast<int>(calls));
    return calls;
}

} // namespace sweep
