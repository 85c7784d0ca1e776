/* Facts and damage side by side. Texts are hostile, so they are read in child processes. */
#include "appliance/checked_files.h"

#include "appliance/inspect.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"

#include <optional>

namespace command {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Damage, line, kind, text, acceptable)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DamageReport, found, more, is_acceptable, written_size, depth, deepest_line)

namespace {

/* Empty when the bytes do not unpack, which is told by the file's facts. */
std::string unpacked(std::string bytes)
{
    if (!looks_like_gzip(bytes))
        return bytes;
    return gunzip(bytes).value_or("");
}

CheckedFile checked(const std::string &name, const ConfigFolder &folder, const ConfigFacts &facts,
                    const Surroundings &around, DamageReport damage)
{
    CheckedFile file = {name, facts.release, {}, std::move(damage)};
    std::string reason = is_current(facts) ? "" : why_not_upgraded(folder, facts, around);
    if (reason.empty())
        reason = why_too_large(file.damage, around.room);
    if (!reason.empty())
        file.reasons.push_back(reason);
    return file;
}

std::vector<DamageReport> damage_of_folder(const Root &root, const ConfigFolder &folder)
{
    return root.run([&] {
        json all = json::array();
        for (const StoredFile &file : folder.files)
            all.push_back(file.facts.is_sound() ? damage_of(unpacked(read_file(config_path(file.name), Links::follow)))
                                                : DamageReport());
        return all;
    });
}

} // namespace

std::vector<CheckedFile> check_appliance(const Root &root)
{
    ConfigFolder folder = inspect_folder(root, Depth::headers);
    if (folder.files.empty())
        throw Failure(Status::unusable, root.shows(config_folder) + ": holds no configuration files. Is " +
                                            root.shown() + " an appliance's root folder?");
    Surroundings around = inspect_surroundings(root);
    around.update_file = true; /* an image brings its own */
    std::vector<DamageReport> damage = damage_of_folder(root, folder);
    std::vector<CheckedFile>  files;
    for (size_t at = 0; at < folder.files.size(); at++)
        files.push_back(checked(root.shows(config_path(folder.files[at].name)), folder, folder.files[at].facts, around,
                                std::move(damage[at])));
    return files;
}

/* As a global file, which depends on no other. */
CheckedFile check_file(const std::string &path)
{
    std::string bytes = read_input(path);
    json        found = Root("/").run([&] {
        bool        is_packed = looks_like_gzip(bytes);
        bool        is_whole = !is_packed || gunzip(bytes).has_value();
        std::string text = unpacked(bytes);
        json        report = is_whole ? damage_of(text) : DamageReport();
        ConfigFacts facts = inspect_text(std::move(text), Depth::headers);
        return json{facts.release, facts.second_line, is_whole, std::move(report)};
    });
    StoredFile  file;
    file.name = global_name;
    found[0].get_to(file.facts.release);
    found[1].get_to(file.facts.second_line);
    found[2].get_to(file.facts.gzip);
    ConfigFolder alone = {{file.name}, {file}};
    return checked(path, alone, file.facts, Surroundings(), found[3].get<DamageReport>());
}

} // namespace command
