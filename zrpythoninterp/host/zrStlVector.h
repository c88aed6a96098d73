#pragma once

#include <memory>
#include <vector>

/// The standard vector under the framework's name.
template <typename T, typename Allocator = std::allocator<T>>
using zrStlVector = std::vector<T, Allocator>;
