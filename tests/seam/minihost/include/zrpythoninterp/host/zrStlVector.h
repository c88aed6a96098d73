#pragma once

#include <vector>

template <typename T, typename A = std::allocator<T>>
class zrStlVector : public std::vector<T, A> {
 public:
  using std::vector<T, A>::vector;
};
