#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>

/// The standard ordered map under the framework's name.
template <typename K, typename V, typename Compare = std::less<K>,
          typename Allocator = std::allocator<std::pair<const K, V>>>
using zrStlMap = std::map<K, V, Compare, Allocator>;
