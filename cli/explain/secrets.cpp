/* What counts as a secret, by the name of its property or by its look, and the marks in their place. It works on a copy
 * of a tree that is only shown: what is stored keeps its secrets. */
#include "explain/secrets.h"

#include "system/digest.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <sys/random.h>
#include <vector>

namespace command {

namespace {

/* A property whose name holds one of these words has a secret as its value. */
constexpr const char *secret_words[] = {"passwd", "password", "passphrase", "private-key", "pre-shared-key", "api-key",
                                        "secret", "pwd",      "psk",        "token",       "community"};

/* A property of just that name, or one that ends in it behind a dash. */
constexpr const char *secret_endings[] = {"pass", "key"};

bool ends_in(std::string_view name, std::string_view word)
{
    if (name.size() < word.size() || strcasecmp(name.data() + name.size() - word.size(), word.data()) != 0)
        return false;
    return name.size() == word.size() || name[name.size() - word.size() - 1] == '-';
}

bool is_secret(const config_node &set)
{
    /* A switch that is named for passwords holds none. */
    if (!set.value || strcmp(set.value, "enable") == 0 || strcmp(set.value, "disable") == 0)
        return false;
    auto holds = [&](const char *word) { return strcasestr(set.name, word) != nullptr; };
    auto ends = [&](const char *word) { return ends_in(set.name, word); };
    return strstr(set.value, "PRIVATE KEY-----") ||
           std::any_of(std::begin(secret_words), std::end(secret_words), holds) ||
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

void hide(config_node *set)
{
    static constexpr size_t shown = 8;
    std::string             mark = "(hidden " + sha256(salt() + set->value).substr(0, shown) + ")";
    char                   *value = strdup(mark.c_str());
    if (!value)
        throw std::bad_alloc();
    free(set->value);
    set->value = value;
}

} // namespace

void hide_secrets(config_node *root)
{
    std::vector<config_node *> waiting = {root->top_list};
    while (!waiting.empty()) {
        config_node *node = waiting.back();
        waiting.pop_back();
        if (!node)
            continue;
        if (node->kind == MIGR_SET && is_secret(*node))
            hide(node);
        waiting.insert(waiting.end(), {node->next, node->set_list, node->edit_list, node->config_list});
    }
}

} // namespace command
