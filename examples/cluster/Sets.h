// Sets of parameters, from a table of comma-separated values.
#pragma once

#include <zrpythoninterp/host/zrStlMap.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/host/zrVariant.h>

// The first line names the parameters, each further one is a set.
struct Sets {
  zrString names;
  zrStlVector<zrString> rows;
};

// False when there is no such file, or no line in it.
bool ReadSets(const zrString& file, Sets& sets);

zrStlVector<zrString> Split(const zrString& line);

// The set as the variables of a script: numbers where a field is one, else texts.
zrStlMap<zrString, zrVariant> Variables(const zrString& names, const zrString& row);
