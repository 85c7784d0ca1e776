/* What counts as a secret, by the name of its property or by its look, and the marks in their place. */
#include "explain/secrets.h"

#include "language/items.h"
#include "system/digest.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <sys/random.h>

namespace command {

namespace {

/* A property whose name holds one of these words has a secret as its value. */
constexpr const char *secret_words[] = {"passwd", "password", "passphrase", "private-key", "pre-shared-key", "api-key",
                                        "secret", "pwd",      "psk",        "token",       "community"};

/* A property of just that name, or one that ends in it behind a dash. */
constexpr const char *secret_endings[] = {"pass", "key"};

/* As the last of its words, whatever parts these. */
bool ends_in(std::string_view name, std::string_view word)
{
    if (name.size() < word.size() || strcasecmp(name.data() + name.size() - word.size(), word.data()) != 0)
        return false;
    return name.size() == word.size() ||
           std::string_view("-, ").find(name[name.size() - word.size() - 1]) != std::string_view::npos;
}

bool is_secret(const char *name, const char *value, bool name_is_secret)
{
    /* A switch that is named for passwords holds none. */
    if (!value || strcmp(value, "enable") == 0 || strcmp(value, "disable") == 0)
        return false;
    if (name_is_secret && strcasecmp(name, "name") == 0)
        return true;
    auto holds = [&](const char *word) { return strcasestr(name, word) != nullptr; };
    auto ends = [&](const char *word) { return ends_in(name, word); };
    return strstr(value, "PRIVATE KEY-----") || std::any_of(std::begin(secret_words), std::end(secret_words), holds) ||
           std::any_of(std::begin(secret_endings), std::end(secret_endings), ends);
}

/* Without it, a mark could be compared with those of guessed passwords. */
const std::string &salt()
{
    static const std::string random = [] {
        std::string bytes(32, '\0');
        if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
            throw std::bad_alloc();
        return bytes;
    }();
    return random;
}

} // namespace

bool is_secret_set(const std::string &config, const std::string &name, const std::string &value)
{
    /* Whoever knows the name of an entry of such a configuration may ask the appliance for anything. */
    std::string plain(unquoted(name));
    return is_secret(plain.c_str(), value.c_str(), ends_in(config, "community"));
}

std::string hidden_value(const std::string &value)
{
    static constexpr size_t shown = 8;
    return "(hidden " + sha256(salt() + value).substr(0, shown) + ")";
}

} // namespace command
