#include <examples/cluster/Sets.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

bool ReadSets(const zrString& file, Sets& sets) {
  std::ifstream stream(file);
  if (!std::getline(stream, sets.names)) return false;
  for (zrString row; std::getline(stream, row);) {
    if (!row.empty()) sets.rows.push_back(row);
  }
  return true;
}

zrStlVector<zrString> Split(const zrString& line) {
  zrStlVector<zrString> fields;
  std::istringstream stream(line);
  for (zrString field; std::getline(stream, field, ',');) fields.push_back(field);
  return fields;
}

zrStlMap<zrString, zrVariant> Variables(const zrString& names, const zrString& row) {
  zrStlMap<zrString, zrVariant> variables;
  const zrStlVector<zrString> fields = Split(row);
  size_t at = 0;
  for (const zrString& name : Split(names)) {
    const zrString field = at < fields.size() ? fields[at++] : zrString();
    char* end = nullptr;
    const double number = std::strtod(field.c_str(), &end);
    if (!field.empty() && *end == '\0') {
      variables[name].SetDouble(number);
    } else {
      variables[name].SetString(field.c_str());
    }
  }
  return variables;
}
