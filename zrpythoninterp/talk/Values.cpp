// Values and statements without a detour: zrKindOf, Import, Run. Test: tests/talk/Values_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Companion.h>
#include <zrpythoninterp/eval/Entry.h>
#include <zrpythoninterp/eval/Namespaces.h>
#include <zrpythoninterp/eval/RunText.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <cstdint>
#include <cstring>

// The tag is the value's first field, which others may have written.
zrValueKind zrKindOf(const zrVariant& value) noexcept {
  std::int32_t tag = 0;
  std::memcpy(&tag, static_cast<const void*>(&value), sizeof tag);
  constexpr zrValueKind kKinds[] = {zrValueKind::kNothing,     zrValueKind::kBoolean,
                                    zrValueKind::kWholeNumber, zrValueKind::kWholeNumber,
                                    zrValueKind::kWholeNumber, zrValueKind::kNumber,
                                    zrValueKind::kNumber,      zrValueKind::kText,
                                    zrValueKind::kTextList,    zrValueKind::kPointer};
  constexpr std::int32_t kCount = sizeof kKinds / sizeof *kKinds;
  return tag >= 0 && tag < kCount ? kKinds[tag] : zrValueKind::kUnknown;
}

bool zrPythonTalk::bind(const zrString& name, const zrVariant& value, const zrString& context) {
  return context.empty() ? interp_.Import(name, value) : interp_.Import(name, value, context);
}

bool zrPythonTalk::Run(const zrString& statements, const zrString& context) {
  if (context.empty()) return interp_.EvalScript(statements, zrString());
  if (!interp_.Init()) return false;
  const zrpy::Entry entry(interp_);
  if (!entry) return false;
  bool ran = false;
  {
    const zrpy::PyRef dict = zrpy::FindOrCreateContext(context, zrpy::Seeding::kBuiltins);
    ran = static_cast<bool>(
        zrpy::RunText(statements, zrpy::TextMode::kStatements, dict.get(), dict.get()));
  }
  zrpy::Companion::Report(interp_);
  return ran;
}
