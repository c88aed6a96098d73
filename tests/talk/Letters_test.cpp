#include <tests/talk/TalkTest.h>

namespace {

class TalkLetters : public zrtest::TalkTest {
 protected:
  // The value and the number of alerts.
  zrString Out(const zrString& expression) {
    bool ok = false;
    const zrVariant value = interp().EvalScript(expression, "", ok);
    return value.GetString() + (zrtest::TakeAlerts().empty() ? "" : " (alert)");
  }
};

TEST_F(TalkLetters, ComeOutAsUtf8WhereTheHostWantsThem) {
  const struct {
    const char* expression;
    const char* ascii;
    const char* utf8;
  } cases[] = {
      {"'caf\\u00e9'", " (alert)", "caf\xc3\xa9"},
      {"'\\U0001f642\\0b'", " (alert)", "\xf0\x9f\x99\x82"},
      {"['a', '\\u0416', ('\\u0416',)]", "[a, []] (alert)", "[a, \xd0\x96, [\xd0\x96]]"},
      {"{'\\u0416': ['\\u0416']}", "[:[]] (alert)", "[\xd0\x96:[\xd0\x96]]"},
      {"'\\ud800'", " (alert)", " (alert)"},  // a lone surrogate
      {"['a', '\\ud800']", "[a] (alert)", "[a] (alert)"},
      {"b'\\xff'", "\xff", "\xff"},
      {"len('\\u0416' * 300000 + '\\0') * '\\u0416' == 0 or 'plain'", "plain", "plain"},
  };
  for (const bool utf8 : {false, true, false}) {
    talk.SetTextForm(utf8 ? zrPythonTalk::TextForm::kUtf8 : zrPythonTalk::TextForm::kAscii);
    for (const auto& c : cases) {
      EXPECT_EQ(Out(c.expression), utf8 ? c.utf8 : c.ascii) << c.expression << " " << utf8;
    }
  }
  talk.SetTextForm(zrPythonTalk::TextForm::kUtf8);
  EXPECT_EQ(Out("'\\u0416' * 300000").size(), 600000u);  // as a long text
  zrStlMap<zrString, zrVariant> names{{"caf\xc3\xa9", "x"}};
  EXPECT_TRUE(interp().EvalFile(folder().Write("a.py", "# coding: utf-8\ncaf\xc3\xa9 += '\\u0416'"),
                                names, nullptr));
  EXPECT_EQ(names["caf\xc3\xa9"].GetString(), "x\xd0\x96");
  Run("'\xd0\x96' + \xd0\x96");
  EXPECT_THAT(zrtest::TakeAlerts()[0], ::testing::HasSubstr("'\xd0\x96' is not defined"));
}

TEST_F(TalkLetters, StayAsTheyWereSetInEveryLife) {
  talk.SetTextForm(zrPythonTalk::TextForm::kUtf8);
  for (int life = 0; life < 2; ++life) {
    EXPECT_EQ(Out("'\\u0416'"), "\xd0\x96");
    interp().Close();
  }
  zrtest::OpenInterp other(root().path());
  EXPECT_EQ(other.Export("'\\u0416'").GetString(), "");
}

}  // namespace
