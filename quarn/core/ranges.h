#pragma once

#include <algorithm>
#include <iterator>

namespace Quarn {

// Algorithms of std::ranges, which the standard library of Emscripten 3.1.6 does not have.

template <class Range, class Predicate> bool AllOf(const Range& range, const Predicate& predicate) {
    return std::all_of(std::begin(range), std::end(range), predicate);
}
template <class Range, class Predicate> bool AnyOf(const Range& range, const Predicate& predicate) {
    return std::any_of(std::begin(range), std::end(range), predicate);
}
template <class Range, class Predicate> auto FindIf(const Range& range, const Predicate& predicate) {
    return std::find_if(std::begin(range), std::end(range), predicate);
}
template <class Range, class Predicate> auto FindIfNot(const Range& range, const Predicate& predicate) {
    return std::find_if_not(std::begin(range), std::end(range), predicate);
}

} // namespace Quarn
