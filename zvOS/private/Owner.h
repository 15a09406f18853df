// The owner of whatever a call gives and another call takes back: released on every path, or handed on with
// release().
#pragma once

#include <cstdlib>
#include <memory>

namespace zvos {

template <auto kRelease>
struct ReleasedBy {
  template <typename Resource>
  void operator()(Resource *aResource) const {
    kRelease(aResource);
  }
};

// Of memory from malloc, as Owner<char>, unless the call that releases it is named: Owner<FILE, fclose>.
template <typename Resource, auto kRelease = free>
using Owner = std::unique_ptr<Resource, ReleasedBy<kRelease>>;

// What a message shows for a text that may be missing.
inline const char *TextOrNull(const char *aText) {
  return aText != nullptr ? aText : "(null)";
}

}  // namespace zvos
