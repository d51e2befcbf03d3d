// A value or the description of why there is none. Errors never cross a module boundary as
// exceptions; they travel as text that the caller prints with its own prefix.
#pragma once

#include <optional>
#include <string>
#include <utility>

namespace kelvora::platform {

template <typename T>
class Result {
public:
    Result(T value) : value_(std::move(value)) {}
    static Result failure(std::string description) {
        Result result;
        result.error_ = std::move(description);
        return result;
    }

    explicit operator bool() const { return value_.has_value(); }
    T& operator*() { return *value_; }
    const T& operator*() const { return *value_; }
    T* operator->() { return &*value_; }
    const T* operator->() const { return &*value_; }
    const std::string& error() const { return error_; }

private:
    Result() = default;
    std::optional<T> value_;
    std::string error_;
};

}  // namespace kelvora::platform
