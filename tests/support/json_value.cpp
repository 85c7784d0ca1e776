/* JSON for tests, on the library with which the command reads JSON: it parses and writes, and nothing else here knows
 * its types. */
#include "support/json_value.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace support {

/* The way from that library's values to these and back. */
struct JsonConversion {
    static JsonValue from(const nlohmann::json &read)
    {
        using Kind = JsonValue::Kind;
        if (read.is_string())
            return {Kind::text, read.get<std::string>()};
        if (read.is_null())
            return {};
        if (!read.is_structured())
            return {read.is_boolean() ? Kind::truth : Kind::number, read.dump()};

        JsonValue value(read.is_object() ? Kind::object : Kind::array, "");
        for (const auto &[name, part] : read.items()) {
            value.values_.push_back(from(part));
            if (read.is_object())
                value.names_.push_back(name);
        }
        return value;
    }

    static nlohmann::json back(const JsonValue &value)
    {
        switch (value.kind_) {
        case JsonValue::Kind::null:
            return nullptr;
        case JsonValue::Kind::text:
            return value.scalar_;
        case JsonValue::Kind::truth:
        case JsonValue::Kind::number:
            return nlohmann::json::parse(value.scalar_);
        case JsonValue::Kind::array:
            break;
        case JsonValue::Kind::object:
            return members(value);
        }
        nlohmann::json elements = nlohmann::json::array();
        for (const JsonValue &element : value)
            elements.push_back(back(element));
        return elements;
    }

    static nlohmann::json members(const JsonValue &value)
    {
        nlohmann::json all = nlohmann::json::object();
        for (size_t at = 0; at < value.names_.size(); at++)
            all[value.names_[at]] = back(value.values_[at]);
        return all;
    }
};

JsonValue::JsonValue() = default;
JsonValue::JsonValue(const JsonValue &other) = default;
JsonValue::JsonValue(JsonValue &&other) noexcept = default;
JsonValue::~JsonValue() = default;

JsonValue &JsonValue::operator=(JsonValue other) noexcept
{
    std::swap(kind_, other.kind_);
    scalar_.swap(other.scalar_);
    names_.swap(other.names_);
    values_.swap(other.values_);
    return *this;
}

JsonValue::JsonValue(Kind kind, std::string scalar) : kind_(kind), scalar_(std::move(scalar)) {}
JsonValue::JsonValue(std::nullptr_t) {}
JsonValue::JsonValue(bool truth) : JsonValue(Kind::truth, truth ? "true" : "false") {}
JsonValue::JsonValue(int number) : JsonValue(Kind::number, std::to_string(number)) {}
JsonValue::JsonValue(long number) : JsonValue(Kind::number, std::to_string(number)) {}
JsonValue::JsonValue(unsigned number) : JsonValue(Kind::number, std::to_string(number)) {}
JsonValue::JsonValue(unsigned long number) : JsonValue(Kind::number, std::to_string(number)) {}
JsonValue::JsonValue(double number) : JsonValue(Kind::number, nlohmann::json(number).dump()) {}
JsonValue::JsonValue(const char *text) : JsonValue(Kind::text, text) {}
JsonValue::JsonValue(const std::string &text) : JsonValue(Kind::text, text) {}

JsonValue::JsonValue(const std::vector<std::string> &texts) : kind_(Kind::array), values_(texts.begin(), texts.end()) {}

JsonValue::JsonValue(std::initializer_list<JsonValue> values) : JsonValue(array(values))
{
    auto is_member = [](const JsonValue &value) {
        return value.kind_ == Kind::array && value.size() == 2 && value.values_[0].is_text();
    };
    if (!std::all_of(values.begin(), values.end(), is_member))
        return;
    *this = JsonValue(Kind::object, "");
    for (const JsonValue &member : values)
        set(member.values_[0].scalar_, member.values_[1]);
}

JsonValue JsonValue::parse(std::string_view text)
{
    return JsonConversion::from(nlohmann::json::parse(text));
}

JsonValue JsonValue::array(std::initializer_list<JsonValue> values)
{
    JsonValue made(Kind::array, "");
    made.values_ = values;
    return made;
}

