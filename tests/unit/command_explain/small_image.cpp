#include "small_image.h"

#include "command.h"
#include "support/step_sections.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <unistd.h>

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

/* Another standard input, for as long as the object lives. */
class Input {
  public:
    explicit Input(const std::string &text) : before_(dup(STDIN_FILENO)), file_(tmpfile())
    {
        fwrite(text.data(), 1, text.size(), file_);
        rewind(file_);
        dup2(fileno(file_), STDIN_FILENO);
    }
    ~Input()
    {
        if (before_ >= 0)
            dup2(before_, STDIN_FILENO);
        close(before_);
        fclose(file_);
    }
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

  private:
    int   before_;
    FILE *file_;
};

} // namespace

std::string headers(const std::string &release)
{
    return "#config-version=QA-A1X-" + release + "-CV-build0601-170328:opmode=0:vdom=1\n#conf_file_ver=1\n";
}

SmallImage::SmallImage()
{
    write("/image/update_config", step_sections() + update_file);
    write("/image/syntax_v510.txt", syntax);
    write("/image/system.conf.predefine", headers(MIGR_IMAGE_RELEASE));
    this->database(support::database);
    std::filesystem::rename(path() / "data/etc/signature.db", path() / "image/signature.db");
}

Outcome migr(const std::vector<std::string> &arguments, const std::string &input)
{
    std::vector<const char *> all = {"migr"};
    for (const std::string &argument : arguments)
        all.push_back(argument.c_str());
    Input given(input);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    int status = command::run_command(static_cast<int>(all.size()), all.data());
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

} // namespace support
