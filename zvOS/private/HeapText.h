// Owner of a text from malloc: released on every path, or handed on with release().
#pragma once

#include <cstdlib>
#include <utility>

namespace zvos {

class HeapText {
 public:
  HeapText() = default;
  explicit HeapText(char *aText) : mText(aText) {}
  HeapText(HeapText &&anOther) noexcept : mText(anOther.release()) {}
  ~HeapText() { free(mText); }
  HeapText(const HeapText &) = delete;
  HeapText &operator=(const HeapText &) = delete;
  HeapText &operator=(HeapText &&anOther) noexcept {
    std::swap(mText, anOther.mText);
    return *this;
  }

  explicit operator bool() const { return mText != nullptr; }
  char *get() const { return mText; }
  char *release() { return std::exchange(mText, nullptr); }

 private:
  char *mText = nullptr;
};

// What a message shows for a text that may be missing.
inline const char *TextOrNull(const char *aText) {
  return aText != nullptr ? aText : "(null)";
}

}  // namespace zvos