const JsonValue &JsonValue::expect(bool is_so, const std::string &what) const
{
    if (!is_so)
        throw std::out_of_range("this should have " + what + ": " + dump());
    return *this;
}

bool JsonValue::has_parts() const
{
    return kind_ == Kind::array || kind_ == Kind::object;
}

/* Where the member is, or where it would have to be put in. */
size_t JsonValue::place_of(std::string_view name) const
{
    return std::lower_bound(names_.begin(), names_.end(), name) - names_.begin();
}

bool JsonValue::contains(std::string_view name) const
{
    size_t at = expect(kind_ == Kind::object, "members").place_of(name);
    return at < names_.size() && names_[at] == name;
}

const JsonValue &JsonValue::operator[](std::string_view name) const
{
    return expect(contains(name), "\"" + std::string(name) + "\"").values_[place_of(name)];
}

const JsonValue &JsonValue::operator[](size_t index) const
{
    return expect(kind_ == Kind::array && index < values_.size(), "[" + std::to_string(index) + "]").values_[index];
}

JsonValue &JsonValue::operator[](std::string_view name)
{
    return const_cast<JsonValue &>(std::as_const(*this)[name]);
}

JsonValue &JsonValue::operator[](size_t index)
{
    return const_cast<JsonValue &>(std::as_const(*this)[index]);
}

JsonValue &JsonValue::at_path(std::string_view path)
{
    JsonValue *at = this;
    while (!path.empty()) {
        std::string_view word = path.substr(1, path.find('/', 1) - 1);
        at = at->kind_ == Kind::array ? &(*at)[std::stoul(std::string(word))] : &(*at)[word];
        path.remove_prefix(word.size() + 1);
    }
    return *at;
}

const JsonValue &JsonValue::back() const
{
    return (*this)[size() - 1];
}

const JsonValue *JsonValue::begin() const
{
    return expect(has_parts(), "parts").values_.data();
}

const JsonValue *JsonValue::end() const
{
    return begin() + values_.size();
}

size_t JsonValue::size() const
{
    return expect(has_parts(), "parts").values_.size();
}

bool JsonValue::empty() const
{
    return size() == 0;
}

const std::vector<std::string> &JsonValue::names() const
{
    return expect(kind_ == Kind::object, "members").names_;
}

bool JsonValue::is_null() const
{
    return kind_ == Kind::null;
}

bool JsonValue::is_text() const
{
    return kind_ == Kind::text;
}

const std::string &JsonValue::text() const
{
    return expect(is_text(), "a text").scalar_;
}

size_t JsonValue::number() const
{
    size_t      number = 0;
    const char *end = scalar_.data() + scalar_.size();
    auto        read = std::from_chars(scalar_.data(), end, number);
    expect(kind_ == Kind::number && read.ptr == end && read.ec == std::errc(), "a whole number");
    return number;
}

std::vector<std::string> JsonValue::texts() const
{
    std::vector<std::string> all;
    for (const JsonValue &value : *this)
        all.push_back(value.text());
    return all;
}

void JsonValue::set(const std::string &name, JsonValue value)
{
    bool is_new = !contains(name);
    auto at = static_cast<std::ptrdiff_t>(place_of(name));
    if (is_new) {
        names_.insert(names_.begin() + at, name);
        values_.emplace(values_.begin() + at);
    }
    values_[at] = std::move(value);
}

void JsonValue::push_back(JsonValue value)
{
    expect(kind_ == Kind::array, "elements");
    values_.push_back(std::move(value));
}

void JsonValue::erase(std::string_view name)
{
    auto at = &(*this)[name] - begin();
    names_.erase(names_.begin() + at);
    values_.erase(values_.begin() + at);
}

void JsonValue::erase(size_t index)
{
    values_.erase(values_.begin() + (&(*this)[index] - begin()));
}

std::string JsonValue::dump() const
{
    return JsonConversion::back(*this).dump();
}

bool operator==(const JsonValue &one, const JsonValue &other)
{
    return one.kind_ == other.kind_ && one.scalar_ == other.scalar_ && one.names_ == other.names_ &&
           one.values_ == other.values_;
}

std::ostream &operator<<(std::ostream &out, const JsonValue &value)
{
    return out << value.dump();
}

} // namespace support
