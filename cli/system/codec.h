/*
 * Values as bytes and back, for the way from a child process to its parent. Both are one program, so numbers go as they
 * lie in memory, and nothing says what the bytes are: who reads must know what was written. Only sources include this.
 *
 * A record takes part by saying once, in the namespace in which it lies, what it holds:
 *
 *     static auto fields_of(Change &change) { return std::tie(change.file, change.release); }
 */
#pragma once

#include "system/failure.h"

#include <chrono>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace command {

template <typename Value>
concept Number =
    std::is_arithmetic_v<Value> || std::is_enum_v<Value> || std::is_same_v<Value, std::chrono::microseconds>;

class Encoder {
  public:
    template <Number Value> void put(Value &value)
    {
        bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
    }
    void put(std::string &text)
    {
        put_size(text.size());
        bytes += text;
    }
    template <typename Value> void put(std::vector<Value> &values)
    {
        put_size(values.size());
        for (Value &value : values)
            put(value);
    }
    template <typename Record> void put(Record &record)
    {
        std::apply([&](auto &...fields) { (put(fields), ...); }, fields_of(record));
    }

    std::string bytes;

  private:
    void put_size(size_t size)
    {
        put(size);
    }
};

/* The child has looked at hostile text, so no length is believed. Throws Failure when the bytes do not fit. */
class Decoder {
  public:
    explicit Decoder(std::string_view bytes) : left_(bytes) {}

    template <Number Value> void take(Value &value)
    {
        memcpy(&value, part(sizeof value).data(), sizeof value);
    }
    void take(std::string &text)
    {
        text = part(size());
    }
    template <typename Value> void take(std::vector<Value> &values)
    {
        for (size_t left = size(); left > 0; left--)
            take(values.emplace_back());
    }
    template <typename Record> void take(Record &record)
    {
        std::apply([&](auto &...fields) { (take(fields), ...); }, fields_of(record));
    }
    void end() const
    {
        if (!left_.empty())
            refuse();
    }

  private:
    [[noreturn]] static void refuse()
    {
        throw Failure(Status::unusable, "What a process of migr's own has found cannot be read. Run migr again.");
    }
    std::string_view part(size_t length)
    {
        if (length > left_.size())
            refuse();
        std::string_view taken = left_.substr(0, length);
        left_.remove_prefix(length);
        return taken;
    }
    size_t size()
    {
        size_t size = 0;
        take(size);
        return size;
    }

    std::string_view left_;
};

template <typename Value> std::string encoded(Value value)
{
    Encoder encoder;
    encoder.put(value);
    return std::move(encoder.bytes);
}

template <typename Value> Value decoded(std::string_view bytes)
{
    Value   value{};
    Decoder decoder(bytes);
    decoder.take(value);
    decoder.end();
    return value;
}

} // namespace command
