// The exceptions of the node map. Each names the feature and the reason in words that a user can act on.
#pragma once

#include <stdexcept>
#include <string>

#include "sdk/base/PvResult.h"

namespace GenApi {

/// The base of all of them. `code` is what the public surface reports.
class Error : public std::runtime_error {
public:
    Error(PvResult::Code code, const std::string& text) : std::runtime_error(text), code_(code) {}

    [[nodiscard]] PvResult::Code code() const noexcept { return code_; }

private:
    PvResult::Code code_;
};

/// The description as a whole cannot be used: not XML, not a RegisterDescription, too large.
class DescriptionError : public Error {
public:
    explicit DescriptionError(const std::string& text) : Error(PvResult::GenICamXMLError, text) {}
};

/// The node exists, but cannot be read, written or executed in the device's present state.
class AccessError : public Error {
public:
    explicit AccessError(const std::string& text) : Error(PvResult::StateError, text) {}
};

/// The value is not one that the node takes.
class ValueError : public Error {
public:
    explicit ValueError(const std::string& text, PvResult::Code code = PvResult::InvalidParameter) : Error(code, text)
    {}
};

/// The node is of another kind than the operation needs.
class TypeError : public Error {
public:
    explicit TypeError(const std::string& text) : Error(PvResult::InvalidParameter, text) {}
};

/// The description gives no value: a formula divides by zero, references run in a circle, a node is malformed.
class EvaluationError : public Error {
public:
    explicit EvaluationError(const std::string& text, PvResult::Code code = PvResult::GenICamXMLError)
        : Error(code, text)
    {}
};

}  // namespace GenApi
