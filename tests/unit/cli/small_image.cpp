/* An image with a rule or two, whose effects tests can count on. It knows nothing of the packaged one. */
#include "unit/cli/small_image.h"

#include "support/image_line.h"
#include "support/step_sections.h"
#include "unit/cli/command_support.h"

#include <filesystem>

namespace support {

namespace {

/* Behind the sections of all steps. */
constexpr char update_file[] = R"([5.50]
[6.00]
[DELETE]
<lab desk><old-flag>
[MODIFY]
<lab desk><tint>,<colour>
)";

constexpr char syntax[] = R"(GLOBAL TABLE "system global"
GLOBAL TABLE "system certificate local"
DOMAIN TABLE "lab desk"
DOMAIN TABLE "lab bench"
DOMAIN TABLE "log siem-policy"
DOMAIN TABLE "waf signature"
)";

constexpr char database[] = "CREATE TABLE class_map(main_class_id TEXT, sub_class_id TEXT, discard TEXT);"
                            "CREATE TABLE signature_rule(signature_id TEXT, FP_mitigation TEXT, score TEXT);"
                            "CREATE TABLE global_white_list(name TEXT);"
                            "CREATE TABLE replacement_page(name TEXT, code INTEGER, text TEXT);"
                            "CREATE TABLE platform_limit(name TEXT, value INTEGER);"
                            "INSERT INTO class_map VALUES('010000000', '010000000', '1');"
                            "INSERT INTO signature_rule VALUES('010000001', '1', '1');";

} // namespace

bool holds(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

SmallImage::SmallImage()
{
    write("/image/update_config", step_sections() + update_file);
    write("/image/syntax_v510.txt", syntax);
    write("/image/system.conf.predefine", headers(MIGR_IMAGE_RELEASE));
    this->database(support::database);
    std::filesystem::rename(path() / "data/etc/signature.db", path() / "image/signature.db");
}

} // namespace support
