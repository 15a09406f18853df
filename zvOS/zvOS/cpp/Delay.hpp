// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Delays of any unit, as the flat interface takes them.
#ifndef zvOS_cpp_Delay_hpp
#define zvOS_cpp_Delay_hpp

#include <zvOS/zvTypes.h>

#include <chrono>
#include <ratio>
#include <type_traits>

namespace zv {

namespace detail {

// What the flat interface can say, some 49 days. Longer delays are cut to it, whichever call they are for.
constexpr std::chrono::milliseconds kLongestDelay(UINT32_MAX);

// Of a delay that is counted in fractions, and is more than none.
template <typename Whole, typename Unit, typename Period>
constexpr uint64 CutFraction(Unit aCount) {
  // By a whole number, up or down, wherever the units have one between them: exact where that can be.
  using Target = typename Whole::period;
  constexpr long double kUp = static_cast<long double>(Period::num) * Target::den;
  constexpr long double kDown = static_cast<long double>(Period::den) * Target::num;
  constexpr auto kMost = static_cast<uint64>(Whole(kLongestDelay).count());
  Unit theCount = aCount;
  if constexpr (kUp >= kDown) {
    theCount *= static_cast<Unit>(kUp / kDown);
  } else {
    theCount /= static_cast<Unit>(kDown / kUp);
  }
  if (theCount >= static_cast<Unit>(kMost)) return kMost;
  const auto theWhole = static_cast<uint64>(theCount);
  return static_cast<Unit>(theWhole) < theCount ? theWhole + 1 : theWhole;
}

// Of a delay that is a whole number of its units, and more than none. Nothing is multiplied before it is
// known to be short enough.
template <typename Whole, typename Unit, typename Period>
constexpr uint64 CutNumber(Unit aCount) {
  constexpr auto kMost = static_cast<uint64>(Whole(kLongestDelay).count());
  if constexpr (std::ratio_greater_v<Period, std::ratio<UINT32_MAX>>) {
    return kMost;
  } else {
    using Scale = std::ratio_divide<Period, typename Whole::period>;
    constexpr uint64 kUp = Scale::num;
    constexpr uint64 kDown = Scale::den;
    static_assert(kUp < UINT64_MAX / kDown, "the unit of the delay is too odd a fraction of a second");
    const auto theCount = static_cast<std::common_type_t<Unit, uint64>>(aCount);
    if (theCount / kDown > kMost / kUp) return kMost;
    const auto theRest = static_cast<uint64>(theCount % kDown);
    const uint64 theWhole = static_cast<uint64>(theCount / kDown) * kUp + theRest * kUp / kDown +
                            (theRest * kUp % kDown != 0 ? 1 : 0);
    return theWhole < kMost ? theWhole : kMost;
  }
}

// A delay in whole units: not below none, not above the longest, and rounded up, since a wait does not end
// before its time. What is not a number is none.
template <typename Whole, typename Unit, typename Period>
constexpr uint64 Cut(std::chrono::duration<Unit, Period> aDelay) {
  if (!(aDelay.count() > Unit(0))) return 0;
  if constexpr (std::chrono::treat_as_floating_point_v<Unit>) {
    return CutFraction<Whole, Unit, Period>(aDelay.count());
  } else {
    return CutNumber<Whole, Unit, Period>(aDelay.count());
  }
}

// In milliseconds, as most flat functions take it.
template <typename Unit, typename Period>
constexpr uint32 Delay(std::chrono::duration<Unit, Period> aDelay) {
  return static_cast<uint32>(Cut<std::chrono::milliseconds>(aDelay));
}

}  // namespace detail

}  // namespace zv

#endif
