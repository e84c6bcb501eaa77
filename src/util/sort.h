// Sorting of lists that are short or rarely sorted, in a third of std::sort's code.
#pragma once

#include <algorithm>

namespace Tav {

// By the values of `key`, a member; equal elements in any order.
template <typename Range, typename Key>
void SortBy(Range& range, Key key) {
  std::ranges::make_heap(range, {}, key);
  std::ranges::sort_heap(range, {}, key);
}

}  // namespace Tav
