#pragma once

#include <map>

template <typename K, typename V, typename L = std::less<K>,
          typename A = std::allocator<std::pair<const K, V>>>
class zrStlMap : public std::map<K, V, L, A> {
 public:
  using std::map<K, V, L, A>::map;
};
