// Values out of the runtime. The library's form of a container is a list of texts, so all ways end
// with the same texts in a std::vector<std::string>.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Bench.h>
#include <bench/Subjects.h>

#include <charconv>

namespace zrbench {

namespace {

template <typename Number>
void Append(std::string& text, Number value) {
  char digits[32];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void AddLibrary(zrInterpPython& interp) {
  const auto add = [&interp](const char* name, const char* variable, const auto& expected) {
    Add(name, expected,
        [&interp, expression = zrString(variable)] { return interp.Export(expression); });
  };
  add("out.texts/zr", "texts", ManyTexts());
  add("out.long_texts/zr", "long_texts", ManyLongTexts());
  add("out.numbers/zr", "numbers", ManyNumbers());
  add("out.floats/zr", "floats", ManyFloats());
  add("out.dict/zr", "entries", ManyEntries());
  add("out.nested/zr", "nested", NestedLists());
  add("out.big_text/zr", "big_text", BigText());
  add("out.big_bytes/zr", "big_bytes", BigText());
  add("out.one/zr", "n", 6L);
}

template <typename Element>
Texts FloorList(PyObject* list, Element&& element) {
  Texts texts;
  const Py_ssize_t size = PyList_GET_SIZE(list);
  texts.reserve(static_cast<size_t>(size));
  for (Py_ssize_t i = 0; i < size; ++i) element(texts, PyList_GET_ITEM(list, i));
  return texts;
}

void FloorText(Texts& texts, PyObject* item) {
  Py_ssize_t size = 0;
  const char* const characters = PyUnicode_AsUTF8AndSize(item, &size);
  texts.emplace_back(characters, static_cast<size_t>(size));
}

void FloorNumber(Texts& texts, PyObject* item) {
  char digits[32];
  const char* const end = std::to_chars(digits, digits + sizeof digits, PyLong_AsLong(item)).ptr;
  texts.emplace_back(digits, static_cast<size_t>(end - digits));
}

void FloorFloat(Texts& texts, PyObject* item) {
  char digits[32];
  const char* const end =
      std::to_chars(digits, digits + sizeof digits, PyFloat_AS_DOUBLE(item)).ptr;
  texts.emplace_back(digits, static_cast<size_t>(end - digits));
}

void FloorRow(Texts& texts, PyObject* row) {
  std::string text = "[";
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(row); ++i) {
    if (i != 0) text += ", ";
    Append(text, PyLong_AsLong(PyList_GET_ITEM(row, i)));
  }
  text += ']';
  texts.push_back(std::move(text));
}

Texts FloorDict(PyObject* dict) {
  Texts texts;
  texts.reserve(static_cast<size_t>(PyDict_Size(dict)));
  Py_ssize_t position = 0;
  PyObject* key = nullptr;
  PyObject* value = nullptr;
  while (PyDict_Next(dict, &position, &key, &value)) {
    FloorText(texts, key);
    texts.back() += ':';
    Append(texts.back(), PyLong_AsLong(value));
  }
  return texts;
}

void AddFloor() {
  PyObject* const main = Main();
  const auto add = [main](const char* name, const char* variable, const auto& expected,
                          auto convert) {
    Add(name, expected, [main, variable, convert] {
      const Lock lock;
      return convert(PyDict_GetItemString(main, variable));
    });
  };
  const auto text = [](PyObject* o) { return FloorList(o, FloorText); };
  add("out.texts/floor", "texts", ManyTexts(), text);
  add("out.long_texts/floor", "long_texts", ManyLongTexts(), text);
  add("out.numbers/floor", "numbers", ManyNumbers(),
      [](PyObject* o) { return FloorList(o, FloorNumber); });
  add("out.floats/floor", "floats", ManyFloats(),
      [](PyObject* o) { return FloorList(o, FloorFloat); });
  add("out.dict/floor", "entries", ManyEntries(), FloorDict);
  add("out.nested/floor", "nested", NestedLists(),
      [](PyObject* o) { return FloorList(o, FloorRow); });
  add("out.big_text/floor", "big_text", BigText(), [](PyObject* o) {
    Py_ssize_t size = 0;
    const char* const characters = PyUnicode_AsUTF8AndSize(o, &size);
    return std::string(characters, static_cast<size_t>(size));
  });
  add("out.big_bytes/floor", "big_bytes", BigText(), [](PyObject* o) {
    return std::string(PyBytes_AS_STRING(o), static_cast<size_t>(PyBytes_GET_SIZE(o)));
  });
  add("out.one/floor", "n", 6L, [](PyObject* o) { return PyLong_AsLong(o); });
}

#ifdef ZR_BENCH_PYBIND11
namespace py = pybind11;

// As its documentation does it: casts to the standard containers.
void AddPybind11() {
  py::dict& main = PybindMain();
  const auto add = [&main](const char* name, const char* variable, const auto& expected,
                           auto convert) {
    Add(name, expected, [&main, variable, convert] {
      const py::gil_scoped_acquire lock;
      return convert(py::eval(variable, main));
    });
  };
  const auto list = [](const py::object& o) { return o.cast<Texts>(); };
  add("out.texts/pybind11", "texts", ManyTexts(), list);
  add("out.long_texts/pybind11", "long_texts", ManyLongTexts(), list);
  add("out.numbers/pybind11", "numbers", ManyNumbers(), [](const py::object& o) {
    Texts texts;
    for (const long value : o.cast<std::vector<long>>()) texts.push_back(std::to_string(value));
    return texts;
  });
  add("out.floats/pybind11", "floats", ManyFloats(), [](const py::object& o) {
    Texts texts;
    for (const double value : o.cast<std::vector<double>>()) {
      texts.emplace_back();
      Append(texts.back(), value);
    }
    return texts;
  });
  add("out.dict/pybind11", "entries", ManyEntries(), [](const py::object& o) {
    Texts texts;
    for (const auto& [key, value] : py::dict(o)) {
      texts.push_back(key.cast<std::string>() + ":" + std::to_string(value.cast<long>()));
    }
    return texts;
  });
  add("out.nested/pybind11", "nested", NestedLists(), [](const py::object& o) {
    Texts texts;
    for (const auto& row : o.cast<std::vector<std::vector<long>>>()) {
      std::string text = "[";
      for (const long value : row) text += (text.size() == 1 ? "" : ", ") + std::to_string(value);
      texts.push_back(text + "]");
    }
    return texts;
  });
  const auto text = [](const py::object& o) { return o.cast<std::string>(); };
  add("out.big_text/pybind11", "big_text", BigText(), text);
  add("out.big_bytes/pybind11", "big_bytes", BigText(), text);
  add("out.one/pybind11", "n", 6L, [](const py::object& o) { return o.cast<long>(); });
  Add("out.one/pybind11_item", 6L, [&main] {
    const py::gil_scoped_acquire lock;
    return main["n"].cast<long>();
  });
}
#endif

#ifdef ZR_BENCH_BOOST
namespace bp = boost::python;

template <typename Value>
Value Get(const bp::object& object) {
  return bp::extract<Value>(object);
}

template <typename Element>
Texts BoostList(const bp::object& object, Element&& element) {
  Texts texts;
  for (bp::stl_input_iterator<bp::object> item(object), end; item != end; ++item) {
    texts.push_back(element(*item));
  }
  return texts;
}

std::string BoostNumber(const bp::object& o) { return std::to_string(Get<long>(o)); }

void AddBoost() {
  bp::dict& main = BoostMain();
  const auto add = [&main](const char* name, const char* variable, const auto& expected,
                           auto convert) {
    Add(name, expected, [&main, variable, convert] {
      const Lock lock;
      return convert(bp::eval(variable, main, main));
    });
  };
  const auto list = [](const bp::object& o) { return BoostList(o, Get<std::string>); };
  add("out.texts/boost", "texts", ManyTexts(), list);
  add("out.long_texts/boost", "long_texts", ManyLongTexts(), list);
  add("out.numbers/boost", "numbers", ManyNumbers(),
      [](const bp::object& o) { return BoostList(o, BoostNumber); });
  add("out.floats/boost", "floats", ManyFloats(), [](const bp::object& o) {
    return BoostList(o, [](const bp::object& item) {
      std::string text;
      Append(text, Get<double>(item));
      return text;
    });
  });
  add("out.dict/boost", "entries", ManyEntries(), [](const bp::object& o) {
    return BoostList(o.attr("items")(), [](const bp::object& item) {
      return Get<std::string>(item[0]) + ":" + BoostNumber(item[1]);
    });
  });
  add("out.nested/boost", "nested", NestedLists(), [](const bp::object& o) {
    return BoostList(o, [](const bp::object& row) {
      std::string text = "[";
      for (const std::string& entry : BoostList(row, BoostNumber)) {
        text += (text.size() == 1 ? "" : ", ") + entry;
      }
      return text + "]";
    });
  });
  add("out.big_text/boost", "big_text", BigText(), Get<std::string>);
  add("out.big_bytes/boost", "big_bytes", BigText(), [](const bp::object& o) {
    return std::string(PyBytes_AS_STRING(o.ptr()), static_cast<size_t>(bp::len(o)));
  });
  add("out.one/boost", "n", 6L, Get<long>);
}
#endif

}  // namespace

void AddOut(Host& host) {
  AddLibrary(host.interp());
  AddFloor();
#ifdef ZR_BENCH_PYBIND11
  AddPybind11();
#endif
#ifdef ZR_BENCH_BOOST
  AddBoost();
#endif
}

}  // namespace zrbench
