#include <examples/host/Values.h>

#include <charconv>
#include <cstdint>
#include <cstring>
#include <system_error>

namespace zrpyhost {

namespace {

template <typename Number>
bool Reads(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

}  // namespace

zrVariant ParseValue(const std::string& text) {
  zrVariant value(text.c_str());
  long long whole = 0;
  double real = 0;
  if (text == "true" || text == "false") {
    value.SetBoolean(text == "true");
  } else if (Reads(text, whole)) {
    value.SetLong64(whole);
  } else if (Reads(text, real)) {
    value.SetDouble(real);
  }
  return value;
}

// The tag is the first field of every value, for all to read.
bool HasValue(const zrVariant& value) {
  std::int32_t tag = 0;
  std::memcpy(&tag, &value, sizeof tag);
  return tag != 0;
}

}  // namespace zrpyhost
