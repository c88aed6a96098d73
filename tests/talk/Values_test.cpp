#include <tests/talk/TalkTest.h>

#include <cstring>

namespace {

template <typename T>
auto TakesZero(int) -> decltype(T(0), true) {  // NOLINT: a null text is what it is about
  return true;
}
template <typename T>
bool TakesZero(...) {
  return false;
}

class TalkValues : public zrtest::TalkTest {};

TEST_F(TalkValues, TellTheirKindWhateverTheTag) {
  zrVariant pointer;
  pointer.SetPointer(this);
  const struct {
    zrVariant value;
    zrValueKind kind;
  } cases[] = {{zrVariant(), zrValueKind::kNothing},
               {zrValue(false), zrValueKind::kBoolean},
               {zrValue(7u), zrValueKind::kWholeNumber},
               {zrValue(7.5f), zrValueKind::kNumber},
               {zrValue("a"), zrValueKind::kText},
               {zrValue(zrStlVector<zrString>{"a"}), zrValueKind::kTextList},
               {pointer, zrValueKind::kPointer}};
  for (const auto& c : cases) EXPECT_EQ(zrKindOf(c.value), c.kind) << c.value.GetString();
  for (const std::int32_t tag : {2, 3, 5, 10, -1}) {
    std::memcpy(static_cast<void*>(&pointer), &tag, sizeof tag);
    EXPECT_EQ(zrKindOf(pointer), tag < 0 || tag > 9 ? zrValueKind::kUnknown
                                 : tag == 5         ? zrValueKind::kNumber
                                                    : zrValueKind::kWholeNumber);
  }
}

TEST_F(TalkValues, GoInWithoutADetour) {
  talk.Import("count", 0);
  talk.Import("big", std::size_t{1} << 40, "c");
  talk.Import("ratio", 0.5);
  talk.Import("on", true);
  talk.Import("word", "caf\xc3\xa9");
  talk.Import("name", zrString("n"));
  talk.Import("list", zrStlVector<zrString>{"a", "b"});
  talk.Import("value", zrValue(7));
  EXPECT_EQ(Text("repr([count, ratio, on, ascii(word), name, list, value])"),
            "[0, 0.5, True, \"'caf\\\\xe9'\", 'n', ['a', 'b'], 7]");
  EXPECT_EQ(interp().Export("big", "c").GetLong64(), sizeof(long) < 8 ? 0 : 1LL << 40);
  // Zero once went in as a null text.
  EXPECT_TRUE(TakesZero<zrString>(0));
  EXPECT_FALSE(TakesZero<zrVariant>(0));
}

TEST_F(TalkValues, StatementsTellWhetherTheyRan) {
  EXPECT_TRUE(talk.Run("x = 1", "c"));
  EXPECT_FALSE(talk.Run("x = 2; x / 0", "c"));  // the value under x would not tell
  EXPECT_EQ(interp().LastError().kind, "ZeroDivisionError");
  EXPECT_FALSE(talk.Run("x = (", "c"));
  EXPECT_FALSE(talk.Run("x", ""));
  EXPECT_FALSE(talk.Run("x", "\xff"));
  EXPECT_EQ(zrtest::TakeAlerts().size(), 4u);
  EXPECT_EQ(interp().Export("x", "c").GetLong64(), 2);
}

TEST_F(TalkValues, CreationGivesTheInterpretersOwnType) {
  zrPythonInterpCreator creator(0, nullptr, root().path(), nullptr, "");
  const std::unique_ptr<zrInterpPython> python = zrCreatePython(creator);
  ASSERT_TRUE(python);
  EXPECT_TRUE(python->LastError().IsEmpty());

  struct Other : zrPythonInterpCreator {
    using zrPythonInterpCreator::zrPythonInterpCreator;
    zrInterp* Create() override { return nullptr; }
  } other(0, nullptr, root().path(), nullptr, "");
  EXPECT_FALSE(zrCreatePython(other));
}

}  // namespace
