// Owner of a list of addresses as the library hands them out: fill it through Receive().
#pragma once

#include <zvOS/zvTypes.h>

#include <cstdlib>

namespace zvos {

class AddressList {
 public:
  AddressList() = default;
  ~AddressList() { free(mAddresses); }
  AddressList(const AddressList &) = delete;
  AddressList &operator=(const AddressList &) = delete;

  uint32 **Receive() { return &mAddresses; }

  // aCount is what the function that filled the list answered; without memory there is no list all
  // the same.
  bool Contains(uint32 anAddress, int aCount) const {
    if (mAddresses == nullptr) return false;
    for (int i = 0; i < aCount; ++i) {
      if (mAddresses[i] == anAddress) return true;
    }
    return false;
  }

 private:
  uint32 *mAddresses = nullptr;
};

}  // namespace zvos
