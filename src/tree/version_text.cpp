/* Numbers in hostile text: none of these overflows, whatever the text says, and none fails. */
#include "tree/version_text.h"

#include "driver/run_context.h"

#include <cstdlib>
#include <cstring>

int32_t number_of(const char *text)
{
    return text ? nearest_number(strtol(text, nullptr, 10)) : 0;
}

int32_t nearest_number(int64_t number)
{
    if (number > INT32_MAX)
        return INT32_MAX;
    if (number < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(number);
}

int32_t version_code(int32_t major, int32_t minor)
{
    return static_cast<int32_t>((static_cast<uint32_t>(major) << 16) + static_cast<uint32_t>(minor));
}

int32_t get_cvw_type(char *output)
{
    const char *mark = output ? strstr(bak_line, MIGR_VERSION_MARK) : nullptr;
    if (!mark)
        return -1;
    const char *model = mark + sizeof MIGR_VERSION_MARK - 1;
    const char *dash = strchr(model, '-');
    dash = dash ? strchr(dash + 1, '-') : nullptr;
    size_t length = dash ? static_cast<size_t>(dash - model) : strlen(model);
    memcpy(output, model, length);
    output[length] = '\0';
    return 0;
}
