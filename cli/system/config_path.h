/*
 * Where an appliance keeps its configuration files, and what the two that always have the same name are called. Paths
 * are as seen from inside the appliance's root folder.
 */
#pragma once

#include <string>

namespace command {

inline constexpr char config_folder[] = "/data/config";
inline constexpr char global_name[] = "sys_global.conf.gz";
inline constexpr char first_domain_name[] = "sys_domain.root.conf.gz";

/* The path of the configuration file of that name. */
inline std::string config_path(const std::string &name)
{
    return std::string(config_folder) + "/" + name;
}

} // namespace command
