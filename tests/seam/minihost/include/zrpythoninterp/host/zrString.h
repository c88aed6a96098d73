#pragma once

#include <string>

// A class of its own over the standard string, as frameworks have it.
class zrString : public std::string {
 public:
  using std::string::string;
  zrString() = default;
  zrString(const std::string& text) : std::string(text) {}
  zrString(std::string&& text) noexcept : std::string(std::move(text)) {}
};

template <>
struct std::hash<zrString> : std::hash<std::string> {};
