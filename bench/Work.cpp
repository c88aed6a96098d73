#include <bench/Work.h>

#include <charconv>

namespace zrbench {

const char kPrepare[] = R"(n = 6
name = 'report'
texts = ['text %d' % i for i in range(100000)]
long_texts = ['name %d' % i + 'x' * (i % 30) for i in range(100000)]
numbers = [i * 7919 - 50000 for i in range(100000)]
floats = [i * 0.37 + 1 / (i + 3) for i in range(100000)]
entries = {'key %d' % i: i * 7919 for i in range(100000)}
nested = [[row * 300 + i for i in range(300)] for row in range(300)]
big_text = 'abcdefghij' * (1024 * 1024)
big_bytes = big_text.encode()
)";

const char kTwentyLines[] = R"(values = [3, 1, 4, 1, 5, 9, 2, 6, 5, 3]
limit = 4
small = []
large = []
for value in values:
    if value < limit:
        small.append(value)
    else:
        large.append(value)
names = {}
for value in large:
    names[value] = 'large ' + str(value)
def mean(items):
    result = 0
    for item in items:
        result += item
    return result / len(items)
ratio = mean(large) / mean(small)
runs = globals().get('runs', 0) + 1
total = sum(small) + sum(large)
)";

const char kFiftyLines[] = R"(import math

LIMIT = 12
NAMES = ['alpha', 'beta', 'gamma', 'delta']


class Point:
    def __init__(self, x, y):
        self.x = x
        self.y = y

    def length(self):
        return math.sqrt(self.x * self.x + self.y * self.y)

    def scaled(self, factor):
        return Point(self.x * factor, self.y * factor)


def primes(limit):
    found = []
    for candidate in range(2, limit):
        for divisor in found:
            if candidate % divisor == 0:
                break
        else:
            found.append(candidate)
    return found


def describe(point):
    if point.length() > LIMIT:
        return 'far'
    return 'near'


points = [Point(i, i + 1) for i in range(6)]
lengths = {i: point.length() for i, point in enumerate(points)}
kinds = [describe(point.scaled(2)) for point in points]
words = ' '.join(name.upper() for name in NAMES)
try:
    broken = lengths['missing']
except KeyError:
    broken = None
total = 0
for prime in primes(30):
    total += prime
for point in points:
    total += point.x + point.y
if words.startswith('ALPHA'):
    total += 1
)";

namespace {

template <typename Number>
std::string Digits(Number number) {
  char digits[32];
  return std::string(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

template <typename Entry>
Texts Make(int count, Entry&& entry) {
  Texts texts;
  for (int i = 0; i < count; ++i) texts.push_back(entry(i));
  return texts;
}

}  // namespace

Texts ManyTexts() {
  return Make(kMany, [](int i) { return "text " + Digits(i); });
}

Texts ManyLongTexts() {
  return Make(kMany, [](int i) {
    return "name " + Digits(i) + std::string(static_cast<size_t>(i % 30), 'x');
  });
}

Texts ManyNumbers() {
  return Make(kMany, [](int i) { return Digits(i * 7919L - 50000); });
}

Texts ManyFloats() {
  return Make(kMany, [](int i) { return Digits(i * 0.37 + 1.0 / (i + 3)); });
}

Texts ManyEntries() {
  return Make(kMany, [](int i) { return "key " + Digits(i) + ":" + Digits(i * 7919L); });
}

Texts NestedLists() {
  return Make(300, [](int row) {
    std::string text = "[";
    for (int i = 0; i < 300; ++i) text += (i == 0 ? "" : ", ") + Digits(row * 300 + i);
    return text + "]";
  });
}

FreshText::FreshText(const std::string& text) {
  constexpr long kEach = 20000000;  // more than one benchmark takes in all its repetitions
  static long next = 1000000000;
  text_ = text + Digits(next);
  next += kEach;
}

std::string BigText() {
  std::string text;
  for (int i = 0; i < kBigBytes / 10; ++i) text += "abcdefghij";
  return text;
}

}  // namespace zrbench
