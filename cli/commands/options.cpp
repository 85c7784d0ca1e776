/* Tables, and the ways from Arguments to what the rooms below ask for. */
#include "commands/options.h"

namespace command {

std::vector<Option> joined(std::initializer_list<std::vector<Option>> tables)
{
    std::vector<Option> all;
    for (const std::vector<Option> &table : tables)
        all.insert(all.end(), table.begin(), table.end());
    return all;
}

std::vector<Option> root_or_file()
{
    return {{"ROOT|FILE", &Arguments::file,
             "An appliance's root folder, which is left alone, or one configuration file, plain or gzip", true}};
}

std::vector<Option> image_and_file_kind()
{
    return {{"--image", &Arguments::image, "Folder with the image's files, in place of the packaged ones"},
            {"--as", &Arguments::as, "What FILE is, if its name does not tell", false, {"global", "domain"}},
            {"--domain", &Arguments::domain, "The name of the domain that FILE belongs to"}};
}

std::vector<Option> change_filters()
{
    return {{"--dropped", &Arguments::dropped, "Show what is dropped, and nothing else that is not asked for"},
            {"--rewritten", &Arguments::rewritten, "The same for what is rewritten"},
            {"--added", &Arguments::added, "The same for what is added"},
            {"--kind",
             &Arguments::kind,
             "Only what has a cause of that kind",
             false,
             {"protection", "credentials", "network", "logging", "appearance", "housekeeping", "rule"}},
            {"--path", &Arguments::path, "Only what lies there: a pattern for names parted by \" / \""},
            {"--release", &Arguments::release, "Only what has a cause of that release"},
            {"--by", &Arguments::by, "Only what has the callback, migration or rule of that name as a cause"}};
}

std::vector<Option> secrets_and_json(const char *json_help)
{
    return {{"--show-secrets", &Arguments::show_secrets, "Show passwords and keys, which are hidden otherwise"},
            {"--json", &Arguments::json, json_help}};
}

SingleRequest single_request(const Arguments &arguments)
{
    return {arguments.file, arguments.as, arguments.domain};
}

CauseFilter cause_filter(const Arguments &arguments)
{
    return {arguments.kind, arguments.release, arguments.by};
}

bool asks_for_fates(const Arguments &arguments)
{
    return arguments.dropped || arguments.rewritten || arguments.added;
}

} // namespace command
