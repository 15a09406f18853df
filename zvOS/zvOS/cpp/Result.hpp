// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Errors as values. The compiler warns about a result that nobody looks at.
#ifndef zvOS_cpp_Result_hpp
#define zvOS_cpp_Result_hpp

#if __cplusplus < 201703L
#error "<zvOS/zvOS.hpp> is for C++17; the headers in C are for every C++"
#endif

#include <zvOS/zvAssert.h>

#include <cerrno>
#include <type_traits>
#include <utility>

namespace zv {

// Why a call failed; as std::error_code it is true when it is an error.
class [[nodiscard]] Error {
 public:
  // No error.
  constexpr Error() = default;
  // An error, if the status is not 0.
  constexpr Error(int aStatus, int anErrno) : mStatus(aStatus), mErrno(anErrno) {}

  // An error with what is in errno now.
  static Error Last(int aStatus) { return {aStatus, errno}; }

  // Whether it is an error.
  constexpr explicit operator bool() const { return mStatus != 0; }

  // What the flat function answered: the status of its module, or -1 where it answered NULL. 0: no error.
  constexpr int Status() const { return mStatus; }

  // The system's error number, 0 where the system was not the cause.
  constexpr int Errno() const { return mErrno; }

  // Whether nothing is wrong but that there is nothing to do yet on a descriptor that does not wait.
  constexpr bool WouldBlock() const { return mErrno == EAGAIN; }

 private:
  int mStatus = 0;
  int mErrno = 0;
};

namespace detail {

ZV_COLD inline void ReportNoValue() {
  _zvAssert("zv::Result::has_value()", __FILE__, static_cast<uint32>(__LINE__));
}

}  // namespace detail

// A value, or why there is none: the part of std::expected that needs no exceptions. Who takes the value
// where there is none is reported by an assertion and gets an empty one.
template <typename Value>
class [[nodiscard]] Result {
 public:
  // A value, which is moved in.
  constexpr Result(Value &&aValue) : mValue(std::move(aValue)) {}
  // A value, which is copied.
  template <typename Copied = Value, typename = std::enable_if_t<std::is_copy_constructible_v<Copied>>>
  constexpr Result(const Value &aValue) : mValue(aValue) {}
  // No value, and why.
  constexpr Result(Error anError) : mError(anError) {}

  // Whether there is a value.
  constexpr bool has_value() const { return !mError; }
  // As has_value().
  constexpr explicit operator bool() const { return has_value(); }
  // Why there is no value; no error when there is one.
  constexpr Error error() const { return mError; }

  // The value; where there is none, an empty one and an assertion.
  constexpr Value &operator*() & {
    Expect();
    return mValue;
  }
  // The value; where there is none, an empty one and an assertion.
  constexpr const Value &operator*() const & {
    Expect();
    return mValue;
  }
  // The value, to be moved away; where there is none, an empty one and an assertion.
  constexpr Value &&operator*() && {
    Expect();
    return std::move(mValue);
  }
  // A member of the value; where there is none, of an empty one, and an assertion.
  constexpr Value *operator->() { return &**this; }
  // A member of the value; where there is none, of an empty one, and an assertion.
  constexpr const Value *operator->() const { return &**this; }

  // A copy of the value, or what is given where there is none.
  template <typename Other>
  constexpr Value value_or(Other &&anOther) const & {
    static_assert(std::is_copy_constructible_v<Value>,
                  "a value that cannot be copied is moved out: say std::move(theResult).value_or(...)");
    return has_value() ? mValue : static_cast<Value>(std::forward<Other>(anOther));
  }
  // The value, which is moved away, or what is given where there is none.
  template <typename Other>
  constexpr Value value_or(Other &&anOther) && {
    return has_value() ? std::move(mValue) : static_cast<Value>(std::forward<Other>(anOther));
  }

 private:
  constexpr void Expect() const {
    if (ZV_UNLIKELY(!has_value())) detail::ReportNoValue();
  }

  Value mValue{};
  Error mError;
};

// Success, or why not.
template <>
class [[nodiscard]] Result<void> {
 public:
  // Success.
  constexpr Result() = default;
  // Success when it is no error.
  constexpr Result(Error anError) : mError(anError) {}

  // Whether all went well.
  constexpr bool has_value() const { return !mError; }
  // As has_value().
  constexpr explicit operator bool() const { return has_value(); }
  // What went wrong.
  constexpr Error error() const { return mError; }

 private:
  Error mError;
};

namespace detail {

// Of a flat function that answers 0 when all is well.
inline Result<void> ResultOf(int aStatus) {
  if (ZV_LIKELY(aStatus == 0)) return {};
  return Error::Last(aStatus);
}

// Of one that answers a count, or a negative number.
inline Result<size_t> CountOf(int aCount) {
  if (ZV_LIKELY(aCount >= 0)) return static_cast<size_t>(aCount);
  return Error::Last(aCount);
}

// What the flat functions take at a time.
constexpr int Length(size_t aSize) {
  return static_cast<int>(aSize < INT32_MAX ? aSize : INT32_MAX);
}

// Of one that answers the negated error number.
inline Result<size_t> CountOrNegatedErrno(int aCount) {
  if (ZV_LIKELY(aCount >= 0)) return static_cast<size_t>(aCount);
  return Error(aCount, -aCount);
}

// Of one that answers 0 or the negated error number.
inline Result<void> DoneOrNegatedErrno(int anAnswer) {
  if (ZV_LIKELY(anAnswer == 0)) return {};
  return Error(anAnswer, -anAnswer);
}

// Of an owner that is empty when what it should own could not be had. `errno` was cleared before.
template <typename Owning>
Result<Owning> ResultOf(Owning anOwner) {
  if (ZV_LIKELY(static_cast<bool>(anOwner))) return anOwner;
  return Error::Last(-1);
}

}  // namespace detail

}  // namespace zv

#endif
