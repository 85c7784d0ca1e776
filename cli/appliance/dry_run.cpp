/* An upgrade of a copy: the appliance itself is only read. */
#include "appliance/places.h"
#include "appliance/restore.h"
#include "appliance/snapshot.h"
#include "appliance/upgrade.h"
#include "system/temporary_folder.h"

#include <fcntl.h>
#include <filesystem>

namespace fs = std::filesystem;

namespace command {

namespace {

/* A copy is a snapshot with another place of storage, put back somewhere else. */
void copy_appliance(const Root &from, const Root &to, const std::string &store_path, Interrupts &interrupts)
{
    Fd          store(open(store_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::string manifest =
        from.run([&] { return json(manifest_text(store_files(places_of_dry_run(), store.get()))); }, &interrupts);
    to.run(
        [&] {
            make_as_stored(parse_manifest(manifest), store.get(), Owners::leave);
            return json();
        },
        &interrupts);
    fs::remove_all(store_path);
}

} // namespace

void upgrade_copy(const UpgradeRequest &request, Interrupts &interrupts, Report &report,
                  const std::function<void(const Root &)> &look)
{
    Root origin(request.root);
    if (!unfinished_snapshot(origin).empty())
        throw Failure(Status::unusable, origin.shown() + ": the last upgrade was cut off. Roll it back first (migr "
                                                         "rollback), or run the upgrade itself, which does so.");
    origin.lock();
    TemporaryFolder temporary("dry-run");
    Root            copy(temporary.make("root"), origin.shown());
    try {
        copy_appliance(origin, copy, temporary.make("store"), interrupts);
    } catch (const Failure &failure) {
        throw Failure(failure.status, "No copy could be made in " + copy.path() + ". " + failure.what());
    }
    upgrade_root(copy, request, interrupts, report);
    report.snapshot.clear();
    if (look)
        look(copy);
}

} // namespace command
