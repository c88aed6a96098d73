// The bodies of the framework that the seam is tried with.
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/uklFileInfo.h>
#include <zrpythoninterp/host/uklLibrary.h>
#include <zrpythoninterp/host/zrInterp.h>
#include <zrpythoninterp/host/zrVariantAccess.h>
#include <zrpythoninterp/host/zrWString.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

zrWString::zrWString(const zrString& text) {
  for (const char c : text) text_ += static_cast<wchar_t>(static_cast<unsigned char>(c));
}

void zrVariant::SetBoolean(bool value) {
  Clear();
  tag_ = 1;
  whole_ = value;
}

void zrVariant::SetLong64(long long value) {
  Clear();
  tag_ = 3;
  whole_ = value;
}

void zrVariant::SetDouble(double value) {
  Clear();
  tag_ = 5;
  floating_ = value;
}

void zrVariant::SetString(const char* text) {
  const zrString copy(text);
  Clear();
  tag_ = 7;
  text_ = copy;
}

void zrVariant::SetStringList(const zrStlVector<zrString>& texts) {
  const zrStlVector<zrString> copy(texts);
  Clear();
  tag_ = 8;
  texts_ = copy;
}

zrString zrVariant::GetString() const {
  zrString text = text_;
  if (tag_ == 1) zrVariantAccess::AppendBoolean(text, whole_ != 0);
  if (tag_ == 3) zrVariantAccess::AppendLong64(text, whole_);
  if (tag_ == 5) zrVariantAccess::AppendDouble(text, floating_);
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    if (i != 0) zrVariantAccess::NextEntry(text);
    text += texts_[i];
  }
  return text;
}

void zrVariantAccess::AppendLong64(zrString& text, long long value) {
  text += std::to_string(value) + "L";
}

void zrVariantAccess::AppendDouble(zrString& text, double value) {
  std::ostringstream digits;
  digits << value;
  text += digits.str();
}

zrStlMap<zrString, zrInterp*> zrInterp::interpMap_;

zrInterp::zrInterp(const zrString& name) : name_(name) { interpMap_[name_] = this; }
zrInterp::~zrInterp() { interpMap_.erase(name_); }
zrInterp* zrInterp::Find(const zrString& name) {
  const auto found = interpMap_.find(name);
  return found == interpMap_.end() ? nullptr : found->second;
}
bool zrInterp::InstallDebugTraps() { return true; }
bool zrInterp::UninstallDebugTraps() { return true; }

bool uklFile::Exists(const zrString& path) {
  std::string native = path;
  std::replace(native.begin(), native.end(), '\\', '/');
  return fs::exists(native);
}

uklFileInfo::uklFileInfo(const zrString& path) {
  const fs::path whole(static_cast<const std::string&>(path));
  if (whole.has_parent_path()) path_ = (whole.parent_path() / "").string();
  baseName_ = whole.stem().string();
  if (whole.has_extension()) extension_ = whole.extension().string().substr(1);
}

zrString uklLibrary::GetAbsoluteFileName(const zrString& path) {
  std::string native = path;
  std::replace(native.begin(), native.end(), '\\', '/');
  const std::size_t token = native.find("$PLATFORM");
  if (token != std::string::npos) native.replace(token, 9, "mini");
  return fs::absolute(native).lexically_normal().string();
}
