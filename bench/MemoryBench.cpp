// What is held after 200,000 evaluations, and the most that is held while a container crosses, by
// the library and by the floor. Each figure comes from a process of its own; one JSON list on the
// standard output.
#include <bench/Floor.h>
// Floor.h brings Python.h, which comes first.
#include <bench/HeapCount.h>
#include <bench/Host.h>
#include <bench/Work.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace zrbench {

namespace {

constexpr int kWarmUp = 20000;
constexpr int kEvaluations = 200000;

long ResidentBytes() {
  long total = 0;
  long resident = 0;
  if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%ld %ld", &total, &resident) != 2) resident = 0;
    std::fclose(file);
  }
  return resident * sysconf(_SC_PAGESIZE);
}

long HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
}

// Evaluates expressions for a number and a text, a text that nobody has seen, and statements.
void Growth(const char* way, const std::function<void(const std::string&, bool)>& evaluate) {
  const std::string texts[] = {kNumberExpression, kTextExpression, kNumberExpression};
  FreshText fresh(kFreshExpression);
  const auto run = [&](int count) {
    for (int i = 0; i < count; ++i) {
      if (i % 4 == 3) {
        evaluate("total = n * 7\n", true);
      } else {
        evaluate(i % 4 == 2 ? fresh.Next() : texts[i % 4], false);
      }
    }
  };
  run(kWarmUp);
  const long heap = HeapBytes();
  const long resident = ResidentBytes();
  run(kEvaluations);
  const long residentAfter = ResidentBytes();
  std::printf("{\"name\": \"memory.evaluations/%s\", \"heap\": %ld, \"resident\": %ld}", way,
              HeapBytes() - heap, residentAfter - resident);
}

// The payload is what a copy of the result takes, which is made at its exact size.
template <typename Convert>
void Peak(const char* work, const char* way, Convert convert) {
  convert();  // whatever is made once is there
  std::int64_t peak = 0;
  Texts copied;
  {
    HeapCount count;
    const auto result = convert();
    peak = count.peak();
    copied = Texts(*result);
  }
  HeapCount payload;
  const Texts exact(copied);
  if (exact.size() != static_cast<size_t>(kMany)) std::exit(1);
  std::printf("{\"name\": \"peak.%s/%s\", \"peak\": %lld, \"payload\": %lld}", work, way,
              static_cast<long long>(peak), static_cast<long long>(payload.live()));
}

void LibraryPeak(Host& host, const char* work, const char* variable) {
  // The list of the variant is read after the count only.
  struct Result {
    zrVariant value;
    Texts operator*() const { return value.GetStringList(); }
  };
  const zrString expression = variable;
  Peak(work, "zr", [&] { return Result{host.interp().Export(expression)}; });
}

struct FloorResult {
  Texts texts;
  const Texts& operator*() const { return texts; }
};

void FloorPeak(const char* work, const char* variable, std::string (*convert)(PyObject* item)) {
  PyObject* const main = Main();
  Peak(work, "floor", [&] {
    const Lock lock;
    PyObject* const object = PyDict_GetItemString(main, variable);
    FloorResult result;
    result.texts.reserve(static_cast<size_t>(PyObject_Size(object)));
    if (PyDict_Check(object)) {
      Py_ssize_t position = 0;
      PyObject* key = nullptr;
      PyObject* value = nullptr;
      while (PyDict_Next(object, &position, &key, &value)) {
        const std::string side = convert(value);
        Py_ssize_t size = 0;
        const char* const characters = PyUnicode_AsUTF8AndSize(key, &size);
        std::string& text = result.texts.emplace_back();
        text.reserve(static_cast<size_t>(size) + 1 + side.size());
        text.append(characters, static_cast<size_t>(size)).append(1, ':').append(side);
      }
    } else {
      for (Py_ssize_t i = 0; i < PyList_GET_SIZE(object); ++i) {
        result.texts.push_back(convert(PyList_GET_ITEM(object, i)));
      }
    }
    return result;
  });
}

template <typename Number>
std::string Digits(Number value) {
  char digits[32];
  return std::string(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

std::string TextOf(PyObject* item) { return PyUnicode_AsUTF8(item); }
std::string NumberOf(PyObject* item) { return Digits(PyLong_AsLong(item)); }
std::string FloatOf(PyObject* item) { return Digits(PyFloat_AS_DOUBLE(item)); }

// In a process of its own, with the runtime started and the work prepared.
void InChild(bool countObjects, const std::function<void(Host&)>& measure) {
  static bool first = true;
  std::printf(first ? "[\n" : ",\n");
  first = false;
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    // Python's own allocator takes its memory past malloc.
    if (countObjects) setenv("PYTHONMALLOC", "malloc", 1);
    {
      Host host;
      if (!host.interp().EvalScript(kPrepare, zrString())) std::exit(1);
      measure(host);
      std::fflush(stdout);
    }
    std::exit(0);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) < 0 || status != 0) std::exit(1);
}

void MeasureAll() {
  InChild(false, [](Host& host) {
    Growth("zr", [&host](const std::string& text, bool statements) {
      bool ok = true;
      if (statements) {
        ok = host.interp().EvalScript(text, zrString());
      } else {
        host.interp().EvalScript(text, zrString(), ok);
      }
      if (!ok) std::exit(1);
    });
  });
  InChild(false, [](Host&) {
    PyObject* const main = Main();
    Growth("floor", [main](const std::string& text, bool statements) {
      const Lock lock;
      PyObject* const result = PyRun_StringFlags(
          text.c_str(), statements ? Py_file_input : Py_eval_input, main, main, nullptr);
      if (!result) std::exit(1);
      Py_DECREF(result);
    });
  });
  const struct {
    const char* work;
    const char* variable;
    std::string (*convert)(PyObject*);
  } crossings[] = {{"texts", "texts", &TextOf},
                   {"long_texts", "long_texts", &TextOf},
                   {"numbers", "numbers", &NumberOf},
                   {"floats", "floats", &FloatOf},
                   {"dict", "entries", &NumberOf}};
  for (const auto& crossing : crossings) {
    InChild(true, [&](Host& host) { LibraryPeak(host, crossing.work, crossing.variable); });
    InChild(true, [&](Host&) { FloorPeak(crossing.work, crossing.variable, crossing.convert); });
  }
  std::printf("\n]\n");
}

}  // namespace

}  // namespace zrbench

int main() {
  zrbench::MeasureAll();
  return 0;
}
