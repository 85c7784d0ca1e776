/* Answers for programs. What they hold is the business of those who make them. */
#include "output/json.h"

#include "output/console.h"
#include "output/printable.h"
#include "output/release_text.h"
#include "system/file_descriptor.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace command {

using Object = nlohmann::ordered_json; /* keeps the order of members */

/* Makes the kept library's form of a value. */
struct JsonWriter {
    static Object of(const Json &json)
    {
        return std::visit(JsonWriter(), json.value_);
    }

    template <typename Value> Object operator()(const Value &value) const
    {
        return value;
    }
    template <typename Value> Object operator()(const std::shared_ptr<const Value> &shared) const
    {
        return (*this)(*shared);
    }
    Object operator()(const Json::List &list) const
    {
        Object all = Object::array();
        for (const Json &one : list)
            all.push_back(of(one));
        return all;
    }
    Object operator()(const Json::Members &members) const
    {
        Object all = Object::object();
        for (const auto &[name, value] : members)
            all[name] = of(value);
        return all;
    }
};

Json::Json(std::string_view text) : value_(std::make_shared<const std::string>(printable(text))) {}

Json Json::lines(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        size_t length = std::min(text.find('\n'), text.size());
        out += printable(text.substr(0, length)) + "\n";
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    Json json;
    json.value_ = std::make_shared<const std::string>(std::move(out));
    return json;
}

Json Json::release(int32_t code)
{
    return code < 0 ? Json() : Json(release_text(code));
}

std::string Json::text() const
{
    return JsonWriter::of(*this).dump(2, ' ', true) + "\n";
}

std::string Json::one_line() const
{
    return JsonWriter::of(*this).dump(-1, ' ', true) + "\n";
}

static void print(const char *command, Status status, Json error, Json::Members own)
{
    static constexpr int format = 1;
    Json::Members        all = {{"format", format},
                                {"command", command ? Json(command) : Json()},
                                {"status", static_cast<int>(status)},
                                {"error", std::move(error)},
                                {"messages", Json::list(kept_lines())}};
    std::move(own.begin(), own.end(), std::back_inserter(all));
    try {
        write_all(STDOUT_FILENO, Json(std::move(all)).text(), "standard output");
    } catch (const PathError &) {
        note_lost_output();
        throw;
    }
}

void print_answer(const char *command, Status status, Json::Members own)
{
    print(command, status, Json(), std::move(own));
}

void print_failure(const char *command, const Failure &failure)
{
    print(command, failure.status, failure.what(), {{"details", Json::list(failure.details)}});
}

} // namespace command
