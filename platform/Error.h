// How failures travel. An Error is returned, alone or in place of a result, to a caller who handles
// it; a PlatformException is raised where nobody near can, such as by a call on an I/O path. Both
// carry one readable line.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace ztp {

/// Why something could not be done, in one readable line: "open /a/b: No such file or directory".
/// An empty description means that there is no cause to tell.
struct Error {
  std::string description;

  /// The error that the last system call left in errno; `what` names the call and its object.
  static Error fromErrno(std::string_view what);
  /// The same for a given error number.
  static Error fromErrorNumber(std::string_view what, int errorNumber);
};

/// What an operation without a result returns: absent when it worked.
using MaybeError = std::optional<Error>;

/// Raised by platform operations that cannot go on; what() is the readable description.
class PlatformException : public std::runtime_error {
 public:
  explicit PlatformException(const std::string& description) : std::runtime_error(description) {}
  explicit PlatformException(const Error& error) : std::runtime_error(error.description) {}
};

/// What an operation returns: a value, or why there is none. A function returns either as it is; a
/// caller looks before it uses one of them, as with std::optional:
///
///   const auto size = FileManager::fileSize(path);
///   if (!size) return logError(size.error());
///   use(*size);
template <typename T>
class [[nodiscard]] Result {
 public:
  explicit(false) Result(T value) : value_(std::move(value)) {}
  explicit(false) Result(Error error) : error_(std::move(error)) {}

  /// True when there is a value.
  [[nodiscard]] bool has_value() const noexcept { return value_.has_value(); }
  explicit operator bool() const noexcept { return has_value(); }

  /// The value. There must be one.
  [[nodiscard]] T& operator*() & noexcept { return *value_; }
  [[nodiscard]] const T& operator*() const& noexcept { return *value_; }
  [[nodiscard]] T&& operator*() && noexcept { return *std::move(value_); }
  [[nodiscard]] T* operator->() noexcept { return &*value_; }
  [[nodiscard]] const T* operator->() const noexcept { return &*value_; }

  /// The value; raises the error as a PlatformException when there is none.
  [[nodiscard]] const T& value() const& {
    if (!value_) throw PlatformException(error_);
    return *value_;
  }
  [[nodiscard]] T&& value() && {
    if (!value_) throw PlatformException(error_);
    return *std::move(value_);
  }
  /// The value, or `other` when there is none.
  [[nodiscard]] T valueOr(T other) && { return std::move(value_).value_or(std::move(other)); }
  [[nodiscard]] T valueOr(T other) const& { return value_.value_or(std::move(other)); }

  /// Why there is no value. There must be none.
  [[nodiscard]] const Error& error() const noexcept { return error_; }

 private:
  std::optional<T> value_;
  Error error_;
};

}  // namespace ztp
