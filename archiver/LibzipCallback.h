// What the sources that libzip calls back have in common: no exception may cross libzip, so the
// first one is kept here and thrown again once libzip has returned.
#pragma once

#include <zip.h>

#include <exception>

namespace ztp::archiver {

/// The first failure of any callback of one archive.
class CallbackFailure {
 public:
  CallbackFailure() { zip_error_init(&error_); }
  CallbackFailure(const CallbackFailure&) = delete;
  CallbackFailure& operator=(const CallbackFailure&) = delete;
  ~CallbackFailure() { zip_error_fini(&error_); }

  /// Runs `action`, which gives libzip's result; an exception becomes libzip's failure, -1.
  template <typename Action>
  zip_int64_t guard(Action action) {
    try {
      return action();
    } catch (...) {
      if (!first_) first_ = std::current_exception();
      zip_error_set(&error_, ZIP_ER_INTERNAL, 0);
      return -1;
    }
  }

  /// Throws what was kept, if anything was.
  void rethrow() const {
    if (first_) std::rethrow_exception(first_);
  }

  /// libzip's own view of the failure, for ZIP_SOURCE_ERROR and the helpers that want one.
  zip_error_t* error() { return &error_; }

 private:
  std::exception_ptr first_;
  zip_error_t error_{};
};

}  // namespace ztp::archiver
