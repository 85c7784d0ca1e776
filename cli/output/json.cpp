/* Answers for programs. What they hold is the business of those who make them. */
#include "output/json.h"

#include "output/printable.h"
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

Json::Json(std::string_view text) : value_(printable(text)) {}

Json Json::lines(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        size_t length = std::min(text.find('\n'), text.size());
        out += printable(text.substr(0, length)) + "\n";
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    Json json;
    json.value_ = std::move(out);
    return json;
}

std::string Json::text() const
{
    return JsonWriter::of(*this).dump(2, ' ', true) + "\n";
}

void print_json(const Json &json)
{
    write_all(STDOUT_FILENO, json.text(), "standard output");
}

void print_answer(const char *command, Status status, const std::string &error, Json::Members own)
{
    static constexpr int format = 1;
    Json::Members        all = {{"format", format},
                                {"command", command},
                                {"status", static_cast<int>(status)},
                                {"error", Json::text_or_null(error)}};
    std::move(own.begin(), own.end(), std::back_inserter(all));
    print_json(all);
}

Status answer(const char *command, const std::function<Status(Json::Members &own)> &work)
{
    std::string   error;
    Status        status = Status::unusable;
    Json::Members own;
    try {
        status = work(own);
    } catch (const Failure &failure) {
        error = failure.what();
        status = failure.status;
    } catch (const PathError &failed) {
        error = failure_of(failed, failed.path).what();
    }
    print_answer(command, status, error, error.empty() ? std::move(own) : Json::Members());
    return status;
}

} // namespace command
