/*
 * Answers for programs, as JSON. Texts of any origin may go in: the one way in for a text makes it printable, as on a
 * terminal, so an answer is valid UTF-8 and nothing in it acts on whoever prints it. Only for writing.
 */
#pragma once

#include "system/failure.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace command {

class Json {
  public:
    using List = std::vector<Json>;
    using Members = std::vector<std::pair<const char *, Json>>; /* in this order; the names are migr's own */

    Json() = default; /* null */
    Json(bool value) : value_(value) {}
    Json(int value) : value_(static_cast<int64_t>(value)) {}
    Json(int64_t value) : value_(value) {}
    Json(uint64_t value) : value_(value) {}
    Json(double value) : value_(value) {}
    Json(std::string_view text);
    Json(const std::string &text) : Json(std::string_view(text)) {}
    Json(const char *text) : Json(std::string_view(text)) {}
    Json(List list) : value_(std::make_shared<const List>(std::move(list))) {}
    Json(Members members) : value_(std::make_shared<const Members>(std::move(members))) {}

    /* A text of several lines, which stay lines; each is made printable. */
    static Json lines(std::string_view text);

    /* A release by its version code; null for none. */
    static Json release(int32_t code);

    /* Null for an empty text. */
    static Json text_or_null(std::string_view text)
    {
        return text.empty() ? Json() : Json(text);
    }

    template <typename Value> static Json list(const std::vector<Value> &values)
    {
        return List(values.begin(), values.end());
    }

    /* With a newline at the end and nothing in it but ASCII; indented for people, or all in one line. */
    std::string text() const;
    std::string one_line() const;

  private:
    friend struct JsonWriter;
    /* Lists in braces are copied. A copy here asks for no memory: std::variant takes what cannot fail to move for what
     * cannot fail to be copied either, and goes astray where it does. */
    template <typename Value> using Shared = std::shared_ptr<const Value>;
    std::variant<std::nullptr_t, bool, int64_t, uint64_t, double, Shared<std::string>, Shared<List>, Shared<Members>>
        value_ = nullptr;
};

/*
 * The one object that a command answers with, on standard output: which form it has, the command, its exit status, no
 * error, the lines that console.h has kept, and the command's own part. Throws PathError unless all could be written.
 */
void print_answer(const char *command, Status status, Json::Members own);

/* The same for a command that failed: the error, and its details in the place of the command's own part. `command` is
 * null when none was named. */
void print_failure(const char *command, const Failure &failure);

} // namespace command
