/*
 * JSON as tests read and make it: a value that is compared, looked into and changed, and shows itself in failures. No
 * template stands in this header, since those of the library that parses cost each test file seconds. A member or an
 * element that is not there is an exception, never a null.
 */
#pragma once

#include <cstddef>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace support {

class JsonValue {
  public:
    JsonValue();
    JsonValue(std::nullptr_t);
    JsonValue(bool truth);
    JsonValue(int number);
    JsonValue(long number);
    JsonValue(unsigned number);
    JsonValue(unsigned long number);
    JsonValue(double number);
    JsonValue(const char *text);
    JsonValue(const std::string &text);
    JsonValue(const std::vector<std::string> &texts);
    /* An object where each of them is a list of two that begins with a text, else an array. */
    JsonValue(std::initializer_list<JsonValue> values);
    JsonValue(const JsonValue &other);
    JsonValue(JsonValue &&other) noexcept;
    JsonValue &operator=(JsonValue other) noexcept; /* by value: {a} is an array also where a is such a value */
    ~JsonValue();

    /* Throws when the text is no JSON, as that library does. */
    static JsonValue parse(std::string_view text);
    /* An array, whatever its elements look like. */
    static JsonValue array(std::initializer_list<JsonValue> values = {});

    /* The member of that name, the element at that place, and what is at the end of a path like "/files/0/name". */
    const JsonValue &operator[](std::string_view name) const;
    JsonValue       &operator[](std::string_view name);
    const JsonValue &operator[](size_t index) const;
    JsonValue       &operator[](size_t index);
    JsonValue       &at_path(std::string_view path);
    const JsonValue &back() const;

    /* Of an array its elements, of an object its members' values in the order of their names; of all else they throw.
     */
    const JsonValue *begin() const;
    const JsonValue *end() const;
    size_t           size() const;
    bool             empty() const;
    /* The names of an object's members, sorted; throws unless it is one. */
    const std::vector<std::string> &names() const;
    bool                            contains(std::string_view name) const;

    bool               is_null() const;
    bool               is_text() const;
    const std::string &text() const;   /* throws unless it is a text */
    size_t             number() const; /* throws unless it is a whole number, not below zero */
    /* Of an array of texts; throws unless all are. */
    std::vector<std::string> texts() const;

    /* A member that is there already gets the new value. */
    void set(const std::string &name, JsonValue value);
    void push_back(JsonValue value);
    void erase(std::string_view name);
    void erase(size_t index);

    /* As it is written, without blanks, members sorted by name. */
    std::string dump() const;

    /* Numbers are equal when they are written alike: 1 and 1.0 are two. */
    friend bool operator==(const JsonValue &one, const JsonValue &other);

  private:
    enum class Kind { null, truth, number, text, array, object };

    JsonValue(Kind kind, std::string scalar);
    const JsonValue &expect(bool is_so, const std::string &what) const;
    bool             has_parts() const;
    size_t           place_of(std::string_view name) const;

    friend struct JsonConversion;

    Kind                     kind_ = Kind::null;
    std::string              scalar_; /* a text, or a number or truth as it is written */
    std::vector<std::string> names_;  /* of an object, one for each of its values */
    std::vector<JsonValue>   values_; /* of an array or an object */
};

std::ostream &operator<<(std::ostream &out, const JsonValue &value);

} // namespace support
