// The members of an interpreter that nothing shows from outside: interp.*Open(HomePath()).
#pragma once

#include <zrpythoninterp/core/zrInterpPython.h>

namespace zrtest {

// An explicit instantiation may name private members; the friend hands the pointer on.
template <typename Tag, typename Tag::Type kMember>
struct Reveal {
  friend typename Tag::Type Open(Tag) { return kMember; }
};

template <typename Member>
struct Revealed {
  using Type = Member zrInterpPython::*;
};

#define ZR_REVEAL(Name, member, ...)    \
  struct Name : Revealed<__VA_ARGS__> { \
    friend Revealed::Type Open(Name);   \
  };                                    \
  template struct Reveal<Name, &zrInterpPython::member>

ZR_REVEAL(HomePath, homePath_, zrString);
ZR_REVEAL(PythonPath, pythonPath_, zrString);
ZR_REVEAL(ConvertIn, ConvertVariantToPyObject, bool(PyObject*&, const zrVariant&));

#undef ZR_REVEAL

}  // namespace zrtest
