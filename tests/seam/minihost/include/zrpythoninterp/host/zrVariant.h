#pragma once

#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>

#include <cstdint>

// Holds every kind side by side. Its lists read "a;b", its booleans "yes" and "no".
class zrVariant {
 public:
  zrVariant() = default;
  zrVariant(const char* text) { SetString(text); }

  void Clear() { *this = zrVariant(); }
  void SetBoolean(bool value);
  void SetLong64(long long value);
  void SetDouble(double value);
  void SetString(const char* text);
  void SetStringList(const zrStlVector<zrString>& texts);

  long long GetLong64() const { return whole_; }
  double GetDouble() const { return floating_; }
  zrString GetString() const;
  zrStlVector<zrString> GetStringList() const { return texts_; }
  void* GetPointer() const { return pointer_; }

 private:
  std::int32_t tag_ = 0;
  long long whole_ = 0;
  double floating_ = 0;
  zrString text_;
  zrStlVector<zrString> texts_;
  void* pointer_ = nullptr;
};
