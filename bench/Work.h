// The work that all ways do: texts to run, what they give, and the values that cross.
#pragma once

#include <string>
#include <vector>

namespace zrbench {

using Texts = std::vector<std::string>;

constexpr int kMany = 100000;
constexpr int kBigBytes = 10 * 1024 * 1024;
constexpr int kVariables = 1000;

// Expressions over names of __main__, and their values.
constexpr char kNumberExpression[] = "n * 7 + 1";
constexpr long kNumberValue = 43;
// In front of a number.
constexpr char kFreshExpression[] = "n * 7 + 0 * ";
constexpr long kFreshValue = 42;
constexpr char kTextExpression[] = "name + '.txt'";
constexpr char kTextValue[] = "report.txt";

// Statements that bind the names that the work reads: run once in __main__.
extern const char kPrepare[];
// 20 lines that leave kScriptTotal under "total", and count up in the namespace that they run in.
extern const char kTwentyLines[];
constexpr long kScriptTotal = 39;
// A file of 50 lines that leaves kFileTotal under "total".
extern const char kFiftyLines[];
constexpr long kFileTotal = 166;

// What the lists of kPrepare read like as texts.
Texts ManyTexts();      // too short for a block of the heap each
Texts ManyLongTexts();  // most of them not
Texts ManyNumbers();
Texts ManyFloats();
Texts ManyEntries();
Texts NestedLists();
std::string BigText();

// A text in front of a number that is another one each time, in all objects: a text that nobody has
// seen.
class FreshText {
 public:
  explicit FreshText(const std::string& text);

  const std::string& Next() {
    for (auto digit = text_.rbegin(); ++*digit > '9'; ++digit) *digit = '0';
    return text_;
  }

 private:
  std::string text_;
};

}  // namespace zrbench
