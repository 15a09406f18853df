// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Labels of sockets.
#ifndef zvOS_cpp_Label_hpp
#define zvOS_cpp_Label_hpp

#include <stddef.h>

namespace zv {

// What names a socket, or a place that uses one, in messages and in the socket table, which keeps the
// pointer: a constant text, and, where none is given, the source file of the call.
class Label {
 public:
  // A constant text.
  template <size_t kSize>
  constexpr Label(const char (&aText)[kSize]) : mText(aText) {}
  // No text that can change, or go.
  template <size_t kSize>
  Label(char (&aText)[kSize]) = delete;

  // The source file of the call.
  static constexpr Label Here(const char *aFile = __builtin_FILE()) { return Label(Lasts(), aFile); }
  // A text that lives as long as the program.
  static constexpr Label Lasting(const char *aText) { return Label(Lasts(), aText); }

  // The text, as the flat functions take it.
  constexpr const char *c_str() const { return mText; }

 private:
  struct Lasts {};
  constexpr Label(Lasts, const char *aText) : mText(aText) {}

  const char *mText;
};

}  // namespace zv

#endif
