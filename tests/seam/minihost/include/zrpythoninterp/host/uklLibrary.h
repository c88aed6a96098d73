#pragma once

#include <zrpythoninterp/host/zrString.h>

struct uklLibrary {
  static zrString GetAbsoluteFileName(const zrString& path);
};
