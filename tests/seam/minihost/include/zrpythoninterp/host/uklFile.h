#pragma once

#include <zrpythoninterp/host/zrString.h>

struct uklFile {
  static bool Exists(const zrString& path);
};
