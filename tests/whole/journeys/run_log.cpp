/* Takes down what the driver calls, and lets every call through. */
#include "run_log.h"

#include "chain/hardcode.h"
#include "driver/migr.h"
#include "rules/rules.h"
#include "support/appliance_root.h"
#include "support/files.h"

#include <filesystem>

namespace fs = std::filesystem;

RunLog run_log;

static std::string release(int32_t version)
{
    return std::to_string(version >> 16) + "." + std::to_string(version & 0xffff);
}

static void log_step(const std::string &step)
{
    run_log.steps.push_back(step);
}

std::string run_steps()
{
    std::string lines;
    for (const std::string &step : run_log.steps)
        lines += step + "\n";
    return lines;
}

StoredTexts stored_texts()
{
    StoredTexts texts;
    for (const fs::directory_entry &entry : fs::directory_iterator("/data/config")) {
        std::string name = entry.path().filename().string();
        std::string text = support::file_text(entry.path());
        if (name.ends_with(".conf.gz") && text.starts_with("\x1f\x8b")) {
            name.resize(name.size() - std::string(".conf.gz").size());
            text = support::gunzip(text);
        }
        texts[name] = text;
    }
    for (const fs::directory_entry &entry : fs::directory_iterator("/var/log"))
        texts["log/" + entry.path().filename().string()] = support::file_text(entry.path());
    return texts;
}

extern "C" {

void migr_on_file(const char *path, uint32_t mode)
{
    static constexpr const char *modes[] = {"global", "domain", "machine learning"};
    log_step(std::string("pass ") + modes[mode] + " " + fs::path(path).stem().stem().string());
    run_log.stored.push_back(stored_texts());
}

int32_t __real_migr_hardcode(const update_section *section);
int32_t __wrap_migr_hardcode(const update_section *section)
{
    log_step("step " + release(section->version));
    return __real_migr_hardcode(section);
}

int32_t __real_new_config_update(run_context *context);
int32_t __wrap_new_config_update(run_context *context)
{
    std::string domain = context->adom_name;
    log_step("walk " + release(context->cfg_version) + " to " + release(context->img_version) +
             (domain.empty() ? "" : " of " + domain));
    return __real_new_config_update(context);
}

int32_t __real_sync_cli_with_sig_db(void);
int32_t __wrap_sync_cli_with_sig_db(void)
{
    log_step("reconcile");
    return __real_sync_cli_with_sig_db();
}

int32_t __real_update_to_vdom(void);
int32_t __wrap_update_to_vdom(void)
{
    int32_t result = __real_update_to_vdom();
    log_step(result == 0 ? "split" : "split fails");
    return result;
}

int32_t __real_write_new_text(const char *path);
int32_t __wrap_write_new_text(const char *path)
{
    int32_t result = __real_write_new_text(path);
    if (result != 0)
        log_step("write fails");
    return result;
}

int32_t __real_store_new_text(const char *path);
int32_t __wrap_store_new_text(const char *path)
{
    int32_t result = __real_store_new_text(path);
    log_step(result == 0 ? "write" : "write fails");
    return result;
}

int32_t __real_file_conversion(void);
int32_t __wrap_file_conversion(void)
{
    log_step("convert certificates");
    return __real_file_conversion();
}

int32_t __real_migr_fix_all_files(int32_t from_version);
int32_t __wrap_migr_fix_all_files(int32_t from_version)
{
    log_step("file jobs from " + release(from_version));
    return __real_migr_fix_all_files(from_version);
}
}
