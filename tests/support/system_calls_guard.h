// Replaces entries of the system-call table and puts the table back at its end.
//
//   SystemCallsGuard calls;
//   calls.FailNth<&SystemCalls::read>(3, EIO);       // the third read from now on fails
//   calls.FailFrom<&SystemCalls::allocate>(1, ENOMEM);
//   calls.Replace<&SystemCalls::write>([&](int fd, const void* bytes, std::size_t count) {
//     return calls.Original().write(fd, bytes, std::min<std::size_t>(count, 7));
//   });
//   EXPECT_EQ(calls.Count<&SystemCalls::read>(), 3);  // of a replaced entry
#pragma once

#include <cerrno>
#include <functional>
#include <type_traits>
#include <utility>

#include "common/system_calls.h"

namespace tavindex::test {

// The table holds plain function pointers, so what a replaced entry does stands in statics, one set
// for each member of the table.
template <auto kMember, typename Function>
struct ReplacedCall;

template <auto kMember, typename R, typename... Arguments>
struct ReplacedCall<kMember, R (*)(Arguments...)> {
  using Body = std::function<R(Arguments...)>;
  static inline Body body;
  static inline int count = 0;

  static R Call(Arguments... arguments) {
    ++count;
    return body(arguments...);
  }
  static R Failure(int error) {
    errno = error;
    if constexpr (std::is_pointer_v<R>) {
      return nullptr;
    } else {
      return R{-1};
    }
  }
  // Fails the calls numbered `first` to `last`, counted from 1.
  static Body Failing(R (*original)(Arguments...), int first, int last, int error) {
    return [=](Arguments... arguments) -> R {
      return count >= first && count <= last ? Failure(error) : original(arguments...);
    };
  }
};

class SystemCallsGuard {
 public:
  SystemCallsGuard() : original_(systemCalls) {}
  ~SystemCallsGuard() { systemCalls = original_; }
  SystemCallsGuard(const SystemCallsGuard&) = delete;
  SystemCallsGuard& operator=(const SystemCallsGuard&) = delete;

  const SystemCalls& Original() const { return original_; }

  template <auto kMember, typename Body>
  void Replace(Body body) {
    using Replaced = ReplacedCall<kMember, std::remove_reference_t<decltype(original_.*kMember)>>;
    Replaced::body = std::move(body);
    Replaced::count = 0;
    systemCalls.*kMember = Replaced::Call;
  }
  template <auto kMember>
  void FailNth(int n, int error) {
    FailRange<kMember>(n, n, error);
  }
  template <auto kMember>
  void FailFrom(int n, int error) {
    FailRange<kMember>(n, INT32_MAX, error);
  }
  // Calls of a replaced entry since it was replaced.
  template <auto kMember>
  int Count() const {
    return ReplacedCall<
        kMember, std::remove_cv_t<std::remove_reference_t<decltype(original_.*kMember)>>>::count;
  }
  // Counts the calls of an entry without changing what it does.
  template <auto kMember>
  void Watch() {
    FailRange<kMember>(0, 0, 0);
  }

 private:
  template <auto kMember>
  void FailRange(int first, int last, int error) {
    using Replaced = ReplacedCall<kMember, std::remove_reference_t<decltype(original_.*kMember)>>;
    Replace<kMember>(Replaced::Failing(original_.*kMember, first, last, error));
  }

  SystemCalls original_;
};

}  // namespace tavindex::test
