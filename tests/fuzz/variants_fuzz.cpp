// Values of the host, with tags that need not fit what they hold.
#include <tests/fuzz/FuzzHost.h>

#include <algorithm>
#include <cstring>

namespace {

zrVariant ReadVariant(zrfuzz::Input& input) {
  zrVariant value;
  const std::uint8_t kind = input.Byte();
  const std::uint64_t word = input.Word();
  zrStlVector<zrString> list;
  switch (kind % 8) {
    case 0:
      break;
    case 1:
      value.SetBoolean((word & 1) != 0);
      break;
    case 2:
      value.SetLong64(static_cast<long long>(word));
      break;
    case 3: {
      double real;
      std::memcpy(&real, &word, sizeof real);
      value.SetDouble(real);
      break;
    }
    case 4:
      value.SetString(input.Text().c_str());
      break;
    case 5:
      for (std::uint64_t left = word % 20; left != 0; --left) list.push_back(input.Text());
      value.SetStringList(list);
      break;
    case 6:
      value.SetPointer(reinterpret_cast<void*>(static_cast<std::uintptr_t>(word)));
      break;
    default: {
      value.SetString(input.Text().c_str());
      const std::int32_t tag = static_cast<std::int32_t>(word);
      std::memcpy(static_cast<void*>(&value), &tag, sizeof tag);
      break;
    }
  }
  return value;
}

// Texts cross up to their first NUL, and come out as ASCII.
bool ComesBack(const zrString& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c != 0 && (c & 0x80) == 0; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zrfuzz::Input input(data, size);
  zrInterpPython& interp = zrfuzz::Interp();
  zrStlMap<zrString, zrVariant> map;
  for (int i = 0; i < 4 && !input.empty(); ++i) {
    const bool tagFits = data[0] % 8 != 7;
    const zrVariant value = ReadVariant(input);
    map["v" + std::to_string(i)] = value;
    const bool bound = interp.Import("v", value);
    const zrString text = value.GetString();
    const zrString back = interp.Export("v").GetString();
    if (i == 0 && bound && tagFits && ComesBack(text)) {
      zrfuzz::Expect(back == text, "a value that comes back as another");
    }
  }
  interp.EvalFile(zrfuzz::Folder() + "/nothing.py", map, nullptr);
  zrfuzz::ExpectHostLives();
  return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::FILE* const file = std::fopen((zrfuzz::Folder() + "/nothing.py").c_str(), "w");
  if (file) std::fclose(file);
  return 0;
}
